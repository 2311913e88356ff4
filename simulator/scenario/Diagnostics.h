/// @file
/// What a scenario describes for the diagnostic library: versions, boards, and the events of the boards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"

namespace qzsim
{
struct Board
{
    HBA_WWN mFirstWwn;
    HBA_WWN mSecondWwn;
};

/// What an event source sends: events of one kind at one port of a board, at a steady rate.
struct EventSeries
{
    std::uint32_t mBoard;
    HBA_WWN mPort;
    std::uint32_t mCategory;
    std::uint32_t mSubcategory;
    std::vector<std::uint8_t> mPayload;           ///< of every event, unless one is generated
    std::optional<std::uint32_t> mGeneratedSize;  ///< number of bytes that are generated for each event
    std::uint32_t mStartMs;                       ///< of the first event, on the clock of the source
    std::uint32_t mRate;                          ///< events a second
    std::uint32_t mCount;
};

/// The texts end with a zero, and have the sizes of the areas that they go to.
struct Diagnostics
{
    static constexpr std::size_t driverVersionSize =
        QZCLibvqmRecords::sgDiagEnvRecordSize - QZCLibvqmRecords::sgDriverVersionPosition;

    char mLibraryVersion[QZCLibvqmRecords::sgLibraryVersionSize] = "1.0.0";
    char mDriverVersion[driverVersionSize] = "1.0.0";
    std::uint8_t mRecordVersion = QZCLibvqmRecords::sgDriverInfoVersion;
    std::uint64_t mFeatureList = QZCLibvqmRecords::sgQuazorFeature;
    std::vector<Board> mBoards;
    std::vector<EventSeries> mEvents;
};
}  // namespace qzsim
