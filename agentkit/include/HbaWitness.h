/// @file
/// The last answer of the HBA API, and the call that is running.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>

#include <hbaapi.h>

namespace qz
{
/// One call of the HBA API.
/// @ingroup agentkit
struct HbaCall
{
    char const* mFunction = nullptr;     ///< "HBA_SendReportLUNs"; null before the first call
    std::uint64_t mNumber = 0;           ///< the call's number on this thread, from 1
    HBA_STATUS mStatus = HBA_STATUS_OK;  ///< its answer; HBA_STATUS_ERROR when HBA_OpenAdapter gave no handle
    std::optional<HBA_UINT8> mScsiStatus;     ///< the SCSI status, if the call reported one
    std::array<unsigned char, 256> mSense{};  ///< sense data that the call returned
    std::size_t mSenseSize = 0;               ///< their number of bytes; 0 when there are none
    bool mIsUnanswered = false;               ///< see refuseUnansweredQueries()
};

/// Shows why a call failed. The exceptions of the layer have a text and a code, and the layer only logs the status.
/// HbaApi::adapterName(), Adapter::port() and Adapter::targetMappings() with a deadline log nothing.
///
/// Linking QZSensorAgent::HbaWitness adds functions that replace those of the common library with the same names: all
/// functions of hbaapi.h, except HBA_SetBindingSupportFunc, which the common library lacks. They forward each call and
/// store the answer of those that return a status, and of HBA_OpenAdapter. The others, such as HBA_CloseAdapter, leave
/// the last call unchanged. Without a common library the answer is HBA_STATUS_ERROR_UNAVAILABLE, or 0 for a number.
///
/// In a unit test FakeHbaapi defines the functions of this file too. Link it there instead of the witness.
/// Thread-safety: each thread sees its own calls.
/// @return the last call of the calling thread; valid until the thread ends, changed by its next call
/// @ingroup agentkit
HbaCall const& lastHbaCall() noexcept;

/// Some HBA libraries return HBA_STATUS_OK without an answer when a device is busy. From now on, the caller gets
/// HBA_STATUS_ERROR then, and lastHbaCall() has HBA_STATUS_OK and mIsUnanswered. This concerns HBA_GetAdapterName,
/// HBA_GetAdapterAttributes, HBA_GetAdapterPortAttributes, HBA_GetDiscoveredPortAttributes, HBA_GetPortAttributesByWWN,
/// HBA_GetPortStatistics and HBA_GetFcpTargetMapping.
/// Before the call, the witness fills the name, the attributes, or the first entry of the mapping, with zeros. An answer
/// is missing if they are still zero after the call, and the number of mappings is unchanged. An adapter may answer that
/// it has no ports. Statistics are filled with a pattern; counters that the library does not write keep the values of the
/// caller. The common library of libhbaapi2 reads the names of the adapters when it is loaded, into memory of its own; of
/// these names only an empty one is refused. FakeHbaapi ignores the request.
/// Thread-safety: any thread.
/// @param aRefuses false to forward such answers, as in the beginning
/// @ingroup agentkit
void refuseUnansweredQueries(bool aRefuses) noexcept;

/// Tells a watchdog which call does not return.
/// Thread-safety: any thread and any signal handler.
/// @return the function that has started and not yet returned, in any thread; of several, the one that started last;
///         null when none is running
/// @ingroup agentkit
char const* runningHbaCall() noexcept;

/// Shows a process which call of its child process does not return. From now on the name of the running call is kept at
/// the place. If the place is in memory that the process shares with the processes it forks, runningHbaCall() sees their
/// calls too, as long as they do not execute another program. A process that is killed during a call leaves the name;
/// whoever killed it sets the place to null.
/// Thread-safety: any thread.
/// @param aPlace valid until the process ends
/// @ingroup agentkit
void keepRunningHbaCall(std::atomic<char const*>& aPlace) noexcept;
}  // namespace qz
