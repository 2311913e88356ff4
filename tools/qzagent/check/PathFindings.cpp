#include "tools/qzagent/check/PathFindings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
namespace
{
/// The paths to a target.
struct Target
{
    std::vector<Path> mPaths;
    std::vector<Path> mLunless;  ///< to ports of the target that are online and have no LUNs
};

/// Number of a port in the order of the inventory.
using PortNumber = std::size_t;

struct PortOfHost
{
    HostPart const* mAdapter;
    HostPart const* mPort;
    std::set<std::string> mTargets = {};  ///< that it reaches
};

/// Paths without LUNs, and the LUNs that the targets report on other paths.
struct Masked
{
    std::vector<Path> mPaths = {};
    Luns mLuns = {};
};

/// LUNs by the paths that they concern.
using PathsOfLuns = std::map<Luns, std::vector<Path>>;

std::string nameOf(std::vector<Path> const& aPaths)
{
    std::set<std::string> targets;
    std::set<std::string> targetPorts;
    std::set<std::string> ports;
    for (Path const& path : aPaths)
    {
        targets.insert(path.mRemotePort->mTarget);
        targetPorts.insert(path.mRemotePort->mName);
        ports.insert(path.mPort == nullptr ? "adapter " + path.mAdapter->mName : "port " + path.mPort->mName);
    }
    std::string const target =
        targetPorts.size() == 1
            ? "target port " + *targetPorts.begin()
            : fmt::format("{} of {}", counted(targetPorts.size(), "port"), namesOf("target", targets));
    return target + " behind " + (ports.size() == 1 ? *ports.begin() : counted(ports.size(), "port"));
}

std::string textOfLuns(Luns const& aLuns)
{
    return fmt::format("{} {}", aLuns.size() == 1 ? "LUN" : "LUNs", qzagent::textOf(aLuns));
}

Luns lunsThatAre(bool aReported, HostPart const& aTargetPort)
{
    Luns luns;
    for (HostPart const& lun : aTargetPort.mParts)
    {
        auto const found = lun.mFields.find("reported");
        if (found != lun.mFields.end() && found->second == aReported)
        {
            luns.insert(lunNamed(lun.mName));
        }
    }
    return luns;
}

class PathExamination
{
public:
    PathExamination(HostPart const& aRoot, std::uint32_t aMostLuns)
        : mMostLuns(aMostLuns), mAreAllKnown(arePathsKnown(aRoot))
    {
        for (Path const& path : pathsIn(aRoot))
        {
            mTargets[path.mRemotePort->mTarget].mPaths.push_back(path);
        }
        for (HostPart const& adapter : aRoot.mParts)
        {
            for (HostPart const& port : adapter.mParts)
            {
                if (port.mKind == PartKind::port)
                {
                    addPort(adapter, port);
                }
            }
        }
    }

    std::vector<Finding> run()
    {
        findFewPaths();
        for (auto const& [name, target] : mTargets)
        {
            examineLuns(target);
        }
        for (auto const& [ports, masked] : mMasked)
        {
            add(RuleId::lunMissingOnPath, nameOf(masked.mPaths), textOfLuns(masked.mLuns));
        }
        return std::move(mFindings);
    }

private:
    void addPort(HostPart const& aAdapter, HostPart const& aPort)
    {
        PortOfHost port{&aAdapter, &aPort};
        for (HostPart const& remotePort : aPort.mParts)
        {
            auto const target = mTargets.find(remotePort.mTarget);
            if (target != mTargets.end() && !isDown(aPort) && remotePort.mParts.empty() &&
                fieldText(remotePort, "state") == "ONLINE")
            {
                target->second.mLunless.push_back({&aAdapter, &aPort, &remotePort});
            }
        }
        for (auto const& [name, target] : mTargets)
        {
            if (countFrom(aPort, target.mPaths) > 0)
            {
                port.mTargets.insert(name);
            }
        }
        mPorts.push_back(std::move(port));
    }

    static std::size_t countFrom(HostPart const& aPort, std::vector<Path> const& aPaths)
    {
        return static_cast<std::size_t>(std::count_if(
            aPaths.begin(), aPaths.end(), [&aPort](Path const& aPath) { return aPath.mPort == &aPort; }));
    }

    /// Whether all paths of the port to the target are known.
    static bool isKnown(PortOfHost const& aPort, Target const& aTarget)
    {
        return aPort.mPort->mArePathsKnown &&
               std::none_of(aTarget.mPaths.begin(), aTarget.mPaths.end(),
                            [&aPort](Path const& aPath)
                            { return aPath.mPort == nullptr && aPath.mAdapter == aPort.mAdapter; });
    }

    void findFewPaths()
    {
        for (auto const& [name, target] : mTargets)
        {
            findFewPaths(name, target);
        }
        for (auto const& [few, targets] : mFewPaths)
        {
            auto const& [paths, ports, others] = few;
            std::set<std::string> names;
            for (PortNumber const port : ports)
            {
                names.insert(mPorts[port].mPort->mName);
            }
            std::string const from = namesOf("port", names);
            add(RuleId::singlePath, namesOf("target", targets),
                paths == 1    ? fmt::format("one path from {}, and {} from another port", from, others)
                : others == 1 ? fmt::format("no path from {}, and several from another port", from)
                              : fmt::format("no path from {}, and {} other ports have one", from, others));
        }
        findOnlyPaths();
    }

    void findFewPaths(std::string const& aName, Target const& aTarget)
    {
        std::size_t most = 0;
        std::set<PortNumber> reaching;
        for (PortNumber i = 0; i < mPorts.size(); ++i)
        {
            std::size_t const count = countFrom(*mPorts[i].mPort, aTarget.mPaths);
            most = std::max(most, count);
            if (count > 0)
            {
                reaching.insert(i);
            }
        }
        std::set<PortNumber> one;
        std::set<PortNumber> none;
        for (PortNumber i = 0; i < mPorts.size(); ++i)
        {
            PortOfHost const& port = mPorts[i];
            std::size_t const count =
                countFrom(*port.mPort, aTarget.mPaths) + countFrom(*port.mPort, aTarget.mLunless);
            if (!isKnown(port, aTarget))
            {
                continue;
            }
            if (count == 1 && most > 1)
            {
                one.insert(i);
            }
            // findOnlyPaths() finds a target that one port reaches on one path.
            else if (count == 0 && most * reaching.size() > 1 && belongsTo(port, reaching) &&
                     fieldText(*port.mPort, "state") == "ONLINE")
            {
                none.insert(i);
            }
        }
        note(aName, 1, one, most);
        note(aName, 0, none, reaching.size());
    }

    void note(std::string const& aTarget, std::size_t aPaths, std::set<PortNumber> const& aPorts,
              std::size_t aOthers)
    {
        if (!aPorts.empty())
        {
            mFewPaths[{aPaths, aPorts, aOthers}].insert(aTarget);
            mHasFewPaths.insert(aTarget);
        }
    }

    /// Whether a port is meant to reach what other ports reach: it shares a target with them, or reaches nothing while
    /// several others reach the same. Ports for disks and ports for tapes do not.
    bool belongsTo(PortOfHost const& aPort, std::set<PortNumber> const& aOthers) const
    {
        auto const isShared = [&](std::string const& aTarget)
        {
            return std::any_of(aOthers.begin(), aOthers.end(),
                               [&](PortNumber aOther) { return mPorts[aOther].mTargets.count(aTarget) > 0; });
        };
        return (aPort.mTargets.empty() && aOthers.size() > 1) ||
               std::any_of(aPort.mTargets.begin(), aPort.mTargets.end(), isShared);
    }

    /// Finds targets to which one path leads, while several lead to other targets.
    void findOnlyPaths()
    {
        bool const haveOthersMore =
            std::any_of(mTargets.begin(), mTargets.end(),
                        [](auto const& aTarget) { return aTarget.second.mPaths.size() > 1; });
        std::map<std::string, std::vector<Path>> onlyPaths;
        for (auto const& [name, target] : mTargets)
        {
            if (mAreAllKnown && haveOthersMore && target.mPaths.size() == 1 && target.mLunless.empty() &&
                mHasFewPaths.count(name) == 0)
            {
                Path const& path = target.mPaths.front();
                onlyPaths[path.mAdapter->mName + (path.mPort == nullptr ? "" : "\n" + path.mPort->mName)]
                    .push_back(path);
            }
        }
        for (auto const& [place, paths] : onlyPaths)
        {
            std::set<std::string> targets;
            for (Path const& path : paths)
            {
                targets.insert(path.mRemotePort->mTarget);
            }
            add(RuleId::singlePath, namesOf("target", targets),
                paths.size() == 1
                    ? fmt::format("only {} leads to it", nameOf(paths))
                    : fmt::format("only one path leads to each, all from {}",
                                  paths.front().mPort == nullptr ? "adapter " + paths.front().mAdapter->mName
                                                                 : "port " + paths.front().mPort->mName));
        }
    }

    void examineLuns(Target const& aTarget)
    {
        std::vector<Path> paths = aTarget.mPaths;
        paths.insert(paths.end(), aTarget.mLunless.begin(), aTarget.mLunless.end());
        Luns reported;
        for (Path const& path : paths)
        {
            reported.merge(lunsThatAre(true, *path.mRemotePort));
        }
        bool const areAllKnown =
            mAreAllKnown && std::all_of(paths.begin(), paths.end(),
                                        [](Path const& aPath) { return aPath.mRemotePort->mArePartsKnown; });
        PathsOfLuns missing;
        PathsOfLuns stale;
        std::vector<Path> many;
        std::size_t most = 0;
        for (Path const& path : paths)
        {
            Luns const own = lunsThatAre(true, *path.mRemotePort);
            if (path.mRemotePort->mArePartsKnown && !path.mRemotePort->mParts.empty())
            {
                missing[without(reported, own)].push_back(path);
            }
            if (areAllKnown)
            {
                stale[without(lunsThatAre(false, *path.mRemotePort), reported)].push_back(path);
            }
            if (own.size() > mMostLuns)
            {
                many.push_back(path);
                most = std::max(most, own.size());
            }
        }
        addMasked(aTarget.mLunless, reported);
        add(RuleId::lunNotReported, stale);
        add(RuleId::lunMissingOnPath, missing);
        if (!many.empty())
        {
            add(RuleId::manyLuns, nameOf(many),
                fmt::format("{}{} LUNs", many.size() == 1 ? "" : "up to ", most));
        }
    }

    /// @param aPaths without LUNs, to a target that reports LUNs on other paths
    void addMasked(std::vector<Path> const& aPaths, Luns const& aReported)
    {
        std::vector<Path> paths;
        std::copy_if(aPaths.begin(), aPaths.end(), std::back_inserter(paths),
                     [](Path const& aPath) { return aPath.mRemotePort->mArePartsKnown; });
        std::set<std::string> ports;
        for (Path const& path : paths)
        {
            ports.insert(path.mAdapter->mName + '\n' + path.mPort->mName);
        }
        if (!paths.empty() && !aReported.empty())
        {
            Masked& masked = mMasked[ports];
            masked.mPaths.insert(masked.mPaths.end(), paths.begin(), paths.end());
            masked.mLuns.insert(aReported.begin(), aReported.end());
        }
    }

    void add(RuleId aRule, PathsOfLuns const& aLuns)
    {
        for (auto const& [luns, paths] : aLuns)
        {
            if (!luns.empty())
            {
                add(aRule, nameOf(paths), textOfLuns(luns));
            }
        }
    }

    void add(RuleId aRule, std::string const& aWhere, std::string const& aWhat)
    {
        mFindings.push_back({aRule, aWhere, aWhat});
    }

    std::uint32_t const mMostLuns;
    bool const mAreAllKnown;
    std::map<std::string, Target> mTargets;  ///< by name
    std::vector<PortOfHost> mPorts;
    /// Targets by the number of paths, the ports that have them, and the number with which it is compared.
    std::map<std::tuple<std::size_t, std::set<PortNumber>, std::size_t>, std::set<std::string>> mFewPaths;
    std::set<std::string> mHasFewPaths;
    std::map<std::set<std::string>, Masked> mMasked;  ///< by the ports that see no LUNs
    std::vector<Finding> mFindings;
};
}  // namespace

std::string namesOf(char const* aNoun, std::set<std::string> const& aNames)
{
    if (aNames.size() == 1)
    {
        return fmt::format("{} {}", aNoun, *aNames.begin());
    }
    return fmt::format("{} ({})", counted(aNames.size(), aNoun),
                       textOf(std::vector<std::string>(aNames.begin(), aNames.end())));
}

std::vector<Finding> pathFindingsIn(HostPart const& aRoot, std::uint32_t aMostLuns)
{
    return PathExamination(aRoot, aMostLuns).run();
}
}  // namespace qzagent
