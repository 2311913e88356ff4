#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
TEST_F(ScopeData, RecordOfAnEventIsEncodedWithoutNamesAndPayload)
{
    EXPECT_THAT(encodedFormOf(QZCScopeData(mEvent)), ElementsAre(0x03, 0x07, 0xf4, 0x00));
}

TEST_F(ScopeData, RecordWithNamesIsEncodedFirstNameFirst)
{
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond)),
              joined(joined({0x03, 0x07, 0xf5}, encodedNames), {0x00}));
}

TEST_F(ScopeData, RecordWithPayloadIsEncodedWithTheMarkerBeforeIt)
{
    EXPECT_THAT(encodedFormOf(withPayload({0xaa, 0xbb})),
                ElementsAre(0x03, 0x07, 0xf4, 0x01, 0x5a, 0, 0, 0, 2, 0xaa, 0xbb));
}

TEST_F(ScopeData, RecordWithBothIsEncodedNamesBeforePayload)
{
    EXPECT_EQ(encodedFormOf(withBoth({0xaa})),
              joined(joined({0x03, 0x07, 0xf5}, encodedNames), {0x01, 0x5a, 0, 0, 0, 1, 0xaa}));
}

TEST_F(ScopeData, EmptyPayloadIsEncodedAsNoPayload)
{
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, nullptr, 0, 10)), encodedForm(false, {}));
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, nullptr, 0, 10, mFirst, mSecond)), encodedForm(true, {}));
}

TEST_F(ScopeData, EncodingIsNotLogged)
{
    QZCScopeData const data = withPayload(mTen);
    LogCapture const log;
    encodedFormOf(data);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScopeData, SizesAreNotLogged)
{
    QZCScopeData const data = withBoth(mTen);
    LogCapture const log;
    EXPECT_EQ(data.encodeSize() + data.numEncodedElements() + data.size() + data.eventDataSize(), 76u);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScopeData, SizesOfTheSmallestRecordAndOfOneWithNamesAndPayload)
{
    EXPECT_EQ(QZCScopeData(mEvent).encodeSize(), 4u);
    EXPECT_EQ(QZCScopeData(mEvent).numEncodedElements(), 2u);
    EXPECT_EQ(withBoth(mTen).encodeSize(), 45u);
    EXPECT_EQ(withBoth(mTen).numEncodedElements(), 5u);
}
}  // namespace
