#include "tools/qzagent/latency/LatencyHistogram.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tools/qzagent/latency/LatencyFigures.h"

namespace qzagent
{
namespace
{
LatencyEntry owned(QZCLatencyData* aEntry) { return {aEntry, QZPST_Individual, QZPAT_New}; }

unsigned int mean(std::uint64_t aTotal, unsigned int aCount)
{
    std::uint64_t const largest = std::numeric_limits<unsigned int>::max();
    return aCount == 0 ? 0 : static_cast<unsigned int>(std::min(aTotal / aCount, largest));
}
}  // namespace

std::uint64_t LatencyScale::begin(unsigned int aBucket) { return aBucket == 0 ? 0 : *end(aBucket - 1); }

std::optional<std::uint64_t> LatencyScale::end(unsigned int aBucket)
{
    if (aBucket + 1 >= count)
    {
        return {};
    }
    std::uint64_t bound = base;
    for (unsigned int i = 0; i < aBucket; ++i)
    {
        bound *= step;
    }
    return bound;
}

unsigned int LatencyScale::bucketOf(Latency aLatency)
{
    unsigned int bucket = 0;
    while (bucket + 1 < count && aLatency >= std::chrono::microseconds(*end(bucket)))
    {
        ++bucket;
    }
    return bucket;
}

bool LatencyScale::isOf(QZCLatencyData const& aRecord)
{
    return aRecord.getSearchType() == doubling && aRecord.getBase() == base && aRecord.getStep() == step;
}

LatencyEntry emptyEntry()
{
    return owned(new (std::nothrow)
                     QZCLatencyData(false, LatencyScale::doubling, LatencyScale::base, LatencyScale::step));
}

void LatencyHistogram::add(Latency aLatency, std::size_t aBytes)
{
    ++mCount;
    mBytes += aBytes;
    mTotal += aLatency;
    ++mBuckets[LatencyScale::bucketOf(aLatency)];
}

LatencyEntry LatencyHistogram::entry() const
{
    auto const total = std::chrono::duration_cast<std::chrono::microseconds>(mTotal).count();
    return owned(new (std::nothrow) QZCLatencyData(mCount, mean(mBytes, mCount), 0,
                                                   mean(static_cast<std::uint64_t>(total), mCount),
                                                   LatencyScale::doubling, LatencyScale::base,
                                                   LatencyScale::step, mBuckets.data(), LatencyScale::count));
}
}  // namespace qzagent
