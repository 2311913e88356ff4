/// @file
/// Sends REPORT LUNS to target ports.
#pragma once

#include <chrono>
#include <cstddef>
#include <ctime>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/Wwn.h"
#include "tools/qzagent/hba/ScsiAnswer.h"

namespace qzagent
{
/// The largest number of LUNs that QZCHbaapiAbs::HA_SendReportLUNs() accepts.
constexpr std::size_t mostLunsOfLayer = 512;

/// Sends REPORT LUNS as QZCHbaapiAbs::HA_SendReportLUNs() does, with these differences:
///   - A list of more than 512 LUNs is requested again with the size that the target reports.
///   - A library that always answers HBA_STATUS_ERROR_MORE_DATA is asked five times.
///   - An answer that is missing although the library returned HBA_STATUS_OK, or that ends early, is recognised as in
///     ScsiAnswer.
///   - The room for sense data is that of SenseBuffer.
class LunQuery
{
public:
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    LunQuery();

    /// Sends the command until the answer is complete. Allocates only for a list that is longer than all before.
    /// @param aHandle an open adapter
    /// @throws QZCHbaapiEx, code 802; QZCNoMemoryEx "Out of Memory", code 2
    void send(HBA_HANDLE aHandle, qz::Wwn const& aPort);

    /// @return time that the last call of the HBA library took
    std::chrono::steady_clock::duration latency() const { return mLatency; }

    /// @return number of bytes of the complete answer
    std::size_t answerSize() const { return mAnswerSize; }

    /// Hands over the complete answer. The object must not be used afterwards.
    qz::LunReport take();

private:
    HBA_STATUS request(HBA_HANDLE aHandle, qz::Wwn const& aPort);

    ScsiAnswer mAnswer;
    std::size_t mAnswerSize = 0;
    std::chrono::steady_clock::duration mLatency{};
};

/// @return a complete answer
/// @throws as LunQuery::send()
qz::LunReport reportLuns(HBA_HANDLE aHandle, qz::Wwn const& aPort);
}  // namespace qzagent
