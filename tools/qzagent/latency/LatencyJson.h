/// @file
/// Measured latencies in the JSON document.
#pragma once

#include <nlohmann/json.hpp>

#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
nlohmann::ordered_json jsonOfLatencies(QZCLatencyData const& aLatencies);

nlohmann::ordered_json jsonOf(MeasuredAdapter const& aAdapter);
}  // namespace qzagent
