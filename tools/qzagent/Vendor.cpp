#include "tools/qzagent/Vendor.h"

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/CommandLine.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/LibvqmBoards.h"
#include "tools/qzagent/LibvqmGuards.h"
#include "tools/qzagent/LibvqmVersions.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/Table.h"

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

DiagnosticEnvironment initialise(LoadedLibvqm& arLibrary, Report& arReport, LibvqmVersions& arVersions)
{
    LibvqmVersionLog const log(arReport.errors(), arVersions);
    return {arLibrary, arReport};
}

/// @param arTold set step by step: what comes before a failure is kept
void ask(Told& arTold, Report& arReport)
{
    LoadedLibvqm library;
    DiagnosticEnvironment const environment = initialise(library, arReport, arTold.mVersions);
    if (library.call(&QZCLibvqmAbs::LIBVQM_GetNumberOfAdapters) == 0)
    {
        arReport.addNote("no boards");
        return;
    }
    arTold.mOffersQuazor = library.call(&QZCLibvqmAbs::LIBVQM_IsQzapiSupported);
    arTold.mBoards = boardsOf(library, arReport);
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

void addRow(Table& arTable, char const* aItem, std::optional<std::string> const& aValue)
{
    if (aValue)
    {
        arTable.addRow({std::string(aItem), *aValue});
    }
}

void addRows(Table& arTable, Board const& aBoard)
{
    Table::Row const row = arTable.addRow({fmt::format("board {}", aBoard.mNumber), std::string()});
    if (aBoard.mFailure)
    {
        arTable.addRow({std::string("failed"), {textOf(*aBoard.mFailure), "red"}}, row);
        return;
    }
    arTable.addRow({std::string("first wwn"), std::string(aBoard.mFirstWwn->getStringForm().get())}, row);
    arTable.addRow({std::string("second wwn"), std::string(aBoard.mSecondWwn->getStringForm().get())}, row);
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

void addVendor(CommandLine& arCommandLine)
{
    arCommandLine.addVerb("vendor", "Show the vendor's diagnostic library, its driver and its boards",
                          "  qzagent vendor             versions, Quazor verdict and the boards' names\n",
                          [](Setting const& aSetting) { return vendor(aSetting); });
}
}  // namespace qzagent
