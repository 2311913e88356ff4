#include "tools/qzagent/latency/LatencyJson.h"

#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

Json bucketOf(unsigned int aBucket, unsigned int aCount)
{
    Json json{{"from", LatencyScale::begin(aBucket)}};
    if (auto const end = LatencyScale::end(aBucket))
    {
        json["below"] = *end;
    }
    json["count"] = aCount;
    return json;
}
}  // namespace

nlohmann::ordered_json jsonOfLatencies(QZCLatencyData const& aLatencies)
{
    Json json{{"io_count", aLatencies.getIoCount()}};
    if (aLatencies.getIoCount() != 0)
    {
        json["average_io_size"] = aLatencies.getAverageIoSize();
        json["true_latency"] = aLatencies.getTrueLatency();
    }
    for (unsigned int bucket = 0; bucket < LatencyScale::count; ++bucket)
    {
        json["buckets"].push_back(bucketOf(bucket, aLatencies.getBuckets()[bucket]));
    }
    return json;
}

nlohmann::ordered_json jsonOf(MeasuredAdapter const& aAdapter)
{
    Json json{{"index", aAdapter.mIndex}, {"name", aAdapter.mName}};
    if (aAdapter.mPorts)
    {
        Json& list = json["target_ports"] = Json::array();
        for (MeasuredPort const& port : *aAdapter.mPorts)
        {
            list.push_back(
                {{"port_wwn", port.mName.text()}, {"latencies", jsonOfLatencies(*port.mLatencies)}});
        }
    }
    json["latencies"] = jsonOfLatencies(*aAdapter.mLatencies);
    return json;
}
}  // namespace qzagent
