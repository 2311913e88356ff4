/// @file
/// Sends REPORT LUNS to target ports.
#pragma once

#include <cstddef>
#include <ctime>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"

namespace qzagent
{
/// The largest number of LUNs that QZCHbaapiAbs::HA_SendReportLUNs() accepts.
constexpr std::size_t mostLunsOfLayer = 512;

/// Sends REPORT LUNS as QZCHbaapiAbs::HA_SendReportLUNs() does, with these differences:
///   - A list of more than 512 LUNs is requested again with the size that the target reports.
///   - An answer that is missing although the library returned HBA_STATUS_OK, or that ends early, is recognised as in
///     ScsiAnswer.
///   - The room for sense data is that of SenseBuffer.
/// @param aHandle an open adapter
/// @return a complete answer
/// @throws QZCHbaapiEx, code 802; QZCNoMemoryEx "Out of Memory", code 2
qz::LunReport reportLuns(HBA_HANDLE aHandle, qz::Wwn const& aPort);
}  // namespace qzagent
