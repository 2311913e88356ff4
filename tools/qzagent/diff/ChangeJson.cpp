#include "tools/qzagent/diff/ChangeJson.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/diff/HostChanges.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

char const* nameOf(ChangeKind aKind)
{
    constexpr char const* names[] = {"came", "gone", "changed", "unknown"};
    return names[static_cast<std::size_t>(aKind)];
}

char const* nameOf(PartKind aKind)
{
    constexpr char const* names[] = {"host", "adapter", "port", "remote_port", "lun"};
    return names[static_cast<std::size_t>(aKind)];
}

Json jsonOf(Place const& aPlace)
{
    Json json{{"adapter", aPlace.mAdapter}};
    auto const add = [&json](char const* aKey, std::string const& aName)
    {
        if (!aName.empty())
        {
            json[aKey] = aName;
        }
    };
    add("port", aPlace.mPort);
    add("remote_port", aPlace.mRemotePort);
    return json;
}

Json jsonOf(std::vector<FieldChange> const& aFields)
{
    Json list = Json::array();
    for (FieldChange const& field : aFields)
    {
        list.push_back({{"key", field.mKey}, {"old", field.mOld}, {"new", field.mNew}});
    }
    return list;
}

void addCounts(Json& aJson, char const* aKey, PartCounts const& aCounts)
{
    if (!aCounts.isEmpty())
    {
        aJson[aKey] = {
            {"ports", aCounts.mPorts}, {"remote_ports", aCounts.mRemotePorts}, {"luns", aCounts.mLuns}};
    }
}

void addUnknown(Json& aJson, Change const& aChange)
{
    if (aChange.mKind == ChangeKind::unknown)
    {
        aJson["unknown_in"] = aChange.mIsUnknownInNew ? "new" : "old";
    }
    if (!aChange.mReason.empty())
    {
        aJson["reason"] = aChange.mReason;
    }
    addCounts(aJson, "unknown", aChange.mUnknown);
}

void addPaths(Json& aJson, std::vector<PathChange> const& aPaths)
{
    for (PathChange const& paths : aPaths)
    {
        aJson["paths"].push_back({{"target", paths.mTarget}, {"old", paths.mOld}, {"new", paths.mNew}});
    }
}

void addPart(Json& aJson, PartKind aWhat, ChangedPart const& aPart)
{
    if (aWhat != PartKind::host)
    {
        aJson[aWhat == PartKind::lun ? "target" : "name"] = aPart.mName;
    }
    if (aWhat != PartKind::host && aWhat != PartKind::adapter)
    {
        for (Place const& place : aPart.mPlaces)
        {
            aJson["places"].push_back(jsonOf(place));
        }
    }
    if (!aPart.mFields.empty())
    {
        aJson["fields"] = jsonOf(aPart.mFields);
    }
    for (LunChange const& lun : aPart.mLuns)
    {
        aJson["luns"].push_back({{"lun", lun.mLun}, {"fields", jsonOf(lun.mFields)}});
    }
}

Json jsonOf(Change const& aChange)
{
    Json json{{"change", nameOf(aChange.mKind)}, {"what", nameOf(aChange.mWhat)}};
    addPart(json, aChange.mWhat, aChange.mParts.front());
    for (auto part = aChange.mParts.begin() + 1; part != aChange.mParts.end(); ++part)
    {
        Json other = Json::object();
        addPart(other, aChange.mWhat, *part);
        json["others"].push_back(std::move(other));
    }
    addCounts(json, "came", aChange.mCame);
    addCounts(json, "gone", aChange.mGone);
    addUnknown(json, aChange);
    addPaths(json, aChange.mPaths);
    return json;
}
}  // namespace

nlohmann::ordered_json jsonOf(std::vector<Change> const& aChanges)
{
    Json list = Json::array();
    for (Change const& change : aChanges)
    {
        list.push_back(jsonOf(change));
    }
    return list;
}
}  // namespace qzagent
