#include "tools/qzagent/check/Rules.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qzagent
{
char const* nameOf(Severity aSeverity) { return aSeverity == Severity::error ? "error" : "warning"; }

std::array<Rule, numberOfRules> const rules{{
    {RuleId::linkDown,
     "link-down",
     Severity::error,
     {},
     "the state of a port is not ONLINE",
     "Nothing is reachable through the port, and other ports carry its load.",
     "Check cable, transceiver and switch port. If ports are unused on purpose, disable the rule."},
    {RuleId::linkFlapping, "link-flapping", Severity::error, Limit{"link_failures", 0},
     "the state of a port changes between two looks, or its counters of link failures and of lost "
     "synchronisation or signal rise; without port statistics, failures between the looks are not seen",
     "Each failure interrupts input and output, and paths fail over.",
     "Check transceiver and cable of the port, and the log of the switch at the same times."},
    {RuleId::speedBelowSupported,
     "speed-below-supported",
     Severity::warning,
     {},
     "a port runs below the fastest speed that it supports",
     "The port carries less than it could; a bad transceiver or a fixed setting of the switch is a frequent "
     "cause.",
     "Check the speed of the switch port; if the other end is not faster, disable the rule."},
    {RuleId::speedUnequal,
     "speed-unequal",
     Severity::warning,
     {},
     "the ports of an adapter run at different speeds",
     "Paths that share load equally are as slow as the slowest of them.",
     "Compare the switch ports, transceivers and cables of the ports."},
    {RuleId::singlePath,
     "single-path",
     Severity::warning,
     {},
     "a port has one path to a target to which another port has more, or none to a target that two other "
     "ports reach, or none to a target that another port with a common target reaches on several paths, or "
     "only one path leads to a target while others have more",
     "The loss of one link or controller port is the loss of the target.",
     "Compare the zones of the ports, and the state of the target's ports."},
    {RuleId::lunMissingOnPath,
     "lun-missing-on-path",
     Severity::error,
     {},
     "a target reports a LUN on one path and not on another",
     "The LUN has fewer paths than its neighbours, so a failure can make it unreachable.",
     "Compare the LUN masks of the target for the ports of this host."},
    {RuleId::lunNotReported,
     "lun-not-reported",
     Severity::error,
     {},
     "a LUN is mapped on the host, but its target reports it on no path",
     "The device of the LUN is stale: input and output to it fail.",
     "Check whether the LUN was removed, and remove its device from the host."},
    {RuleId::manyLuns, "many-luns", Severity::warning, Limit{"luns", 512},
     "a target port reports more LUNs than the limit",
     "Programs that read at most 512 LUNs of a target do not see the others.",
     "Check whether the host needs all LUNs, and the limits of its programs."},
    {RuleId::errorsRising, "errors-rising", Severity::warning, Limit{"errors", 0},
     "error counters of a port rise between two looks",
     "Frames are damaged or lost, and commands are repeated after their timeout.",
     "Check transceiver and cable; run qzagent statistics --interval 10 to see the rate."},
    {RuleId::driverUnequal,
     "driver-unequal",
     Severity::warning,
     {},
     "adapters of one model have different driver versions",
     "Adapters behave differently, and a fault of one version shows on some paths only.",
     "Load one version of the driver on all adapters; a restart may be pending."},
    {RuleId::firmwareUnequal,
     "firmware-unequal",
     Severity::warning,
     {},
     "adapters of one model have different firmware versions",
     "Adapters behave differently, and a fault of one version shows on some paths only.",
     "Update the firmware of the older adapters."},
    {RuleId::events, "events", Severity::warning, Limit{"events", 0},
     "events of a category that the rules name arrive; events are watched only while categories are named",
     "The vendor library reports a condition that the rules name.", "Run qzagent watch to see the events."},
    {RuleId::eventsDropped, "events-dropped", Severity::warning, Limit{"events", 0},
     "events were dropped because they arrived faster than they were written; seen only while the rule "
     "events "
     "names categories, and in bundles",
     "Nobody knows what the dropped events reported.",
     "Run qzagent watch with --board and --category: a watch of fewer events drops fewer."},
    {RuleId::slowTarget, "slow-target", Severity::warning, Limit{"p99_us", 20000},
     "the 99th percentile of the latencies of a target port exceeds the limit, in microseconds",
     "One answer of a hundred is slow, or one of the 10 that check measures, and applications wait for it.",
     "Run qzagent latency --count 1000 for a percentile of more answers, and --interval 10 to see whether it "
     "lasts, and check the target and its path."},
    {RuleId::changedSinceBaseline,
     "changed-since-baseline",
     Severity::warning,
     {},
     "the host differs from the inventory that --baseline names",
     "A change that nobody planned is often the cause of a fault.",
     "Compare with planned changes; keep a new baseline when the change is right."},
}};

Rule const& ruleOf(RuleId aId) { return rules[static_cast<std::size_t>(aId)]; }

Rule const* ruleNamed(std::string_view aName)
{
    auto const* const found =
        std::find_if(rules.begin(), rules.end(), [aName](Rule const& aRule) { return aRule.mName == aName; });
    return found == rules.end() ? nullptr : found;
}

RuleSettings::RuleSettings() : mSettings{}
{
    for (Rule const& rule : rules)
    {
        (*this)[rule.mId] = {true, rule.mSeverity, rule.mLimit ? rule.mLimit->mDefault : 0};
    }
}

std::string RuleSettings::text() const
{
    std::string text = "# The rules of qzagent check. A rule or key that is left out has its default.\n";
    for (Rule const& rule : rules)
    {
        RuleSetting const& setting = (*this)[rule.mId];
        text += fmt::format("\n# {}\n[{}]\nenabled = {}\nseverity = \"{}\"\n", rule.mMeaning, rule.mName,
                            setting.mIsEnabled, nameOf(setting.mSeverity));
        if (rule.mLimit)
        {
            text += fmt::format("{} = {}\n", rule.mLimit->mKey, setting.mLimit);
        }
        if (rule.mId == RuleId::events)
        {
            text += fmt::format("categories = [{}]\n", fmt::join(mCategories, ", "));
        }
    }
    return text;
}
}  // namespace qzagent
