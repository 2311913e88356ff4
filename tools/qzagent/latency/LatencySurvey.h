/// @file
/// Measures how long target ports take to answer.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/Progress.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/latency/LatencyHistogram.h"

namespace qzagent
{
struct MeasuredPort
{
    HBA_WWN mName;
    LatencyEntry mLatencies;
};

struct MeasuredAdapter
{
    std::size_t mIndex;
    std::string mName;
    std::optional<std::vector<MeasuredPort>> mPorts;  ///< none when its target ports could not be had
    LatencyEntry mLatencies;                          ///< of all its ports
};

/// Opens an adapter, sends REPORT LUNS to each of its target ports, so many times, and closes it.
/// @param aReport   told what fails; a target port that fails is left out
/// @param aProgress told the steps
MeasuredAdapter measure(QZCHbaapiAbs& aHbaapi, std::size_t aIndex, std::string const& aName,
                        unsigned int aCount, Report& aReport, Progress& aProgress);
}  // namespace qzagent
