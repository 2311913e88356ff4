#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/inventory/DeviceRanges.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

using qzagent::Lun;
using qzagent::MappedLun;
using qzagent::textOfDevices;

namespace
{
std::string textOfMapped(std::vector<std::pair<Lun, std::string>> const& aDevices)
{
    std::vector<MappedLun> mapped;
    for (auto const& [lun, device] : aDevices)
    {
        mapped.push_back({lun, {}, device, {}, {}});
    }
    return textOfDevices(mapped);
}

TEST(QzagentDeviceRanges, AreLunsAndDisksThatBothCountUp)
{
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda"}, {1U, "/dev/sdb"}, {2U, "/dev/sdc"}}),
              "0-2: /dev/sda to /dev/sdc");
    EXPECT_EQ(textOfMapped({{7U, "/dev/sdy"}, {8U, "/dev/sdz"}, {9U, "/dev/sdaa"}, {10U, "/dev/sdab"}}),
              "7-10: /dev/sdy to /dev/sdab");
    EXPECT_EQ(textOfMapped({{0U, "/dev/sdaz"}, {1U, "/dev/sdba"}}), "0-1: /dev/sdaz to /dev/sdba");
    EXPECT_EQ(textOfMapped({{0U, "/dev/sdzz"}, {1U, "/dev/sdaaa"}}), "0-1: /dev/sdzz to /dev/sdaaa");
}

TEST(QzagentDeviceRanges, AreLunsAndNumberedDevicesThatBothCountUp)
{
    EXPECT_EQ(textOfMapped({{8U, "/dev/x-8"}, {9U, "/dev/x-9"}, {10U, "/dev/x-10"}}),
              "8-10: /dev/x-8 to /dev/x-10");
    EXPECT_EQ(textOfMapped({{0U, "c0d099"}, {1U, "c0d100"}}), "0-1: c0d099 to c0d100");
    EXPECT_EQ(textOfMapped({{0U, "9"}, {1U, "10"}}), "0-1: 9 to 10");
}

TEST(QzagentDeviceRanges, EndWhereTheLunsHaveAGap)
{
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda"}, {2U, "/dev/sdb"}}), "0: /dev/sda, 2: /dev/sdb");
}

TEST(QzagentDeviceRanges, EndWhereTheDevicesHaveAGap)
{
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda"}, {1U, "/dev/sdc"}, {2U, "/dev/sdd"}}),
              "0: /dev/sda, 1-2: /dev/sdc to /dev/sdd");
    EXPECT_EQ(textOfMapped({{0U, "/dev/a"}, {1U, "/dev/b"}}), "0: /dev/a, 1: /dev/b");
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda1"}, {1U, "/dev/sdb1"}}), "0: /dev/sda1, 1: /dev/sdb1");
}

TEST(QzagentDeviceRanges, AreSeparateForEachDeviceOfALun)
{
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda"}, {0U, "/dev/sdk"}, {1U, "/dev/sdb"}, {1U, "/dev/sdl"}}),
              "0-1: /dev/sda to /dev/sdb, 0-1: /dev/sdk to /dev/sdl");
}

TEST(QzagentDeviceRanges, OmitLunsWithoutADevice)
{
    EXPECT_EQ(textOfMapped({{0U, "/dev/sda"}, {1U, ""}, {2U, "/dev/sdb"}}), "0: /dev/sda, 2: /dev/sdb");
    EXPECT_EQ(textOfMapped({{0U, ""}}), "");
}

TEST(QzagentDeviceRanges, HaveTheDigitsOfALunWithoutANumber)
{
    EXPECT_EQ(textOfMapped({{"c101000000000000", "/dev/sda"}, {"c101000000000001", "/dev/sdb"}}),
              "c101000000000000: /dev/sda, c101000000000001: /dev/sdb");
}
}  // namespace
