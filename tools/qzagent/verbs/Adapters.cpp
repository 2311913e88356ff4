#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/Host.h"

namespace qzagent
{
namespace
{
/// An adapter. Its index is its position in the list.
struct Adapter
{
    std::string mName;
    std::optional<unsigned int> mHandle;  ///< none when the adapter could not be opened

    char const* state() const { return mHandle ? "ok" : "failed"; }
};

Adapter visit(qz::HbaApi& aApi, std::string const& aName, Report& aReport)
{
    Adapter adapter{aName, {}};
    HbaStep const step;
    try
    {
        qz::Adapter opened(aApi, aName);
        opened.refresh();
        adapter.mHandle = opened.handle();
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(step.failureOf(exception), aName);
    }
    return adapter;
}

nlohmann::ordered_json jsonOf(std::size_t aIndex, Adapter const& aAdapter)
{
    nlohmann::ordered_json json{{"index", aIndex}, {"name", aAdapter.mName}, {"state", aAdapter.state()}};
    if (aAdapter.mHandle)
    {
        json["handle"] = *aAdapter.mHandle;
    }
    return json;
}

std::vector<Table::Cell> rowOf(std::size_t aIndex, Adapter const& aAdapter)
{
    return {std::to_string(aIndex),
            aAdapter.mName,
            aAdapter.mHandle ? fmt::format("{:#x}", *aAdapter.mHandle) : "-",
            {aAdapter.state(), aAdapter.mHandle ? "green" : "red"}};
}

/// @param aReport receives failures
Answer adapters(Report& aReport, bool aColoured)
{
    std::vector<Adapter> found;
    visitAdapters(aReport, {},
                  [&](qz::HbaApi& aApi, std::size_t, std::string const& aName)
                  { found.push_back(visit(aApi, aName, aReport)); });
    Table table({{"INDEX", Table::Fit::right},
                 {"NAME", Table::Fit::wrapped},
                 {"HANDLE", Table::Fit::left},
                 {"STATE", Table::Fit::left}},
                aColoured);
    auto list = nlohmann::ordered_json::array();
    for (std::size_t index = 0; index < found.size(); ++index)
    {
        list.push_back(jsonOf(index, found[index]));
        table.addRow(rowOf(index, found[index]));
    }
    return {{{"adapters", list}}, found.empty() ? "" : table.text()};
}
}  // namespace

void addAdapters(CommandLine& aCommandLine)
{
    ArgumentList arguments = aCommandLine.addVerb(
        "adapters", "Open, refresh and close each adapter, and list them",
        "  qzagent adapters           a table\n"
        "  qzagent adapters --json    a JSON document\n",
        [](Setting const& aSetting) { return adapters(aSetting.mReport, aSetting.mIsColoured); });
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
