#include "tools/qzagent/latency/LatencyJson.h"

#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencyHistogram.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
using Json = nlohmann::ordered_json;

/// @return the bucket; without its range when the record is not on the agent's scale
Json bucketOf(QZCLatencyData const& aRecord, unsigned int aBucket)
{
    Json json;
    if (LatencyScale::isOf(aRecord))
    {
        json["from_us"] = LatencyScale::begin(aBucket);
        if (auto const end = LatencyScale::end(aBucket))
        {
            json["below_us"] = *end;
        }
    }
    json["count"] = aRecord.getBuckets()[aBucket];
    return json;
}
}  // namespace

nlohmann::ordered_json jsonOfRecord(QZCLatencyData const& aRecord)
{
    Json json{{"average_io_size_bytes", aRecord.getAverageIoSize()},
              {"true_latency_us", aRecord.getTrueLatency()}};
    for (unsigned int bucket = 0; bucket < LatencyScale::count; ++bucket)
    {
        json["buckets"].push_back(bucketOf(aRecord, bucket));
    }
    return json;
}

nlohmann::ordered_json jsonOf(Latencies const& aLatencies)
{
    if (!aLatencies.mFigures)
    {
        return {{"io_count", 0}};
    }
    return {{"io_count", aLatencies.mFigures->mCount},
            {"latency_us", jsonOf(*aLatencies.mFigures)},
            {"record", jsonOfRecord(*aLatencies.mRecord)}};
}

nlohmann::ordered_json jsonOf(MeasuredAdapter const& aAdapter)
{
    Json json{{"index", aAdapter.mIndex}, {"name", aAdapter.mName}};
    if (aAdapter.mPorts)
    {
        Json& list = json["target_ports"] = Json::array();
        for (MeasuredPort const& port : *aAdapter.mPorts)
        {
            list.push_back({{"port_wwn", port.mName.text()}, {"latencies", jsonOf(port.mLatencies)}});
        }
    }
    json["latencies"] = jsonOf(aAdapter.mLatencies);
    return json;
}
}  // namespace qzagent
