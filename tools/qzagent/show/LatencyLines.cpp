#include "tools/qzagent/show/LatencyLines.h"

#include <cstddef>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyChart.h"
#include "tools/qzagent/latency/LatencyJson.h"

namespace qzagent
{
std::string textOf(CaptureLatencies const& aLatencies, std::size_t aWidth)
{
    QZCLatencyData const data = aLatencies.mRecord.data();
    return fmt::format("record {} at byte {}: {} I/Os, search type {}, base {}, step {}\n",
                       aLatencies.mNumber, aLatencies.mPosition, data.getIoCount(),
                       aLatencies.mRecord.searchType(), data.getBase(), data.getStep()) +
           chartOf(data, aWidth);
}

std::string jsonOf(CaptureLatencies const& aLatencies)
{
    QZCLatencyData const data = aLatencies.mRecord.data();
    nlohmann::ordered_json const json{{"record", aLatencies.mNumber},
                                      {"position_bytes", aLatencies.mPosition},
                                      {"size_bytes", aLatencies.mRecord.size()},
                                      {"io_count", data.getIoCount()},
                                      {"search_type", aLatencies.mRecord.searchType()},
                                      {"base", data.getBase()},
                                      {"step", data.getStep()},
                                      {"latency_record", jsonOfRecord(data)}};
    return json.dump() + "\n";
}
}  // namespace qzagent
