#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;
using testing::ExitedWithCode;

namespace
{
using ScopeDataDeathTest = ScopeData;

TEST_F(ScopeData, AppendedPayloadIsCountedAndEncoded)
{
    QZCScopeData data = withPayload({1, 2, 3});
    Bytes const more = {4, 5, 6, 7, 8};
    data.appendEventData(more.data(), lengthOf(more));
    EXPECT_EQ(data.eventDataSize(), 8u);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, {1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(ScopeData, AppendingIsTraced)
{
    QZCScopeData data = withPayload(mTen);
    LogCapture const log;
    data.appendEventData(mTen.data(), lengthOf(mTen));
    EXPECT_THAT(log.lines(),
                ElementsAre(logOf("appendEventData").entered(), logOf("appendEventData").left()));
}

TEST_F(ScopeData, AppendingNoBytesChangesNothing)
{
    QZCScopeData data = withPayload(mTen);
    data.appendEventData(nullptr, 0);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, AppendingWorksOnDecodedPayload)
{
    QZCScopeData data(eventOf(0, 0));
    ASSERT_EQ(decodeInto(data, encodedForm(true, {1, 2})), done);
    unsigned char const more = 3;
    data.appendEventData(&more, 1);
    EXPECT_EQ(encodedFormOf(data), encodedForm(true, {1, 2, 3}));
}

TEST_F(ScopeData, FailedAppendingChangesNothing)
{
    QZCScopeData data = withPayload(mTen);
    Bytes const more = someBytes(1000);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { data.appendEventData(more.data(), lengthOf(more)); }), badAlloc);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, FailedAppendingKeepsTheSize)
{
    QZCScopeData data = withPayload(mTen);
    Bytes const more = someBytes(1000);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { data.appendEventData(more.data(), lengthOf(more)); }), badAlloc);
    EXPECT_EQ(data.eventDataSize(), 10u);
}

TEST_F(ScopeData, FailedAppendingIsNotTracedAsLeft)
{
    QZCScopeData data = withPayload(mTen);
    Bytes const more = someBytes(1000);
    LogCapture const log;
    outcomeWithoutMemory(1, [&] { data.appendEventData(more.data(), lengthOf(more)); });
    EXPECT_THAT(log.lines(), ElementsAre(logOf("appendEventData").entered()));
}

TEST_F(ScopeData, AppendingUpToTheBufferSizeDoesNotAllocate)
{
    QZCScopeData data(mEvent, mTen.data(), lengthOf(mTen), 1000);
    Bytes const more = someBytes(990);
    EXPECT_EQ(allocationsOf([&] { data.appendEventData(more.data(), lengthOf(more)); }), 0u);
}

TEST_F(ScopeDataDeathTest, AppendingWithoutPayloadEndsTheProcess)
{
    LogLine const assertion =
        ExpectedLog("operator->", "backend/common/include/Pointer").assertion("0 != mPointer");
    for (QZCScopeData data : {QZCScopeData(mEvent), QZCScopeData(mEvent, nullptr, 0, 10)})
    {
        EXPECT_EXIT(
            {
                echoLogLines();
                data.appendEventData(mTen.data(), 1);
            },
            ExitedWithCode(1), onlyTheseLines({logOf("appendEventData").entered(), assertion}));
    }
}

TEST_F(ScopeData, AppendingAffectsTheCopysPayloadButNotItsSize)
{
    QZCScopeData data = withPayload({1, 2});
    QZCScopeData const copy(data);
    unsigned char const more = 3;
    data.appendEventData(&more, 1);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(false, {1, 2, 3}));
    EXPECT_EQ(copy.eventDataSize(), 2u);
}
}  // namespace
