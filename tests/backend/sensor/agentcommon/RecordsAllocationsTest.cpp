// Failing allocations in latency data, names and versions, for each operation and each of its allocations.
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/RecordMaking.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

namespace
{
using Rows = std::vector<Operation>;

using Latency = Making<QZCLatencyData>;

std::shared_ptr<Latency> madeLatency()
{
    auto const subject = making<QZCLatencyData>();
    subject->mRecord.emplace(true, 1u, 2u, 3u);
    return subject;
}

Rows latencyRows()
{
    auto const subject = making<QZCLatencyData>;
    using Handle = QZCPointer<QZCLatencyData>;
    auto const handle = [] {
        return std::make_shared<Handle>(new (std::nothrow) QZCLatencyData(false), QZPST_Individual,
                                        QZPAT_New);
    };
    return {
        withoutAllocation("LatencyOfNoScale", subject, [](Latency& aData) { aData.mRecord.emplace(true); }),
        withoutAllocation("LatencyOfAScale", subject,
                          [](Latency& aData) { aData.mRecord.emplace(false, 1u, 2u, 3u); }),
        withoutAllocation("LatencyIsFilled", subject,
                          [](Latency& aData)
                          {
                              unsigned int const buckets[] = {1, 2};
                              aData.mRecord.emplace(1u, 2u, static_cast<unsigned char>(3), 4u, 5u, 6u, 7u,
                                                    buckets, 2u);
                          }),
        withoutAllocation("LatencyIsAggregated", handle,
                          [](Handle& aLatency) { aLatency->aggregate(aLatency); }),
        withoutAllocation("LatencyIsRead", madeLatency,
                          [](Latency& aData)
                          {
                              QZCLatencyData const& data = *aData.mRecord;
                              ASSERT_EQ(data.getSearchType() + data.getBase() + data.getStep(), 6u);
                              ASSERT_EQ(data.getIoCount(), data.getAverageIoSize());
                              ASSERT_EQ(data.getTrueLatency() + data.getBuckets()[0] + data.size(), 104u);
                          }),
        // Three numbers of five bytes and 23 of one byte. Each reserves five bytes.
        operation(
            "LatencyIsEncoded", {0}, badAlloc, madeLatency,
            [](Latency& aData) { aData.mRecord->encode(aData.mOut); },
            [](Latency& aData)
            {
                Bytes const whole = encodedFormOf(*aData.mRecord);
                expectBeginning(bytesOf(aData.mOut.getEncoded()), whole, 1);
                aData.mOut.clear();
                aData.mRecord->encode(aData.mOut);
                EXPECT_EQ(bytesOf(aData.mOut.getEncoded()), whole);
            }),
    };
}

using Name = Making<QZCWorldWideName>;

std::shared_ptr<Name> madeName(unsigned int aRoom)
{
    auto const subject = making<QZCWorldWideName>();
    subject->mRecord.emplace(firstBytes.data());
    subject->mEncoded = joined({0x5a, 0, 0, 0, 8}, someBytes(8));
    leaveRoom(*subject, aRoom);
    return subject;
}

Rows nameRows()
{
    auto const subject = making<QZCWorldWideName>;
    auto const nothingMade = expectNothingMade<QZCWorldWideName>;
    auto const whole = [] { return madeName(roomInside); };
    // The text is copied first. Then each pair is cut out of it.
    Lost const scanned = joined({longText, times(9, shortText)});
    auto const canBeSetAnew = [](Name& aName)
    {
        aName.mRecord->setBinaryForm(secondBytes.data());
        EXPECT_STREQ(aName.mRecord->getStringForm().get(), aName.mSecond->getStringForm().get());
        EXPECT_EQ(encodedFormOf(*aName.mRecord), encodedFormOf(*aName.mSecond));
    };
    auto const encode = [](Name& aName) { aName.mRecord->encode(aName.mOut); };
    static QZCString const text("10:00:00:00:c9:2a:3b:4c");
    static QZCString const cutText("10:00");
    return {
        operation(
            "NameOfNothing", shortText, outOfMemory, subject, [](Name& aName) { aName.mRecord.emplace(); },
            nothingMade),
        operation(
            "NameOfBytes", joined({shortText, longText}), outOfMemory, subject,
            [](Name& aName) { aName.mRecord.emplace(firstBytes.data()); }, nothingMade),
        operation("NameIsCopied", longText, outOfMemory, whole,
                  [](Name& aName) { QZCWorldWideName const copy(*aName.mRecord); }),
        operation(
            "NameIsAssigned", longText, outOfMemory, whole,
            [](Name& aName) { *aName.mRecord = *aName.mFirst; }, canBeSetAnew),
        operation(
            "NameIsSetFromBytes", longText, outOfMemory, whole,
            [](Name& aName) { aName.mRecord->setBinaryForm(secondBytes.data()); }, canBeSetAnew),
        operation(
            "NameIsSetFromItsText", scanned, outOfMemory, whole,
            [](Name& aName) { aName.mRecord->setStringForm(text); }, canBeSetAnew),
        withoutAllocation(
            "NameRefusesATextOfAnotherLength", whole,
            [](Name& aName) { aName.mRecord->setStringForm(cutText); }, "QZCInvalidEx 6: Invalid WWN string"),
        operation(
            "NameIsDecoded", joined({shortText, longText}), outOfMemory, whole,
            [](Name& aName) { aName.decode(); }, canBeSetAnew),
        withoutAllocation("NameIsEncoded", whole, encode),
        operation(
            "NameIsEncodedIntoAFullStream", {0}, badAlloc, [] { return madeName(0); }, encode,
            [](Name const& aName) { EXPECT_EQ(bytesOf(aName.mOut.getEncoded()), Bytes(roomInside, 0xf5)); }),
        withoutAllocation("NameIsRead", whole,
                          [](Name& aName)
                          {
                              ASSERT_EQ(aName.mRecord->getBinaryForm()[0], firstBytes[0]);
                              ASSERT_EQ(aName.mRecord->getStringForm().size(), 23u);
                          }),
    };
}

using Version = std::optional<QZCDepVersion>;

Rows versionRows()
{
    auto const nothing = [] { return std::make_shared<Version>(); };
    auto const made = [] { return std::make_shared<Version>(QZCDepVersion(7, 2, 20)); };
    auto const isEmpty = [](Version const& aVersion) { EXPECT_FALSE(aVersion); };
    static QZCString const emptyText("");
    static QZCString const text("7.2.20.6");
    static QZCString const manyDigits("12345678901234567890");
    return {
        withoutAllocation("VersionOfThree", nothing, [](Version& aVersion) { aVersion.emplace(1u, 2u, 3u); }),
        withoutAllocation("VersionOfFour", nothing,
                          [](Version& aVersion) { aVersion.emplace(1u, 2u, 3u, 4u); }),
        // The piece is created empty, and then again for each part.
        operation(
            "VersionOfAnEmptyText", times(2, shortText), outOfMemory, nothing,
            [](Version& aVersion) { aVersion.emplace(emptyText); }, isEmpty),
        operation(
            "VersionOfFourParts", times(5, shortText), outOfMemory, nothing,
            [](Version& aVersion) { aVersion.emplace(text); }, isEmpty),
        operation(
            "VersionOfManyDigits", joined({shortText, longText}), outOfMemory, nothing,
            [](Version& aVersion) { aVersion.emplace(manyDigits); }, isEmpty),
        withoutAllocation("VersionIsAppendedTo", made, [](Version& aVersion) { *aVersion << text << text; }),
        withoutAllocation("VersionIsCompared", made,
                          [](Version& aVersion)
                          {
                              QZCDepVersion const other(7, 2, 21);
                              ASSERT_TRUE(*aVersion < other);
                              ASSERT_FALSE(*aVersion > other);
                              ASSERT_FALSE(*aVersion == other);
                          }),
    };
}

class RecordsAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Latency, RecordsAllocations, testing::ValuesIn(latencyRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Name, RecordsAllocations, testing::ValuesIn(nameRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Version, RecordsAllocations, testing::ValuesIn(versionRows()), nameOfOperation);

TEST_P(RecordsAllocations, EveryFailedAllocationIsReported) { failEveryAllocation(GetParam()); }
}  // namespace
