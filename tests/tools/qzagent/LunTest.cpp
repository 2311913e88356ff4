#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/include/HbaApi.h"
#include "tests/support/Bytes.h"
#include "tools/qzagent/hba/Lun.h"

using qzagent::Lun;
using qzagent::lunOf;
using qzagent::Luns;
using qzagent::lunsIn;
using qzagent::textOf;
using qzagent::without;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr std::size_t reportHeaderSize = 8;

Lun lunOfBytes(std::array<unsigned char, qzagent::lunSize> const& aBytes) { return lunOf(aBytes.data()); }

/// A report of the LUNs 1 and 2, with the given value as the length of its list.
Bytes reportWithLength(unsigned char aLength)
{
    return {0, 0, 0, aLength, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0};
}

/// Decodes a response in a block of exactly its size, so that memory checkers detect a read past its end.
Luns lunsOf(Bytes const& aResponse)
{
    std::unique_ptr<void, qz::BlockRelease> block(std::malloc(aResponse.size()));
    std::copy(aResponse.begin(), aResponse.end(), static_cast<unsigned char*>(block.get()));
    return lunsIn(qz::LunReport(std::move(block), aResponse.size()));
}

Luns numbers(unsigned int aFirst, unsigned int aLast, unsigned int aStep)
{
    Luns luns;
    for (unsigned int number = aFirst; number <= aLast; number += aStep)
    {
        luns.insert(number);
    }
    return luns;
}

TEST(QzagentLun, DecodesPeripheralAddressing) { EXPECT_EQ(lunOfBytes({0x00, 0xff}), Lun(255u)); }

TEST(QzagentLun, DecodesFlatSpaceAddressingWithFourteenBits)
{
    EXPECT_EQ(lunOfBytes({0x41, 0x2c}), Lun(300u));
    EXPECT_EQ(lunOfBytes({0x7f, 0xff}), Lun(16383u));
}

TEST(QzagentLun, ShowsPeripheralAddressingOnAnotherBusAsDigits)
{
    EXPECT_EQ(lunOfBytes({0x01, 0x05}), Lun("0105000000000000"));
}

TEST(QzagentLun, ShowsLogicalUnitAddressingAsDigits)
{
    EXPECT_EQ(lunOfBytes({0x80, 0x05}), Lun("8005000000000000"));
}

TEST(QzagentLun, ShowsExtendedAddressingAsDigits)
{
    EXPECT_EQ(lunOfBytes({0xd2, 0, 0, 1, 0, 0, 0, 0xfe}), Lun("d2000001000000fe"));
}

TEST(QzagentLun, ShowsALunWithASecondLevelAsDigits)
{
    EXPECT_EQ(lunOfBytes({0x00, 0x05, 0x00, 0x01}), Lun("0005000100000000"));
    EXPECT_EQ(lunOfBytes({0x40, 0x05, 0, 0, 0, 0, 0, 0x01}), Lun("4005000000000001"));
}

TEST(QzagentLun, ReadsEveryEntryOfAReport)
{
    EXPECT_THAT(lunsOf(reportWithLength(16)), ElementsAre(Lun(1u), Lun(2u)));
}

TEST(QzagentLun, EndsAReportAtTheLengthOfItsList)
{
    EXPECT_THAT(lunsOf(reportWithLength(8)), ElementsAre(Lun(1u)));
    EXPECT_THAT(lunsOf(reportWithLength(0)), IsEmpty());
}

TEST(QzagentLun, EndsAReportAtTheEndOfTheResponse)
{
    EXPECT_THAT(lunsOf(reportWithLength(200)), ElementsAre(Lun(1u), Lun(2u)));
    Bytes response = reportWithLength(0);
    response[0] = response[1] = response[2] = response[3] = 0xff;
    EXPECT_THAT(lunsOf(response), ElementsAre(Lun(1u), Lun(2u)));
}

TEST(QzagentLun, IgnoresATruncatedEntryOfAReport)
{
    EXPECT_THAT(lunsOf(reportWithLength(15)), ElementsAre(Lun(1u)));
    Bytes response = reportWithLength(16);
    response.pop_back();
    EXPECT_THAT(lunsOf(response), ElementsAre(Lun(1u)));
}

TEST(QzagentLun, ReadsNoLunsFromAResponseShorterThanItsHeader)
{
    Bytes const report = reportWithLength(16);
    for (std::size_t size = 0; size < reportHeaderSize; ++size)
    {
        EXPECT_THAT(lunsOf(Bytes(report.begin(), report.begin() + static_cast<std::ptrdiff_t>(size))),
                    IsEmpty())
            << "of " << size << " bytes";
    }
}

TEST(QzagentLun, ReadsTheLengthOfAReportAsBigEndian)
{
    Bytes response(reportHeaderSize + 512 * qzagent::lunSize);
    response[2] = 0x10;
    for (std::size_t lun = 0; lun < 512; ++lun)
    {
        std::size_t const entry = reportHeaderSize + lun * qzagent::lunSize;
        response[entry] = static_cast<unsigned char>(0x40 | lun >> 8);
        response[entry + 1] = static_cast<unsigned char>(lun & 0xff);
    }
    EXPECT_EQ(lunsOf(response), numbers(0, 511, 1));
}

TEST(QzagentLun, DifferenceContainsLunsThatAreOnlyInTheFirstList)
{
    EXPECT_THAT(without(Luns{1u, 2u, "00ff"}, Luns{2u, 3u}), ElementsAre(Lun(1u), Lun("00ff")));
}

TEST(QzagentLun, TextJoinsConsecutiveNumbersToRanges)
{
    EXPECT_EQ(textOf(Luns{0u, 1u, 2u, 300u}), "0-2, 300");
    EXPECT_EQ(textOf(Luns{0u, 2u, 3u}), "0, 2-3");
}

TEST(QzagentLun, TextShowsDigitsAfterNumbers)
{
    EXPECT_EQ(textOf(Luns{"8005000000000000", 7u, "8006000000000000"}),
              "7, 8005000000000000, 8006000000000000");
}

TEST(QzagentLun, TextOfAnEmptyListIsNone) { EXPECT_EQ(textOf(Luns{}), "none"); }

TEST(QzagentLun, TextOfALongListEndsWithTheNumberOfLunsLeftOut)
{
    std::string const text = textOf(numbers(0, 998, 2));
    EXPECT_EQ(text, "0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30, and 484 more");
}

TEST(QzagentLun, TextCountsEachLunOfARangeThatIsLeftOut)
{
    Luns luns = numbers(0, 998, 2);
    luns.merge(numbers(1000, 1999, 1));
    EXPECT_THAT(textOf(luns), testing::EndsWith("30, and 1484 more"));
}
}  // namespace
