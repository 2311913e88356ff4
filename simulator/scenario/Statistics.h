/// @file
/// Statistics of a port: counters that may grow.
#pragma once

#include <chrono>
#include <cstddef>
#include <ctime>

#include <hbaapi.h>

namespace qzsim
{
/// Value of a counter that the port does not offer: all bits are set.
constexpr HBA_INT64 notOffered = -1;

/// A counter has its own field in each record.
struct Statistics
{
    HBA_PORTSTATISTICS mStart;       ///< the counters when the program starts
    HBA_PORTSTATISTICS mPerSecond;   ///< growth of the counters
    HBA_PORTSTATISTICS mSince = {};  ///< time of each counter in mStart, in nanoseconds
};

struct Counter
{
    char const* mName;
    HBA_INT64 HBA_PORTSTATISTICS::*mField;
};

constexpr Counter counters[] = {
    {"seconds_since_last_reset", &HBA_PORTSTATISTICS::SecondsSinceLastReset},
    {"tx_frames", &HBA_PORTSTATISTICS::TxFrames},
    {"tx_words", &HBA_PORTSTATISTICS::TxWords},
    {"rx_frames", &HBA_PORTSTATISTICS::RxFrames},
    {"rx_words", &HBA_PORTSTATISTICS::RxWords},
    {"lip_count", &HBA_PORTSTATISTICS::LIPCount},
    {"nos_count", &HBA_PORTSTATISTICS::NOSCount},
    {"error_frames", &HBA_PORTSTATISTICS::ErrorFrames},
    {"dumped_frames", &HBA_PORTSTATISTICS::DumpedFrames},
    {"link_failure_count", &HBA_PORTSTATISTICS::LinkFailureCount},
    {"loss_of_sync_count", &HBA_PORTSTATISTICS::LossOfSyncCount},
    {"loss_of_signal_count", &HBA_PORTSTATISTICS::LossOfSignalCount},
    {"primitive_seq_protocol_err_count", &HBA_PORTSTATISTICS::PrimitiveSeqProtocolErrCount},
    {"invalid_tx_word_count", &HBA_PORTSTATISTICS::InvalidTxWordCount},
    {"invalid_crc_count", &HBA_PORTSTATISTICS::InvalidCRCCount},
};

/// @return statistics without any counter
Statistics emptyStatistics();

/// @return the number of counters that the port offers
std::size_t numberOfCounters(Statistics const& aStatistics);

/// @return the number of counters that grow
std::size_t numberOfGrowingCounters(Statistics const& aStatistics);

/// @return the counters after this time. A counter of 63 bits that overflows continues at 0
HBA_PORTSTATISTICS statisticsAfter(std::chrono::nanoseconds aTime, Statistics const& aStatistics);
}  // namespace qzsim
