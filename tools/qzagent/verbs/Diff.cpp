#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/diff/ChangeJson.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/diff/Looks.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/documents/LiveDocument.h"

namespace qzagent
{
namespace
{
struct DiffOptions
{
    std::string mOld;
    std::optional<std::string> mNew;  ///< none for the host now
    std::uint64_t mTimeout = 300;     ///< of the look at the host, in seconds
};

HostTree treeOfHost(Setting const& aSetting, DiffOptions const& aOptions, HostTree const& aOld)
{
    StopSignals signals;
    std::chrono::seconds const limit(aOptions.mTimeout);
    return hostTreeOf(readLive(aSetting, signals, limit, &addInventory, lookLike(aOld)), "the host");
}

nlohmann::ordered_json sourceOf(HostTree const& aTree)
{
    return {{"host", aTree.mHost}, {"generated_at", aTree.mTime}};
}

/// What changed counts more than what is unknown.
ExitCode exitCodeOf(std::vector<Change> const& aChanges)
{
    bool isUnknown = false;
    for (Change const& change : aChanges)
    {
        if (change.mKind != ChangeKind::unknown)
        {
            return ExitCode::failed;
        }
        isUnknown = true;
    }
    return isUnknown ? ExitCode::notSeen : ExitCode::success;
}

Answer compare(Setting const& aSetting, DiffOptions const& aOptions)
{
    HostTree const oldTree = lookIn(aOptions.mOld, aSetting.mReport);
    HostTree const newTree =
        aOptions.mNew ? lookIn(*aOptions.mNew, aSetting.mReport) : treeOfHost(aSetting, aOptions, oldTree);
    std::vector<Change> const changes = qzagent::compare(oldTree, newTree, aSetting.mReport);
    aSetting.mReport.addOthers(exitCodeOf(changes));
    return {{{"old", sourceOf(oldTree)}, {"new", sourceOf(newTree)}, {"changes", jsonOf(changes)}},
            textOf(changes)};
}

Answer diff(Setting const& aSetting, DiffOptions const& aOptions)
{
    if (aOptions.mOld == "-" && aOptions.mNew == "-")
    {
        aSetting.mReport.addError(ExitCode::misused,
                                  "only one of the two looks can be standard input; see qzagent diff --help");
        return {};
    }
    try
    {
        return compare(aSetting, aOptions);
    }
    catch (DocumentError const& error)
    {
        aSetting.mReport.addError(ExitCode::notSeen, error.what());
    }
    return {};
}
}  // namespace

void addDiff(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<DiffOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "diff", "Show what changed on a host between two looks",
        "  qzagent diff before.json   what changed since inventory --json > before.json\n"
        "  qzagent diff before.json after.json\n"
        "                             what changed between two looks\n",
        [options](Setting const& aSetting) { return diff(aSetting, *options); });
    arguments.addPositional(
        "OLD", options->mOld,
        "The first look: what inventory --json printed, or a bundle; - for standard input");
    arguments.addPositional("NEW", options->mNew, "The second look; the host now by default");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mTimeout,
                        "Give up when the look at the host takes longer than S seconds; 300 by default");
}
}  // namespace qzagent
