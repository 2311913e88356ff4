#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tools/qzagent/hba/SenseData.h"

namespace
{
using Sense = std::vector<unsigned char>;

std::string causeText(Sense const& aSense, unsigned int aStatus = 2)
{
    return textOf(qzagent::scsiCauseOf(aStatus, aSense.data(), aSense.size()));
}

/// Sense data in fixed format whose additional length is 10.
Sense fixedSense(unsigned char aResponseCode, unsigned char aKey, unsigned char aAsc, unsigned char aAscq)
{
    return {aResponseCode, 0, aKey, 0, 0, 0, 0, 10, 0, 0, 0, 0, aAsc, aAscq, 0, 0, 0, 0};
}

TEST(QzagentSenseData, IsDecodedInFixedFormat)
{
    EXPECT_EQ(causeText(fixedSense(0x70, 0x02, 0x3a, 0x00)),
              "CHECK CONDITION, NOT READY, medium not present (3A/00)");
}

TEST(QzagentSenseData, IsDecodedInFixedFormatOfADeferredError)
{
    EXPECT_EQ(causeText(fixedSense(0x71, 0x03, 0x0c, 0x00)),
              "CHECK CONDITION, MEDIUM ERROR, write error (0C/00)");
}

TEST(QzagentSenseData, IsDecodedInDescriptorFormat)
{
    EXPECT_EQ(causeText({0x72, 0x05, 0x25, 0x00, 0, 0, 0, 0}),
              "CHECK CONDITION, ILLEGAL REQUEST, logical unit not supported (25/00)");
    EXPECT_EQ(causeText({0x73, 0x06, 0x29, 0x07, 0, 0, 0, 0}),
              "CHECK CONDITION, UNIT ATTENTION, I_T nexus loss occurred (29/07)");
}

TEST(QzagentSenseData, HasItsFirstAndItsLastKnownCode)
{
    EXPECT_EQ(causeText(fixedSense(0x70, 0x00, 0x00, 0x00)),
              "CHECK CONDITION, NO SENSE, no additional sense information (00/00)");
    EXPECT_EQ(causeText(fixedSense(0x70, 0x0b, 0x74, 0x00)),
              "CHECK CONDITION, ABORTED COMMAND, security error (74/00)");
}

TEST(QzagentSenseData, IsShownAsNumbersWhenTheCodeIsUnknown)
{
    EXPECT_EQ(causeText(fixedSense(0x70, 0x04, 0x3a, 0x7f)),
              "CHECK CONDITION, HARDWARE ERROR, additional sense (3A/7F)");
    EXPECT_EQ(causeText(fixedSense(0x70, 0x09, 0xff, 0xff)),
              "CHECK CONDITION, VENDOR SPECIFIC, additional sense (FF/FF)");
}

TEST(QzagentSenseData, HasOneNameForEachSenseKey)
{
    char const* const names[] = {"NO SENSE",       "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
                                 "HARDWARE ERROR", "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
                                 "BLANK CHECK",    "VENDOR SPECIFIC", "COPY ABORTED",   "ABORTED COMMAND",
                                 "RESERVED",       "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED"};
    for (unsigned char key = 0; key < 16; ++key)
    {
        EXPECT_EQ(causeText({0x72, static_cast<unsigned char>(0xf0 | key)}),
                  std::string("CHECK CONDITION, ") + names[key]);
    }
}

TEST(QzagentSenseData, IsReadOnlyAsFarAsItReaches)
{
    Sense const whole = fixedSense(0x70, 0x02, 0x3a, 0x00);
    auto const textOfFirst = [&whole](std::size_t aSize)
    { return causeText(Sense(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(aSize))); };
    EXPECT_EQ(textOfFirst(0), "CHECK CONDITION, no sense data");
    EXPECT_EQ(textOfFirst(2), "CHECK CONDITION, no sense data");
    EXPECT_EQ(textOfFirst(3), "CHECK CONDITION, NOT READY");
    EXPECT_EQ(textOfFirst(13), "CHECK CONDITION, NOT READY");
    EXPECT_EQ(textOfFirst(14), "CHECK CONDITION, NOT READY, medium not present (3A/00)");
    EXPECT_EQ(causeText({0x72, 0x02, 0x3a}), "CHECK CONDITION, NOT READY");
}

TEST(QzagentSenseData, IsReadOnlyAsFarAsItsOwnLengthReaches)
{
    Sense sense = fixedSense(0x70, 0x02, 0x3a, 0x00);
    sense[7] = 5;
    EXPECT_EQ(causeText(sense), "CHECK CONDITION, NOT READY");
    sense[7] = 6;
    EXPECT_EQ(causeText(sense), "CHECK CONDITION, NOT READY, medium not present (3A/00)");
}

TEST(QzagentSenseData, IsIgnoredInAnUnknownFormat)
{
    EXPECT_EQ(causeText(fixedSense(0x7f, 0x02, 0x3a, 0x00)), "CHECK CONDITION, no sense data");
    EXPECT_EQ(causeText(Sense(18)), "CHECK CONDITION, no sense data");
}

TEST(QzagentSenseData, IsNotExpectedWithAnotherStatus)
{
    EXPECT_EQ(causeText({}, 0x08), "BUSY");
    EXPECT_EQ(causeText({}, 0x18), "RESERVATION CONFLICT");
    EXPECT_EQ(causeText({}, 0x03), "SCSI status 03");
}
}  // namespace
