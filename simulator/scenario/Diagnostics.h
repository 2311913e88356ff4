/// @file
/// The part of a scenario for the diagnostic library: versions, boards, and event sources.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/scenario/Calls.h"

namespace qzsim
{
struct Board
{
    HBA_WWN mFirstWwn;
    HBA_WWN mSecondWwn;
};

/// The events that one event source sends: of one kind, at one port of a board, at a constant rate.
struct EventSeries
{
    std::uint32_t mBoard;
    HBA_WWN mPort;
    std::uint32_t mCategory;
    std::uint32_t mSubcategory;
    std::vector<std::uint8_t> mPayload;           ///< payload of every event, unless it is generated
    std::optional<std::uint32_t> mGeneratedSize;  ///< number of bytes to generate for each event
    std::uint32_t mStartMs;                       ///< time of the first event, on the clock of the source
    std::uint32_t mRate;                          ///< events per second
    std::uint32_t mCount;
};

/// What the path of the vendor library leads to.
enum class VendorLibrary
{
    present,
    absent,
    broken
};

/// The strings are null-terminated and have the size of the fields they are copied to.
struct Diagnostics
{
    static constexpr std::size_t driverVersionSize =
        QZCLibvqmRecords::sgDiagEnvRecordSize - QZCLibvqmRecords::sgDriverVersionPosition;

    char mLibraryVersion[QZCLibvqmRecords::sgLibraryVersionSize] = "1.0.0";
    char mDriverVersion[driverVersionSize] = "1.0.0";
    std::uint8_t mRecordVersion = QZCLibvqmRecords::sgDriverInfoVersion;
    std::uint64_t mFeatureList = QZCLibvqmRecords::sgQuazorFeature;
    std::optional<std::uint8_t>
        mRequiredRecordVersion;  ///< version that VQM_GetDrvInfo requires in the record
    VendorLibrary mLibrary = VendorLibrary::present;
    std::vector<Call> mMissingFunctions;
    std::vector<Board> mBoards;
    std::optional<std::uint32_t> mNumberOfBoards;  ///< reported instead of the number of boards
    std::vector<EventSeries> mEvents;
};
}  // namespace qzsim
