#include <algorithm>
#include <iterator>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataFields.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace
{
Bytes const otherName = {0x5a, 0, 0, 0, 8, 0x30, 0, 0, 0, 0xc9, 0, 0, 3};

/// The log lines of the record itself, without those of the records that it holds.
std::vector<LogLine> ownLines(LogCapture const& aLog)
{
    std::vector<LogLine> own;
    std::copy_if(aLog.lines().begin(), aLog.lines().end(), std::back_inserter(own),
                 [](LogLine const& aLine) { return aLine.mFile == "ScopeData"; });
    return own;
}

TEST_F(ScopeData, DecodingIsTraced)
{
    QZCScopeData data(mEvent);
    LogCapture const log;
    ASSERT_EQ(decodeInto(data, encodedForm(true, mTen)), done);
    EXPECT_THAT(ownLines(log), ElementsAre(logOf("decode").entered(), logOf("decode").left()));
}

TEST_F(ScopeData, FailedDecodingIsNotTracedAsLeft)
{
    QZCScopeData data(mEvent);
    LogCapture const log;
    decodeInto(data, {0x01, 0x02});
    EXPECT_THAT(ownLines(log), ElementsAre(logOf("decode").entered()));
}

TEST_F(ScopeData, DecodingReplacesTheEventForThisRecordOnly)
{
    QZCScopeData data(mEvent);
    ASSERT_EQ(decodeInto(data, {0x09, 0x0a, 0xf4, 0x00}), done);
    EXPECT_THAT(encodedFormOf(data), ElementsAre(0x09, 0x0a, 0xf4, 0x00));
    EXPECT_EQ(mEvent->getCategory(), 3);
}

TEST_F(ScopeData, DecodingARecordWithoutPayloadKeepsTheOldPayload)
{
    QZCScopeData data = withPayload(mTen);
    ASSERT_EQ(decodeInto(data, encodedForm(true, {})), done);
    EXPECT_EQ(encodedFormOf(data), encodedForm(true, mTen));
}

TEST_F(ScopeData, DecodingARecordWithoutNamesKeepsTheOldNames)
{
    QZCScopeData data(mEvent, mFirst, mSecond);
    ASSERT_EQ(decodeInto(data, encodedForm(false, mTen)), done);
    EXPECT_EQ(pointerAt(data, firstPosition), &*mFirst);
    EXPECT_EQ(pointerAt(data, secondPosition), &*mSecond);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, DecodingReplacesThePayloadAndItsSize)
{
    QZCScopeData data = withPayload(mTen);
    ASSERT_EQ(decodeInto(data, encodedForm(false, {0xa1, 0xa2, 0xa3})), done);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, {0xa1, 0xa2, 0xa3}));
    EXPECT_EQ(data.eventDataSize(), 3u);
}

TEST_F(ScopeData, DecodingDoesNotChangeThePayloadOfACopy)
{
    QZCScopeData data = withPayload(mTen);
    QZCScopeData const copy(data);
    ASSERT_EQ(decodeInto(data, encodedForm(false, {0xa1, 0xa2, 0xa3})), done);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(false, mTen));
}

TEST_F(ScopeData, DecodingReplacesTheNamesForThisRecordOnly)
{
    QZCScopeData data(mEvent, mFirst, mSecond);
    QZCScopeData const copy(data);
    Bytes const otherNames = joined(joined({0x03, 0x07, 0xf5}, otherName), joined(otherName, {0x00}));
    ASSERT_EQ(decodeInto(data, otherNames), done);
    EXPECT_EQ(encodedFormOf(data), otherNames);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(true, {})) << "the names were decoded in place";
}

TEST_F(ScopeData, DecodingThatFailsAfterTheEventHasReplacedIt)
{
    QZCScopeData data(mEvent);
    EXPECT_THAT(decodeInto(data, {0x09, 0x0a}), StartsWith("QZCEncodingEx 100: "));
    EXPECT_THAT(encodedFormOf(data), ElementsAre(0x09, 0x0a, 0xf4, 0x00));
}

TEST_F(ScopeData, DecodingThatFailsAfterTheFlagHasReplacedIt)
{
    QZCScopeData data(mEvent, mFirst, mSecond);
    EXPECT_THAT(decodeInto(data, {0x03, 0x07, 0xf4}), StartsWith("QZCEncodingEx 100: "));
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, {}));
}

TEST_F(ScopeData, DecodingThatFailsInTheFirstNameHasSetTheFlag)
{
    QZCScopeData data(mEvent);
    EXPECT_THAT(decodeInto(data, {0x03, 0x07, 0xf5, 0x5a}), StartsWith("QZCEncodingEx 100: "));
    EXPECT_EQ(fieldByte(data, flagPosition), 1);
    EXPECT_EQ(pointerAt(data, firstPosition), nullptr);
}

TEST_F(ScopeData, DecodingThatFailsInTheSecondNameHasReplacedTheFirst)
{
    QZCScopeData data(mEvent, mFirst, mSecond);
    Bytes const oneName = joined({0x03, 0x07, 0xf5}, otherName);
    EXPECT_THAT(decodeInto(data, oneName), StartsWith("QZCEncodingEx 100: "));
    Bytes const second(encodedNames.begin() + 13, encodedNames.end());
    EXPECT_EQ(encodedFormOf(data), joined(joined(oneName, second), {0x00}));
}

TEST_F(ScopeData, DecodingTreatsAnyNonzeroMarkerAsPayload)
{
    for (Bytes const& marker : {Bytes{0x02}, Bytes{0x17}, Bytes{0x1a, 0xff, 0xff, 0xff, 0xff}})
    {
        QZCScopeData data(mEvent);
        Bytes const head = joined({0x03, 0x07, 0xf4}, marker);
        EXPECT_EQ(decodeInto(data, joined(head, encodedPayload(mTen))), done);
        EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
    }
}

TEST_F(ScopeData, DecodingEmptyPayloadGivesARecordThatAcceptsAppends)
{
    QZCScopeData data(mEvent);
    ASSERT_EQ(decodeInto(data, {0x03, 0x07, 0xf4, 0x01, 0x40}), done);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, {}));
    data.appendEventData(mTen.data(), lengthOf(mTen));
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, DecodingDoesNotConsumeWhatFollows)
{
    Bytes const bytes = joined(encodedForm(true, mTen), {0xf5, 0xf4});
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    QZCScopeData data(mEvent);
    data.decode(in);
    EXPECT_EQ(in.getRemaining(), 2u);
}

TEST_F(ScopeData, DecodingWithoutMemoryIsRefused)
{
    Bytes const encoded = encodedForm(true, someBytes(100));
    auto const decode = [&]
    {
        QZCScopeData data(mEvent);
        QZCEncodableInStream in(encoded.data(), lengthOf(encoded));
        data.decode(in);
    };
    unsigned int const total = allocationsOf(decode);
    ASSERT_GE(total, 9u) << "an event, two names and a buffer with their counts, and the payload";
    DeliberateLeak const leak;
    for (unsigned int failing = 1; failing <= total; ++failing)
    {
        EXPECT_EQ(outcomeWithoutMemory(failing, decode), outOfMemory) << "allocation " << failing;
    }
}
}  // namespace
