/// @file
/// Measures how long target ports take to answer REPORT LUNS.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

namespace qzagent
{
struct MeasuredPort
{
    qz::Wwn mName;
    LatencyEntry mLatencies;
};

struct MeasuredAdapter
{
    std::size_t mIndex;
    std::string mName;
    std::optional<std::vector<MeasuredPort>> mPorts;  ///< none when the target ports are unavailable
    LatencyEntry mLatencies;                          ///< of all target ports
};

/// Opens an adapter, sends REPORT LUNS to each of its target ports, and closes it.
/// @param aIndex    index of the adapter
/// @param aName     name of the adapter
/// @param aCount    number of requests to each target port
/// @param aReport   receives failures; a target port that fails is left out of the result
/// @param aProgress receives the steps
MeasuredAdapter measure(qz::HbaApi& aApi, std::size_t aIndex, std::string const& aName, unsigned int aCount,
                        Report& aReport, Progress& aProgress);
}  // namespace qzagent
