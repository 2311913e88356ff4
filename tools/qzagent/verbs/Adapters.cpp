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
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/GradualAnswer.h"
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

nlohmann::ordered_json keysOf(std::vector<Adapter> const& aAdapters)
{
    auto list = nlohmann::ordered_json::array();
    for (std::size_t index = 0; index < aAdapters.size(); ++index)
    {
        list.push_back(jsonOf(index, aAdapters[index]));
    }
    return {{"adapters", list}};
}

/// @param aFirst index of the first adapter in the table; the table has a heading if it is 0
std::string tableOf(std::vector<Adapter> const& aAdapters, std::size_t aFirst, bool aColoured)
{
    Table table({{"INDEX", Table::Fit::right},
                 {"NAME", Table::Fit::wrapped},
                 {"HANDLE", Table::Fit::left},
                 {"STATE", Table::Fit::left}},
                aColoured);
    if (aFirst > 0)
    {
        table.hideNames();
    }
    for (std::size_t index = aFirst; index < aAdapters.size(); ++index)
    {
        table.addRow(rowOf(index, aAdapters[index]));
    }
    return table.text();
}

Answer adapters(Setting const& aSetting)
{
    GradualAnswer<Adapter> found(aSetting, &keysOf,
                                 [&aSetting](std::vector<Adapter> const& aAdapters, std::size_t aFirst)
                                 { return tableOf(aAdapters, aFirst, aSetting.mIsColoured); });
    visitAdapters(aSetting.mReport, {},
                  [&](qz::HbaApi& aApi, std::size_t, std::string const& aName)
                  {
                      setCurrentStep(aName);
                      found.add(visit(aApi, aName, aSetting.mReport));
                  });
    return found.rest();
}
}  // namespace

void addAdapters(CommandLine& aCommandLine)
{
    ArgumentList arguments =
        aCommandLine.addVerb("adapters", "Open, refresh and close each adapter, and list them",
                             "  qzagent adapters           a table\n"
                             "  qzagent adapters --json    a JSON document\n",
                             [](Setting const& aSetting) { return adapters(aSetting); });
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
