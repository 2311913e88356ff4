#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"

using testing::StartsWith;

namespace
{
/// A shape of a record: its payload length, and whether it has names.
struct Shape
{
    std::size_t mPayload;
    bool mHasNames;
    unsigned int mElements;
};

std::ostream& operator<<(std::ostream& aOut, Shape const& aShape)
{
    return aOut << aShape.mPayload << (aShape.mHasNames ? " bytes and names" : " bytes");
}

class ScopeDataShape : public ScopeData, public testing::WithParamInterface<Shape>
{
protected:
    QZCScopeData make() const { return GetParam().mHasNames ? withBoth(mPayload) : withPayload(mPayload); }

    Bytes const mPayload = someBytes(GetParam().mPayload);
};

INSTANTIATE_TEST_SUITE_P(All, ScopeDataShape,
                         testing::Values(Shape{0, false, 2}, Shape{1, false, 3}, Shape{10, false, 3},
                                         Shape{39, false, 3}, Shape{40, false, 3}, Shape{70000, false, 3},
                                         Shape{0, true, 4}, Shape{1, true, 5}, Shape{10, true, 5},
                                         Shape{39, true, 5}, Shape{40, true, 5}, Shape{70000, true, 5}),
                         [](testing::TestParamInfo<Shape> const& aInfo) {
                             return std::to_string(aInfo.param.mPayload) +
                                    (aInfo.param.mHasNames ? "BytesAndNames" : "Bytes");
                         });

TEST_P(ScopeDataShape, EncodeSizeIsTheEncodedLength)
{
    QZCScopeData const data = make();
    EXPECT_EQ(data.encodeSize(), encodedFormOf(data).size());
}

TEST_P(ScopeDataShape, ElementsAreInOrder) { EXPECT_EQ(make().numEncodedElements(), GetParam().mElements); }

TEST_P(ScopeDataShape, PayloadSizeIsReported) { EXPECT_EQ(make().eventDataSize(), GetParam().mPayload); }

TEST_P(ScopeDataShape, FixedSizeIsReported) { EXPECT_EQ(make().size(), 16u); }

TEST_P(ScopeDataShape, RecordSurvivesARoundTrip)
{
    QZCScopeData const data = make();
    Bytes const encoded = encodedFormOf(data);
    QZCScopeData decoded(eventOf(0, 0));
    EXPECT_EQ(decodeInto(decoded, encoded), done);
    EXPECT_EQ(encodedFormOf(decoded), encoded);
    EXPECT_EQ(decoded.eventDataSize(), data.eventDataSize());
}

TEST_P(ScopeDataShape, EveryTruncationIsRefused)
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
}  // namespace
