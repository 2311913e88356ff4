#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using testing::AnyOf;
using testing::StartsWith;

namespace
{
/// An upper bound for the size of any block that decoding a record allocates, except its payload.
constexpr std::size_t usualSize = 1000;

/// Damages captures in typical ways. The same seed gives the same damage.
class Damage
{
public:
    explicit Damage(unsigned int aSeed) : mRandom(aSeed) {}

    void strike(Bytes& aBytes)
    {
        switch (below(5))
        {
            case 0:
                aBytes[below(aBytes.size())] ^= static_cast<unsigned char>(1u << below(8));
                break;
            case 1:
                aBytes.insert(placeIn(aBytes), static_cast<unsigned char>(below(256)));
                break;
            case 2:
                aBytes.erase(placeIn(aBytes));
                break;
            case 3:
                aBytes.erase(placeIn(aBytes), aBytes.end());
                break;
            default:
                duplicateRange(aBytes);
                break;
        }
        aBytes.resize(std::max<std::size_t>(aBytes.size(), 1));
    }

    std::size_t below(std::size_t aEnd) { return mRandom() % aEnd; }

private:
    Bytes::iterator placeIn(Bytes& aBytes)
    {
        return aBytes.begin() + static_cast<std::ptrdiff_t>(below(aBytes.size()));
    }

    void duplicateRange(Bytes& aBytes)
    {
        auto const first = static_cast<std::ptrdiff_t>(below(aBytes.size()));
        auto const last =
            first + static_cast<std::ptrdiff_t>(below(aBytes.size() - static_cast<std::size_t>(first)) + 1);
        Bytes const range(aBytes.begin() + first, aBytes.begin() + last);
        aBytes.insert(placeIn(aBytes), range.begin(), range.end());
    }

    std::mt19937 mRandom;
};

/// The result of decoding one record after the other, up to the end or the first refusal.
struct Decoded
{
    unsigned int mRecords;
    std::string mOutcome;
};

Decoded decodeAll(Bytes const& aCapture)
{
    // Exactly as large as its content, so that a sanitizer reports a read past the end.
    Bytes const bytes(aCapture);
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    Decoded decoded{0, done};
    while (in.getRemaining() != 0 && decoded.mOutcome == done)
    {
        QZCScopeData record(eventOf(0, 0));
        decoded.mOutcome = outcomeOf([&] { record.decode(in); });
        decoded.mRecords += decoded.mOutcome == done ? 1 : 0;
    }
    return decoded;
}

Bytes captureOf(std::vector<Bytes> const& aRecords)
{
    Bytes capture;
    for (Bytes const& record : aRecords)
    {
        capture = joined(capture, record);
    }
    return capture;
}

/// A capture with one record of each shape.
std::vector<Bytes> const shapes = {encodedForm(false, {}), encodedForm(true, someBytes(10)),
                                   encodedForm(false, someBytes(50)), encodedForm(true, {})};

TEST(ScopeDataCapture, TruncatedCaptureIsRefusedAfterItsLastWholeRecord)
{
    Bytes whole;
    for (unsigned int records = 0; records < shapes.size(); ++records)
    {
        EXPECT_EQ(decodeAll(whole).mOutcome, done) << records << " records";
        for (std::size_t more = 1; more < shapes[records].size(); ++more)
        {
            Bytes cut = joined(whole, shapes[records]);
            cut.resize(whole.size() + more);
            Decoded const decoded = decodeAll(cut);
            EXPECT_EQ(decoded.mRecords, records) << cut.size() << " bytes";
            EXPECT_THAT(decoded.mOutcome, StartsWith("QZCEncodingEx 100: at byte "))
                << cut.size() << " bytes";
        }
        whole = joined(whole, shapes[records]);
    }
}

TEST(ScopeDataCapture, TenThousandDamagedCapturesAreDecodedOrRefused)
{
    Damage damage(20261121);
    Bytes const original = captureOf(shapes);
    unsigned int refused = 0;
    unsigned int records = 0;
    for (unsigned int i = 0; i < 10000; ++i)
    {
        Bytes bytes = original;
        for (std::size_t strikes = 1 + damage.below(2); strikes > 0; --strikes)
        {
            damage.strike(bytes);
        }
        AllocationFailure const counter(0);
        Decoded const decoded = decodeAll(bytes);
        ASSERT_THAT(decoded.mOutcome, AnyOf(done, outOfMemory, StartsWith("QZCEncodingEx 100: ")))
            << "form " << i;
        ASSERT_LE(counter.largest(), bytes.size() + usualSize) << "form " << i;
        refused += decoded.mOutcome == done ? 0 : 1;
        records += decoded.mRecords;
    }
    EXPECT_GT(refused, 1000u) << "the damage rarely caused a refusal";
    EXPECT_GT(records, 10000u) << "the damage left too little to decode";
}

TEST_F(ScopeData, DecodingRefusesALengthBeyondTheInputBeforeItAllocates)
{
    for (unsigned char const firstOfLength : Bytes{0x01, 0x7f, 0xff})
    {
        QZCScopeData data(mEvent);
        AllocationFailure const counter(0);
        EXPECT_THAT(decodeInto(data, {0x03, 0x07, 0xf4, 0x01, 0x5a, firstOfLength, 0, 0, 0, 0xaa}),
                    StartsWith("QZCEncodingEx 100: at byte 4: expected a byte string of at most the 1 bytes "
                               "that follow"));
        EXPECT_LE(counter.largest(), usualSize);
    }
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
    EXPECT_GT(refused, 1000u) << "the damage rarely caused a refusal";
    EXPECT_LT(refused, 9000u) << "the damage left too little to decode";
}
}  // namespace
