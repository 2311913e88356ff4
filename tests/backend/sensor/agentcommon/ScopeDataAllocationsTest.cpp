// Failing allocations in scope events and scope data, for each operation and each of its allocations.
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "tests/backend/sensor/agentcommon/RecordMaking.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

namespace
{
using Rows = std::vector<Operation>;

Lost const shortPayload = {0, 1};
Lost const longPayload = {0, 0, 2};
// The record with an empty text, the count of its handle, the bytes read, and the text made from them.
Lost const decodedName = joined({{0}, shortText, {3}, shortPayload, longText});
Lost const decodedNames = times(2, decodedName);
Lost const decodedEvent = {0, 1};

using Event = Making<QZCScopeEvent>;

std::shared_ptr<Event> madeEvent(unsigned int aRoom)
{
    auto const subject = making<QZCScopeEvent>();
    subject->mRecord.emplace();
    subject->mEncoded = {0x18, 200, 0x18, 100};
    leaveRoom(*subject, aRoom);
    return subject;
}

Rows eventRows()
{
    auto const whole = [] { return madeEvent(roomInside); };
    auto const encode = [](Event& aEvent) { aEvent.mEvent->encode(aEvent.mOut); };
    return {
        withoutAllocation("EventIsMade", making<QZCScopeEvent>,
                          [](Event& aEvent) { aEvent.mRecord.emplace(); }),
        withoutAllocation("EventIsCompared", whole,
                          [](Event& aEvent) { ASSERT_FALSE(*aEvent.mRecord == *aEvent.mEvent); }),
        withoutAllocation("EventIsDecoded", whole, [](Event& aEvent) { aEvent.decode(); }),
        withoutAllocation("EventIsEncoded", whole, encode),
        operation(
            "EventIsEncodedIntoAFullStream", {0}, badAlloc, [] { return madeEvent(0); }, encode,
            [](Event const& aEvent) { EXPECT_EQ(aEvent.mOut.getEncoded().getLength(), roomInside); }),
        // The encoder reserves two bytes for any number.
        operation(
            "EventIsEncodedIntoAStreamWithRoomForItsCategory", {0}, badAlloc, [] { return madeEvent(2); },
            encode,
            [](Event const& aEvent) { EXPECT_EQ(aEvent.mOut.getEncoded().getLength(), roomInside - 1); }),
    };
}

using Data = Making<QZCScopeData>;

// The stream has room for the event, the flag and the first name, but not for the second name.
constexpr unsigned int lengthOfItsBeginning = 2 + 1 + 13;
constexpr unsigned int roomForItsBeginning = lengthOfItsBeginning + 12;

Rows dataConstructionRows()
{
    auto const subject = making<QZCScopeData>;
    auto const check = expectNothingMade<QZCScopeData>;
    /// Constructs a record with this payload length and buffer size.
    auto const plain = [](unsigned int aLength, unsigned int aRoom) {
        return [=](Data& aData)
        { aData.mRecord.emplace(aData.mEvent, aData.mPayload.data(), aLength, aRoom); };
    };
    auto const named = [](unsigned int aLength, unsigned int aRoom)
    {
        return [=](Data& aData) {
            aData.mRecord.emplace(aData.mEvent, aData.mPayload.data(), aLength, aRoom, aData.mFirst,
                                  aData.mSecond);
        };
    };
    return {
        withoutAllocation("DataWithOnlyAnEvent", subject,
                          [](Data& aData) { aData.mRecord.emplace(aData.mEvent); }),
        withoutAllocation("DataWithNames", subject,
                          [](Data& aData)
                          { aData.mRecord.emplace(aData.mEvent, aData.mFirst, aData.mSecond); }),
        withoutAllocation("DataWithoutPayload", subject, plain(0, 100)),
        operation("DataWithShortPayload", shortPayload, outOfMemory, subject, plain(10, 10), check),
        operation("DataWithLongPayload", longPayload, outOfMemory, subject, plain(100, 100), check),
        operation("DataWithPayloadThatHasNoRoom", {0, 1, 0}, outOfMemory, subject, plain(100, 0), check),
        operation("DataWithPayloadThatHasTooLittleRoom", {0, 0, 2, 0}, outOfMemory, subject, plain(100, 50),
                  check),
        withoutAllocation("DataWithNamesWithoutPayload", subject, named(0, 100)),
        operation("DataWithNamesAndShortPayload", shortPayload, outOfMemory, subject, named(10, 10), check),
        operation("DataWithNamesAndLongPayload", longPayload, outOfMemory, subject, named(100, 100), check),
        operation("DataWithNamesAndPayloadThatHasNoRoom", {0, 1, 0}, outOfMemory, subject, named(100, 0),
                  check),
        withoutAllocation(
            "DataIsCopied",
            [=]
            {
                auto const original = subject();
                named(100, 100)(*original);
                return original;
            },
            [](Data& aData) { QZCScopeData const copy(*aData.mRecord); }),
    };
}

/// A record with or without names, with this payload length, and a stream with this many bytes of room.
auto madeData(bool aHasNames, unsigned int aPayload, unsigned int aStreamRoom)
{
    return [=]
    {
        auto const subject = making<QZCScopeData>();
        unsigned char const* const payload = subject->mPayload.data();
        aHasNames ? subject->mRecord.emplace(subject->mEvent, payload, aPayload, 0u, subject->mFirst,
                                             subject->mSecond)
                  : subject->mRecord.emplace(subject->mEvent, payload, aPayload, 0u);
        subject->mEncoded = encodedForm(aHasNames, someBytes(aPayload));
        leaveRoom(*subject, aStreamRoom);
        return subject;
    };
}

Rows dataRows()
{
    auto const append = [](unsigned int aLength)
    { return [=](Data& aData) { aData.mRecord->appendEventData(aData.mPayload.data(), aLength); }; };
    auto const isAsBefore = [](Data const& aData)
    {
        EXPECT_EQ(aData.mRecord->eventDataSize(), roomInside);
        EXPECT_EQ(encodedFormOf(*aData.mRecord), encodedForm(false, someBytes(roomInside)));
    };
    auto const encode = [](Data& aData) { aData.mRecord->encode(aData.mOut); };
    auto const encodesElsewhere = [](Data const& aData)
    { EXPECT_EQ(encodedFormOf(*aData.mRecord), aData.mEncoded); };
    // The bytes written before the failure remain in the stream until clear().
    auto const isWrittenInPart = [](Data& aData)
    {
        expectBeginning(bytesOf(aData.mOut.getEncoded()),
                        joined(Bytes(roomInside - roomForItsBeginning, 0xf5), aData.mEncoded),
                        roomInside - roomForItsBeginning + lengthOfItsBeginning);
        aData.mOut.clear();
        aData.mRecord->encode(aData.mOut);
        EXPECT_EQ(bytesOf(aData.mOut.getEncoded()), aData.mEncoded);
    };
    auto const decode = [](Data& aData) { aData.decode(); };
    auto const decodesAgain = [](Data& aData)
    {
        aData.decode();
        EXPECT_EQ(encodedFormOf(*aData.mRecord), aData.mEncoded);
    };
    auto const read = [](Data& aData)
    {
        QZCScopeData const& data = *aData.mRecord;
        ASSERT_EQ(data.encodeSize() - data.eventDataSize(), 35u);
        ASSERT_EQ(data.numEncodedElements(), 5u);
        ASSERT_EQ(data.size(), 16u);
    };
    return {
        withoutAllocation("DataIsAppendedToWithinItsRoom", madeData(false, 10, 0), append(29)),
        operation("DataIsAppendedToBeyondItsRoom", {0}, badAlloc, madeData(false, roomInside, 0), append(1),
                  isAsBefore),
        operation("DataIsAppendedToByManyBytes", {0}, badAlloc, madeData(false, roomInside, 0), append(100),
                  isAsBefore),
        withoutAllocation("DataIsRead", madeData(true, 100, 0), read),
        withoutAllocation("DataIsEncodedWithNames", madeData(true, 0, roomInside), encode),
        withoutAllocation("DataIsEncodedWithPayload", madeData(false, 30, roomInside), encode),
        operation("DataIsEncodedIntoAFullStream", {0}, badAlloc, madeData(false, 0, 0), encode,
                  encodesElsewhere),
        operation("DataIsEncodedWithNamesIntoAFullStream", {0}, badAlloc, madeData(true, 0, 0), encode,
                  encodesElsewhere),
        operation("DataIsEncodedWithPayloadIntoAFullStream", {0, 0}, badAlloc, madeData(false, 100, 0),
                  encode, encodesElsewhere),
        operation("DataIsEncodedWithBothIntoAFullStream", {0, 0}, badAlloc, madeData(true, 100, 0), encode,
                  encodesElsewhere),
        operation("DataIsEncodedIntoAStreamWithRoomForItsBeginning", {0, 0}, badAlloc,
                  madeData(true, 100, roomForItsBeginning), encode, isWrittenInPart),
        operation("DataWithOnlyAnEventIsDecoded", decodedEvent, outOfMemory, madeData(false, 0, 0), decode,
                  decodesAgain),
        operation("DataIsDecodedWithNames", joined({decodedEvent, decodedNames}), outOfMemory,
                  madeData(true, 0, 0), decode, decodesAgain),
        operation("DataIsDecodedWithPayload", joined({decodedEvent, longPayload}), outOfMemory,
                  madeData(false, 100, 0), decode, decodesAgain),
        operation("DataIsDecodedWithBoth", joined({decodedEvent, decodedNames, longPayload}), outOfMemory,
                  madeData(true, 100, 0), decode, decodesAgain),
    };
}

class ScopeDataAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Event, ScopeDataAllocations, testing::ValuesIn(eventRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Making, ScopeDataAllocations, testing::ValuesIn(dataConstructionRows()),
                         nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Data, ScopeDataAllocations, testing::ValuesIn(dataRows()), nameOfOperation);

TEST_P(ScopeDataAllocations, EveryFailedAllocationIsReported) { failEveryAllocation(GetParam()); }
}  // namespace
