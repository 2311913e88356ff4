#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmGuards.h"
#include "tools/qzagent/vqm/VqmVersions.h"

namespace qzagent
{
namespace
{
/// What the vendor's library told.
struct Told
{
    LibvqmVersions mVersions;
    std::optional<bool> mOffersQuazor;  ///< none without boards: there is nothing to judge by
    std::vector<Board> mBoards;
};

DiagnosticEnvironment initialise(LoadedLibvqm& aLibrary, Report& aReport, LibvqmVersions& aVersions)
{
    LibvqmVersionLog const log(aReport.errors(), aVersions);
    return {aLibrary, aReport};
}

/// @param aTold set step by step: what comes before a failure is kept
void ask(Told& aTold, Report& aReport)
{
    LoadedLibvqm library;
    DiagnosticEnvironment const environment = initialise(library, aReport, aTold.mVersions);
    if (library.call(&QZCLibvqmAbs::LIBVQM_GetNumberOfAdapters) == 0)
    {
        aReport.addNote("no boards");
        return;
    }
    aTold.mOffersQuazor = library.call(&QZCLibvqmAbs::LIBVQM_IsQzapiSupported);
    aTold.mBoards = boardsOf(library, aReport);
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

nlohmann::ordered_json jsonOf(Told const& aTold)
{
    auto json = nlohmann::ordered_json::object();
    if (aTold.mVersions.mLibrary)
    {
        json["library_version"] = *aTold.mVersions.mLibrary;
    }
    if (aTold.mVersions.mDriver)
    {
        json["driver_version"] = *aTold.mVersions.mDriver;
    }
    if (aTold.mOffersQuazor)
    {
        json["quazor_events"] = *aTold.mOffersQuazor;
    }
    json["boards"] = nlohmann::ordered_json::array();
    for (Board const& board : aTold.mBoards)
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

/// @return a table; nothing without boards
std::string tableOf(Told const& aTold, bool aColoured)
{
    if (aTold.mBoards.empty())
    {
        return {};
    }
    Table table({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::wrapped}}, aColoured);
    addRow(table, "library version", aTold.mVersions.mLibrary);
    addRow(table, "driver version", aTold.mVersions.mDriver);
    addRow(table, "quazor events", *aTold.mOffersQuazor ? "supported" : "not supported");
    for (Board const& board : aTold.mBoards)
    {
        addRows(table, board);
    }
    return table.text();
}

Answer vendor(Setting const& aSetting)
{
    Told told;
    try
    {
        ask(told, aSetting.mReport);
    }
    catch (std::exception const& exception)
    {
        aSetting.mReport.addFailure(failureOf(exception));
    }
    return {jsonOf(told), tableOf(told, aSetting.mIsColoured)};
}
}  // namespace

void addVendor(CommandLine& aCommandLine)
{
    aCommandLine.addVerb("vendor", "Show the vendor's diagnostic library, its driver and its boards",
                         "  qzagent vendor             versions, Quazor verdict and the boards' names\n",
                         [](Setting const& aSetting) { return vendor(aSetting); });
}
}  // namespace qzagent
