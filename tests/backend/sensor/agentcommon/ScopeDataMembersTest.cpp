#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"

using testing::IsEmpty;

namespace
{
using ScopeDataMembers = ScopeData;

TEST_F(ScopeDataMembers, AreTheSharedObjectsThatTheRecordWasMadeOf)
{
    QZCScopeData const data = withBoth(mTen);
    EXPECT_EQ(data.getScopeEvent().get(), mEvent.get());
    EXPECT_EQ(data.getFirstWwn().get(), mFirst.get());
    EXPECT_EQ(data.getSecondWwn().get(), mSecond.get());
    EXPECT_TRUE(data.hasWwns());
    EXPECT_EQ(bytesOf(*data.getEventData()), mTen);
}

TEST_F(ScopeDataMembers, NamesAreEmptyInARecordWithoutNames)
{
    QZCScopeData const data = withPayload(mTen);
    EXPECT_FALSE(data.hasWwns());
    EXPECT_TRUE(data.getFirstWwn() == nullptr);
    EXPECT_TRUE(data.getSecondWwn() == nullptr);
}

TEST_F(ScopeDataMembers, PayloadIsEmptyInARecordWithoutPayload)
{
    EXPECT_TRUE(QZCScopeData(mEvent, mFirst, mSecond).getEventData() == nullptr);
}

TEST_F(ScopeDataMembers, PayloadHasTheAppendedBytes)
{
    QZCScopeData data = withPayload(mTen);
    data.appendEventData(mTen.data(), lengthOf(mTen));
    EXPECT_EQ(bytesOf(*data.getEventData()), joined(mTen, mTen));
}

TEST_F(ScopeDataMembers, AreThoseOfTheEncodedFormAfterDecoding)
{
    QZCScopeData data(eventOf(0, 0));
    ASSERT_EQ(decodeInto(data, encodedForm(true, mTen)), done);
    EXPECT_TRUE(*data.getScopeEvent() == *mEvent);
    EXPECT_STREQ(data.getFirstWwn()->getStringForm().get(), "10:00:00:00:c9:00:00:01");
    EXPECT_STREQ(data.getSecondWwn()->getStringForm().get(), "20:00:00:00:c9:00:00:02");
    EXPECT_EQ(bytesOf(*data.getEventData()), mTen);
}

TEST_F(ScopeDataMembers, ReadingThemLogsNothing)
{
    QZCScopeData const data = withBoth(mTen);
    LogCapture const log;
    data.getScopeEvent();
    data.hasWwns();
    data.getFirstWwn();
    data.getSecondWwn();
    data.getEventData();
    EXPECT_THAT(log.lines(), IsEmpty());
}
}  // namespace
