#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Exception.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/PartialAnswer.h"
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

/// Reports the versions that the library did not write. Without boards it has not been asked for that of the driver.
void reportMissing(LibvqmVersions const& aVersions, bool aHasBoards, Report& aReport)
{
    if (!aVersions.mLibrary)
    {
        aReport.addError(ExitCode::failed, "VQM_GetLibVer wrote no version of the library");
    }
    if (aHasBoards && !aVersions.mDriver)
    {
        aReport.addError(ExitCode::failed, "VQM_InitDiagEnv wrote no version of the driver");
    }
}

/// The findings so far, which a timeout shows from another thread.
class SharedFindings
{
public:
    template <typename Change>
    void change(Change const& aChange)
    {
        std::lock_guard const lock(mMutex);
        aChange(mFindings);
    }

    Findings get() const
    {
        std::lock_guard const lock(mMutex);
        return mFindings;
    }

private:
    mutable std::mutex mMutex;
    Findings mFindings;
};

/// @param aFindings set step by step, so that it keeps the answers before a failure
void query(SharedFindings& aFindings, Report& aReport)
{
    std::unique_ptr<qz::VqmLibrary> const library = loadVqm(aReport);
    LibvqmVersions versions;
    ReportedEnvironment environment =
        openEnvironment(*library, aReport, versions,
                        [&] { aFindings.change([&](Findings& aFound) { aFound.mVersions = versions; }); });
    if (numberOfBoards(*environment) == 0)
    {
        aReport.addNote("no boards");
        versions.mLibrary = libraryVersion();
        aFindings.change([&](Findings& aFound) { aFound.mVersions = versions; });
        reportMissing(versions, false, aReport);
        return;
    }
    reportMissing(versions, true, aReport);
    visitBoards(*environment, aReport,
                [&](Board&& aBoard) {
                    aFindings.change([&](Findings& aFound) { aFound.mBoards.push_back(std::move(aBoard)); });
                });
    bool const isSupported = supportsQuazorEvents(*environment);
    aFindings.change([&](Findings& aFound) { aFound.mSupportsQuazor = isSupported; });
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

void addVersion(Table& aTable, char const* aItem, std::optional<std::string> const& aVersion)
{
    aTable.addRow({std::string(aItem), aVersion ? Table::Cell(*aVersion) : Table::Cell("failed", "red")});
}

/// Boards in a row that failed in the same way.
struct FailedBoards
{
    Board const& mFirst;
    Board const& mLast;
};

void addRows(Table& aTable, FailedBoards const& aBoards)
{
    Failure const& failure = *aBoards.mFirst.mFailure;
    bool const isOne = aBoards.mFirst.mNumber == aBoards.mLast.mNumber;
    Table::Row const row =
        aTable.addRow({isOne ? fmt::format("board {}", aBoards.mFirst.mNumber)
                             : fmt::format("boards {} to {}", aBoards.mFirst.mNumber, aBoards.mLast.mNumber),
                       std::string()});
    Table::Row const failed = aTable.addRow({std::string("failed"), {textOf(failure), "red"}}, row);
    aTable.addRow({std::string(isOne ? "cause" : "first cause"), failure.mCause->mText}, failed);
}

void addRows(Table& aTable, Board const& aBoard)
{
    Table::Row const row = aTable.addRow({fmt::format("board {}", aBoard.mNumber), std::string()});
    aTable.addRow({std::string("first wwn"), std::string(aBoard.mFirstWwn->getStringForm().get())}, row);
    aTable.addRow({std::string("second wwn"), std::string(aBoard.mSecondWwn->getStringForm().get())}, row);
}

/// @return the end of the boards from the first one on that share a row: those that failed in the same way, if there are
///         more than a few
std::vector<Board>::const_iterator endOfShared(std::vector<Board>::const_iterator aFirst,
                                               std::vector<Board>::const_iterator aEnd)
{
    constexpr std::ptrdiff_t few = 3;
    auto const end = std::find_if(aFirst, aEnd,
                                  [aFirst](Board const& aBoard) {
                                      return !aFirst->mFailure || !aBoard.mFailure ||
                                             textOf(*aBoard.mFailure) != textOf(*aFirst->mFailure);
                                  });
    return std::distance(aFirst, end) > few ? end : std::next(aFirst);
}

std::string tableOf(Findings const& aFindings, bool aColoured)
{
    Table table({{"ITEM", Table::Fit::tree}, {"VALUE", Table::Fit::wrapped}}, aColoured);
    addVersion(table, "library version", aFindings.mVersions.mLibrary);
    if (aFindings.mVersions.mDriver || !aFindings.mBoards.empty())
    {
        addVersion(table, "driver version", aFindings.mVersions.mDriver);
    }
    if (aFindings.mSupportsQuazor)
    {
        table.addRow({{"quazor events"}, {*aFindings.mSupportsQuazor ? "supported" : "not supported"}});
    }
    std::vector<Board> const& boards = aFindings.mBoards;
    for (auto board = boards.begin(); board != boards.end();)
    {
        auto const next = endOfShared(board, boards.end());
        if (board->mFailure)
        {
            addRows(table, FailedBoards{*board, *std::prev(next)});
        }
        else
        {
            addRows(table, *board);
        }
        board = next;
    }
    return table.text();
}

/// @param aHasTable whether there is something to show in a table
Answer answerOf(Findings const& aFindings, bool aHasTable, Setting const& aSetting)
{
    return {jsonOf(aFindings), aHasTable ? tableOf(aFindings, aSetting.mIsColoured) : ""};
}

Answer vendor(Setting const& aSetting)
{
    SharedFindings findings;
    ScopedSource source(aSetting.mPartial,
                        [&]
                        {
                            Findings const found = findings.get();
                            bool const hasVersion = found.mVersions.mLibrary || found.mVersions.mDriver;
                            return answerOf(found, hasVersion || !found.mBoards.empty(), aSetting);
                        });
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
    Findings const found = findings.get();
    Answer answer = answerOf(found, found.mVersions.mLibrary || !found.mBoards.empty(), aSetting);
    source.setLast(answer);
    return answer;
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
