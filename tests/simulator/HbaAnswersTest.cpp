// Answers of the simulated HBA library that faults shape.
#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/simulator/HbaQueryFixture.h"
#include "tests/simulator/MappingBlock.h"

namespace
{
constexpr unsigned char garbage = 0xdb;

using Block = MappingBlock<HBA_FCPTARGETMAPPING>;
using Bytes = std::vector<unsigned char>;

class HbaAnswers : public HbaQueryFixture
{
protected:
    /// Loads the fabric with a shape of the first call.
    void shape(std::string const& aCall, std::string const& aLines)
    {
        loadWith("[[fault]]\ncall = \"" + aCall + "\"\nnth = 1\n" + aLines + '\n');
    }

    HBA_STATUS mappings(Block& aBlock) { return mTable.GetFcpTargetMappingHandler(mHandle, aBlock.get()); }

    /// @return the buffer after REPORT LUNS for a target with two LUNs
    Bytes luns(std::size_t aRoom)
    {
        Bytes response(aRoom, fill);
        EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn("50:00:00:00:00:00:00:01"), response.data(),
                                           static_cast<HBA_UINT32>(aRoom), nullptr, 0),
                  ok);
        return response;
    }

    static bool isAll(unsigned char aByte, Bytes const& aBytes, std::size_t aFirst)
    {
        return std::all_of(aBytes.begin() + static_cast<std::ptrdiff_t>(aFirst), aBytes.end(),
                           [aByte](unsigned char aFound) { return aFound == aByte; });
    }
};

TEST_F(HbaAnswers, ResponseMayEndEarly)
{
    shape("HBA_SendReportLUNs", "length = 12");
    Bytes const response = luns(32);
    EXPECT_EQ(response[3], 16U);
    EXPECT_EQ(response[9], 1U) << "the first LUN";
    EXPECT_TRUE(isAll(fill, response, 12));
    EXPECT_EQ(luns(32)[12], 0U);
}

TEST_F(HbaAnswers, BufferBehindTheResponseMayHaveGarbage)
{
    shape("HBA_SendReportLUNs", "garbage = true");
    Bytes const response = luns(40);
    EXPECT_EQ(response[23], 0U);
    EXPECT_TRUE(isAll(garbage, response, 24));
    EXPECT_TRUE(isAll(fill, luns(40), 24)) << "the second call has no fault";
}

TEST_F(HbaAnswers, GarbageFollowsAResponseThatEndsEarly)
{
    shape("HBA_SendReportLUNs", "length = 0\ngarbage = true");
    EXPECT_TRUE(isAll(garbage, luns(16), 0));
}

TEST_F(HbaAnswers, ZerosFollowAResponseThatEndsEarly)
{
    shape("HBA_SendReportLUNs", "length = 4\nzeros = true");
    Bytes const response = luns(40);
    EXPECT_EQ(response[3], 16U);
    EXPECT_TRUE(isAll(0, response, 4));
}

TEST_F(HbaAnswers, HeaderOfReportLunsMayLie)
{
    shape("HBA_SendReportLUNs", "list_length = 0x01020305");
    Bytes const response = luns(32);
    EXPECT_EQ(Bytes(response.begin(), response.begin() + 4), (Bytes{1, 2, 3, 5}));
    EXPECT_EQ(response[17], 0x2cU) << "the second LUN is 300";
    EXPECT_TRUE(isAll(fill, response, 24));
}

TEST_F(HbaAnswers, ListOfLunsGrowsBetweenTwoCalls)
{
    shape("HBA_SendReportLUNs", "missing = 1");
    Bytes const before = luns(32);
    EXPECT_EQ(before[3], 8U);
    EXPECT_TRUE(isAll(fill, before, 16));
    EXPECT_EQ(luns(32)[3], 16U);
}

TEST_F(HbaAnswers, MoreMissingLunsThanExistLeaveAnEmptyList)
{
    shape("HBA_SendReportLUNs", "missing = 3");
    EXPECT_EQ(luns(32)[3], 0U);
}

TEST_F(HbaAnswers, ListOfMappingsGrowsBetweenTwoCalls)
{
    shape("HBA_GetFcpTargetMapping", "missing = 3");
    Block block(1);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 1U);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
}

TEST_F(HbaAnswers, MoreDataMayFillAPartOfTheBlock)
{
    shape("HBA_GetFcpTargetMapping", "status = 7\nentries = 1");
    Block block(8);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_EQ(addressOf(block.entry(0)), "0:0:1");
    EXPECT_TRUE(block.isUntouched(1));
}

TEST_F(HbaAnswers, MoreDataWithoutEntriesWritesOnlyTheNumber)
{
    shape("HBA_GetFcpTargetMapping", "status = 7");
    Block block(8);
    EXPECT_EQ(mappings(block), moreData);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_TRUE(block.isUntouched(0));
}

TEST_F(HbaAnswers, NumberOfMappingsMayLie)
{
    shape("HBA_GetFcpTargetMapping", "count = 1000\nentries = 2");
    Block block(8);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(block.number(), 1000U);
    EXPECT_FALSE(block.isUntouched(1));
    EXPECT_TRUE(block.isUntouched(2));
}

TEST_F(HbaAnswers, EntriesBehindTheMappingsMayHaveGarbage)
{
    shape("HBA_GetFcpTargetMapping", "garbage = true");
    Block block(6);
    EXPECT_EQ(mappings(block), ok);
    EXPECT_EQ(addressOf(block.entry(3)), "1:1:0");
    EXPECT_EQ(block.entry(4).ScsiId.ScsiBusNumber, 0xdbdbdbdbU);
    EXPECT_EQ(block.entry(5).FcpId.FcId, 0xdbdbdbdbU);
}

TEST_F(HbaAnswers, NumberOfPortsMayLie)
{
    shape("HBA_GetAdapterAttributes", "count = 99");
    HBA_ADAPTERATTRIBUTES adapter;
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, &adapter), ok);
    EXPECT_EQ(adapter.NumberOfPorts, 99U);
    EXPECT_STREQ(adapter.Model, "EX-1");
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, &adapter), ok);
    EXPECT_EQ(adapter.NumberOfPorts, 2U);
}

TEST_F(HbaAnswers, NumberOfDiscoveredPortsMayLie)
{
    shape("HBA_GetAdapterPortAttributes", "count = 0");
    HBA_PORTATTRIBUTES port;
    EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(mHandle, 0, &port), ok);
    EXPECT_EQ(port.NumberofDiscoveredPorts, 0U);
}

TEST_F(HbaAnswers, TextsOfAnAdapterMayEndInGarbage)
{
    shape("HBA_GetAdapterAttributes", "garbage = true");
    auto adapter = filledWith<HBA_ADAPTERATTRIBUTES>(fill);
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, &adapter), ok);
    EXPECT_STREQ(adapter.Model, "EX-1");
    EXPECT_EQ(static_cast<unsigned char>(adapter.Model[5]), garbage);
    EXPECT_EQ(static_cast<unsigned char>(adapter.Model[255]), garbage);
    EXPECT_STREQ(adapter.DriverName, "");
    EXPECT_EQ(static_cast<unsigned char>(adapter.DriverName[1]), garbage);
    EXPECT_EQ(adapter.NumberOfPorts, 2U);
}

TEST_F(HbaAnswers, TextsOfAPortMayEndInGarbage)
{
    shape("HBA_GetDiscoveredPortAttributes", "garbage = true");
    HBA_PORTATTRIBUTES port;
    EXPECT_EQ(mTable.GetDiscoveredPortAttributesHandler(mHandle, 0, 0, &port), ok);
    EXPECT_STREQ(port.PortSymbolicName, "");
    EXPECT_EQ(static_cast<unsigned char>(port.PortSymbolicName[255]), garbage);
    EXPECT_EQ(static_cast<unsigned char>(port.OSDeviceName[1]), garbage);
    EXPECT_EQ(port.PortFcId, 0x21U);
}

TEST_F(HbaAnswers, OnlyTheStartOfARecordMayBeWritten)
{
    shape("HBA_GetPortAttributesByWWN", "length = 8");
    auto port = filledWith<HBA_PORTATTRIBUTES>(fill);
    EXPECT_EQ(mTable.GetPortAttributesByWWNHandler(mHandle, wwn("50:00:00:00:00:00:00:01"), &port), ok);
    EXPECT_EQ(port.NodeWWN.wwn[0], 0x50U);
    EXPECT_EQ(port.PortWWN.wwn[0], fill);
}

TEST_F(HbaAnswers, NameMayLackItsTerminator)
{
    shape("HBA_GetAdapterName", "length = 1");
    std::string buffer(256, 'x');
    EXPECT_EQ(mTable.GetAdapterNameHandler(0, buffer.data()), ok);
    EXPECT_EQ(buffer, 'a' + std::string(255, 'x'));
}

TEST_F(HbaAnswers, NameMayEndInGarbage)
{
    shape("HBA_GetAdapterName", "garbage = true");
    std::string buffer(256, 'x');
    EXPECT_EQ(mTable.GetAdapterNameHandler(0, buffer.data()), ok);
    EXPECT_EQ(buffer, std::string("a\0", 2) + std::string(254, '\xdb'));
}

TEST_F(HbaAnswers, OnlyTheStartOfCountersMayBeWritten)
{
    load(
        "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "[adapter.port.statistics]\nseconds_since_last_reset = 5\ntx_frames = 6\n"
        "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\nlength = 8\n");
    mHandle = open("a");
    HBA_PORTSTATISTICS statistics{};
    EXPECT_EQ(mTable.GetPortStatisticsHandler(mHandle, 0, &statistics), ok);
    EXPECT_EQ(statistics.SecondsSinceLastReset, 5);
    EXPECT_EQ(statistics.TxFrames, 0);
}
}  // namespace
