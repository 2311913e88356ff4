// Target mappings that the simulated HBA library reports.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Wwn.h"
#include "tests/simulator/HbaQueryFixture.h"
#include "tests/simulator/MappingBlock.h"

using qzsim::textOf;
using testing::ElementsAre;

namespace
{
using Block = MappingBlock<HBA_FCPTARGETMAPPING>;

class HbaLibraryMappings : public HbaQueryFixture
{
protected:
    HBA_STATUS mappings(Block& aBlock) { return mTable.GetFcpTargetMappingHandler(mHandle, aBlock.get()); }
};

TEST_F(HbaLibraryMappings, ListOneEntryPerLunInScenarioOrder)
{
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 4U);
    std::vector<std::string> addresses;
    for (std::size_t index = 0; index < block.number(); ++index)
    {
        addresses.push_back(addressOf(block.entry(index)));
    }
    EXPECT_THAT(addresses, ElementsAre("0:0:1", "0:0:300", "1:0:0", "1:1:0"));
}

TEST_F(HbaLibraryMappings, EntryIdentifiesTheRemotePort)
{
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    HBA_FCPID const id = block.entry(1).FcpId;
    EXPECT_EQ(id.FcId, 0x21U);
    EXPECT_EQ(textOf(id.PortWWN), "50:00:00:00:00:00:00:01");
    EXPECT_EQ(textOf(id.NodeWWN), "50:00:00:00:00:00:00:00");
}

TEST_F(HbaLibraryMappings, EntryNamesTheDevice)
{
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    EXPECT_STREQ(block.entry(1).ScsiId.OSDeviceName, "/dev/disk/by-path/fc-0x5000000000000001-lun-300");
}

TEST_F(HbaLibraryMappings, EntryNamesTheDeviceOfItsLunTable)
{
    std::string const longest = "/dev/" + std::string(250, 'x');
    ASSERT_EQ(load("[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                   "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = [2]\n"
                   "[[adapter.port.remote.lun]]\nlun = 2\nos_device = \"/dev/sdc\"\n"
                   "[[adapter.port.remote.lun]]\nlun = 5\nos_device = \"\"\n"
                   "[[adapter.port.remote.lun]]\nlun = 3\nos_device = \"" +
                   longest + "\"\n[[adapter.port.remote.lun]]\nlun = 4\n"),
              ok);
    mHandle = open("a");
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    EXPECT_STREQ(block.entry(0).ScsiId.OSDeviceName, "/dev/sdc");
    EXPECT_STREQ(block.entry(1).ScsiId.OSDeviceName, "");
    EXPECT_EQ(block.entry(2).ScsiId.OSDeviceName, longest);
    EXPECT_STREQ(block.entry(3).ScsiId.OSDeviceName, "/dev/disk/by-path/fc-0x5000000000000001-lun-4");
}

TEST_F(HbaLibraryMappings, LackALunThatIsNotMapped)
{
    ASSERT_EQ(load("[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                   "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = 3\n"
                   "[[adapter.port.remote.lun]]\nlun = 1\nmapped = false\n"
                   "[[adapter.port.remote.lun]]\nlun = 2\nmapped = true\n"),
              ok);
    mHandle = open("a");
    Block block(3);
    ASSERT_EQ(mappings(block), ok);
    ASSERT_EQ(block.number(), 2U);
    EXPECT_EQ(block.entry(0).ScsiId.ScsiOSLun, 0U);
    EXPECT_EQ(block.entry(1).ScsiId.ScsiOSLun, 2U);
}

TEST_F(HbaLibraryMappings, EntryHasTheScsiEncodingOfTheLun)
{
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    HBA_UINT64 const number = block.entry(1).FcpId.FcpLun;
    std::vector<unsigned char> bytes(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    EXPECT_THAT(bytes, ElementsAre(0x41, 44, 0, 0, 0, 0, 0, 0));
}

TEST_F(HbaLibraryMappings, EntryHasTheLinuxIntegerOfTheLunInTheIntegerStyle)
{
    std::string const scenario = fabric;
    ASSERT_EQ(load("[[adapter]]\nlun_style = \"integer\"\n" + scenario.substr(scenario.find("name"))), ok);
    mHandle = open("a");
    Block block(4);
    ASSERT_EQ(mappings(block), ok);
    EXPECT_EQ(addressOf(block.entry(0)), "0:0:1");
    EXPECT_EQ(block.entry(0).FcpId.FcpLun, HBA_UINT64{1});
    EXPECT_EQ(addressOf(block.entry(1)), "0:0:16684");
    EXPECT_EQ(block.entry(1).FcpId.FcpLun, HBA_UINT64{16684});
}

TEST_F(HbaLibraryMappings, UnusedEntriesOfALargerBlockAreNotWritten)
{
    Block block(5);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_TRUE(isStill(fill, block.entry(4))) << "an entry after the last one was written";
}

TEST_F(HbaLibraryMappings, SmallerBlockIsFilledAndReportsTheNumberNeeded)
{
    Block block(3);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_EQ(addressOf(block.entry(2)), "1:0:0");
}

TEST_F(HbaLibraryMappings, BlockMayEndWithinATarget)
{
    Block block(2);
    block.setNumber(1);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(addressOf(block.entry(0)), "0:0:1");
    EXPECT_TRUE(isStill(fill, block.entry(1))) << "an entry beyond the block was written";
}

TEST_F(HbaLibraryMappings, EmptyBlockReportsTheNumberNeeded)
{
    Block block(0);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
}

TEST_F(HbaLibraryMappings, AdapterWithoutPortsHasNoMappings)
{
    mHandle = open("b");
    Block block(1);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 0U);
}

TEST_F(HbaLibraryMappings, QueryIsRefusedForABadHandleOrNullBlock)
{
    EXPECT_EQ(mTable.GetFcpTargetMappingHandler(mHandle, nullptr), badArgument);
    mHandle += 1;
    Block block(4);
    EXPECT_EQ(mappings(block), badHandle);
    EXPECT_EQ(block.number(), 4U);
}

TEST_F(HbaLibraryMappings, FailingQueryDoesNotWriteTheBlock)
{
    loadWith(fault("HBA_GetFcpTargetMapping", busy, "\"1-2\""));
    Block block(7);
    EXPECT_EQ(mappings(block), busy);
    EXPECT_EQ(mappings(block), busy);
    EXPECT_EQ(block.number(), 7U);
    EXPECT_TRUE(isStill(fill, block.entry(0))) << "an entry was written";
    EXPECT_EQ(mappings(block), ok);
}

TEST_F(HbaLibraryMappings, MoreDataFaultReportsOnlyTheNumberNeeded)
{
    loadWith(fault("HBA_GetFcpTargetMapping", moreData));
    Block block(7);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_TRUE(isStill(fill, block.entry(0))) << "an entry was written";
}

TEST_F(HbaLibraryMappings, MoreDataFaultMayReportAWrongNumber)
{
    for (std::string const count : {"0", "1", "4294967295"})
    {
        loadWith(fault("HBA_GetFcpTargetMapping", moreData, "\"1+\"") + "count = " + count + "\n");
        Block block(7);
        EXPECT_EQ(mappings(block), moreData);
        EXPECT_EQ(std::to_string(block.number()), count);
        EXPECT_TRUE(isStill(fill, block.entry(0))) << "an entry was written";
    }
}

TEST_F(HbaLibraryMappings, QueryMaySucceedWithoutWritingTheBlock)
{
    loadWith("[[fault]]\ncall = \"HBA_GetFcpTargetMapping\"\nnth = 1\nuntouched = true\n");
    Block block(7);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 7U);
    EXPECT_TRUE(isStill(fill, block.entry(0))) << "an entry was written";
}

TEST_F(HbaLibraryMappings, LastOfSixtyThousandEntriesNamesItsDevice)
{
    constexpr HBA_UINT32 many = 60000;
    std::string scenario =
        "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n";
    for (int target = 10; target < 22; ++target)
    {
        scenario += "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:" + std::to_string(target) +
                    "\"\nluns = 5000\n";
    }
    Block block(many);
    ASSERT_EQ(load(scenario), ok);
    mHandle = open("a");
    ASSERT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), many);
    EXPECT_EQ(addressOf(block.entry(many - 1)), "0:11:4999");
}
}  // namespace
