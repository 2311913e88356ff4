/// @file
/// The last answer of the HBA API.
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

/// Shows why a call failed. The exceptions of the layer have a text and a code, and the layer only logs the status.
/// HbaApi::adapterName(), Adapter::port() and Adapter::targetMappings() with a deadline log nothing.
///
/// Linking QZSensorAgent::HbaWitness adds functions that replace those of the common library with the same names. They
/// forward each call and store its answer: the loading, freeing and opening calls, and the queries of names,
/// attributes, statistics, FCP mappings and SCSI data. All other calls go to the common library directly. Without a
/// common library the answer is HBA_STATUS_ERROR_UNAVAILABLE.
/// Thread-safety: each thread sees its own calls.
/// @return the last call of the calling thread; valid until the thread ends, changed by its next call
/// @ingroup agentkit
HbaCall const& lastHbaCall() noexcept;
}  // namespace qz
