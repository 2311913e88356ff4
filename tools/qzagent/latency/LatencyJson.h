/// @file
/// Measured latencies in the JSON document.
#pragma once

#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
/// @return the fields of a record: the value of a key `record`, as latency.schema.json describes it
nlohmann::ordered_json jsonOfRecord(QZCLatencyData const& aRecord);

/// @return the value of a key `latencies`, as latency.schema.json describes it
nlohmann::ordered_json jsonOf(Latencies const& aLatencies);

/// @return an element of the key `adapters`, as latency.schema.json describes it
nlohmann::ordered_json jsonOf(MeasuredAdapter const& aAdapter);
}  // namespace qzagent
