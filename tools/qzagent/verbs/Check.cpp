#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "toml/TomlError.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/check/RulesFile.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/documents/LiveDocument.h"

namespace qzagent
{
namespace
{
/// Names of the documents, which are those in a bundle.
/// @{
constexpr char const* inventoryName = "inventory";
constexpr char const* firstStatisticsName = "statistics-start";
constexpr char const* secondStatisticsName = "statistics-end";
constexpr char const* latencyName = "latency";
constexpr char const* watchName = "watch";
/// @}

struct CheckOptions
{
    std::optional<std::string> mBundle;  ///< none for the host now
    std::optional<std::string> mRules;
    std::optional<std::string> mBaseline;
    std::uint64_t mSeconds = 2;    ///< between the looks at the counters
    std::uint64_t mTimeout = 300;  ///< of each look, in seconds
    bool mPrintsRules = false;
};

/// The documents that the enabled rules need.
struct Needs
{
    explicit Needs(RuleSettings const& aRules)
        : mCounters(aRules[RuleId::linkFlapping].mIsEnabled || aRules[RuleId::errorsRising].mIsEnabled),
          mLatency(aRules[RuleId::slowTarget].mIsEnabled),
          mEvents(!aRules.mCategories.empty() &&
                  (aRules[RuleId::events].mIsEnabled || aRules[RuleId::eventsDropped].mIsEnabled))
    {
    }

    /// @return whether all that is needed could be read
    bool areMetBy(Documents const& aDocuments) const
    {
        auto const isComplete = [&aDocuments](char const* aName)
        {
            auto const found = aDocuments.find(aName);
            return found != aDocuments.end() &&
                   DocumentValue(found->second, aName).at("exit_status").json() == 0;
        };
        return isComplete(inventoryName) &&
               (!mCounters || (isComplete(firstStatisticsName) && isComplete(secondStatisticsName))) &&
               (!mLatency || isComplete(latencyName)) && (!mEvents || isComplete(watchName));
    }

    bool mCounters;
    bool mLatency;
    bool mEvents;
};

/// Collects the needed documents from the host.
class HostLook
{
public:
    HostLook(Setting const& aSetting, CheckOptions const& aOptions) : mSetting(aSetting), mOptions(aOptions)
    {
    }

    /// @throws DocumentError when a verb gives none, or after a signal
    Documents take(Needs const& aNeeds)
    {
        add(inventoryName, &addInventory, {"inventory"});
        if (aNeeds.mCounters)
        {
            add(firstStatisticsName, &addStatistics, {"statistics"});
        }
        if (aNeeds.mEvents)
        {
            watch();
        }
        else if (aNeeds.mCounters)
        {
            wait();
        }
        if (aNeeds.mCounters)
        {
            add(secondStatisticsName, &addStatistics, {"statistics"});
        }
        if (aNeeds.mLatency)
        {
            add(latencyName, &addLatency, {"latency"});
        }
        return std::move(mDocuments);
    }

private:
    /// The events are counted, not kept.
    void watch()
    {
        add(watchName, &addWatch,
            {"watch", "--quiet", "--output", "/dev/null", "--format", "records", "--seconds",
             std::to_string(mOptions.mSeconds)});
    }

    void wait()
    {
        pollfd stop{mSignals.descriptor(), POLLIN, 0};
        constexpr std::uint64_t millisecondsPerSecond = 1000;
        ::poll(&stop, 1, static_cast<int>(mOptions.mSeconds * millisecondsPerSecond));
    }

    void add(char const* aName, void (*aAdd)(CommandLine&), std::vector<std::string> const& aArguments)
    {
        std::chrono::seconds const limit(mOptions.mTimeout + mOptions.mSeconds);
        mDocuments.emplace(aName, readLive(mSetting, mSignals, limit, aAdd, aArguments));
    }

    Setting const& mSetting;
    CheckOptions const& mOptions;
    StopSignals mSignals;
    Documents mDocuments;
};

HostState stateIn(Documents const& aDocuments)
{
    auto const find = [&aDocuments](char const* aName)
    {
        auto const found = aDocuments.find(aName);
        return found == aDocuments.end() ? nullptr : &found->second;
    };
    HostState state;
    if (auto const* const inventory = find(inventoryName))
    {
        state.mInventory = hostTreeOf(*inventory, inventoryName);
    }
    auto const* const first = find(firstStatisticsName);
    auto const* const second = find(secondStatisticsName);
    if (first != nullptr && second != nullptr)
    {
        state.mCounters = countersBetween(*first, *second);
    }
    if (auto const* const latency = find(latencyName))
    {
        state.mLatencies = latenciesIn(*latency);
    }
    if (auto const* const events = find(watchName))
    {
        state.mEvents = eventsIn(*events);
    }
    return state;
}

nlohmann::ordered_json jsonOf(std::vector<Finding> const& aFindings, RuleSettings const& aRules)
{
    auto list = nlohmann::ordered_json::array();
    for (Finding const& finding : aFindings)
    {
        Rule const& rule = ruleOf(finding.mRule);
        list.push_back({{"rule", rule.mName},
                        {"severity", nameOf(aRules[finding.mRule].mSeverity)},
                        {"where", finding.mWhere},
                        {"what", finding.mWhat},
                        {"why", rule.mWhy},
                        {"next", rule.mNext}});
    }
    return list;
}

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

/// @return whether everything in the baseline could be compared
bool addChanges(std::vector<Finding>& aFindings, std::string const& aBaseline, HostTree const& aHost)
{
    HostTree const baseline =
        hostTreeOf(documentNamed(inventoryName, readDocuments(aBaseline), aBaseline), aBaseline);
    std::vector<Change> const changes = changesBetween(baseline, aHost);
    std::vector<Finding> const found = findingsIn(changes);
    aFindings.insert(aFindings.end(), found.begin(), found.end());
    return found.size() == changes.size();
}

Answer examine(Setting const& aSetting, CheckOptions const& aOptions)
{
    RuleSettings const rules = aOptions.mRules ? readRules(*aOptions.mRules) : RuleSettings();
    if (aOptions.mPrintsRules)
    {
        return {{{"rules", rules.text()}}, rules.text()};
    }
    Needs const needs(rules);
    Documents const documents =
        aOptions.mBundle ? readDocuments(*aOptions.mBundle) : HostLook(aSetting, aOptions).take(needs);
    HostState const state = stateIn(documents);
    std::vector<Finding> findings = findingsIn(state, rules);
    bool isComplete = needs.areMetBy(documents);
    if (aOptions.mBaseline && state.mInventory && rules[RuleId::changedSinceBaseline].mIsEnabled)
    {
        isComplete = addChanges(findings, *aOptions.mBaseline, *state.mInventory) && isComplete;
    }
    if (!isComplete)
    {
        aSetting.mReport.addNote("not everything could be read; there may be more findings");
    }
    aSetting.mReport.addOthers(!findings.empty() ? ExitCode::failed
                               : isComplete      ? ExitCode::success
                                                 : ExitCode::notSeen);
    return {{{"findings", jsonOf(findings, rules)}, {"complete", isComplete}}, textOf(findings, rules)};
}

Answer check(Setting const& aSetting, CheckOptions const& aOptions)
{
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
