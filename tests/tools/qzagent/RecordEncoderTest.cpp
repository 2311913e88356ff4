#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"
#include "tools/qzagent/capture/RecordEncoder.h"

using qzagent::Board;
using qzagent::RecordEncoder;

namespace
{
qz::EventHead headOf(unsigned int aCategory, unsigned int aSubcategory)
{
    return {{}, 0, aCategory, aSubcategory};
}

/// @return the encoded event: what the encoder returns, and the payload
Bytes encodedBy(RecordEncoder& aEncoder, qz::EventHead const& aHead, Board const* aBoard,
                Bytes const& aPayload)
{
    qz::Bytes const start = aEncoder.startOf(aHead, aBoard, aPayload.size());
    return joined(Bytes(start.begin(), start.end()), aPayload);
}

/// @return the encoded event as the library's record encodes it
Bytes encodedByLibrary(unsigned char aCategory, unsigned char aSubcategory, Board const* aBoard,
                       Bytes const& aPayload)
{
    auto const kind = eventOf(aCategory, aSubcategory);
    unsigned int const length = lengthOf(aPayload);
    return encodedFormOf(aBoard == nullptr ? QZCScopeData(kind, aPayload.data(), length, length)
                                           : QZCScopeData(kind, aPayload.data(), length, length,
                                                          aBoard->mFirstWwn, aBoard->mSecondWwn));
}

TEST(RecordEncoderTest, EncodesEveryFormAsTheRecordOfTheLibraryDoes)
{
    Board const named{0, nameOf({0x20, 0, 0, 0, 0xc9, 0, 0, 1}), nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 1}), {}};
    Board const other{1, nameOf({0x20, 0, 0, 0, 0xc9, 0, 0, 2}), nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 2}), {}};
    Bytes const numbers{0, 23, 24, 255};
    RecordEncoder encoder;
    for (Board const* const board : {static_cast<Board const*>(nullptr), &named, &other})
    {
        for (unsigned char const category : numbers)
        {
            for (unsigned char const subcategory : numbers)
            {
                // In ascending and descending order, so that each length follows another one.
                for (std::size_t const length : {0U, 1U, 255U, 256U, 65536U, 70000U, 2U, 0U})
                {
                    Bytes const payload = someBytes(length);
                    EXPECT_TRUE(encodedBy(encoder, headOf(category, subcategory), board, payload) ==
                                encodedByLibrary(category, subcategory, board, payload))
                        << unsigned{category} << " " << unsigned{subcategory} << " " << length;
                }
            }
        }
    }
}

TEST(RecordEncoderTest, CannotEncodeNumbersAboveAByte)
{
    EXPECT_TRUE(RecordEncoder::canEncode(headOf(255, 255)));
    EXPECT_FALSE(RecordEncoder::canEncode(headOf(256, 0)));
    EXPECT_FALSE(RecordEncoder::canEncode(headOf(0, 256)));
}
}  // namespace
