#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Exception.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/vqm/QuazorSupport.h"
#include "tools/qzagent/vqm/ReportedEnvironment.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmLoad.h"
#include "tools/qzagent/vqm/VqmVersions.h"

namespace qzagent
{
namespace
{
/// The vendor library's answers.
struct Findings
{
    LibvqmVersions mVersions;
    std::optional<bool> mSupportsQuazor;  ///< none without boards or without an answer of the driver
    std::vector<Board> mBoards;
};

/// @param aFindings set step by step, so that it keeps the answers before a failure
void query(Findings& aFindings, Report& aReport)
{
    std::unique_ptr<qz::VqmLibrary> const library = loadVqm(aReport);
    ReportedEnvironment environment = openEnvironment(*library, aReport, aFindings.mVersions);
    if (numberOfBoards(*environment) == 0)
    {
        aReport.addNote("no boards");
        return;
    }
    aFindings.mBoards = boardsOf(*environment, aReport);
    aFindings.mSupportsQuazor = supportsQuazorEvents(*environment);
}

nlohmann::ordered_json jsonOf(Board const& aBoard)
{
    nlohmann::ordered_json json{{"board", aBoard.mNumber}};
    if (aBoard.mFailure)
    {
        json["failures"].push_back(jsonOf(*aBoard.mFailure));
        return json;
    }
    json["first_wwn"] = aBoard.mFirstWwn->getStringForm().get();
    json["second_wwn"] = aBoard.mSecondWwn->getStringForm().get();
    return json;
}

nlohmann::ordered_json jsonOf(Findings const& aFindings)
{
    auto json = nlohmann::ordered_json::object();
    if (aFindings.mVersions.mLibrary)
    {
        json["library_version"] = *aFindings.mVersions.mLibrary;
    }
    if (aFindings.mVersions.mDriver)
    {
        json["driver_version"] = *aFindings.mVersions.mDriver;
    }
    if (aFindings.mSupportsQuazor)
    {
        json["quazor_events"] = *aFindings.mSupportsQuazor;
    }
    json["boards"] = nlohmann::ordered_json::array();
    for (Board const& board : aFindings.mBoards)
    {
        json["boards"].push_back(jsonOf(board));
    }
    return json;
}

void addRow(Table& aTable, char const* aItem, std::optional<std::string> const& aValue)
{
    if (aValue)
    {
        aTable.addRow({std::string(aItem), *aValue});
    }
}

void addRows(Table& aTable, Board const& aBoard)
{
    Table::Row const row = aTable.addRow({fmt::format("board {}", aBoard.mNumber), std::string()});
    if (aBoard.mFailure)
    {
        aTable.addRow({std::string("failed"), {textOf(*aBoard.mFailure), "red"}}, row);
        return;
    }
    aTable.addRow({std::string("first wwn"), std::string(aBoard.mFirstWwn->getStringForm().get())}, row);
    aTable.addRow({std::string("second wwn"), std::string(aBoard.mSecondWwn->getStringForm().get())}, row);
}

/// @return a table; empty without boards
std::string tableOf(Findings const& aFindings, bool aColoured)
{
    if (aFindings.mBoards.empty())
    {
        return {};
    }
    Table table({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::wrapped}}, aColoured);
    addRow(table, "library version", aFindings.mVersions.mLibrary);
    addRow(table, "driver version", aFindings.mVersions.mDriver);
    if (aFindings.mSupportsQuazor)
    {
        addRow(table, "quazor events", *aFindings.mSupportsQuazor ? "supported" : "not supported");
    }
    for (Board const& board : aFindings.mBoards)
    {
        addRows(table, board);
    }
    return table.text();
}

Answer vendor(Setting const& aSetting)
{
    aSetting.mPartial.provide([] { return Answer{jsonOf(Findings()), ""}; });
    Findings findings;
    try
    {
        query(findings, aSetting.mReport);
    }
    catch (QZCException const& exception)
    {
        aSetting.mReport.addFailure(failureOf(exception));
    }
    catch (std::exception const& exception)
    {
        aSetting.mReport.addError(ExitCode::failed, exception.what());
    }
    return {jsonOf(findings), tableOf(findings, aSetting.mIsColoured)};
}
}  // namespace

void addVendor(CommandLine& aCommandLine)
{
    ArgumentList arguments = aCommandLine.addVerb(
        "vendor", "Show the vendor library (libvqm), its driver and its boards",
        "  qzagent vendor             versions, support of Quazor events, and board names\n",
        [](Setting const& aSetting) { return vendor(aSetting); });
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
