#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <numeric>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Records.h"
#include "tests/support/VirtualSlots.h"

using testing::Each;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{

using Entry = QZCPointer<QZCLatencyData>;
using Buckets = std::array<unsigned int, QZCLatencyData::sgNumBuckets>;

/// The count and the two means of an entry.
struct Figures
{
    unsigned int mIoCount;
    unsigned int mAverageIoSize;
    unsigned int mTrueLatency;
};

bool operator==(Figures const& aLeft, Figures const& aRight)
{
    return aLeft.mIoCount == aRight.mIoCount && aLeft.mAverageIoSize == aRight.mAverageIoSize &&
           aLeft.mTrueLatency == aRight.mTrueLatency;
}

std::ostream& operator<<(std::ostream& aOut, Figures const& aFigures)
{
    return aOut << "{count " << aFigures.mIoCount << ", size " << aFigures.mAverageIoSize << ", latency "
                << aFigures.mTrueLatency << '}';
}

/// 1, 2, 3 and so on.
Buckets ascendingBuckets()
{
    Buckets buckets;
    std::iota(buckets.begin(), buckets.end(), 1u);
    return buckets;
}

Figures figuresOf(QZCLatencyData const& aData)
{
    return {aData.getIoCount(), aData.getAverageIoSize(), aData.getTrueLatency()};
}

std::vector<unsigned int> scaleOf(QZCLatencyData const& aData)
{
    return {aData.getSearchType(), aData.getBase(), aData.getStep()};
}

Buckets bucketsOf(QZCLatencyData const& aData)
{
    Buckets buckets;
    std::memcpy(buckets.data(), aData.getBuckets(), sizeof buckets);
    return buckets;
}

Entry owned(QZCLatencyData* aData) { return Entry(aData, QZPST_Individual, QZPAT_New); }

Entry entryOf(Figures const& aFigures, Buckets const& aBuckets = {})
{
    return owned(new (std::nothrow)
                     QZCLatencyData(aFigures.mIoCount, aFigures.mAverageIoSize, 1, aFigures.mTrueLatency, 3,
                                    4, 5, aBuckets.data(), QZCLatencyData::sgNumBuckets));
}

/// The values of the first entry after the other has been added to it.
Figures merged(Figures const& aOne, Figures const& aOther)
{
    Entry const one = entryOf(aOne);
    one->aggregate(entryOf(aOther));
    return figuresOf(*one);
}

/// The field that is this many 32-bit words after the virtual table pointer.
unsigned int wordBehindTable(QZCLatencyData const& aData, std::size_t aIndex)
{
    unsigned int word;
    std::memcpy(&word, reinterpret_cast<char const*>(&aData) + sizeof(void*) + aIndex * sizeof word,
                sizeof word);
    return word;
}

unsigned char markerOf(QZCLatencyData const& aData)
{
    return reinterpret_cast<unsigned char const*>(&aData)[sizeof(void*) + 2 * sizeof(unsigned int)];
}

/// Decodes all bytes as unsigned integers.
std::vector<unsigned int> elementsOf(Bytes const& aEncoded)
{
    QZCEncodableInStream in(aEncoded.data(), lengthOf(aEncoded));
    std::vector<unsigned int> elements;
    while (in.getRemaining() != 0)
    {
        elements.push_back(0);
        in >> elements.back();
    }
    return elements;
}

ExpectedLog latencyLog(char const* aFunction) { return ExpectedLog(aFunction, ".//LatencyData"); }

TEST(LatencyDataConstruction, DummyHasAllBitsSetInItsCounters)
{
    EXPECT_EQ(figuresOf(QZCLatencyData(true)), (Figures{allBitsSet, allBitsSet, allBitsSet}));
}

TEST(LatencyDataConstruction, ZeroEntryHasZeroCounters)
{
    EXPECT_EQ(figuresOf(QZCLatencyData(false)), (Figures{0, 0, 0}));
}

TEST(LatencyDataConstruction, DummyAndZeroEntryHaveNoScale)
{
    EXPECT_THAT(scaleOf(QZCLatencyData(true)), Each(0u));
    EXPECT_THAT(scaleOf(QZCLatencyData(false)), Each(0u));
}

TEST(LatencyDataConstruction, DummyAndZeroEntryHaveEmptyBuckets)
{
    EXPECT_THAT(bucketsOf(QZCLatencyData(true)), Each(0u));
    EXPECT_THAT(bucketsOf(QZCLatencyData(false)), Each(0u));
    EXPECT_THAT(bucketsOf(QZCLatencyData(true, 1, 2, 3)), Each(0u));
    EXPECT_THAT(bucketsOf(QZCLatencyData(false, 1, 2, 3)), Each(0u));
}

TEST(LatencyDataConstruction, DummyAndZeroEntryHaveTheMarkerOne)
{
    EXPECT_EQ(markerOf(QZCLatencyData(true)), 1);
    EXPECT_EQ(markerOf(QZCLatencyData(false)), 1);
    EXPECT_EQ(markerOf(QZCLatencyData(true, 1, 2, 3)), 1);
    EXPECT_EQ(markerOf(QZCLatencyData(false, 1, 2, 3)), 1);
}

TEST(LatencyDataConstruction, DummyKeepsItsScale)
{
    QZCLatencyData const data(true, 0x12345678, allBitsSet, 7);
    EXPECT_THAT(scaleOf(data), ElementsAre(0x12345678u, allBitsSet, 7u));
    EXPECT_EQ(figuresOf(data), (Figures{allBitsSet, allBitsSet, allBitsSet}));
}

TEST(LatencyDataConstruction, ZeroEntryKeepsItsScale)
{
    QZCLatencyData const data(false, 256, 6, 7);
    EXPECT_THAT(scaleOf(data), ElementsAre(256u, 6u, 7u));
    EXPECT_EQ(figuresOf(data), (Figures{0, 0, 0}));
}

TEST(LatencyDataConstruction, FilledEntryStoresItsArguments)
{
    QZCLatencyData const data(11, 12, 13, 14, 15, 16, 17, ascendingBuckets().data(), 20);
    EXPECT_EQ(figuresOf(data), (Figures{11, 12, 14}));
    EXPECT_EQ(markerOf(data), 13);
    EXPECT_THAT(scaleOf(data), ElementsAre(15u, 16u, 17u));
    EXPECT_EQ(bucketsOf(data), ascendingBuckets());
}

TEST(LatencyDataConstruction, FilledEntryKeepsTheLowEightBitsOfTheSearchType)
{
    EXPECT_EQ(QZCLatencyData(1, 1, 1, 1, 0x123456ff, 1, 1, nullptr, 0).getSearchType(), 0xffu);
    EXPECT_EQ(QZCLatencyData(1, 1, 1, 1, 256, 1, 1, nullptr, 0).getSearchType(), 0u);
}

TEST(LatencyDataConstruction, FilledEntryKeepsAllBitsOfBaseAndStep)
{
    EXPECT_THAT(scaleOf(QZCLatencyData(1, 1, 1, 1, 5, 0x12345678, allBitsSet, nullptr, 0)),
                ElementsAre(5u, 0x12345678u, allBitsSet));
}

TEST(LatencyDataConstruction, NullBucketsLeaveAllBucketsEmpty)
{
    EXPECT_THAT(bucketsOf(QZCLatencyData(1, 2, 3, 4, 5, 6, 7, nullptr, 20)), Each(0u));
}

TEST(LatencyDataConstruction, ZeroBucketsOfAnArrayLeaveAllBucketsEmpty)
{
    EXPECT_THAT(bucketsOf(QZCLatencyData(1, 2, 3, 4, 5, 6, 7, ascendingBuckets().data(), 0)), Each(0u));
}

TEST(LatencyDataConstruction, FewerBucketsLeaveTheRemainingOnesEmpty)
{
    unsigned int const values[] = {7, allBitsSet, 9};
    Buckets const expected = {7, allBitsSet, 9};
    EXPECT_EQ(bucketsOf(QZCLatencyData(1, 2, 3, 4, 5, 6, 7, values, 3)), expected);
}

TEST(LatencyDataConstruction, BucketsAreCopied)
{
    Buckets values = ascendingBuckets();
    QZCLatencyData const data(1, 2, 3, 4, 5, 6, 7, values.data(), 20);
    values.fill(0);
    EXPECT_EQ(bucketsOf(data), ascendingBuckets());
}

/// The log lines of a constructor that reports what it creates.
std::vector<LogLine> creationLines(char const* aText)
{
    ExpectedLog const expected = latencyLog("QZCLatencyData");
    return {expected.entered(), expected.trace(aText), expected.left()};
}

TEST(LatencyDataConstruction, DummyIsTraced)
{
    LogCapture log;
    QZCLatencyData const data(true);
    EXPECT_EQ(log.lines(), creationLines("Creating a dummy latency data entry "));
}

TEST(LatencyDataConstruction, ZeroEntryIsTracedWithTwoBlanks)
{
    LogCapture log;
    QZCLatencyData const data(false);
    EXPECT_EQ(log.lines(), creationLines("Creating a  zero latency data entry "));
}

TEST(LatencyDataConstruction, DummyWithAScaleHasTheSameTrace)
{
    LogCapture log;
    QZCLatencyData const data(true, 1, 2, 3);
    EXPECT_EQ(log.lines(), creationLines("Creating a dummy latency data entry "));
}

TEST(LatencyDataConstruction, ZeroEntryWithAScaleHasTheSameTrace)
{
    LogCapture log;
    QZCLatencyData const data(false, 1, 2, 3);
    EXPECT_EQ(log.lines(), creationLines("Creating a  zero latency data entry "));
}

TEST(LatencyDataConstruction, FilledEntryTracesOnlyEnteredAndLeft)
{
    LogCapture log;
    QZCLatencyData const data(1, 2, 3, 4, 5, 6, 7, nullptr, 0);
    ExpectedLog const expected = latencyLog("QZCLatencyData");
    EXPECT_THAT(log.lines(), ElementsAre(expected.entered(), expected.left()));
}

TEST(LatencyData, GettersAndDestructionLogNothing)
{
    LogCapture log;
    {
        QZCLatencyData const data(false);
        log.clear();
        figuresOf(data);
        scaleOf(data);
        bucketsOf(data);
        EXPECT_NE(data.size(), 0u);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LatencyData, BucketAccessGivesThePlaceInTheObject)
{
    QZCLatencyData const data(true);
    char const* const first = reinterpret_cast<char const*>(&data);
    EXPECT_EQ(reinterpret_cast<char const*>(data.getBuckets()),
              first + sizeof(void*) + 7 * sizeof(unsigned int));
}

TEST(LatencyData, SizeDoesNotDependOnTheContent)
{
    EXPECT_EQ(QZCLatencyData(false).size(), 105u);
    EXPECT_EQ(QZCLatencyData(true).size(), 105u);
    EXPECT_EQ(entryOf({1, 2, 3}, ascendingBuckets())->size(), 105u);
}

TEST(LatencyData, LastHandleFreesTheRecord)
{
    long const before = liveBlocks();
    {
        Entry const entry = entryOf({1, 2, 3});
        EXPECT_GT(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(LatencyData, VirtualTableKeepsTheOrderOfOperations)
{
    QZCLatencyData const data(false);
    EXPECT_THAT(virtualSlots(&data, 10),
                ElementsAre("QZCLatencyData::~QZCLatencyData()", "QZCLatencyData::~QZCLatencyData()",
                            "QZCLatencyData::getSearchType() const", "QZCLatencyData::getBase() const",
                            "QZCLatencyData::getStep() const", "QZCLatencyData::getBuckets() const",
                            "QZCLatencyData::getIoCount() const", "QZCLatencyData::getAverageIoSize() const",
                            "QZCLatencyData::getTrueLatency() const",
                            "QZCLatencyData::aggregate(QZCPointer<QZCLatencyData> const&)"));
}

TEST(LatencyData, FieldsFollowTheTablePointerInOrder)
{
    QZCLatencyData const data(11, 12, 13, 14, 15, 16, 17, ascendingBuckets().data(), 20);
    EXPECT_EQ(wordBehindTable(data, 0), 11u) << "count";
    EXPECT_EQ(wordBehindTable(data, 1), 12u) << "average";
    EXPECT_EQ(markerOf(data), 13) << "marker, one byte";
    EXPECT_EQ(wordBehindTable(data, 3), 14u) << "true latency";
    EXPECT_EQ(wordBehindTable(data, 4), 15u) << "search type";
    EXPECT_EQ(wordBehindTable(data, 5), 16u) << "base";
    EXPECT_EQ(wordBehindTable(data, 6), 17u) << "step";
    EXPECT_EQ(wordBehindTable(data, 7), 1u) << "first bucket";
    EXPECT_EQ(wordBehindTable(data, 26), 20u) << "last bucket";
    EXPECT_LT(sizeof data - sizeof(void*) - 27 * sizeof(unsigned int), sizeof(void*)) << "no other field";
}

TEST(LatencyDataEncoding, FieldsExceptTheMarkerAreWrittenInOrder)
{
    QZCLatencyData const data(11, 12, 99, 13, 14, 15, 16, ascendingBuckets().data(), 20);
    EXPECT_THAT(elementsOf(encodedFormOf(data)), ElementsAre(11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8,
                                                             9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20));
}

TEST(LatencyDataEncoding, EachFieldHasItsShortestForm)
{
    unsigned int const buckets[] = {0, 23, 24, 255, 256, 65535, 65536, allBitsSet};
    QZCLatencyData const data(1000000, 4096, 1, 300, 7, 24, 255, buckets, 8);
    Bytes const expected = {0x1a, 0x00, 0x0f, 0x42, 0x40,  // count
                            0x19, 0x10, 0x00,              // average
                            0x19, 0x01, 0x2c,              // true latency
                            0x07,                          // search type
                            0x18, 0x18,                    // base
                            0x18, 0xff,                    // step
                            0x00, 0x17, 0x18, 0x18, 0x18, 0xff, 0x19, 0x01, 0x00, 0x19, 0xff, 0xff,
                            0x1a, 0x00, 0x01, 0x00, 0x00, 0x1a, 0xff, 0xff, 0xff, 0xff,  // the buckets
                            0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00};
    EXPECT_EQ(encodedFormOf(data), expected);
}

TEST(LatencyDataEncoding, ZeroEntryIsTwentySixZeroElements)
{
    EXPECT_EQ(encodedFormOf(QZCLatencyData(false)), Bytes(26, 0x00));
}

TEST(LatencyDataEncoding, DummyIsTwentySixElements)
{
    std::vector<unsigned int> expected(26, 0);
    std::fill_n(expected.begin(), 3, allBitsSet);
    EXPECT_EQ(elementsOf(encodedFormOf(QZCLatencyData(true))), expected);
}

TEST(LatencyDataEncoding, WholeSearchTypeIsWritten)
{
    EXPECT_EQ(elementsOf(encodedFormOf(QZCLatencyData(false, 0x12345678, 0, 0))).at(3), 0x12345678u);
}

TEST(LatencyDataEncoding, EnteredAndLeftAreTraced)
{
    QZCLatencyData const data(false);
    QZCEncodableOutStream out;
    LogCapture log;
    data.encode(out);
    EXPECT_THAT(log.lines(), ElementsAre(latencyLog("encode").entered(), latencyLog("encode").left()));
}

TEST(LatencyDataAggregation, MeansAreWeightedByTheCounts)
{
    EXPECT_EQ(merged({1, 10, 100}, {3, 20, 300}), (Figures{4, 17, 250}));
}

TEST(LatencyDataAggregation, TwoZeroEntriesChangeNothing)
{
    Entry const one = owned(new (std::nothrow) QZCLatencyData(false));
    Bytes const before = encodedFormOf(*one);
    one->aggregate(owned(new (std::nothrow) QZCLatencyData(false)));
    EXPECT_EQ(encodedFormOf(*one), before);
}

TEST(LatencyDataAggregation, OneIoAddedToADummyChangesOnlyTheBuckets)
{
    Entry const dummy = owned(new (std::nothrow) QZCLatencyData(true));
    dummy->aggregate(entryOf({1, 10, 100}, ascendingBuckets()));
    EXPECT_EQ(figuresOf(*dummy), (Figures{allBitsSet, allBitsSet, allBitsSet}));
    EXPECT_EQ(bucketsOf(*dummy), ascendingBuckets());
}

TEST(LatencyDataAggregation, TotalOfZeroDoesNotChangeTheMeans)
{
    EXPECT_EQ(merged({0, 10, 100}, {0, 20, 300}), (Figures{0, 10, 100}));
    EXPECT_EQ(merged({2147483648u, 10, 100}, {2147483648u, 20, 300}), (Figures{2147483648u, 10, 100}));
}

TEST(LatencyDataAggregation, EachBucketIsAddedToItsCounterpart)
{
    Buckets hundreds;
    Buckets sums;
    for (unsigned int i = 0; i < hundreds.size(); ++i)
    {
        hundreds[i] = 100 * i;
        sums[i] = 100 * i + i + 1;
    }
    Entry const one = entryOf({1, 1, 1}, hundreds);
    one->aggregate(entryOf({1, 1, 1}, ascendingBuckets()));
    EXPECT_EQ(bucketsOf(*one), sums);
}

TEST(LatencyDataAggregation, BucketsWrap)
{
    Buckets full;
    full.fill(allBitsSet);
    Entry const one = entryOf({1, 1, 1}, full);
    one->aggregate(entryOf({1, 1, 1}, ascendingBuckets()));
    EXPECT_EQ(one->getBuckets()[0], 0u);
    EXPECT_EQ(one->getBuckets()[19], 19u);
}

TEST(LatencyDataAggregation, CountWraps) { EXPECT_EQ(merged({allBitsSet, 0, 0}, {6, 0, 0}).mIoCount, 5u); }

TEST(LatencyDataAggregation, ProductsWrap)
{
    // 65536 * 65537 is 65536 above 2^32.
    EXPECT_EQ(merged({65536, 65537, 65536}, {0, 0, 0}), (Figures{65536, 1, 0}));
    EXPECT_EQ(merged({0, 0, 0}, {65536, 65536, 65537}), (Figures{65536, 0, 1}));
}

TEST(LatencyDataAggregation, SumOfProductsDoesNotWrap)
{
    EXPECT_EQ(merged({1, 4294967040u, 0}, {1, 4294967040u, 0}).mAverageIoSize, 4294967040u);
}

TEST(LatencyDataAggregation, ProductsAreRoundedToSinglePrecision)
{
    EXPECT_EQ(merged({1, 16777217, 16777219}, {0, 0, 0}), (Figures{1, 16777216, 16777220}))
        << "rounded to the nearest value, ties to even";
}

TEST(LatencyDataAggregation, SumIsRoundedToSinglePrecision)
{
    EXPECT_EQ(merged({1, 16777216, 0}, {1, 3, 0}).mAverageIoSize, 8388610u)
        << "(16777216 + 3) / 2 is 8388609.5";
}

TEST(LatencyDataAggregation, TotalIsRoundedToSinglePrecision)
{
    EXPECT_EQ(merged({63084698, 55, 0}, {1, 13, 0}).mAverageIoSize, 54u)
        << "with the unrounded total of 63084699, the mean would be 55";
}

TEST(LatencyDataAggregation, QuotientIsRoundedToSinglePrecisionBeforeTruncation)
{
    EXPECT_EQ(merged({12582911, 4, 0}, {4194304, 0, 0}).mAverageIoSize, 3u)
        << "50331644 / 16777215 is 2.99999994";
}

TEST(LatencyDataAggregation, MeansAreTruncatedTowardsZero)
{
    EXPECT_EQ(merged({2, 1, 0}, {1, 0, 5}), (Figures{3, 0, 1}));
}

TEST(LatencyDataAggregation, QuotientBeyondTheRangeGivesTheLargestValue)
{
    // The counts wrap to a total of 1, so each quotient is the sum of the products.
    EXPECT_EQ(merged({allBitsSet, 1, 1}, {2, 2147483647, 0}), (Figures{1, allBitsSet, allBitsSet}))
        << "2^33 and 2^32";
}

TEST(LatencyDataAggregation, LargestQuotientWithinTheRangeIsKept)
{
    EXPECT_EQ(merged({allBitsSet, 256, 0}, {2, 0, 0}).mAverageIoSize, 4294967040u);
}

TEST(LatencyDataAggregation, LatencyIsWeightedByThePreviousCount)
{
    EXPECT_EQ(merged({2, 0, 10}, {2, 0, 30}).mTrueLatency, 20u) << "the new count would give 25";
}

TEST(LatencyDataAggregation, ZeroEntryTakesTheValuesOfTheOther)
{
    EXPECT_EQ(merged({0, 0, 0}, {7, 512, 90}), (Figures{7, 512, 90}));
}

TEST(LatencyDataAggregation, ScaleAndMarkerAreUnchanged)
{
    Entry const one = owned(new (std::nothrow) QZCLatencyData(1, 1, 77, 1, 5, 6, 7, nullptr, 0));
    Entry const other = owned(new (std::nothrow) QZCLatencyData(1, 1, 88, 1, 8, 9, 10, nullptr, 0));
    one->aggregate(other);
    EXPECT_THAT(scaleOf(*one), ElementsAre(5u, 6u, 7u));
    EXPECT_EQ(markerOf(*one), 77);
    EXPECT_THAT(scaleOf(*other), ElementsAre(8u, 9u, 10u));
    EXPECT_EQ(markerOf(*other), 88);
}

TEST(LatencyDataAggregation, OtherRecordIsUnchanged)
{
    Entry const other = entryOf({3, 20, 300}, ascendingBuckets());
    Bytes const before = encodedFormOf(*other);
    entryOf({1, 10, 100}, ascendingBuckets())->aggregate(other);
    EXPECT_EQ(encodedFormOf(*other), before);
}

TEST(LatencyDataAggregation, SelfAggregationDoublesCountAndBuckets)
{
    Entry const entry = entryOf({4, 17, 250}, ascendingBuckets());
    Buckets doubled = ascendingBuckets();
    for (unsigned int& bucket : doubled)
    {
        bucket *= 2;
    }
    entry->aggregate(entry);
    EXPECT_EQ(figuresOf(*entry), (Figures{8, 17, 250}));
    EXPECT_EQ(bucketsOf(*entry), doubled);
}

TEST(LatencyDataAggregation, EnteredAndLeftAreTraced)
{
    Entry const one = entryOf({1, 10, 100});
    Entry const other = entryOf({3, 20, 300});
    LogCapture log;
    one->aggregate(other);
    EXPECT_THAT(log.lines(), ElementsAre(latencyLog("aggregate").entered(), latencyLog("aggregate").left()));
}

TEST(LatencyDataAggregation, LeftIsTracedWithATotalOfZero)
{
    Entry const one = entryOf({0, 0, 0});
    Entry const other = entryOf({0, 0, 0});
    LogCapture log;
    one->aggregate(other);
    EXPECT_THAT(log.lines(), ElementsAre(latencyLog("aggregate").entered(), latencyLog("aggregate").left()));
}

TEST(LatencyDataAggregationDeathTest, EmptyHandleEndsTheProcess)
{
    Entry const one = entryOf({1, 10, 100});
    ExpectedLog const pointer("operator*", "backend/common/include/Pointer");
    EXPECT_EXIT(
        {
            echoLogLines();
            one->aggregate(Entry());
        },
        ExitedWithCode(1),
        onlyTheseLines({latencyLog("aggregate").entered(), pointer.assertion("0 != mPointer")}));
}

/// A single-precision value in integers: mMantissa * 2^mExponent. The mantissa has 24 bits or is 0.
struct Single
{
    std::uint64_t mMantissa;
    int mExponent;
};

/// The nearest single-precision value, ties to even.
/// @param aInexact whether the value is slightly above aMantissa * 2^aExponent
Single rounded(std::uint64_t aMantissa, int aExponent = 0, bool aInexact = false)
{
    if (aMantissa == 0)
    {
        return {0, 0};
    }
    while (aMantissa < (1u << 25))
    {
        aMantissa <<= 1;
        --aExponent;
    }
    while (aMantissa >= (1u << 26))
    {
        aInexact = aInexact || (aMantissa & 1) != 0;
        aMantissa >>= 1;
        ++aExponent;
    }
    // Two extra bits are left: the half bit, and a sticky bit for everything below it.
    bool const half = (aMantissa & 2) != 0;
    bool const below = (aMantissa & 1) != 0 || aInexact;
    std::uint64_t const kept = aMantissa >> 2;
    return {kept + (half && (below || (kept & 1) != 0) ? 1 : 0), aExponent + 2};
}

std::uint64_t wholeOf(Single const& aValue)
{
    return aValue.mExponent >= 0    ? aValue.mMantissa << aValue.mExponent
           : aValue.mExponent > -64 ? aValue.mMantissa >> -aValue.mExponent
                                    : 0;
}

unsigned int modelledMean(std::uint64_t aCount, std::uint64_t aMean, std::uint64_t aOtherCount,
                          std::uint64_t aOtherMean)
{
    std::uint64_t const mine = wholeOf(rounded(aCount * aMean & allBitsSet));
    std::uint64_t const others = wholeOf(rounded(aOtherCount * aOtherMean & allBitsSet));
    Single const sum = rounded(mine + others);
    Single const total = rounded((aCount + aOtherCount) & allBitsSet);
    std::uint64_t const dividend = sum.mMantissa << 30;
    Single const quotient = rounded(dividend / total.mMantissa, sum.mExponent - 30 - total.mExponent,
                                    dividend % total.mMantissa != 0);
    std::uint64_t const whole = wholeOf(quotient);
    return whole < allBitsSet ? static_cast<unsigned int>(whole) : allBitsSet;
}

Figures modelledMerge(Figures const& aOne, Figures const& aOther)
{
    std::uint64_t const total = (std::uint64_t{aOne.mIoCount} + aOther.mIoCount) & allBitsSet;
    if (total == 0)
    {
        return aOne;
    }
    return {static_cast<unsigned int>(total),
            modelledMean(aOne.mIoCount, aOne.mAverageIoSize, aOther.mIoCount, aOther.mAverageIoSize),
            modelledMean(aOne.mIoCount, aOne.mTrueLatency, aOther.mIoCount, aOther.mTrueLatency)};
}

TEST(LatencyDataAggregation, AgreesWithAnIntegerModel)
{
    std::mt19937 random(20260504);
    // Every magnitude is equally likely; nearly all uniform values would be large.
    auto const value = [&] { return static_cast<unsigned int>(random()) >> random() % 32; };
    for (int i = 0; i < 10000; ++i)
    {
        Figures const one = {value(), value(), value()};
        Figures const other = {value(), value(), value()};
        ASSERT_EQ(merged(one, other), modelledMerge(one, other))
            << "pair " << i << ": " << one << " and " << other;
    }
}
}  // namespace
