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

Json jsonOf(Luns const& aLuns)
{
    Json list = Json::array();
    for (Lun const& lun : aLuns)
    {
        std::visit([&list](auto const& aValue) { list.push_back(aValue); }, lun);
    }
    return list;
}

Json jsonOf(std::vector<MappedLun> const& aLuns)
{
    Json list = Json::array();
    for (MappedLun const& lun : aLuns)
    {
        Json json = Json::object();
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
        json["mapped_luns"] = jsonOf(lunsOf(aPort.mLuns->mMapped));
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
