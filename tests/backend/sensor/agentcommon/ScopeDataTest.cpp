#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <iterator>
#include <new>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/common/Bytes.h"
#include "tests/backend/common/Outcome.h"
#include "tests/backend/sensor/agentcommon/Records.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlots.h"

using testing::AnyOf;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
using EventHandle = QZCPointer<QZCScopeEvent>;
using NameHandle = QZCPointer<QZCWorldWideName>;

std::array<unsigned char, 8> const firstBytes = {0x10, 0, 0, 0, 0xc9, 0, 0, 1};
std::array<unsigned char, 8> const secondBytes = {0x20, 0, 0, 0, 0xc9, 0, 0, 2};

Bytes const encodedEvent = {0x03, 0x07};
Bytes const encodedNames = {0x5a, 0, 0, 0, 8, 0x10, 0, 0, 0, 0xc9, 0, 0, 1,
                            0x5a, 0, 0, 0, 8, 0x20, 0, 0, 0, 0xc9, 0, 0, 2};

// Where the fields stand, from the start of the object.
constexpr std::size_t handleSize = sizeof(QZCPointer<QZCBuffer>);
constexpr std::size_t eventPosition = sizeof(void*);
constexpr std::size_t dataPosition = eventPosition + handleSize;
constexpr std::size_t flagPosition = dataPosition + handleSize;
constexpr std::size_t secondPosition = flagPosition + sizeof(void*);
constexpr std::size_t firstPosition = secondPosition + handleSize;
constexpr std::size_t sizePosition = firstPosition + handleSize;

static_assert(std::is_copy_constructible<QZCScopeData>::value, "copies share");
static_assert(!std::is_copy_assignable<QZCScopeData>::value, "an empty handle cannot be assigned");

ExpectedLog logOf(char const* aFunction) { return ExpectedLog(aFunction, "ScopeData"); }

/// The lines of the records that are held are not this one's.
std::vector<LogLine> ownLines(LogCapture const& aLog)
{
    std::vector<LogLine> own;
    std::copy_if(aLog.lines().begin(), aLog.lines().end(), std::back_inserter(own),
                 [](LogLine const& aLine) { return aLine.mFile == "ScopeData"; });
    return own;
}

Bytes encodedFormOf(QZCScopeData const& aData)
{
    QZCEncodableOutStream out;
    aData.encode(out);
    return bytesOf(out.getEncoded());
}

/// Decodes the bytes into the record and gives the outcome.
std::string decodeInto(QZCScopeData& arData, Bytes const& aBytes)
{
    QZCEncodableInStream in(aBytes.data(), lengthOf(aBytes));
    return outcomeOf([&] { arData.decode(in); });
}

/// The payload element of the encoded form, for less than 256 bytes.
Bytes encodedPayload(Bytes const& aPayload)
{
    return joined({0x5a, 0, 0, 0, static_cast<unsigned char>(aPayload.size())}, aPayload);
}

/// The encoded form of an event of 3 and 7.
Bytes encodedForm(bool aHasNames, Bytes const& aPayload)
{
    Bytes encoded = joined(encodedEvent, {static_cast<unsigned char>(aHasNames ? 0xf5 : 0xf4)});
    encoded = joined(encoded, aHasNames ? encodedNames : Bytes{});
    encoded = joined(encoded, {static_cast<unsigned char>(aPayload.empty() ? 0 : 1)});
    return joined(encoded, aPayload.empty() ? Bytes{} : encodedPayload(aPayload));
}

unsigned char fieldByte(QZCScopeData const& aData, std::size_t aPosition)
{
    return reinterpret_cast<unsigned char const*>(&aData)[aPosition];
}

void const* pointerAt(QZCScopeData const& aData, std::size_t aPosition)
{
    void const* pointer;
    std::memcpy(&pointer, reinterpret_cast<unsigned char const*>(&aData) + aPosition, sizeof pointer);
    return pointer;
}

/// Makes the record account for so many bytes without having them. Nothing may encode it then.
void accountFor(QZCScopeData& arData, unsigned int aSize)
{
    std::memcpy(reinterpret_cast<unsigned char*>(&arData) + sizePosition, &aSize, sizeof aSize);
}

/// Records to build from. They log when they are made, so they are made first.
class ScopeData : public testing::Test
{
protected:
    QZCScopeData withPayload(Bytes const& aPayload) const
    {
        return QZCScopeData(mEvent, aPayload.data(), lengthOf(aPayload), lengthOf(aPayload));
    }

    QZCScopeData withBoth(Bytes const& aPayload) const
    {
        return QZCScopeData(mEvent, aPayload.data(), lengthOf(aPayload), lengthOf(aPayload), mFirst, mSecond);
    }

    EventHandle const mEvent = eventOf(3, 7);
    NameHandle const mFirst = nameOf(firstBytes);
    NameHandle const mSecond = nameOf(secondBytes);
    Bytes const mTen = someBytes(10);
};

using ScopeDataDeathTest = ScopeData;

TEST_F(ScopeData, OfAnEventLogsNothingButTheTrace)
{
    LogCapture const log;
    QZCScopeData const data(mEvent);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, OfNamesLogsNothingButTheTrace)
{
    LogCapture const log;
    QZCScopeData const data(mEvent, mFirst, mSecond);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, OfPayloadLogsItsLength)
{
    LogCapture const log;
    QZCScopeData const data = withPayload(mTen);
    ExpectedLog const expected = logOf("QZCScopeData");
    EXPECT_THAT(log.lines(),
                ElementsAre(expected.entered(), expected.trace("Data length = %u", "Data length = 10"),
                            expected.left()));
}

TEST_F(ScopeData, OfNoPayloadLogsTheLengthZero)
{
    LogCapture const log;
    QZCScopeData const data(mEvent, nullptr, 0, 10);
    ExpectedLog const expected = logOf("QZCScopeData");
    EXPECT_THAT(log.lines(),
                ElementsAre(expected.entered(), expected.trace("Data length = %u", "Data length = 0"),
                            expected.left()));
}

TEST_F(ScopeData, OfPayloadAndNamesDoesNotLogTheLength)
{
    LogCapture const log;
    QZCScopeData const data = withBoth(mTen);
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered(), logOf("QZCScopeData").left()));
}

TEST_F(ScopeData, OfAnEventIsEncodedWithoutNamesAndPayload)
{
    EXPECT_THAT(encodedFormOf(QZCScopeData(mEvent)), ElementsAre(0x03, 0x07, 0xf4, 0x00));
}

TEST_F(ScopeData, OfNamesIsEncodedFirstNameFirst)
{
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond)),
              joined(joined({0x03, 0x07, 0xf5}, encodedNames), {0x00}));
}

TEST_F(ScopeData, OfPayloadIsEncodedWithTheMarkerBeforeIt)
{
    EXPECT_THAT(encodedFormOf(withPayload({0xaa, 0xbb})),
                ElementsAre(0x03, 0x07, 0xf4, 0x01, 0x5a, 0, 0, 0, 2, 0xaa, 0xbb));
}

TEST_F(ScopeData, OfBothIsEncodedNamesBeforePayload)
{
    EXPECT_EQ(encodedFormOf(withBoth({0xaa})),
              joined(joined({0x03, 0x07, 0xf5}, encodedNames), {0x01, 0x5a, 0, 0, 0, 1, 0xaa}));
}

TEST_F(ScopeData, OfNoPayloadIsEncodedAsIfItHadNone)
{
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, nullptr, 0, 10)), encodedForm(false, {}));
    EXPECT_EQ(encodedFormOf(QZCScopeData(mEvent, nullptr, 0, 10, mFirst, mSecond)), encodedForm(true, {}));
}

TEST_F(ScopeData, BufferSizeIsOnlyAHint)
{
    for (unsigned int const size : {0u, 1u, 9u, 10u, 11u, 1000u})
    {
        QZCScopeData const data(mEvent, mTen.data(), lengthOf(mTen), size);
        EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen)) << "buffer size " << size;
    }
}

TEST_F(ScopeData, CopiesThePayload)
{
    Bytes payload = mTen;
    QZCScopeData const data = withPayload(payload);
    payload.assign(payload.size(), 0xff);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, EncodingIsNotLogged)
{
    QZCScopeData const data = withPayload(mTen);
    LogCapture const log;
    encodedFormOf(data);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ScopeData, FiguresAreNotLogged)
{
    QZCScopeData const data = withBoth(mTen);
    LogCapture const log;
    EXPECT_EQ(data.encodeSize() + data.numEncodedElements() + data.size() + data.eventDataSize(), 76u);
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// The length of a record's payload, and whether it has names.
struct Shape
{
    std::size_t mPayload;
    bool mHasNames;
    unsigned int mElements;
};

std::ostream& operator<<(std::ostream& arOut, Shape const& aShape)
{
    return arOut << aShape.mPayload << (aShape.mHasNames ? " bytes and names" : " bytes");
}

class ScopeDataShape : public ScopeData, public testing::WithParamInterface<Shape>
{
protected:
    QZCScopeData make() const { return GetParam().mHasNames ? withBoth(mPayload) : withPayload(mPayload); }

    Bytes const mPayload = someBytes(GetParam().mPayload);
};

INSTANTIATE_TEST_SUITE_P(Of, ScopeDataShape,
                         testing::Values(Shape{0, false, 2}, Shape{1, false, 3}, Shape{10, false, 3},
                                         Shape{39, false, 3}, Shape{40, false, 3}, Shape{70000, false, 3},
                                         Shape{0, true, 4}, Shape{1, true, 5}, Shape{10, true, 5},
                                         Shape{39, true, 5}, Shape{40, true, 5}, Shape{70000, true, 5}),
                         [](testing::TestParamInfo<Shape> const& aInfo) {
                             return std::to_string(aInfo.param.mPayload) +
                                    (aInfo.param.mHasNames ? "BytesAndNames" : "Bytes");
                         });

TEST_P(ScopeDataShape, HasTheSizeThatItIsEncodedTo)
{
    QZCScopeData const data = make();
    EXPECT_EQ(data.encodeSize(), encodedFormOf(data).size());
}

TEST_P(ScopeDataShape, HasItsElements) { EXPECT_EQ(make().numEncodedElements(), GetParam().mElements); }

TEST_P(ScopeDataShape, AccountsForItsPayload) { EXPECT_EQ(make().eventDataSize(), GetParam().mPayload); }

TEST_P(ScopeDataShape, HasTheFixedSize) { EXPECT_EQ(make().size(), 16u); }

TEST_P(ScopeDataShape, ComesBackTheSame)
{
    QZCScopeData const data = make();
    Bytes const encoded = encodedFormOf(data);
    QZCScopeData decoded(eventOf(0, 0));
    EXPECT_EQ(decodeInto(decoded, encoded), done);
    EXPECT_EQ(encodedFormOf(decoded), encoded);
    EXPECT_EQ(decoded.eventDataSize(), data.eventDataSize());
}

TEST_P(ScopeDataShape, IsRefusedWhereverItIsCut)
{
    Bytes const encoded = encodedFormOf(make());
    std::size_t const step = std::max<std::size_t>(1, encoded.size() / 200);
    for (std::size_t length = 0; length < encoded.size(); length += step)
    {
        Bytes const cut(encoded.begin(), encoded.begin() + static_cast<std::ptrdiff_t>(length));
        QZCScopeData decoded(eventOf(0, 0));
        EXPECT_THAT(decodeInto(decoded, cut), StartsWith("QZCEncodingEx 100: at byte "))
            << length << " bytes";
    }
}

TEST_F(ScopeData, FiguresOfTheTwoWorkedExamples)
{
    EXPECT_EQ(QZCScopeData(mEvent).encodeSize(), 4u);
    EXPECT_EQ(QZCScopeData(mEvent).numEncodedElements(), 2u);
    EXPECT_EQ(withBoth(mTen).encodeSize(), 45u);
    EXPECT_EQ(withBoth(mTen).numEncodedElements(), 5u);
}

TEST_F(ScopeData, SizeHasOneExceptionWithoutNames)
{
    QZCScopeData data = withPayload(mTen);
    for (auto const& [accounted, size] :
         {std::pair{4294967291u, 16u}, std::pair{4294967292u, 16u}, std::pair{4294967293u, 0u},
          std::pair{4294967294u, 16u}, std::pair{4294967295u, 16u}})
    {
        accountFor(data, accounted);
        ASSERT_EQ(data.eventDataSize(), accounted);
        EXPECT_EQ(data.size(), size) << accounted << " bytes";
    }
}

TEST_F(ScopeData, SizeHasOneExceptionWithNames)
{
    QZCScopeData data = withBoth(mTen);
    for (auto const& [accounted, size] :
         {std::pair{4294967291u, 16u}, std::pair{4294967292u, 0u}, std::pair{4294967293u, 16u},
          std::pair{4294967294u, 16u}, std::pair{4294967295u, 16u}})
    {
        accountFor(data, accounted);
        EXPECT_EQ(data.size(), size) << accounted << " bytes";
    }
}

TEST_F(ScopeData, FiguresWrapAroundAtTheirEnd)
{
    QZCScopeData data = withBoth(mTen);
    accountFor(data, 4294967295u);
    EXPECT_EQ(data.encodeSize(), 34u);
}

TEST_F(ScopeData, AppendedPayloadIsAccountedAndEncoded)
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

TEST_F(ScopeData, AppendingNothingChangesNothing)
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

TEST_F(ScopeData, AppendingThatFailsChangesNothing)
{
    QZCScopeData data = withPayload(mTen);
    Bytes const more = someBytes(1000);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { data.appendEventData(more.data(), lengthOf(more)); }), badAlloc);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
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

TEST_F(ScopeDataDeathTest, EncodingAccountedPayloadThatIsNotThereEndsTheProcess)
{
    QZCScopeData data(mEvent);
    accountFor(data, 1);
    LogLine const assertion =
        ExpectedLog("operator*", "backend/common/include/Pointer").assertion("0 != mPointer");
    EXPECT_EXIT(
        {
            echoLogLines();
            encodedFormOf(data);
        },
        ExitedWithCode(1), onlyTheseLines({assertion}));
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

TEST_F(ScopeData, DecodingIsTraced)
{
    QZCScopeData data(mEvent);
    LogCapture const log;
    ASSERT_EQ(decodeInto(data, encodedForm(true, mTen)), done);
    EXPECT_THAT(ownLines(log), ElementsAre(logOf("decode").entered(), logOf("decode").left()));
}

TEST_F(ScopeData, DecodingThatFailsIsNotLeft)
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

TEST_F(ScopeData, DecodingLeavesPayloadThatDoesNotCome)
{
    QZCScopeData data = withPayload(mTen);
    ASSERT_EQ(decodeInto(data, encodedForm(true, {})), done);
    EXPECT_EQ(encodedFormOf(data), encodedForm(true, mTen));
}

TEST_F(ScopeData, DecodingLeavesNamesThatDoNotCome)
{
    QZCScopeData data(mEvent, mFirst, mSecond);
    ASSERT_EQ(decodeInto(data, encodedForm(false, mTen)), done);
    EXPECT_EQ(pointerAt(data, firstPosition), &*mFirst);
    EXPECT_EQ(pointerAt(data, secondPosition), &*mSecond);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, DecodingTakesAnyMarkerButZeroForPayload)
{
    for (Bytes const& marker : {Bytes{0x02}, Bytes{0x17}, Bytes{0x1a, 0xff, 0xff, 0xff, 0xff}})
    {
        QZCScopeData data(mEvent);
        Bytes const head = joined({0x03, 0x07, 0xf4}, marker);
        EXPECT_EQ(decodeInto(data, joined(head, encodedPayload(mTen))), done);
        EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
    }
}

TEST_F(ScopeData, DecodingEmptyPayloadMakesARecordToAppendTo)
{
    QZCScopeData data(mEvent);
    ASSERT_EQ(decodeInto(data, {0x03, 0x07, 0xf4, 0x01, 0x40}), done);
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, {}));
    data.appendEventData(mTen.data(), lengthOf(mTen));
    EXPECT_EQ(encodedFormOf(data), encodedForm(false, mTen));
}

TEST_F(ScopeData, DecodingLeavesWhatFollowsInTheStream)
{
    Bytes const bytes = joined(encodedForm(true, mTen), {0xf5, 0xf4});
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    QZCScopeData data(mEvent);
    data.decode(in);
    EXPECT_EQ(in.getRemaining(), 2u);
}

TEST_F(ScopeData, DecodingSurvivesTenThousandDamagedInputs)
{
    std::mt19937 random(20260101);
    std::vector<Bytes> const originals = {encodedForm(false, {}), encodedForm(true, {}),
                                          encodedForm(false, mTen), encodedForm(true, mTen)};
    unsigned int refused = 0;
    for (unsigned int i = 0; i < 10000; ++i)
    {
        Bytes bytes = originals[i % originals.size()];
        for (auto changes = 1 + random() % 3; changes > 0; --changes)
        {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
        }
        QZCScopeData data(mEvent);
        std::string const outcome = decodeInto(data, bytes);
        ASSERT_THAT(outcome, AnyOf(done, StartsWith("QZCEncodingEx 100: "))) << "input " << i;
        if (outcome == done)
        {
            encodedFormOf(data);
        }
        else
        {
            ++refused;
        }
    }
    EXPECT_GT(refused, 1000u) << "the damage did not reach what is checked";
    EXPECT_LT(refused, 9000u) << "the damage left nothing to decode";
}

TEST_F(ScopeData, CopyHasWhatItsOriginalHas)
{
    QZCScopeData const data = withBoth(mTen);
    QZCScopeData const copy(data);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(true, mTen));
    for (std::size_t const position : {eventPosition, dataPosition, secondPosition, firstPosition})
    {
        EXPECT_EQ(pointerAt(copy, position), pointerAt(data, position)) << "byte " << position;
    }
}

TEST_F(ScopeData, CopyOfOneWithoutNamesAndPayloadHasNone)
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

TEST_F(ScopeData, AppendingShowsInTheCopysPayloadButNotInItsFigure)
{
    QZCScopeData data = withPayload({1, 2});
    QZCScopeData const copy(data);
    unsigned char const more = 3;
    data.appendEventData(&more, 1);
    EXPECT_EQ(encodedFormOf(copy), encodedForm(false, {1, 2, 3}));
    EXPECT_EQ(copy.eventDataSize(), 2u);
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

TEST_F(ScopeData, ConstructionThatFailsInGrowthIsRefused)
{
    Bytes const payload = someBytes(100);
    auto const construct = [&] { QZCScopeData(mEvent, payload.data(), 100, 0); };
    ASSERT_EQ(allocationsOf(construct), 3u);
    EXPECT_EQ(outcomeWithoutMemory(3, construct), outOfMemory);
}

TEST_F(ScopeData, ConstructionThatFailsLetsGoOfWhatItHeld)
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

TEST_F(ScopeData, ConstructionThatFailsIsNotLeft)
{
    LogCapture const log;
    outcomeWithoutMemory(1, [&] { QZCScopeData(mEvent, mTen.data(), 10, 10, mFirst, mSecond); });
    EXPECT_THAT(log.lines(), ElementsAre(logOf("QZCScopeData").entered()));
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
    ASSERT_GE(total, 9u) << "an event, two names and a buffer, each with its count, and the payload";
    DeliberateLeak const leak;
    for (unsigned int failing = 1; failing <= total; ++failing)
    {
        EXPECT_EQ(outcomeWithoutMemory(failing, decode), outOfMemory) << "allocation " << failing;
    }
}

/// Tells of its end.
template <typename Record>
class Mortal : public Record
{
public:
    Mortal(std::vector<std::string>& arEnds, char const* aName) : mEnds(arEnds), mName(aName) {}
    ~Mortal() override { mEnds.push_back(mName); }

private:
    std::vector<std::string>& mEnds;
    char const* mName;
};

template <typename Record>
QZCPointer<Record> mortal(std::vector<std::string>& arEnds, char const* aName)
{
    return QZCPointer<Record>(new (std::nothrow) Mortal<Record>(arEnds, aName), QZPST_Individual, QZPAT_New);
}

TEST_F(ScopeData, LetsGoOfItsRecordsInReverseOrder)
{
    std::vector<std::string> ends;
    // The arguments are gone when this has made the record, which then is alone in holding them.
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

TEST_F(ScopeData, IsFreedWithItsPayload)
{
    Bytes const payload = someBytes(100);
    long const before = liveBlocks();
    {
        QZCScopeData const data = withBoth(payload);
        EXPECT_GT(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST_F(ScopeData, HasItsOperationsInTheOrderOfItsTable)
{
    QZCScopeData const data(mEvent);
    EXPECT_THAT(virtualSlots(&data, 4),
                ElementsAre("QZCScopeData::~QZCScopeData()", "QZCScopeData::~QZCScopeData()",
                            "QZCScopeData::size() const", "QZCScopeData::eventDataSize() const"));
}

TEST_F(ScopeData, HasItsFieldsInTheirOrder)
{
    QZCScopeData const data = withBoth(mTen);
    EXPECT_EQ(pointerAt(data, eventPosition), &*mEvent);
    EXPECT_NE(pointerAt(data, dataPosition), nullptr);
    EXPECT_EQ(fieldByte(data, flagPosition), 1);
    EXPECT_EQ(pointerAt(data, secondPosition), &*mSecond);
    EXPECT_EQ(pointerAt(data, firstPosition), &*mFirst);
    EXPECT_EQ(fieldByte(data, sizePosition), 10);
    EXPECT_EQ(sizeof data, sizePosition + sizeof(void*)) << "no further field";
}

TEST_F(ScopeData, HasEmptyHandlesForWhatItLacks)
{
    QZCScopeData const data(mEvent);
    EXPECT_EQ(pointerAt(data, dataPosition), nullptr);
    EXPECT_EQ(fieldByte(data, flagPosition), 0);
    EXPECT_EQ(pointerAt(data, secondPosition), nullptr);
    EXPECT_EQ(pointerAt(data, firstPosition), nullptr);
}
}  // namespace
