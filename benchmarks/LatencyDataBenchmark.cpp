// Compares encoding a latency record with msgpack packing the same values, and merging two records with a plain loop.
#include <new>

#include <benchmark/benchmark.h>
#include <msgpack.hpp>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace
{
constexpr unsigned int numBuckets = QZCLatencyData::sgNumBuckets;

// The values have every encoded size.
unsigned int bucketValue(unsigned int aBucket) { return 7u << aBucket; }

QZCPointer<QZCLatencyData> makeRecord()
{
    unsigned int buckets[numBuckets];
    for (unsigned int i = 0; i < numBuckets; ++i)
    {
        buckets[i] = bucketValue(i);
    }
    return QZCPointer<QZCLatencyData>(new (std::nothrow)
                                          QZCLatencyData(1000, 4096, 1, 250, 2, 10, 5, buckets, numBuckets),
                                      QZPST_Individual, QZPAT_New);
}

void QZCEncodeLatency(benchmark::State& aState)
{
    QZCPointer<QZCLatencyData> const record = makeRecord();
    QZCEncodableOutStream out;
    for (auto _ : aState)
    {
        out.clear();
        record->encode(out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}

void MsgpackPack26Values(benchmark::State& aState)
{
    QZCPointer<QZCLatencyData> const record = makeRecord();
    unsigned int values[6 + numBuckets] = {record->getIoCount(),     record->getAverageIoSize(),
                                           record->getTrueLatency(), record->getSearchType(),
                                           record->getBase(),        record->getStep()};
    for (unsigned int i = 0; i < numBuckets; ++i)
    {
        values[6 + i] = record->getBuckets()[i];
    }
    msgpack::sbuffer out;
    msgpack::packer<msgpack::sbuffer> packer(out);
    benchmark::DoNotOptimize(values);
    for (auto _ : aState)
    {
        out.clear();
        for (unsigned int const value : values)
        {
            packer.pack_uint32(value);
        }
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}

struct PlainLatency
{
    unsigned int mIoCount;
    unsigned int mAverageIoSize;
    unsigned int mTrueLatency;
    unsigned int mBuckets[numBuckets];
};

unsigned int plainMean(unsigned int aCount, unsigned int aMean, unsigned int aOtherCount,
                       unsigned int aOtherMean, unsigned int aTotal)
{
    return static_cast<unsigned int>(
        (static_cast<float>(aCount * aMean) + static_cast<float>(aOtherCount * aOtherMean)) /
        static_cast<float>(aTotal));
}

__attribute__((noinline)) void mergePlain(PlainLatency& aMine, PlainLatency const& aOther)
{
    for (unsigned int i = 0; i < numBuckets; ++i)
    {
        aMine.mBuckets[i] += aOther.mBuckets[i];
    }
    unsigned int const total = aMine.mIoCount + aOther.mIoCount;
    if (total != 0)
    {
        aMine.mAverageIoSize =
            plainMean(aMine.mIoCount, aMine.mAverageIoSize, aOther.mIoCount, aOther.mAverageIoSize, total);
        aMine.mTrueLatency =
            plainMean(aMine.mIoCount, aMine.mTrueLatency, aOther.mIoCount, aOther.mTrueLatency, total);
        aMine.mIoCount = total;
    }
}

void QZCAggregate(benchmark::State& aState)
{
    QZCPointer<QZCLatencyData> const mine = makeRecord();
    QZCPointer<QZCLatencyData> const other = makeRecord();
    for (auto _ : aState)
    {
        mine->aggregate(other);
        benchmark::ClobberMemory();
    }
}

void PlainAggregate(benchmark::State& aState)
{
    PlainLatency mine = {1000, 4096, 250, {}};
    for (unsigned int i = 0; i < numBuckets; ++i)
    {
        mine.mBuckets[i] = bucketValue(i);
    }
    PlainLatency other = mine;
    benchmark::DoNotOptimize(mine);
    benchmark::DoNotOptimize(other);
    for (auto _ : aState)
    {
        mergePlain(mine, other);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(QZCEncodeLatency);
BENCHMARK(MsgpackPack26Values);
BENCHMARK(QZCAggregate);
BENCHMARK(PlainAggregate);
}  // namespace
