#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"
#include "tests/support/VirtualSlots.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
/// Decodes the bytes into the event and returns the outcome.
std::string decodeInto(QZCScopeEvent& aEvent, Bytes const& aBytes)
{
    QZCEncodableInStream in(aBytes.data(), lengthOf(aBytes));
    return outcomeOf([&] { aEvent.decode(in); });
}

QZCScopeEvent eventFrom(unsigned int aCategory, unsigned int aSubcategory)
{
    QZCEncodableOutStream out;
    out << aCategory << aSubcategory;
    QZCScopeEvent event;
    EXPECT_EQ(decodeInto(event, bytesOf(out.getEncoded())), done);
    return event;
}

Bytes numbersOf(QZCScopeEvent const& aEvent) { return {aEvent.getCategory(), aEvent.getSubcategory()}; }

TEST(ScopeEvent, DefaultIsZero) { EXPECT_THAT(numbersOf(QZCScopeEvent()), ElementsAre(0, 0)); }

TEST(ScopeEvent, DefaultEventsAreEqual) { EXPECT_TRUE(QZCScopeEvent() == QZCScopeEvent()); }

TEST(ScopeEvent, EqualNumbersAreEqual) { EXPECT_TRUE(eventFrom(3, 200) == eventFrom(3, 200)); }

TEST(ScopeEvent, DifferentSubcategoriesAreNotEqual) { EXPECT_FALSE(eventFrom(3, 200) == eventFrom(3, 201)); }

TEST(ScopeEvent, DifferentCategoriesAreNotEqual) { EXPECT_FALSE(eventFrom(3, 200) == eventFrom(4, 200)); }

TEST(ScopeEvent, SwappedNumbersAreNotEqual) { EXPECT_FALSE(eventFrom(3, 4) == eventFrom(4, 3)); }

TEST(ScopeEvent, DefaultIsEncodedAsTwoZeroElements)
{
    EXPECT_THAT(encodedFormOf(QZCScopeEvent()), ElementsAre(0x00, 0x00));
}

TEST(ScopeEvent, EncodingHasTheCategoryFirst)
{
    EXPECT_THAT(encodedFormOf(eventFrom(1, 2)), ElementsAre(0x01, 0x02));
}

TEST(ScopeEvent, NumbersFromTwentyFourTakeTwoBytes)
{
    EXPECT_THAT(encodedFormOf(eventFrom(23, 24)), ElementsAre(0x17, 0x18, 0x18));
    EXPECT_THAT(encodedFormOf(eventFrom(255, 23)), ElementsAre(0x18, 0xff, 0x17));
}

TEST(ScopeEvent, DecodingReadsTheCategoryFirst)
{
    QZCScopeEvent event;
    EXPECT_EQ(decodeInto(event, {0x07, 0x18, 0xc8}), done);
    EXPECT_THAT(numbersOf(event), ElementsAre(7, 200));
}

TEST(ScopeEvent, DecodingReplacesBothNumbers)
{
    QZCScopeEvent event = eventFrom(3, 200);
    EXPECT_EQ(decodeInto(event, {0x05, 0x06}), done);
    EXPECT_THAT(numbersOf(event), ElementsAre(5, 6));
}

TEST(ScopeEvent, EveryPairSurvivesARoundTrip)
{
    for (unsigned int pair = 0; pair < 65536; ++pair)
    {
        QZCScopeEvent const event = eventFrom(pair >> 8, pair & 0xff);
        Bytes const encoded = encodedFormOf(event);
        QZCScopeEvent decoded;
        ASSERT_EQ(decodeInto(decoded, encoded), done) << "pair " << pair;
        ASSERT_TRUE(decoded == event) << "pair " << pair;
        ASSERT_THAT(numbersOf(decoded), ElementsAre(pair >> 8, pair & 0xff));
    }
}

TEST(ScopeEvent, DecodingDoesNotConsumeWhatFollows)
{
    Bytes const bytes = {0x01, 0x02, 0x03};
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    QZCScopeEvent().decode(in);
    EXPECT_EQ(in.getRemaining(), 1u);
}

TEST(ScopeEvent, EncodingAppendsToTheStream)
{
    QZCEncodableOutStream out;
    out << true;
    eventFrom(1, 2).encode(out);
    EXPECT_THAT(bytesOf(out.getEncoded()), ElementsAre(0xf5, 0x01, 0x02));
}

TEST(ScopeEvent, EmptyInputIsRefusedAndChangesNothing)
{
    QZCScopeEvent event = eventFrom(3, 200);
    EXPECT_THAT(decodeInto(event, {}), StartsWith("QZCEncodingEx 100: at byte 0"));
    EXPECT_THAT(numbersOf(event), ElementsAre(3, 200));
}

TEST(ScopeEvent, InputThatEndsAfterTheCategoryReplacesOnlyTheCategory)
{
    QZCScopeEvent event = eventFrom(3, 200);
    EXPECT_THAT(decodeInto(event, {0x05}), StartsWith("QZCEncodingEx 100: at byte 1"));
    EXPECT_THAT(numbersOf(event), ElementsAre(5, 200));
}

TEST(ScopeEvent, NumberAboveAByteIsRefused)
{
    QZCScopeEvent event = eventFrom(3, 200);
    EXPECT_THAT(decodeInto(event, {0x19, 0x01, 0x00, 0x01}), StartsWith("QZCEncodingEx 100: at byte 0"));
    EXPECT_THAT(numbersOf(event), ElementsAre(3, 200));
}

TEST(ScopeEvent, LogsNothing)
{
    LogCapture log;
    {
        QZCScopeEvent event = eventFrom(3, 200);
        encodedFormOf(event);
        numbersOf(event);
        decodeInto(event, {0x05});
        EXPECT_FALSE(event == QZCScopeEvent());
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ScopeEvent, LastHandleFreesTheRecord)
{
    long const before = liveBlocks();
    {
        QZCPointer<QZCScopeEvent> const event(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New);
        EXPECT_GT(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(ScopeEvent, VirtualTableHasOnlyTheDestructors)
{
    QZCScopeEvent const event;
    EXPECT_THAT(virtualSlots(&event, 2), Each("QZCScopeEvent::~QZCScopeEvent()"));
}

TEST(ScopeEvent, NumbersFollowTheTablePointer)
{
    QZCScopeEvent const event = eventFrom(3, 200);
    unsigned char const* const fields = reinterpret_cast<unsigned char const*>(&event) + sizeof(void*);
    EXPECT_EQ(fields[0], 3);
    EXPECT_EQ(fields[1], 200);
    EXPECT_EQ(sizeof event, 2 * sizeof(void*)) << "no other field";
}
}  // namespace
