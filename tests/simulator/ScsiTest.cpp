#include <cstdint>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Scsi.h"

using qzsim::LunAddressing;
using qzsim::lunBytes;
using testing::ElementsAre;

namespace
{
TEST(LunBytes, LunsBelow256UsePeripheralDeviceAddressing)
{
    EXPECT_THAT(lunBytes(0, LunAddressing::automatic), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(lunBytes(255, LunAddressing::automatic), ElementsAre(0, 255, 0, 0, 0, 0, 0, 0));
}

TEST(LunBytes, LunsFrom256UseFlatSpaceAddressing)
{
    EXPECT_THAT(lunBytes(256, LunAddressing::automatic), ElementsAre(0x41, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(lunBytes(16383, LunAddressing::automatic), ElementsAre(0x7f, 0xff, 0, 0, 0, 0, 0, 0));
}

TEST(LunBytes, FlatSpaceAddressingMayApplyToAllLuns)
{
    EXPECT_THAT(lunBytes(0, LunAddressing::flat), ElementsAre(0x40, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_THAT(lunBytes(255, LunAddressing::flat), ElementsAre(0x40, 255, 0, 0, 0, 0, 0, 0));
}

TEST(ReportLunsResponse, ContainsTheListLengthAndTheLunsInOrder)
{
    qzsim::RemotePort target{};
    target.mLuns = {300, 1};
    EXPECT_THAT(qzsim::reportLunsResponse(target),
                ElementsAre(0, 0, 0, 16, 0, 0, 0, 0, 0x41, 44, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0));
}

TEST(ReportLunsResponse, TargetWithoutLunsReturnsOnlyTheHeader)
{
    EXPECT_THAT(qzsim::reportLunsResponse({}), ElementsAre(0, 0, 0, 0, 0, 0, 0, 0));
}

TEST(ReportLunsResponse, ListLengthMayExceedOneByte)
{
    qzsim::RemotePort target{};
    target.mLuns.resize(16384);
    std::vector<std::uint8_t> const response = qzsim::reportLunsResponse(target);
    EXPECT_EQ(response.size(), 8U + 131072U);
    EXPECT_THAT(std::vector<std::uint8_t>(response.begin(), response.begin() + 4), ElementsAre(0, 2, 0, 0));
}

TEST(UnitAttention, SenseDataHasFixedFormatOf18Bytes)
{
    std::vector<std::uint8_t> const sense = qzsim::senseData(qzsim::usualSense);
    EXPECT_EQ(sense.size(), 18U);
    EXPECT_EQ(sense[0], 0x70) << "response code";
    EXPECT_EQ(sense[2], 0x06) << "sense key";
    EXPECT_EQ(sense[7], sense.size() - 8) << "additional length";
}
}  // namespace
