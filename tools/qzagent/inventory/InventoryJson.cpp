#include "tools/qzagent/inventory/InventoryJson.h"

#include <cstddef>
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

Json jsonOf(RemotePort const& aPort)
{
    Json json = aPort.mFields;
    if (aPort.mLuns)
    {
        json["mapped_luns"] = jsonOf(aPort.mLuns->mMapped);
        if (aPort.mLuns->mReported)
        {
            json["reported_luns"] = jsonOf(*aPort.mLuns->mReported);
        }
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
