/// @file
/// The counters of a port.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>

#include <hbaapi.h>

namespace qzagent
{
struct Counter
{
    char const* mKey;  ///< name in JSON; with blanks in place of underscores, name in text
    HBA_INT64 HBA_PORTSTATISTICS::*mField;
};

/// The counters in the order of the HBA API. The simulator has its own table: a wrong name or field in a shared table would
/// be wrong in both, and no test would find it.
constexpr std::array<Counter, 15> counters{{
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
}};

/// Indexes of counters that have a column of their own. The counters from firstEvent on are events of the loop or link,
/// and those from firstError on are errors.
/// @{
constexpr std::size_t secondsSinceReset = 0;
constexpr std::size_t txFrames = 1;
constexpr std::size_t txWords = 2;
constexpr std::size_t rxFrames = 3;
constexpr std::size_t rxWords = 4;
constexpr std::size_t firstEvent = 5;
constexpr std::size_t firstError = 7;
/// @}

/// The values of the counters; none for a counter that the port does not offer.
using Counts = std::array<std::optional<std::uint64_t>, counters.size()>;

/// @return the values. A counter of all ones (-1) is not offered, and neither is any other negative number
inline Counts countsOf(HBA_PORTSTATISTICS const& aStatistics)
{
    Counts counts;
    for (std::size_t i = 0; i < counters.size(); ++i)
    {
        HBA_INT64 const value = aStatistics.*counters[i].mField;
        if (value >= 0)
        {
            counts[i] = static_cast<std::uint64_t>(value);
        }
    }
    return counts;
}
}  // namespace qzagent
