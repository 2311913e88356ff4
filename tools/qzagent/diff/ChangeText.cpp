#include "tools/qzagent/diff/ChangeText.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

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

std::string numberOf(std::size_t aNumber, char const* aName)
{
    return fmt::format("{} {}{}", aNumber, aName, aNumber == 1 ? "" : "s");
}

/// @return such as "2 remote ports and 30 LUNs"
std::string textOf(PartCounts const& aCounts)
{
    std::vector<std::string> texts;
    auto const add = [&texts](std::size_t aNumber, char const* aName)
    {
        if (aNumber > 0)
        {
            texts.push_back(numberOf(aNumber, aName));
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

std::string placeOf(Change const& aChange)
{
    Place const& place = aChange.mPlaces.front();
    switch (aChange.mWhat)
    {
        case PartKind::port:
            return " of adapter " + place.mAdapter;
        case PartKind::remotePort:
        case PartKind::lun:
            if (aChange.mPlaces.size() > 1)
            {
                return fmt::format(aChange.mWhat == PartKind::lun ? " on {} paths" : " behind {} ports",
                                   aChange.mPlaces.size());
            }
            return place.mPort.empty() ? " of adapter " + place.mAdapter : " behind port " + place.mPort;
        default:
            return "";
    }
}

std::string nameOf(Change const& aChange)
{
    std::string const name = aChange.mName;
    switch (aChange.mWhat)
    {
        case PartKind::host:
            return "adapters";
        case PartKind::adapter:
            return "adapter " + name;
        case PartKind::port:
            return "port " + name;
        case PartKind::remotePort:
            return "remote port " + name;
        default:
            break;
    }
    Luns luns;
    for (LunChange const& lun : aChange.mLuns)
    {
        luns.insert(lunNamed(lun.mLun));
    }
    return fmt::format("{} {} of target {}", luns.size() == 1 ? "LUN" : "LUNs", qzagent::textOf(luns), name);
}

/// @return the devices of LUNs that came or went
std::string devicesOf(std::vector<LunChange> const& aLuns)
{
    std::vector<std::string> devices;
    for (LunChange const& lun : aLuns)
    {
        for (FieldChange const& field : lun.mFields)
        {
            devices.push_back(valueText(field.mOld.is_null() ? field.mNew : field.mOld));
        }
    }
    return devices.empty() ? "" : fmt::format(" ({})", qzagent::textOf(devices));
}

std::string changesOfLuns(std::vector<LunChange> const& aLuns)
{
    if (aLuns.size() == 1)
    {
        return textOf(aLuns.front().mFields);
    }
    return fmt::format("for LUN {} {}, for {} others the same fields", aLuns.front().mLun,
                       textOf(aLuns.front().mFields), aLuns.size() - 1);
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
    if (aChange.mWhat == PartKind::lun)
    {
        return changesOfLuns(aChange.mLuns);
    }
    std::string text = textOf(aChange.mFields);
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
    return text + devicesOf(aChange.mLuns);
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
    for (Change const& change : aChanges)
    {
        text += printable(lineOf(change)) + "\n";
    }
    return text;
}
}  // namespace qzagent
