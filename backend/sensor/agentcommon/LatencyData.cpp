#include "backend/sensor/agentcommon/include/LatencyData.h"

#include <cfloat>

#include "backend/common/include/Clib.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/Pointer.h"

#define QZ_LOG_FILE ".//LatencyData"

static unsigned int const sgAllBitsSet = 4294967295u;
static unsigned int const sgEncodedSize = 105;

static_assert(FLT_EVAL_METHOD == 0, "float expressions are evaluated in single precision");

/// @return the mean of two means, weighted by their counts. The products wrap and the other operations are in single
///         precision, deliberately, so that every machine calculates the same value
static unsigned int __sWeightedMean(unsigned int aCount, unsigned int aMean, unsigned int aOtherCount,
                                    unsigned int aOtherMean, unsigned int aTotal)
{
    float const mine = static_cast<float>(aCount * aMean);
    float const others = static_cast<float>(aOtherCount * aOtherMean);
    float const mean = (mine + others) / static_cast<float>(aTotal);
    // 2^32 is the smallest value that does not fit. Its conversion would be undefined.
    return mean < 4294967296.0f ? static_cast<unsigned int>(mean) : sgAllBitsSet;
}

QZCLatencyData::QZCLatencyData(bool aDummy) : QZCLatencyData(aDummy, 0, 0, 0) {}

QZCLatencyData::QZCLatencyData(bool aDummy, unsigned int aSearchType, unsigned int aBase, unsigned int aStep)
    : mMarker(1), mSearchType(aSearchType), mBase(aBase), mStep(aStep)
{
    QZ_LOG_ENTERED();
    if (aDummy)
    {
        QZ_LOG_TRACE("Creating a dummy latency data entry ");
    }
    else
    {
        QZ_LOG_TRACE("Creating a  zero latency data entry ");
    }
    unsigned int const initial = aDummy ? sgAllBitsSet : 0;
    mIoCount = initial;
    mAverageIoSize = initial;
    mTrueLatency = initial;
    ClibMemset(mBuckets, 0, sizeof mBuckets);
    QZ_LOG_LEFT();
}

QZCLatencyData::QZCLatencyData(unsigned int aIoCount, unsigned int aAverageIoSize, unsigned char aMarker,
                               unsigned int aTrueLatency, unsigned int aSearchType, unsigned int aBase,
                               unsigned int aStep, unsigned int const* apBuckets, unsigned int aNumBuckets)
    : mIoCount(aIoCount),
      mAverageIoSize(aAverageIoSize),
      mMarker(aMarker),
      mTrueLatency(aTrueLatency),
      mSearchType(static_cast<unsigned char>(aSearchType)),
      mBase(aBase),
      mStep(aStep)
{
    QZ_LOG_ENTERED();
    static_cast<void>(mMarker);  // otherwise clang++ warns that it is not read
    ClibMemset(mBuckets, 0, sizeof mBuckets);
    if (apBuckets != nullptr)
    {
        // The number is deliberately not checked: the caller promises at most sgNumBuckets.
        ClibMemcpy(mBuckets, apBuckets, aNumBuckets * static_cast<unsigned int>(sizeof *apBuckets));
    }
    QZ_LOG_LEFT();
}

QZCLatencyData::~QZCLatencyData() {}

unsigned int QZCLatencyData::getSearchType() const { return mSearchType; }
unsigned int QZCLatencyData::getBase() const { return mBase; }
unsigned int QZCLatencyData::getStep() const { return mStep; }
unsigned int const* QZCLatencyData::getBuckets() const { return mBuckets; }
unsigned int QZCLatencyData::getIoCount() const { return mIoCount; }
unsigned int QZCLatencyData::getAverageIoSize() const { return mAverageIoSize; }
unsigned int QZCLatencyData::getTrueLatency() const { return mTrueLatency; }

void QZCLatencyData::aggregate(QZCPointer<QZCLatencyData> const& acrOther)
{
    QZ_LOG_ENTERED();
    QZCLatencyData const& other = *acrOther;
    for (unsigned int i = 0; i < sgNumBuckets; ++i)
    {
        mBuckets[i] += other.mBuckets[i];
    }
    unsigned int const total = mIoCount + other.mIoCount;
    if (total != 0)
    {
        mAverageIoSize =
            __sWeightedMean(mIoCount, mAverageIoSize, other.mIoCount, other.mAverageIoSize, total);
        mTrueLatency = __sWeightedMean(mIoCount, mTrueLatency, other.mIoCount, other.mTrueLatency, total);
        mIoCount = total;
    }
    QZ_LOG_LEFT();
}

void QZCLatencyData::encode(QZCEncodableOutStream& arOut) const
{
    QZ_LOG_ENTERED();
    arOut << mIoCount << mAverageIoSize << mTrueLatency << mSearchType << mBase << mStep;
    for (unsigned int const& bucket : mBuckets)
    {
        arOut << bucket;
    }
    QZ_LOG_LEFT();
}

unsigned int QZCLatencyData::size() const { return sgEncodedSize; }
