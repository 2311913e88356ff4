/// @file
/// What the HBA API answered last.
#pragma once

#include <array>
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
};

/// Tells why the call behind an exception failed: the layer's exceptions have a text and a code, and the status goes to
/// the log only. HbaApi::adapterName(), Adapter::port() and Adapter::targetMappings() with a deadline log nothing.
///
/// Linking QZSensorAgent::HbaWitness puts functions before those of the common library that have the same names. They
/// forward each call and keep its answer: the loading, freeing and opening calls, and the queries of names, attributes,
/// statistics, FCP mappings and SCSI data. All other calls go to the common library directly. Without a common library
/// the answer is HBA_STATUS_ERROR_UNAVAILABLE.
/// Thread-safety: each thread sees its own calls.
/// @return the calling thread's last call; valid as long as the thread, and changed by its next call
/// @ingroup agentkit
HbaCall const& lastHbaCall() noexcept;
}  // namespace qz
