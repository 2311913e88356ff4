#include "tools/qzagent/Adapters.h"

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/CommandLine.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/HbaapiGuards.h"
#include "tools/qzagent/Host.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/Table.h"

namespace qzagent
{
namespace
{
/// An adapter; its index is its place in the list.
struct Adapter
{
    std::string mName;
    std::optional<unsigned int> mHandle;  ///< none when it could not be opened

    char const* state() const { return mHandle ? "ok" : "failed"; }
};

Adapter visit(QZCHbaapiAbs& arHbaapi, std::string const& aName, Report& arReport)
{
    Adapter adapter{aName, {}};
    try
    {
        OpenAdapter const opened(arHbaapi, aName);
        arHbaapi.HA_RefreshAdapter(opened.handle());
        adapter.mHandle = opened.handle();
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception), aName);
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

/// @param arReport told what fails
Answer adapters(Report& arReport, bool aColoured)
{
    std::vector<Adapter> found;
    visitAdapters(arReport, [&](QZCHbaapiAbs& arHbaapi, std::size_t, std::string const& aName)
                  { found.push_back(visit(arHbaapi, aName, arReport)); });
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
    if (found.empty() && arReport.exitCode() == ExitCode::allWell)
    {
        arReport.addNote("no adapters");
    }
    return {{{"adapters", list}}, found.empty() ? "" : table.text()};
}
}  // namespace

void addAdapters(CommandLine& arCommandLine)
{
    arCommandLine.addVerb("adapters", "Open, refresh and close each adapter, and list them",
                          "  qzagent adapters           a table\n"
                          "  qzagent adapters --json    a JSON document\n",
                          [](Setting const& aSetting)
                          { return adapters(aSetting.mReport, aSetting.mIsColoured); });
}
}  // namespace qzagent
