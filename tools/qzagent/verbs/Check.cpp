#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "toml/TomlError.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostCheck.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/check/RulesFile.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/diff/Looks.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/documents/LiveDocument.h"

namespace qzagent
{
namespace
{
/// What the option names.
constexpr char const* baselineName = "baseline";

struct CheckOptions
{
    std::optional<std::string> mBundle;  ///< none for the host now
    std::optional<std::string> mRules;
    std::optional<std::string> mBaseline;
    std::uint64_t mSeconds = 2;    ///< between the looks at the counters
    std::uint64_t mTimeout = 300;  ///< of each look, in seconds
    bool mPrintsRules = false;
};

/// Collects the needed documents from the host.
class HostLook
{
public:
    HostLook(Setting const& aSetting, CheckOptions const& aOptions, Gaps& aGaps)
        : mSetting(aSetting), mOptions(aOptions), mGaps(aGaps)
    {
    }

    /// Collects what it can, until a signal arrives.
    Documents take(Needs const& aNeeds, std::vector<std::string> const& aInventory)
    {
        add(inventoryName, &addInventory, aInventory);
        bool const hasCounters = aNeeds.mCounters && add(firstStatisticsName, &addStatistics, {"statistics"});
        Clock::time_point const end = Clock::now() + std::chrono::seconds(mOptions.mSeconds);
        if (aNeeds.mEvents)
        {
            watch();
        }
        if (hasCounters || aNeeds.mStates)
        {
            waitUntil(end);
        }
        if (hasCounters)
        {
            add(secondStatisticsName, &addStatistics, {"statistics"});
        }
        if (aNeeds.mStates)
        {
            add(portsName, &addPorts, {"ports"});
        }
        if (aNeeds.mLatency)
        {
            add(latencyName, &addLatency, {"latency"});
        }
        return std::move(mDocuments);
    }

private:
    using Clock = std::chrono::steady_clock;

    /// The events are counted, not kept.
    void watch()
    {
        add(watchName, &addWatch,
            {"watch", "--quiet", "--output", "/dev/null", "--format", "records", "--seconds",
             std::to_string(mOptions.mSeconds)});
    }

    /// Events are watched for this time already, unless they cannot be watched.
    void waitUntil(Clock::time_point aEnd)
    {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(aEnd - Clock::now());
        if (!mSignals.hasArrived() && left.count() > 0)
        {
            pollfd stop{mSignals.descriptor(), POLLIN, 0};
            ::poll(&stop, 1, static_cast<int>(left.count()));
        }
    }

    bool add(char const* aName, void (*aAdd)(CommandLine&), std::vector<std::string> const& aArguments)
    {
        mSignals.take();
        if (mSignals.hasArrived())
        {
            return false;
        }
        std::chrono::seconds const limit(mOptions.mTimeout + mOptions.mSeconds);
        return mGaps.attempt(
            aName, "",
            [&] { mDocuments.emplace(aName, readLive(mSetting, mSignals, limit, aAdd, aArguments)); });
    }

    Setting const& mSetting;
    CheckOptions const& mOptions;
    Gaps& mGaps;
    StopSignals mSignals;
    Documents mDocuments;
};

/// The explanation of a rule follows its last finding.
std::string textOf(std::vector<Finding> const& aFindings, RuleSettings const& aRules)
{
    std::string text;
    for (std::size_t i = 0; i < aFindings.size(); ++i)
    {
        Finding const& finding = aFindings[i];
        Rule const& rule = ruleOf(finding.mRule);
        text += printable(fmt::format("{} {}: {}: {}", nameOf(aRules[finding.mRule].mSeverity), rule.mName,
                                      finding.mWhere, finding.mWhat)) +
                "\n";
        if (i + 1 == aFindings.size() || aFindings[i + 1].mRule != finding.mRule)
        {
            text += fmt::format("  why: {}\n  next: {}\n", rule.mWhy, rule.mNext);
        }
    }
    return text;
}

/// @param aCode of the errors
void report(Gaps const& aGaps, ExitCode aCode, Report& aReport)
{
    for (std::string const& error : aGaps.mErrors)
    {
        aReport.addError(aCode, error);
    }
    if (!aGaps.mNames.empty())
    {
        aReport.addNote(fmt::format("not everything could be read ({}); there may be more findings",
                                    fmt::join(aGaps.mNames, ", ")));
    }
}

/// Compares the host with the baseline.
void addChanges(std::vector<Finding>& aFindings, HostTree const& aBaseline, HostTree const& aHost,
                Gaps& aGaps, Report& aReport)
{
    std::vector<Change> const changes = compare(aBaseline, aHost, aReport);
    std::vector<Finding> const found = findingsIn(changes);
    aFindings.insert(aFindings.end(), found.begin(), found.end());
    for (Change const& change : changes)
    {
        if (change.mKind == ChangeKind::unknown)
        {
            aReport.addNote(
                fmt::format("not compared with the baseline: {}: {}", subjectOf(change), detailsOf(change)));
            aGaps.mNames.insert(change.mIsUnknownInNew ? inventoryName : baselineName);
        }
    }
}

Answer examine(Setting const& aSetting, CheckOptions const& aOptions)
{
    RuleSettings const rules = aOptions.mRules ? readRules(*aOptions.mRules) : RuleSettings();
    if (aOptions.mPrintsRules)
    {
        return {{{"rules", rules.text()}}, rules.text()};
    }
    Needs const needs(rules);
    Gaps gaps;
    std::optional<HostTree> baseline;
    if (aOptions.mBaseline && rules[RuleId::changedSinceBaseline].mIsEnabled)
    {
        gaps.attempt(baselineName, "", [&] { baseline = lookIn(*aOptions.mBaseline, aSetting.mReport); });
    }
    Documents const documents =
        aOptions.mBundle
            ? readDocuments(*aOptions.mBundle, aSetting.mReport)
            : HostLook(aSetting, aOptions, gaps)
                  .take(needs, baseline ? lookLike(*baseline) : std::vector<std::string>{inventoryName});
    HostState const state = stateIn(documents, aOptions.mBundle.value_or("the host"), gaps);
    addIncomplete(needs, documents, gaps);
    if (state.mInventory && (hasFailure(state.mInventory->mRoot) || !state.mInventory->mRestriction.empty()))
    {
        gaps.mNames.insert(inventoryName);
    }
    std::vector<Finding> findings = findingsIn(state, rules);
    if (baseline && state.mInventory)
    {
        addChanges(findings, *baseline, *state.mInventory, gaps, aSetting.mReport);
    }
    bool const isComplete = gaps.mNames.empty();
    ExitCode const code = !findings.empty() ? ExitCode::failed
                          : isComplete      ? ExitCode::success
                                            : ExitCode::notSeen;
    report(gaps, code, aSetting.mReport);
    aSetting.mReport.addOthers(code);
    return {{{"findings", jsonOf(findings, rules)}, {"complete", isComplete}}, textOf(findings, rules)};
}

Answer check(Setting const& aSetting, CheckOptions const& aOptions)
{
    if (aOptions.mBundle == "-" && aOptions.mBaseline == "-")
    {
        aSetting.mReport.addError(
            ExitCode::misused,
            "only one of bundle and baseline can be standard input; see qzagent check --help");
        return {};
    }
    try
    {
        return examine(aSetting, aOptions);
    }
    catch (DocumentError const& error)
    {
        aSetting.mReport.addError(ExitCode::notSeen, error.what());
    }
    catch (tomlfile::TomlError const& error)
    {
        aSetting.mReport.addError(ExitCode::misused, error.what());
    }
    return {};
}
}  // namespace

void addCheck(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<CheckOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "check", "Find what is wrong with the host",
        "  qzagent check              findings with their reasons; exit status 1 if there are any\n"
        "  qzagent check --print-rules > rules.toml\n"
        "  qzagent check --rules rules.toml\n"
        "                             the same with other limits\n"
        "  qzagent explain link-down  what a finding means\n",
        [options](Setting const& aSetting) { return check(aSetting, *options); });
    arguments.addPositional("BUNDLE", options->mBundle, "Examine this bundle; the host now by default");
    arguments.addText("--rules", "FILE", options->mRules, "Read the settings of the rules from a TOML file");
    arguments.addText("--baseline", "FILE", options->mBaseline,
                      "Report what changed since this inventory or bundle");
    arguments.addFlag("--print-rules", options->mPrintsRules,
                      "Print the settings of the rules, and examine nothing");
    arguments.addNumber(
        "--seconds", "S", {1, longestLook}, options->mSeconds,
        "Wait S seconds between the two looks at the counters, and watch events for that time; 2 by "
        "default");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mTimeout,
                        "Kill a look that takes S seconds longer than it should; 300 by default");
}
}  // namespace qzagent
