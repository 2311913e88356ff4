#include "tools/qzagent/diff/ChangeText.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
namespace
{
/// Longer lists of paths are cut.
constexpr std::size_t mostPaths = 3;

std::string valueOrAbsent(nlohmann::ordered_json const& aValue)
{
    return aValue.is_null() ? "absent" : valueText(aValue);
}

std::string textOf(FieldChange const& aField)
{
    std::string name = aField.mKey;
    std::replace(name.begin(), name.end(), '_', ' ');
    return fmt::format("{} {} -> {}", name, valueOrAbsent(aField.mOld), valueOrAbsent(aField.mNew));
}

std::string textOf(std::vector<FieldChange> const& aFields)
{
    std::string text;
    for (FieldChange const& field : aFields)
    {
        text += (text.empty() ? "" : ", ") + textOf(field);
    }
    return text;
}

/// @return such as "2 remote ports and 30 LUNs"
std::string textOf(PartCounts const& aCounts)
{
    std::vector<std::string> texts;
    auto const add = [&texts](std::size_t aNumber, char const* aName)
    {
        if (aNumber > 0)
        {
            texts.push_back(counted(aNumber, aName));
        }
    };
    add(aCounts.mPorts, "port");
    add(aCounts.mRemotePorts, "remote port");
    add(aCounts.mLuns, "LUN");
    std::string text;
    for (std::size_t i = 0; i < texts.size(); ++i)
    {
        text += (i == 0 ? "" : i + 1 < texts.size() ? ", " : " and ") + texts[i];
    }
    return text;
}

/// Where parts are, and how many of these places there are.
struct Places
{
    explicit Places(Change const& aChange)
    {
        for (ChangedPart const& part : aChange.mParts)
        {
            for (Place const& place : part.mPlaces)
            {
                mPorts.emplace(place.mAdapter, place.mPort);
                mPaths.emplace(place.mAdapter, place.mPort, place.mRemotePort);
            }
        }
    }

    std::set<std::pair<std::string, std::string>> mPorts;
    std::set<std::tuple<std::string, std::string, std::string>> mPaths;
};

std::string placeOf(Change const& aChange)
{
    Places const places(aChange);
    auto const& [adapter, port] = *places.mPorts.begin();
    switch (aChange.mWhat)
    {
        case PartKind::port:
            return " of adapter " + adapter;
        case PartKind::remotePort:
            if (places.mPorts.size() > 1)
            {
                return fmt::format(" behind {} ports", places.mPorts.size());
            }
            break;
        case PartKind::lun:
            if (places.mPaths.size() > 1)
            {
                return fmt::format(" on {} paths", places.mPaths.size()) +
                       (places.mPorts.size() == 1 && !port.empty() ? " behind port " + port : "");
            }
            break;
        default:
            return "";
    }
    return port.empty() ? " of adapter " + adapter : " behind port " + port;
}

std::string nameOfRemotePorts(std::vector<ChangedPart> const& aParts)
{
    std::set<std::string> names;
    std::set<std::string> targets;
    for (ChangedPart const& part : aParts)
    {
        names.insert(part.mName);
        targets.insert(part.mTarget);
    }
    if (names.size() == 1)
    {
        return "remote port " + *names.begin();
    }
    return fmt::format("{} remote ports of ", names.size()) +
           (targets.size() == 1 ? "target " + *targets.begin() : counted(targets.size(), "target"));
}

std::string nameOfLuns(Change const& aChange)
{
    Luns luns;
    std::set<std::string> targets;
    for (ChangedPart const& part : aChange.mParts)
    {
        targets.insert(part.mName);
        for (LunChange const& lun : part.mLuns)
        {
            luns.insert(lunNamed(lun.mLun));
        }
    }
    bool const isOneTarget = targets.size() == 1;
    std::string const numbers =
        isOneTarget || aChange.mTargets.empty()
            ? fmt::format("{} {}", luns.size() == 1 ? "LUN" : "LUNs", qzagent::textOf(luns))
            : "all LUNs";
    return fmt::format("{} of {}", numbers,
                       isOneTarget ? "target " + *targets.begin() : counted(targets.size(), "target"));
}

/// @return what identifies an adapter that only one look has; its successor may have the same name
std::string identityOf(ChangedPart const& aAdapter)
{
    std::string text;
    for (FieldChange const& field : aAdapter.mFields)
    {
        std::string const name = field.mKey == "node_wwn" ? "node WWN" : "serial number";
        text += (text.empty() ? "" : ", ") + name + " " +
                valueText(field.mOld.is_null() ? field.mNew : field.mOld);
    }
    return text.empty() ? "" : fmt::format(" ({})", text);
}

std::string nameOf(Change const& aChange)
{
    std::string const name = aChange.mParts.front().mName;
    switch (aChange.mWhat)
    {
        case PartKind::host:
            return "adapters";
        case PartKind::adapter:
            return "adapter " + name +
                   (aChange.mKind == ChangeKind::changed ? "" : identityOf(aChange.mParts.front()));
        case PartKind::port:
            return "port " + name;
        case PartKind::remotePort:
            return nameOfRemotePorts(aChange.mParts);
        default:
            return nameOfLuns(aChange);
    }
}

/// @return the devices of LUNs that came or went
std::string devicesOf(std::vector<ChangedPart> const& aParts)
{
    std::vector<std::string> devices;
    for (ChangedPart const& part : aParts)
    {
        for (LunChange const& lun : part.mLuns)
        {
            for (FieldChange const& field : lun.mFields)
            {
                devices.push_back(valueText(field.mOld.is_null() ? field.mNew : field.mOld));
            }
        }
    }
    return devices.empty() ? "" : fmt::format(" ({})", qzagent::textOf(devices));
}

/// @param aChanged texts of alike changes, each with the name of what changed
/// @return the text without a name if all are the same, else the first
std::string alikeText(std::vector<std::pair<std::string, std::string>> const& aChanged)
{
    auto const& [name, text] = aChanged.front();
    if (std::all_of(aChanged.begin(), aChanged.end(),
                    [&first = text](auto const& aOther) { return aOther.second == first; }))
    {
        return text;
    }
    std::size_t const others = aChanged.size() - 1;
    return fmt::format("for {} {}, for {} the same fields", name, text, counted(others, "other"));
}

std::string changedFieldsOf(Change const& aChange)
{
    std::vector<std::pair<std::string, std::string>> texts;
    for (ChangedPart const& part : aChange.mParts)
    {
        if (aChange.mWhat != PartKind::lun)
        {
            texts.emplace_back(part.mName, textOf(part.mFields));
        }
        for (LunChange const& lun : part.mLuns)
        {
            texts.emplace_back("LUN " + lun.mLun, textOf(lun.mFields));
        }
    }
    return alikeText(texts);
}

std::string unknownOf(Change const& aChange)
{
    std::string text = aChange.mIsUnknownInNew ? "unknown now" : "unknown before";
    if (!aChange.mReason.empty())
    {
        text += fmt::format(" ({})", aChange.mReason);
    }
    if (!aChange.mUnknown.isEmpty())
    {
        text += fmt::format("; {} {}", aChange.mIsUnknownInNew ? "before" : "now", textOf(aChange.mUnknown));
    }
    return text;
}

std::string changedOf(Change const& aChange)
{
    std::string text = changedFieldsOf(aChange);
    if (!aChange.mGone.isEmpty())
    {
        text += fmt::format("; {} gone", textOf(aChange.mGone));
    }
    if (!aChange.mCame.isEmpty())
    {
        text += fmt::format("; {} came", textOf(aChange.mCame));
    }
    return text;
}

/// @param aCounts what came or went with the part
std::string oneSidedOf(Change const& aChange, PartCounts const& aCounts, char const* aVerb)
{
    std::string text = aVerb;
    text += aCounts.isEmpty() ? "" : fmt::format(" with {}", textOf(aCounts));
    return text + devicesOf(aChange.mParts);
}

std::string pathsOf(std::vector<PathChange> const& aPaths)
{
    std::string text;
    for (std::size_t i = 0; i < std::min(aPaths.size(), mostPaths); ++i)
    {
        text += fmt::format("; paths to {} {} -> {}", aPaths[i].mTarget, aPaths[i].mOld, aPaths[i].mNew);
    }
    return aPaths.size() <= mostPaths ? text
                                      : fmt::format("{}; and to {} more", text, aPaths.size() - mostPaths);
}

std::string lineOf(Change const& aChange)
{
    constexpr char const* signs[] = {"+", "-", "~", "?"};
    bool const isWhole = aChange.mKind == ChangeKind::came || aChange.mKind == ChangeKind::gone;
    return fmt::format("{} {}{}{}", signs[static_cast<std::size_t>(aChange.mKind)], subjectOf(aChange),
                       isWhole ? " " : ": ", detailsOf(aChange));
}
}  // namespace

std::string subjectOf(Change const& aChange) { return nameOf(aChange) + placeOf(aChange); }

std::string detailsOf(Change const& aChange)
{
    switch (aChange.mKind)
    {
        case ChangeKind::came:
            return oneSidedOf(aChange, aChange.mCame, "came") + pathsOf(aChange.mPaths);
        case ChangeKind::gone:
            return oneSidedOf(aChange, aChange.mGone, "gone") + pathsOf(aChange.mPaths);
        case ChangeKind::changed:
            return changedOf(aChange) + pathsOf(aChange.mPaths);
        default:
            return unknownOf(aChange);
    }
}

std::string textOf(std::vector<Change> const& aChanges)
{
    std::string text;
    std::set<std::string> unknown;
    for (Change const& change : aChanges)
    {
        std::string const line = printable(lineOf(change)) + "\n";
        if (change.mKind != ChangeKind::unknown || unknown.insert(line).second)
        {
            text += line;
        }
    }
    return text;
}
}  // namespace qzagent
