#include "tools/qzagent/check/Findings.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/PathFindings.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
namespace
{
/// The 99th percentile of fewer latencies is the longest of them.
constexpr std::uint64_t fewestOfPercentile = 100;

/// Counters of damaged and lost frames and words.
constexpr char const* errorCounters[] = {"error_frames", "dumped_frames", "primitive_seq_protocol_err_count",
                                         "invalid_tx_word_count", "invalid_crc_count"};

/// Counters of interruptions of the link.
constexpr char const* linkCounters[] = {"link_failure_count", "loss_of_sync_count", "loss_of_signal_count"};

std::string nameOf(std::string const& aAdapter, std::string const& aPort)
{
    return fmt::format("port {} of adapter {}", aPort, aAdapter);
}

/// @param aName such as "16GBIT"
/// @return the number of Gbit; 0 for what is no speed
unsigned int gigabitsOf(std::string const& aName)
{
    char const* const end = aName.data() + aName.size();
    unsigned int gigabits = 0;
    auto const [unit, error] = std::from_chars(aName.data(), end, gigabits);
    bool const isSpeed =
        error == std::errc() && std::string_view(unit, static_cast<std::size_t>(end - unit)) == "GBIT";
    return isSpeed ? gigabits : 0;
}

unsigned int speedOf(HostPart const& aPort)
{
    return fieldText(aPort, "state") == "ONLINE" ? gigabitsOf(fieldText(aPort, "speed")) : 0;
}

unsigned int fastestOf(HostPart const& aPort)
{
    auto const found = aPort.mFields.find("supported_speeds");
    unsigned int fastest = 0;
    if (found != aPort.mFields.end() && found->second.is_array())
    {
        for (auto const& speed : found->second)
        {
            fastest = std::max(fastest, speed.is_string() ? gigabitsOf(speed.get<std::string>()) : 0);
        }
    }
    return fastest;
}

class Examination
{
public:
    Examination(HostState const& aHost, RuleSettings const& aSettings) : mHost(aHost), mSettings(aSettings) {}

    std::vector<Finding> run()
    {
        if (mHost.mInventory)
        {
            HostPart const& root = mHost.mInventory->mRoot;
            for (HostPart const& adapter : root.mParts)
            {
                examinePorts(adapter);
            }
            examineVersions(RuleId::driverUnequal, "driver_version");
            examineVersions(RuleId::firmwareUnequal, "firmware_version");
            for (Finding const& finding : pathFindingsIn(root, mSettings[RuleId::manyLuns].mLimit))
            {
                add(finding.mRule, finding.mWhere, finding.mWhat);
            }
        }
        examineCounters();
        examineLatencies();
        examineEvents();
        auto const rule = [](Finding const& aFinding, Finding const& aOther)
        { return aFinding.mRule < aOther.mRule; };
        std::stable_sort(mFindings.begin(), mFindings.end(), rule);
        return std::move(mFindings);
    }

private:
    void add(RuleId aRule, std::string const& aWhere, std::string const& aWhat)
    {
        if (mSettings[aRule].mIsEnabled)
        {
            mFindings.push_back({aRule, aWhere, aWhat});
        }
    }

    std::uint64_t limitOf(RuleId aRule) const { return mSettings[aRule].mLimit; }

    void examinePorts(HostPart const& aAdapter)
    {
        std::map<unsigned int, std::string> speeds;
        for (HostPart const& port : aAdapter.mParts)
        {
            if (port.mKind != PartKind::port)
            {
                continue;
            }
            if (isDown(port))
            {
                add(RuleId::linkDown, nameOf(aAdapter.mName, port.mName),
                    "the state is " + fieldText(port, "state"));
            }
            unsigned int const speed = speedOf(port);
            if (speed > 0 && speed < fastestOf(port))
            {
                add(RuleId::speedBelowSupported, nameOf(aAdapter.mName, port.mName),
                    fmt::format("{} Gbit, and the port supports {} Gbit", speed, fastestOf(port)));
            }
            if (speed > 0)
            {
                speeds.emplace(speed, port.mName);
            }
        }
        if (speeds.size() > 1)
        {
            add(RuleId::speedUnequal, "adapter " + aAdapter.mName,
                fmt::format("port {} runs at {} Gbit, port {} at {} Gbit", speeds.begin()->second,
                            speeds.begin()->first, speeds.rbegin()->second, speeds.rbegin()->first));
        }
    }

    /// Finds adapters of one model that differ in a version.
    void examineVersions(RuleId aRule, char const* aKey)
    {
        std::map<std::string, std::map<std::string, std::string>> versionsOfModels;
        for (HostPart const& adapter : mHost.mInventory->mRoot.mParts)
        {
            std::string const model = fieldText(adapter, "model");
            std::string const version = fieldText(adapter, aKey);
            if (!model.empty() && !version.empty())
            {
                versionsOfModels[model].emplace(version, adapter.mName);
            }
        }
        for (auto const& [model, versions] : versionsOfModels)
        {
            std::vector<std::string> texts;
            for (auto const& [version, adapter] : versions)
            {
                texts.push_back(fmt::format("{} ({})", version, adapter));
            }
            if (texts.size() > 1)
            {
                add(aRule, "model " + model, fmt::format("versions {}", fmt::join(texts, ", ")));
            }
        }
    }

    /// @return the counters that rose by more than the limit in total; none otherwise
    template <std::size_t size>
    std::vector<std::string> risesIn(RuleId aRule, PortCounters const& aPort,
                                     char const* const (&aCounters)[size])
    {
        std::uint64_t sum = 0;
        std::vector<std::string> texts;
        for (char const* const counter : aCounters)
        {
            auto const found = aPort.mRises.find(counter);
            if (found != aPort.mRises.end() && found->second > 0)
            {
                sum += found->second;
                std::string name = counter;
                std::replace(name.begin(), name.end(), '_', ' ');
                texts.push_back(fmt::format("{} +{}", name, found->second));
            }
        }
        return sum > limitOf(aRule) ? texts : std::vector<std::string>();
    }

    void examineCounters()
    {
        std::map<PortName, std::vector<std::string>> flapping;
        for (PortCounters const& port : mHost.mCounters)
        {
            PortName const name(port.mAdapter, port.mPort);
            flapping[name] = risesIn(RuleId::linkFlapping, port, linkCounters);
            std::vector<std::string> const errors = risesIn(RuleId::errorsRising, port, errorCounters);
            add(RuleId::errorsRising, name, errors);
        }
        for (auto const& [name, change] : stateChanges())
        {
            flapping[name].push_back(change);
        }
        for (auto const& [name, texts] : flapping)
        {
            add(RuleId::linkFlapping, name, texts);
        }
    }

    void add(RuleId aRule, PortName const& aPort, std::vector<std::string> const& aTexts)
    {
        if (!aTexts.empty())
        {
            add(aRule, nameOf(aPort.first, aPort.second), fmt::format("{}", fmt::join(aTexts, ", ")));
        }
    }

    /// @return ports whose state differs between the inventory and the look at the ports, and the states
    std::map<PortName, std::string> stateChanges() const
    {
        std::map<PortName, std::string> changes;
        if (!mHost.mInventory)
        {
            return changes;
        }
        for (HostPart const& adapter : mHost.mInventory->mRoot.mParts)
        {
            for (HostPart const& port : adapter.mParts)
            {
                auto const other = mHost.mStates.find({adapter.mName, port.mName});
                std::string const state = fieldText(port, "state");
                if (other != mHost.mStates.end() && isKnownState(state) && isKnownState(other->second) &&
                    state != other->second)
                {
                    changes[other->first] =
                        fmt::format("the state was {} in one look and {} in another", state, other->second);
                }
            }
        }
        return changes;
    }

    static bool isKnownState(std::string const& aState) { return !aState.empty() && aState != "UNKNOWN"; }

    /// Joins the slow ports of a target.
    void examineLatencies()
    {
        std::map<std::string, std::string> const targets = targetsOfPorts();
        std::map<std::string, std::vector<TargetLatency>> slow;
        for (TargetLatency const& latency : mHost.mLatencies)
        {
            if (latency.mMicroseconds > static_cast<double>(limitOf(RuleId::slowTarget)))
            {
                auto const target = targets.find(latency.mTargetPort);
                slow[target == targets.end() ? latency.mTargetPort : target->second].push_back(latency);
            }
        }
        for (auto const& [target, latencies] : slow)
        {
            std::set<std::string> ports;
            std::set<std::string> adapters;
            double longest = 0;
            std::uint64_t requests = 0;
            for (TargetLatency const& latency : latencies)
            {
                ports.insert(latency.mTargetPort);
                adapters.insert(latency.mAdapter);
                longest = std::max(longest, latency.mMicroseconds);
                requests = std::max(requests, latency.mRequests);
            }
            add(RuleId::slowTarget,
                fmt::format("{} behind {}", namesOf("target port", ports), namesOf("adapter", adapters)),
                fmt::format("p99 is {}{:.0f} us{}", latencies.size() == 1 ? "" : "up to ", longest,
                            requests < fewestOfPercentile
                                ? fmt::format(", the slowest of {}", counted(requests, "request"))
                                : ""));
        }
    }

    /// @return the targets in the inventory by the names of their ports
    std::map<std::string, std::string> targetsOfPorts() const
    {
        std::map<std::string, std::string> targets;
        for (Path const& path : mHost.mInventory ? pathsIn(mHost.mInventory->mRoot) : std::vector<Path>())
        {
            targets.emplace(path.mRemotePort->mName, path.mRemotePort->mTarget);
        }
        return targets;
    }

    void examineEvents()
    {
        for (auto const& [place, count] : mHost.mEvents.mCounts)
        {
            auto const& categories = mSettings.mCategories;
            bool const isNamed =
                std::find(categories.begin(), categories.end(), place.second) != categories.end();
            if (isNamed && count > limitOf(RuleId::events))
            {
                add(RuleId::events, fmt::format("board {}", place.first),
                    fmt::format("{} of category {}", counted(count, "event"), place.second));
            }
        }
        for (auto const& [board, count] : mHost.mEvents.mDrops)
        {
            if (count > limitOf(RuleId::eventsDropped))
            {
                add(RuleId::eventsDropped, fmt::format("board {}", board), counted(count, "event"));
            }
        }
    }

    HostState const& mHost;
    RuleSettings const& mSettings;
    std::vector<Finding> mFindings;
};
}  // namespace

std::vector<Finding> findingsIn(HostState const& aHost, RuleSettings const& aSettings)
{
    return Examination(aHost, aSettings).run();
}

std::vector<Finding> findingsIn(std::vector<Change> const& aChanges)
{
    std::vector<Finding> findings;
    for (Change const& change : aChanges)
    {
        if (change.mKind != ChangeKind::unknown)
        {
            findings.push_back({RuleId::changedSinceBaseline, subjectOf(change), detailsOf(change)});
        }
    }
    return findings;
}
}  // namespace qzagent
