#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/ScopeDataFields.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
using ScopeDataDeathTest = ScopeData;

static_assert(std::is_copy_constructible<QZCScopeData>::value, "copies share");
static_assert(!std::is_copy_assignable<QZCScopeData>::value, "an empty handle cannot be assigned");

TEST_F(ScopeData, ConstructionFromAnEventLogsOnlyTheTrace)
{
    LogCapture const log;
    QZCScopeData const data(mEvent);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, ConstructionWithNamesLogsOnlyTheTrace)
{
    LogCapture const log;
    QZCScopeData const data(mEvent, mFirst, mSecond);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, ConstructionWithPayloadLogsItsLength)
{
    LogCapture const log;
    QZCScopeData const data = withPayload(mTen);
    ExpectedLog const expected = logOf("QZCScopeData");
    EXPECT_THAT(log.lines(),
                ElementsAre(expected.entered(), expected.trace("Data length = %u", "Data length = 10"),
                            expected.left()));
}

TEST_F(ScopeData, ConstructionWithEmptyPayloadLogsTheLengthZero)
{
    LogCapture const log;
    QZCScopeData const data(mEvent, nullptr, 0, 10);
    ExpectedLog const expected = logOf("QZCScopeData");
    EXPECT_THAT(log.lines(),
                ElementsAre(expected.entered(), expected.trace("Data length = %u", "Data length = 0"),
                            expected.left()));
}

TEST_F(ScopeData, ConstructionWithPayloadAndNamesDoesNotLogTheLength)
{
    LogCapture const log;
    QZCScopeData const data = withBoth(mTen);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, BufferSizeIsOnlyAHint)
{
    for (unsigned int const size : {0u, 1u, 9u, 10u, 11u, 1000u})
    {
        QZCScopeData const data(mEvent, mTen.data(), lengthOf(mTen), size);
        EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen)) << "buffer size " << size;
    }
}

TEST_F(ScopeData, BufferSizeIsTheAllocatedCapacity)
{
    for (bool const hasNames : {false, true})
    {
        AllocationFailure const counter(0);
        hasNames ? QZCScopeData(mEvent, mTen.data(), 10, 1000, mFirst, mSecond)
                 : QZCScopeData(mEvent, mTen.data(), 10, 1000);
        EXPECT_EQ(counter.largest(), 1000u) << (hasNames ? "with names" : "without names");
    }
}

TEST_F(ScopeData, ConstructionCopiesThePayload)
{
    Bytes payload = mTen;
    QZCScopeData const data = withPayload(payload);
    payload.assign(payload.size(), 0xff);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeDataDeathTest, EmptyHandlesEndTheProcess)
{
    EventHandle const noEvent;
    NameHandle const noName;
    unsigned char const byte = 1;
    std::vector<std::function<void()>> const constructions = {
        [&] { QZCScopeData{noEvent}; },
        [&] { QZCScopeData(noEvent, mFirst, mSecond); },
        [&] { QZCScopeData(mEvent, noName, mSecond); },
        [&] { QZCScopeData(mEvent, mFirst, noName); },
        [&] { QZCScopeData(noEvent, &byte, 1, 1); },
        [&] { QZCScopeData(noEvent, &byte, 1, 1, mFirst, mSecond); },
        [&] { QZCScopeData(mEvent, &byte, 1, 1, noName, mSecond); },
        [&] { QZCScopeData(mEvent, &byte, 1, 1, mFirst, noName); },
    };
    LogLine const assertion =
        ExpectedLog("operator=", "backend/common/include/Pointer").assertion("0 != acrCopy.mPointer");
    for (std::size_t i = 0; i < constructions.size(); ++i)
    {
        SCOPED_TRACE("construction " + std::to_string(i));
        EXPECT_EXIT(
            {
                echoLogLines();
                constructions[i]();
            },
            ExitedWithCode(1), onlyTheseLines({logOf("QZCScopeData").entered(), assertion}));
    }
}

TEST_F(ScopeDataDeathTest, EmptyNamesAreCheckedBeforeThePayloadIsAllocated)
{
    NameHandle const noName;
    unsigned char const byte = 1;
    std::vector<std::function<void()>> const constructions = {
        [&] { QZCScopeData(mEvent, &byte, 1, 1, noName, mSecond); },
        [&] { QZCScopeData(mEvent, &byte, 1, 1, mFirst, noName); },
    };
    for (std::size_t i = 0; i < constructions.size(); ++i)
    {
        SCOPED_TRACE("construction " + std::to_string(i));
        // An out-of-memory exception would leave the statement without ending the process.
        EXPECT_EXIT(
            {
                AllocationFailure const failure(1);
                constructions[i]();
            },
            ExitedWithCode(1), "");
    }
}

TEST_F(ScopeData, CopyHasTheContentOfTheOriginal)
{
    QZCScopeData const data = withBoth(mTen);
    QZCScopeData const copy(data);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(true, mTen));
    for (std::size_t const position : {eventPosition, dataPosition, secondPosition, firstPosition})
    {
        EXPECT_EQ(pointerAt(copy, position), pointerAt(data, position)) << "byte " << position;
    }
}

TEST_F(ScopeData, CopyOfARecordWithoutNamesAndPayloadHasNone)
{
    QZCScopeData const data(mEvent);
    QZCScopeData const copy(data);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(false, {}));
}

TEST_F(ScopeData, CopyOutlivesItsOriginal)
{
    QZCPointer<QZCScopeData> const data(new (std::nothrow) QZCScopeData(withBoth(mTen)), QZPST_Individual,
                                        QZPAT_New);
    EXPECT_EQ(encodedFormOf(QZCScopeData(*data)), encodedForm(true, mTen));
}

TEST_F(ScopeData, ConstructionWithoutMemoryIsRefused)
{
    Bytes const payload = someBytes(100);
    auto const plain = [&] { QZCScopeData(mEvent, payload.data(), 100, 100); };
    auto const named = [&] { QZCScopeData(mEvent, payload.data(), 100, 100, mFirst, mSecond); };
    ASSERT_EQ(allocationsOf(plain), 3u) << "the buffer, its bytes and the count";
    ASSERT_EQ(allocationsOf(named), 3u);
    DeliberateLeak const leak;
    for (unsigned int failing = 1; failing <= 3; ++failing)
    {
        EXPECT_EQ(outcomeWithoutMemory(failing, plain), outOfMemory) << "allocation " << failing;
        EXPECT_EQ(outcomeWithoutMemory(failing, named), outOfMemory) << "allocation " << failing;
    }
}

TEST_F(ScopeData, ConstructionThatFailsWhileGrowingIsRefused)
{
    Bytes const payload = someBytes(100);
    auto const construct = [&] { QZCScopeData(mEvent, payload.data(), 100, 0); };
    ASSERT_EQ(allocationsOf(construct), 3u);
    EXPECT_EQ(outcomeWithoutMemory(3, construct), outOfMemory);
}

TEST_F(ScopeData, FailedConstructionReleasesItsHandles)
{
    Bytes const payload = someBytes(100);
    long const before = liveBlocks();
    {
        EventHandle const event = eventOf(1, 2);
        NameHandle const name = nameOf(firstBytes);
        outcomeWithoutMemory(1, [&] { QZCScopeData(event, payload.data(), 100, 100, name, name); });
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST_F(ScopeData, FailedConstructionIsNotTracedAsLeft)
{
    LogCapture const log;
    outcomeWithoutMemory(1, [&] { QZCScopeData(mEvent, mTen.data(), 10, 10, mFirst, mSecond); });
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered()));
}

TEST_F(ScopeData, FailedConstructionWithPayloadHasLoggedItsLength)
{
    LogCapture const log;
    outcomeWithoutMemory(1, [&] { QZCScopeData(mEvent, mTen.data(), 10, 10); });
    ExpectedLog const expected = logOf("QZCScopeData");
    EXPECT_THAT(log.lines(),
                ElementsAre(expected.entered(), expected.trace("Data length = %u", "Data length = 10")));
}

/// Records its destruction.
template <typename Record>
class Mortal : public Record
{
public:
    Mortal(std::vector<std::string>& aEnds, char const* aName) : mEnds(aEnds), mName(aName) {}
    ~Mortal() override { mEnds.push_back(mName); }

private:
    std::vector<std::string>& mEnds;
    char const* mName;
};

template <typename Record>
QZCPointer<Record> mortal(std::vector<std::string>& aEnds, char const* aName)
{
    return QZCPointer<Record>(new (std::nothrow) Mortal<Record>(aEnds, aName), QZPST_Individual, QZPAT_New);
}

TEST_F(ScopeData, DestructionReleasesTheRecordsInReverseOrder)
{
    std::vector<std::string> ends;
    // The record is the only owner of its arguments once this function has returned.
    auto const make = [&]
    {
        return QZCScopeData(mortal<QZCScopeEvent>(ends, "event"), mortal<QZCWorldWideName>(ends, "first"),
                            mortal<QZCWorldWideName>(ends, "second"));
    };
    {
        QZCScopeData const data = make();
        ASSERT_THAT(ends, IsEmpty());
    }
    EXPECT_THAT(ends, ElementsAre("first", "second", "event"));
}

TEST_F(ScopeData, LastHandleFreesRecordAndPayload)
{
    Bytes const payload = someBytes(100);
    long const before = liveBlocks();
    {
        QZCScopeData const data = withBoth(payload);
        EXPECT_GT(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}
}  // namespace
