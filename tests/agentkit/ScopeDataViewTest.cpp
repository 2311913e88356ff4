#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/include/ScopeDataView.h"
#include "agentkit/include/Wwn.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using qz::ScopeDataError;
using qz::ScopeDataView;
using qz::Wwn;
using testing::ElementsAreArray;

namespace
{
std::array<unsigned char, 8> const firstName = {0x10, 0, 0, 0, 0xc9, 0, 0, 1};
std::array<unsigned char, 8> const secondName = {0x20, 0, 0, 0, 0xc9, 0, 0, 2};

/// The members of a record, and its encoded form.
struct Sample
{
    unsigned char mCategory;
    unsigned char mSubcategory;
    bool mHasNames;
    Bytes mPayload;

    Bytes encoded() const
    {
        QZCPointer<QZCScopeEvent> const event = eventOf(mCategory, mSubcategory);
        unsigned int const length = lengthOf(mPayload);
        if (mHasNames)
        {
            return encodedFormOf(
                QZCScopeData(event, mPayload.data(), length, length, nameOf(firstName), nameOf(secondName)));
        }
        return encodedFormOf(QZCScopeData(event, mPayload.data(), length, length));
    }
};

std::vector<Sample> const samples = {
    {3, 7, false, {}},
    {23, 24, true, {}},
    {24, 23, false, someBytes(1)},
    {255, 255, true, someBytes(10)},
    {0, 0, false, someBytes(300)},
};

/// The result of making a view of the bytes.
struct Reading
{
    std::string mOutcome;
    std::size_t mPosition = 0;
    bool mMayBeShort = false;
};

Reading readingOf(unsigned char const* aBytes, std::size_t aSize)
{
    Reading reading;
    reading.mOutcome = outcomeOf(
        [&]
        {
            try
            {
                ScopeDataView(aBytes, aSize);
            }
            catch (ScopeDataError const& error)
            {
                reading.mPosition = error.position();
                reading.mMayBeShort = error.mayBeShort();
                throw;
            }
        });
    return reading;
}

Reading readingOf(Bytes const& aBytes)
{
    // The block has exactly the size of its content, so that a sanitizer detects a read past the end.
    Bytes const bytes(aBytes);
    return readingOf(bytes.data(), bytes.size());
}

/// The outcome of a refusal at a byte, with this text.
std::string refusal(std::size_t aPosition, std::string const& aText)
{
    return "qz::ScopeDataError 100: at byte " + std::to_string(aPosition) + ": " + aText;
}

/// The result of QZCScopeData::decode() for the bytes.
struct Decoding
{
    std::string mOutcome;
    unsigned int mSize = 0;
};

Decoding decodingOf(Bytes const& aBytes)
{
    Bytes const bytes(aBytes);
    QZCScopeData data(eventOf(0, 0));
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    Decoding decoding;
    decoding.mOutcome = outcomeOf([&] { data.decode(in); });
    decoding.mSize = lengthOf(bytes) - in.getRemaining();
    return decoding;
}

/// Fails the test unless view and record agree on the bytes.
void expectTheRecordsVerdict(Bytes const& aBytes)
{
    Reading const reading = readingOf(aBytes);
    Decoding const decoding = decodingOf(aBytes);
    if (reading.mOutcome.find("expected a name of 8 bytes") != std::string::npos)
    {
        return;  // the view alone checks the length of names
    }
    if (decoding.mOutcome != done)
    {
        std::string const mark = "QZCEncodingEx ";
        ASSERT_EQ(decoding.mOutcome.rfind(mark, 0), 0u) << decoding.mOutcome;
        EXPECT_EQ(reading.mOutcome, "qz::ScopeDataError " + decoding.mOutcome.substr(mark.size()));
        EXPECT_EQ(reading.mPosition, decoding.mSize);
        return;
    }
    ASSERT_EQ(reading.mOutcome, done);
    EXPECT_EQ(ScopeDataView(aBytes.data(), aBytes.size()).size(), decoding.mSize);
}

TEST(ScopeDataView, EveryShapeOfARecordShowsItsMembers)
{
    for (Sample const& sample : samples)
    {
        Bytes const encoded = sample.encoded();
        ScopeDataView const view(encoded.data(), encoded.size());
        EXPECT_EQ(view.size(), encoded.size());
        EXPECT_EQ(view.category(), sample.mCategory);
        EXPECT_EQ(view.subcategory(), sample.mSubcategory);
        EXPECT_EQ(view.hasNames(), sample.mHasNames);
        EXPECT_EQ(view.first(), sample.mHasNames ? std::optional<Wwn>(Wwn(firstName)) : std::nullopt);
        EXPECT_EQ(view.second(), sample.mHasNames ? std::optional<Wwn>(Wwn(secondName)) : std::nullopt);
        ASSERT_EQ(view.payload().has_value(), !sample.mPayload.empty());
        if (view.payload())
        {
            EXPECT_EQ(Bytes(view.payload()->begin(), view.payload()->end()), sample.mPayload);
        }
    }
}

TEST(ScopeDataView, ShowsThePayloadInPlace)
{
    Bytes const encoded = samples[3].encoded();
    ScopeDataView const view(encoded.data(), encoded.size());
    EXPECT_EQ(view.payload()->mData, encoded.data() + encoded.size() - 10);
    EXPECT_EQ(view.payload()->end(), encoded.data() + encoded.size());
}

TEST(ScopeDataView, AllocatesNothing)
{
    Bytes const encoded = samples[3].encoded();
    EXPECT_EQ(allocationsOf([&] { ScopeDataView(encoded.data(), encoded.size()); }), 0u);
}

TEST(ScopeDataView, TellsAnEmptyPayloadFromNone)
{
    Bytes const encoded = {0x03, 0x07, 0xf4, 0x01, 0x40};
    ScopeDataView const view(encoded.data(), encoded.size());
    ASSERT_TRUE(view.payload().has_value());
    EXPECT_EQ(view.payload()->mSize, 0u);
    EXPECT_EQ(view.payload()->mData, encoded.data() + encoded.size());
}

TEST(ScopeDataView, TakesAnyMarkerExceptZeroForPayload)
{
    for (Bytes const& marker : {Bytes{0x02}, Bytes{0x17}, Bytes{0x1a, 0xff, 0xff, 0xff, 0xff}})
    {
        Bytes const encoded = joined(joined({0x03, 0x07, 0xf4}, marker), {0x41, 0xaa});
        ScopeDataView const view(encoded.data(), encoded.size());
        EXPECT_THAT(std::vector<unsigned char>(view.payload()->begin(), view.payload()->end()),
                    ElementsAreArray({0xaa}));
    }
}

TEST(ScopeDataView, LeavesWhatFollowsTheRecord)
{
    for (Sample const& sample : samples)
    {
        Bytes const encoded = sample.encoded();
        Bytes const more = joined(encoded, {0xff, 0x60, 0x00});
        EXPECT_EQ(ScopeDataView(more.data(), more.size()).size(), encoded.size());
    }
}

TEST(ScopeDataView, RefusesEveryTruncatedRecordAsShort)
{
    for (Sample const& sample : samples)
    {
        Bytes const encoded = sample.encoded();
        for (std::size_t size = 0; size < encoded.size(); ++size)
        {
            Bytes const cut(encoded.begin(), encoded.begin() + static_cast<std::ptrdiff_t>(size));
            Reading const reading = readingOf(cut);
            EXPECT_THAT(reading.mOutcome, testing::StartsWith("qz::ScopeDataError 100: at byte ")) << size;
            EXPECT_TRUE(reading.mMayBeShort) << size << " of " << encoded.size();
            EXPECT_LE(reading.mPosition, size);
        }
    }
}

TEST(ScopeDataView, AgreesWithTheRecordOnEverySingleByteChange)
{
    for (Sample const& sample : samples)
    {
        Bytes const encoded = sample.encoded();
        // After its head the payload may be any bytes.
        std::size_t const end = std::min<std::size_t>(encoded.size(), 64);
        for (std::size_t position = 0; position < end; ++position)
        {
            for (unsigned int value = 0; value <= 0xff; ++value)
            {
                Bytes changed = encoded;
                changed[position] = static_cast<unsigned char>(value);
                SCOPED_TRACE("byte " + std::to_string(position) + " set to " + std::to_string(value));
                expectTheRecordsVerdict(changed);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST(ScopeDataView, SaysWhatItRefusesAndWhere)
{
    struct Row
    {
        Bytes mBytes;
        std::size_t mPosition;
        std::string mText;
        bool mMayBeShort;
    };
    std::string const number = "expected an unsigned integer up to ";
    Row const rows[] = {
        {{}, 0, number + "255, found the end of the input", true},
        {{0x18}, 0, number + "255, found unsigned integer cut in its head (0x18)", true},
        {{0x1b, 0, 0}, 0, number + "255, found unsigned integer cut in its head (0x1b)", true},
        {{0x1c}, 0, number + "255, found unsigned integer with a reserved head (0x1c)", false},
        {{0x1f}, 0, number + "255, found unsigned integer of indefinite length (0x1f)", false},
        {{0x19, 1, 0}, 0, number + "255, found unsigned integer 256 (0x19)", false},
        {{0x19, 1, 0, 0, 0, 0, 0, 0, 0, 0}, 0, number + "255, found unsigned integer 256 (0x19)", false},
        {{0x61}, 0, number + "255, found text string 1 (0x61)", false},
        {{0x40}, 0, number + "255, found byte string 0 (0x40)", false},
        {{3}, 1, number + "255, found the end of the input", true},
        {{3, 7}, 2, "expected a bool (0xf4 or 0xf5), found the end of the input", true},
        {{3, 7, 0xf6}, 2, "expected a bool (0xf4 or 0xf5), found simple value 22 (0xf6)", false},
        {{3, 7, 0x00}, 2, "expected a bool (0xf4 or 0xf5), found unsigned integer 0 (0x00)", false},
        {{3, 7, 0x18},
         2,
         "expected a bool (0xf4 or 0xf5), found unsigned integer cut in its head (0x18)",
         false},
        {{3, 7, 0xf5}, 3, "expected a byte string, found the end of the input", true},
        {{3, 7, 0xf5, 0x5a, 0}, 3, "expected a byte string, found byte string cut in its head (0x5a)", true},
        {{3, 7, 0xf5, 0x5f},
         3,
         "expected a byte string, found byte string of indefinite length (0x5f)",
         false},
        {{3, 7, 0xf5, 0x00}, 3, "expected a byte string, found unsigned integer 0 (0x00)", false},
        {{3, 7, 0xf5, 0x48, 1, 2},
         3,
         "expected a byte string of at most the 2 bytes that follow, found byte string 8 (0x48)",
         true},
        {{3, 7, 0xf5, 0x42, 1, 2}, 3, "expected a name of 8 bytes, found one of 2", false},
        {{3, 7, 0xf5, 0x40}, 3, "expected a name of 8 bytes, found one of 0", false},
        {{3, 7, 0xf5, 0x49, 1, 2, 3, 4, 5, 6, 7, 8, 9},
         3,
         "expected a name of 8 bytes, found one of 9",
         false},
        {{3, 7, 0xf5, 0x48, 1, 2, 3, 4, 5, 6, 7, 8, 0x47, 1, 2, 3, 4, 5, 6, 7},
         12,
         "expected a name of 8 bytes, found one of 7",
         false},
        {{3, 7, 0xf4}, 3, number + "4294967295, found the end of the input", true},
        {{3, 7, 0xf4, 1}, 4, "expected a byte string, found the end of the input", true},
        {{3, 7, 0xf4, 1, 0x80}, 4, "expected a byte string, found array 0 (0x80)", false},
    };
    for (Row const& row : rows)
    {
        Reading const reading = readingOf(row.mBytes);
        EXPECT_EQ(reading.mOutcome, refusal(row.mPosition, row.mText));
        EXPECT_EQ(reading.mPosition, row.mPosition) << row.mText;
        EXPECT_EQ(reading.mMayBeShort, row.mMayBeShort) << row.mText;
    }
}

TEST(ScopeDataView, InputAsLongAsTheStreamCanCountIsNeverShort)
{
    // A body of 4 GiB minus one byte is longer than the rest of the stream after the head. It is not read.
    Bytes const endless = {3, 7, 0xf4, 1, 0x5a, 0xff, 0xff, 0xff, 0xff};
    Reading const reading = readingOf(endless.data(), std::numeric_limits<std::size_t>::max());
    EXPECT_EQ(reading.mOutcome,
              refusal(4,
                      "expected a byte string of at most the 4294967286 bytes that follow, found byte string "
                      "4294967295 (0x5a)"));
    EXPECT_FALSE(reading.mMayBeShort);
    EXPECT_TRUE(readingOf(endless).mMayBeShort);
}

TEST(ScopeDataView, RefusalThrowsAnExceptionOfTheStream)
{
    Bytes const bytes = {0x60};
    EXPECT_THROW(ScopeDataView(bytes.data(), bytes.size()), QZCEncodingEx);
    EXPECT_THROW(ScopeDataView(bytes.data(), bytes.size()), QZCException);
}
}  // namespace
