#include "tools/qzagent/inventory/InventoryJson.h"

#include <cstddef>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

// Most of a large document are lists of LUNs, so they and their elements get their memory at once.

Json listOf(std::size_t aSize)
{
    Json list = Json::array();
    list.get_ref<Json::array_t&>().reserve(aSize);
    return list;
}

void addLun(Json& aList, Lun const& aLun)
{
    std::visit([&aList](auto const& aValue) { aList.push_back(aValue); }, aLun);
}

Json jsonOf(Luns const& aLuns)
{
    Json list = listOf(aLuns.size());
    for (Lun const& lun : aLuns)
    {
        addLun(list, lun);
    }
    return list;
}

/// @param aMapped in the order of the LUNs
/// @return each LUN once
Json numbersOf(std::vector<MappedLun> const& aMapped)
{
    Json list = listOf(aMapped.size());
    MappedLun const* last = nullptr;
    for (MappedLun const& lun : aMapped)
    {
        if (last == nullptr || last->mLun != lun.mLun)
        {
            addLun(list, lun.mLun);
        }
        last = &lun;
    }
    return list;
}

Json jsonOf(std::vector<MappedLun> const& aLuns)
{
    constexpr std::size_t usualKeys = 2;
    Json list = listOf(aLuns.size());
    for (MappedLun const& lun : aLuns)
    {
        Json json = Json::object();
        json.get_ref<Json::object_t&>().reserve(usualKeys);
        std::visit([&json](auto const& aValue) { json["lun"] = aValue; }, lun.mLun);
        if (!lun.mDevice.empty())
        {
            json["os_device"] = lun.mDevice;
        }
        if (!lun.mUnit.is_null())
        {
            json.update(lun.mUnit);
        }
        addFailures(json, lun.mFailures);
        list.push_back(std::move(json));
    }
    return list;
}

Json jsonOf(RemotePort const& aPort)
{
    Json json = aPort.mFields;
    if (aPort.mLuns)
    {
        json["mapped_luns"] = numbersOf(aPort.mLuns->mMapped);
        if (aPort.mLuns->mAreMappedRaw)
        {
            json["mapped_luns_form"] = "raw";
        }
        if (aPort.mLuns->mReported)
        {
            json["reported_luns"] = jsonOf(*aPort.mLuns->mReported);
        }
        json["luns"] = jsonOf(aPort.mLuns->mMapped);
    }
    addFailures(json, aPort.mFailures);
    return json;
}

void addRemotePorts(Json& aJson, RemotePorts const& aPorts)
{
    if (!aPorts)
    {
        return;
    }
    Json& list = aJson["remote_ports"] = Json::array();
    for (RemotePort const& port : *aPorts)
    {
        list.push_back(jsonOf(port));
    }
}

Json jsonOf(std::size_t aIndex, Port const& aPort)
{
    Json json{{"index", aIndex}};
    json.update(aPort.mFields);
    addRemotePorts(json, aPort.mRemotePorts);
    addFailures(json, aPort.mFailures);
    return json;
}
}  // namespace

nlohmann::ordered_json jsonOf(FoundAdapter const& aAdapter)
{
    Json json{{"index", aAdapter.mIndex}, {"name", aAdapter.mName}};
    if (aAdapter.mFields)
    {
        json["attributes"] = *aAdapter.mFields;
    }
    for (std::size_t index = 0; index < aAdapter.mPorts.size(); ++index)
    {
        json["ports"].push_back(jsonOf(index, aAdapter.mPorts[index]));
    }
    addRemotePorts(json, aAdapter.mRemotePorts);
    addFailures(json, aAdapter.mFailures);
    return json;
}

void addFailures(nlohmann::ordered_json& aJson, std::vector<Failure> const& aFailures)
{
    for (Failure const& failure : aFailures)
    {
        aJson["failures"].push_back(jsonOf(failure));
    }
}
}  // namespace qzagent
