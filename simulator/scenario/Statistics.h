/// @file
/// Statistics of ports and LUNs: counters that may grow.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>

#include <hbaapi.h>

namespace qzsim
{
/// Value of a counter that the port does not offer: all bits are set.
constexpr HBA_INT64 notOffered = -1;

/// A counter has its own field in each record.
template <typename Record>
struct GrowingCounters
{
    Record mStart;       ///< the counters when the program starts
    Record mPerSecond;   ///< growth of the counters
    Record mSince = {};  ///< time of each counter in mStart, in nanoseconds
};

using Statistics = GrowingCounters<HBA_PORTSTATISTICS>;
using Fc4Statistics = GrowingCounters<HBA_FC4STATISTICS>;

template <typename Record>
struct Counter
{
    char const* mName;
    HBA_INT64 Record::*mField;
};

/// The counters of a record.
template <typename Record>
struct CountersOf;

template <>
struct CountersOf<HBA_PORTSTATISTICS>
{
    static constexpr Counter<HBA_PORTSTATISTICS> all[] = {
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
};

template <>
struct CountersOf<HBA_FC4STATISTICS>
{
    static constexpr Counter<HBA_FC4STATISTICS> all[] = {
        {"input_requests", &HBA_FC4STATISTICS::InputRequests},
        {"output_requests", &HBA_FC4STATISTICS::OutputRequests},
        {"control_requests", &HBA_FC4STATISTICS::ControlRequests},
        {"input_megabytes", &HBA_FC4STATISTICS::InputMegabytes},
        {"output_megabytes", &HBA_FC4STATISTICS::OutputMegabytes},
    };
};

/// @return a counter after this time. A counter of 63 bits that overflows continues at 0
HBA_INT64 counterAfter(std::chrono::nanoseconds aTime, HBA_INT64 aStart, std::uint32_t aPerSecond);

/// @return statistics without any counter
template <typename Record>
GrowingCounters<Record> emptyStatistics()
{
    GrowingCounters<Record> statistics{};
    for (Counter<Record> const& counter : CountersOf<Record>::all)
    {
        statistics.mStart.*counter.mField = notOffered;
    }
    return statistics;
}

template <typename Record, typename Predicate>
std::size_t countCounters(Predicate aPredicate)
{
    auto const& all = CountersOf<Record>::all;
    return static_cast<std::size_t>(std::count_if(std::begin(all), std::end(all), aPredicate));
}

/// @return the number of counters that the port or LUN offers
template <typename Record>
std::size_t numberOfCounters(GrowingCounters<Record> const& aStatistics)
{
    return countCounters<Record>([&](Counter<Record> const& aCounter)
                                 { return aStatistics.mStart.*aCounter.mField != notOffered; });
}

/// @return the number of counters that grow
template <typename Record>
std::size_t numberOfGrowingCounters(GrowingCounters<Record> const& aStatistics)
{
    return countCounters<Record>([&](Counter<Record> const& aCounter)
                                 { return aStatistics.mPerSecond.*aCounter.mField != 0; });
}

/// @return the counters after this time
template <typename Record>
Record statisticsAfter(std::chrono::nanoseconds aTime, GrowingCounters<Record> const& aStatistics)
{
    Record result = aStatistics.mStart;
    for (Counter<Record> const& counter : CountersOf<Record>::all)
    {
        HBA_INT64& value = result.*counter.mField;
        auto const rate = static_cast<std::uint32_t>(aStatistics.mPerSecond.*counter.mField);
        if (value != notOffered)
        {
            value = counterAfter(aTime - std::chrono::nanoseconds(aStatistics.mSince.*counter.mField), value,
                                 rate);
        }
    }
    return result;
}
}  // namespace qzsim
