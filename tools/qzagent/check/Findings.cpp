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
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
namespace
{
/// A way from a port of the host to a port of a target.
struct Path
{
    HostPart const* mAdapter;
    HostPart const* mPort;  ///< null for a target port that no port of the adapter discovered
    HostPart const* mTargetPort;
};

/// Counters of damaged and lost frames and words.
constexpr char const* errorCounters[] = {"error_frames", "dumped_frames", "primitive_seq_protocol_err_count",
                                         "invalid_tx_word_count", "invalid_crc_count"};

/// Counters of interruptions of the link.
constexpr char const* linkCounters[] = {"link_failure_count", "loss_of_sync_count", "loss_of_signal_count"};

std::string fieldOf(HostPart const& aPart, char const* aKey)
{
    auto const found = aPart.mFields.find(aKey);
    return found == aPart.mFields.end() ? "" : valueText(found->second);
}

std::string nameOf(std::string const& aAdapter, std::string const& aPort)
{
    return fmt::format("port {} of adapter {}", aPort, aAdapter);
}

std::string nameOf(Path const& aPath)
{
    std::string const where =
        aPath.mPort == nullptr ? "adapter " + aPath.mAdapter->mName : "port " + aPath.mPort->mName;
    return fmt::format("target port {} behind {}", aPath.mTargetPort->mName, where);
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
    return fieldOf(aPort, "state") == "ONLINE" ? gigabitsOf(fieldOf(aPort, "speed")) : 0;
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

/// LUNs of a target port, as text for a person.
template <typename Condition>
Luns lunsWhere(HostPart const& aTargetPort, Condition aCondition)
{
    Luns luns;
    for (HostPart const& lun : aTargetPort.mParts)
    {
        if (aCondition(lun))
        {
            luns.insert(lunNamed(lun.mName));
        }
    }
    return luns;
}

bool isField(HostPart const& aLun, char const* aKey, bool aValue)
{
    auto const found = aLun.mFields.find(aKey);
    return found != aLun.mFields.end() && found->second == aValue;
}

Luns reportedBy(HostPart const& aTargetPort)
{
    return lunsWhere(aTargetPort, [](HostPart const& aLun) { return isField(aLun, "reported", true); });
}

std::string lunsText(Luns const& aLuns)
{
    return fmt::format("{} {}", aLuns.size() == 1 ? "LUN" : "LUNs", qzagent::textOf(aLuns));
}

class Examination
{
public:
    Examination(HostState const& aHost, RuleSettings const& aSettings) : mHost(aHost), mSettings(aSettings) {}

    std::vector<Finding> run()
    {
        if (mHost.mInventory)
        {
            for (HostPart const& adapter : mHost.mInventory->mRoot.mParts)
            {
                examinePorts(adapter);
                addPaths(adapter);
            }
            examineVersions(RuleId::driverUnequal, "driver_version");
            examineVersions(RuleId::firmwareUnequal, "firmware_version");
            for (auto const& [target, paths] : mPaths)
            {
                examinePaths(target, paths);
                examineLuns(paths);
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
            std::string const state = fieldOf(port, "state");
            if (!state.empty() && state != "ONLINE" && state != "UNKNOWN")
            {
                add(RuleId::linkDown, nameOf(aAdapter.mName, port.mName), "the state is " + state);
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
            std::string const model = fieldOf(adapter, "model");
            std::string const version = fieldOf(adapter, aKey);
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

    void addPaths(HostPart const& aAdapter)
    {
        auto const addPath = [&](HostPart const* aPort, HostPart const& aRemotePort)
        {
            if (!aRemotePort.mParts.empty())
            {
                mPaths[aRemotePort.mTarget].push_back({&aAdapter, aPort, &aRemotePort});
            }
        };
        for (HostPart const& part : aAdapter.mParts)
        {
            if (part.mKind == PartKind::remotePort)
            {
                addPath(nullptr, part);
                continue;
            }
            for (HostPart const& remotePort : part.mParts)
            {
                addPath(&part, remotePort);
            }
        }
    }

    bool hasTargetOfSeveralPaths() const
    {
        return std::any_of(mPaths.begin(), mPaths.end(),
                           [](auto const& aTarget) { return aTarget.second.size() > 1; });
    }

    void examinePaths(std::string const& aTarget, std::vector<Path> const& aPaths)
    {
        std::map<HostPart const*, std::size_t> pathsOfPorts;
        for (Path const& path : aPaths)
        {
            ++pathsOfPorts[path.mPort];
        }
        auto const fewer = [](auto const& aPort, auto const& aOther) { return aPort.second < aOther.second; };
        auto const [fewest, most] = std::minmax_element(pathsOfPorts.begin(), pathsOfPorts.end(), fewer);
        if (fewest->second == 1 && most->second > 1 && fewest->first != nullptr)
        {
            add(RuleId::singlePath, "target " + aTarget,
                fmt::format("one path from port {}, and {} from another port", fewest->first->mName,
                            most->second));
        }
        else if (aPaths.size() == 1 && hasTargetOfSeveralPaths())
        {
            add(RuleId::singlePath, "target " + aTarget,
                fmt::format("only {} leads to it", nameOf(aPaths.front())));
        }
    }

    void examineLuns(std::vector<Path> const& aPaths)
    {
        Luns reported;
        for (Path const& path : aPaths)
        {
            reported.merge(reportedBy(*path.mTargetPort));
        }
        for (Path const& path : aPaths)
        {
            HostPart const& targetPort = *path.mTargetPort;
            Luns const unreported =
                lunsWhere(targetPort, [](HostPart const& aLun) { return isField(aLun, "reported", false); });
            if (Luns const stale = without(unreported, reported); !stale.empty())
            {
                add(RuleId::lunNotReported, nameOf(path), lunsText(stale));
            }
            Luns const own = reportedBy(targetPort);
            Luns const missing = without(reported, own);
            if (targetPort.mArePartsKnown && !missing.empty())
            {
                add(RuleId::lunMissingOnPath, nameOf(path), lunsText(missing));
            }
            if (own.size() > limitOf(RuleId::manyLuns))
            {
                add(RuleId::manyLuns, nameOf(path), fmt::format("{} LUNs", own.size()));
            }
        }
    }

    template <std::size_t size>
    void examineRises(RuleId aRule, PortCounters const& aPort, char const* const (&aCounters)[size])
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
        if (sum > limitOf(aRule))
        {
            add(aRule, nameOf(aPort.mAdapter, aPort.mPort), fmt::format("{}", fmt::join(texts, ", ")));
        }
    }

    void examineCounters()
    {
        for (PortCounters const& port : mHost.mCounters)
        {
            examineRises(RuleId::linkFlapping, port, linkCounters);
            examineRises(RuleId::errorsRising, port, errorCounters);
        }
    }

    void examineLatencies()
    {
        for (TargetLatency const& latency : mHost.mLatencies)
        {
            if (latency.mMicroseconds > static_cast<double>(limitOf(RuleId::slowTarget)))
            {
                add(RuleId::slowTarget,
                    fmt::format("target port {} behind adapter {}", latency.mTargetPort, latency.mAdapter),
                    fmt::format("p99 is {:.0f} us", latency.mMicroseconds));
            }
        }
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
                    fmt::format("{} events of category {}", count, place.second));
            }
        }
        for (auto const& [board, count] : mHost.mEvents.mDrops)
        {
            if (count > limitOf(RuleId::eventsDropped))
            {
                add(RuleId::eventsDropped, fmt::format("board {}", board), fmt::format("{} events", count));
            }
        }
    }

    HostState const& mHost;
    RuleSettings const& mSettings;
    std::map<std::string, std::vector<Path>> mPaths;  ///< by target
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
