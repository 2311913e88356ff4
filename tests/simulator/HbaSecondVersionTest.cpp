// Calls of the second version of the HBA API, except events.
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/simulator/HbaQueryFixture.h"
#include "tests/simulator/MappingBlock.h"

using testing::ElementsAre;

namespace
{

using BlockV2 = MappingBlock<HBA_FCPTARGETMAPPINGV2>;

class HbaSecondVersion : public HbaQueryFixture
{
protected:
    /// Sizes and SCSI status that a command returns.
    struct Outcome
    {
        HBA_STATUS mStatus;
        HBA_UINT32 mResponseSize;
        HBA_UINT8 mScsiStatus;
        HBA_UINT32 mSenseSize;
    };

    HBA_STATUS mappings(char const* aPort, BlockV2& aBlock)
    {
        return mTable.GetFcpTargetMappingV2Handler(mHandle, wwn(aPort), aBlock.get());
    }

    Outcome reportLuns(char const* aPort, char const* aTarget, HBA_UINT32 aRoom = 64)
    {
        Outcome outcome{0, aRoom, 0xff, 18};
        mResponse.assign(aRoom, fill);
        mSense.assign(18, fill);
        outcome.mStatus = mTable.ScsiReportLUNsV2Handler(mHandle, wwn(aPort), wwn(aTarget), mResponse.data(),
                                                         &outcome.mResponseSize, &outcome.mScsiStatus,
                                                         mSense.data(), &outcome.mSenseSize);
        return outcome;
    }

    Outcome inquiry(HBA_UINT64 aLun, HBA_UINT8 aPage, HBA_UINT32 aRoom = 64)
    {
        Outcome outcome{0, aRoom, 0xff, 18};
        mResponse.assign(aRoom, fill);
        mSense.assign(18, fill);
        outcome.mStatus = mTable.ScsiInquiryV2Handler(
            mHandle, wwn(secondPort), wwn(secondTarget), aLun, aPage == 0 ? 0 : 1, aPage, mResponse.data(),
            &outcome.mResponseSize, &outcome.mScsiStatus, mSense.data(), &outcome.mSenseSize);
        return outcome;
    }

    std::vector<unsigned char> mResponse;
    std::vector<unsigned char> mSense;
};

TEST_F(HbaSecondVersion, MappingsAreThoseBehindOnePort)
{
    BlockV2 block(4);
    EXPECT_EQ(mappings(secondPort, block), ok);
    ASSERT_EQ(block.number(), 2U);
    EXPECT_EQ(addressOf(block.entry(0)), "1:0:0");
    EXPECT_EQ(addressOf(block.entry(1)), "1:1:0");
    EXPECT_EQ(block.entry(1).FcpId.FcId, 0x24U);
    EXPECT_TRUE(block.isUntouched(2));
}

TEST_F(HbaSecondVersion, MappingsThatDoNotFitAreCounted)
{
    BlockV2 block(1);
    EXPECT_EQ(mappings(firstPort, block), moreData);
    EXPECT_EQ(block.number(), 2U);
    EXPECT_EQ(addressOf(block.entry(0)), "0:0:1");
}

TEST_F(HbaSecondVersion, MappingHasTheLuidOfTheScenario)
{
    load(
        std::string("[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n") +
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = 2\n"
        "[[adapter.port.remote.lun]]\nlun = 1\nluid = \"01 03 ff\"\n");
    mHandle = open("a");
    BlockV2 block(2);
    EXPECT_EQ(mappings(firstPort, block), ok);
    HBA_LUID const none = block.entry(0).LUID;
    HBA_LUID const some = block.entry(1).LUID;
    EXPECT_EQ(std::string(none.buffer, 4), std::string(4, '\0'));
    EXPECT_EQ(std::string(some.buffer, 4), std::string("\x01\x03\xff\0", 4));
}

TEST_F(HbaSecondVersion, MappingsOfAnUnknownPortAreRefused)
{
    BlockV2 block(1);
    EXPECT_EQ(mappings(sharedTarget, block), badName);
    EXPECT_EQ(mTable.GetFcpTargetMappingV2Handler(mHandle, wwn(firstPort), nullptr), badArgument);
    EXPECT_EQ(mTable.GetFcpTargetMappingV2Handler(99, wwn(firstPort), block.get()), badHandle);
    EXPECT_TRUE(block.isUntouched(0));
}

TEST_F(HbaSecondVersion, ReportLunsGoesThroughTheGivenPort)
{
    Outcome const first = reportLuns(firstPort, sharedTarget);
    EXPECT_EQ(first.mStatus, ok);
    EXPECT_EQ(first.mScsiStatus, 0U);
    EXPECT_EQ(first.mResponseSize, 8U + 2 * 8);
    EXPECT_EQ(first.mSenseSize, 0U);
    EXPECT_EQ(mResponse[3], 16U);
    EXPECT_EQ(mResponse[24], fill);
    EXPECT_EQ(reportLuns(secondPort, sharedTarget).mResponseSize, 8U + 8);
}

TEST_F(HbaSecondVersion, ReportLunsReturnsTheSizeThatFits)
{
    EXPECT_EQ(reportLuns(firstPort, sharedTarget, 12).mResponseSize, 12U);
    EXPECT_EQ(mResponse[3], 16U) << "the header has the complete length";
}

TEST_F(HbaSecondVersion, CommandIsRefusedForItsNames)
{
    EXPECT_EQ(reportLuns(sharedTarget, sharedTarget).mStatus, badName);
    EXPECT_EQ(reportLuns(firstPort, secondTarget).mStatus, badName) << "only the other port sees this target";
    EXPECT_EQ(reportLuns(firstPort, "10:00:00:00:00:00:00:09").mStatus,
              HBA_STATUS{HBA_STATUS_ERROR_NOT_A_TARGET});
    EXPECT_EQ(mResponse[0], fill);
}

TEST_F(HbaSecondVersion, CommandNeedsItsSizesAndTheScsiStatus)
{
    HBA_UINT32 size = 1;
    HBA_UINT8 status = 0;
    char byte = 0;
    auto const send =
        [&](void* aResponse, HBA_UINT32* aSize, HBA_UINT8* aStatus, void* aSense, HBA_UINT32* aSenseSize)
    {
        return mTable.ScsiReportLUNsV2Handler(mHandle, wwn(firstPort), wwn(sharedTarget), aResponse, aSize,
                                              aStatus, aSense, aSenseSize);
    };
    EXPECT_EQ(send(nullptr, &size, &status, &byte, &size), badArgument);
    EXPECT_EQ(send(&byte, nullptr, &status, &byte, &size), badArgument);
    EXPECT_EQ(send(&byte, &size, nullptr, &byte, &size), badArgument);
    EXPECT_EQ(send(&byte, &size, &status, nullptr, &size), badArgument);
    EXPECT_EQ(send(&byte, &size, &status, &byte, nullptr), badArgument);
}

TEST_F(HbaSecondVersion, InquiryReturnsTheStandardData)
{
    Outcome const outcome = inquiry(0, 0);
    EXPECT_EQ(outcome.mStatus, ok);
    EXPECT_EQ(outcome.mResponseSize, 36U);
    EXPECT_EQ(std::string(mResponse.begin() + 8, mResponse.begin() + 16), "EXAMPLE ");
}

TEST_F(HbaSecondVersion, CheckConditionReturnsSenseDataAndNoResponse)
{
    Outcome const outcome = inquiry(0, 0x83);
    EXPECT_EQ(outcome.mStatus, HBA_STATUS{HBA_STATUS_SCSI_CHECK_CONDITION});
    EXPECT_EQ(outcome.mScsiStatus, 2U);
    EXPECT_EQ(outcome.mResponseSize, 0U);
    EXPECT_EQ(outcome.mSenseSize, 18U);
    EXPECT_EQ(mSense[2], 5U);
    EXPECT_EQ(mSense[12], 0x24U);
    EXPECT_EQ(mResponse[0], fill);
}

TEST_F(HbaSecondVersion, ReadCapacityReturnsTheCapacity)
{
    unsigned char response[8] = {};
    unsigned char sense[18] = {};
    HBA_UINT32 size = sizeof response;
    HBA_UINT32 senseSize = sizeof sense;
    HBA_UINT8 status = 0xff;
    EXPECT_EQ(mTable.ScsiReadCapacityV2Handler(mHandle, wwn(secondPort), wwn(secondTarget), 0, response,
                                               &size, &status, sense, &senseSize),
              ok);
    EXPECT_THAT(response, ElementsAre(0, 0x1f, 0xff, 0xff, 0, 0, 2, 0));
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(status, 0U);
    EXPECT_EQ(senseSize, 0U);
}

TEST_F(HbaSecondVersion, FaultsOfBothVersionsAreSeparate)
{
    loadWith(fault("HBA_ScsiReportLUNsV2", busy) + "port_wwn = \"" + sharedTarget + "\"\n");
    EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn(sharedTarget), nullptr, 0, nullptr, 0), ok);
    EXPECT_EQ(reportLuns(firstPort, sharedTarget).mStatus, busy);
    EXPECT_EQ(reportLuns(firstPort, sharedTarget).mStatus, ok);
}

TEST_F(HbaSecondVersion, TargetRefusesReportLunsWithASmallBuffer)
{
    load(
        std::string("[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n") +
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nreport_luns_minimum = 16\n");
    mHandle = open("a");
    EXPECT_EQ(reportLuns(firstPort, sharedTarget, 16).mStatus, ok);
    EXPECT_EQ(reportLuns(firstPort, sharedTarget, 15).mStatus, HBA_STATUS{HBA_STATUS_SCSI_CHECK_CONDITION});
    EXPECT_EQ(mSense[2], 5U);
    EXPECT_EQ(mSense[12], 0x24U) << "invalid field in CDB";
}

class HbaOpenByName : public HbaQueryFixture
{
protected:
    HbaOpenByName()
    {
        load(
            "[[adapter]]\nname = \"a\"\nnode_wwn = \"20:00:00:00:00:00:00:01\"\n"
            "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\nnode_wwn = "
            "\"20:00:00:00:00:00:00:07\"\n"
            "[[adapter]]\nname = \"b\"\nnode_wwn = \"20:00:00:00:00:00:00:02\"\n"
            "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\nnode_wwn = "
            "\"20:00:00:00:00:00:00:07\"\n"
            "[[fault]]\ncall = \"HBA_OpenAdapterByWWN\"\nadapter = \"b\"\nnth = 2\nstatus = 10\n");
    }

    HBA_STATUS openByName(char const* aName) { return mTable.OpenAdapterByWWNHandler(&mHandle, wwn(aName)); }
};

TEST_F(HbaOpenByName, AdapterHasItsNodeNameAndThoseOfItsPorts)
{
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:01"), ok);
    EXPECT_NE(mHandle, 0U);
    EXPECT_EQ(openByName("10:00:00:00:00:00:00:02"), ok);
    HBA_PORTATTRIBUTES port;
    EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(mHandle, 0, &port), ok);
    EXPECT_EQ(port.PortWWN.wwn[7], 2U);
}

TEST_F(HbaOpenByName, NameOfNoOrSeveralAdaptersOpensNone)
{
    mHandle = 1;
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:09"), badName);
    EXPECT_EQ(mHandle, 0U);
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:07"), HBA_STATUS{HBA_STATUS_ERROR_AMBIGUOUS_WWN});
    EXPECT_EQ(mTable.OpenAdapterByWWNHandler(nullptr, wwn("20:00:00:00:00:00:00:01")), badArgument);
}

TEST_F(HbaOpenByName, OpenMayFail)
{
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:02"), ok);
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:02"), busy);
    EXPECT_EQ(mHandle, 0U);
}

TEST_F(HbaOpenByName, NothingIsOpenedWithoutALoad)
{
    mTable.FreeLibraryHandler();
    EXPECT_EQ(openByName("20:00:00:00:00:00:00:02"), HBA_STATUS{HBA_STATUS_ERROR});
}

class HbaFcpStatistics : public HbaQueryFixture
{
protected:
    HbaFcpStatistics()
    {
        load(
            "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
            "[adapter.port.fc4_statistics]\ninput_requests = 1\noutput_requests = 2\ncontrol_requests = 3\n"
            "input_megabytes = 4\n"
            "[adapter.port.fc4_statistics_per_second]\noutput_megabytes = 4294967295\n"
            "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = [7, 8]\n"
            "[[adapter.port.remote.lun]]\nlun = 8\n"
            "[adapter.port.remote.lun.fcp_statistics]\ninput_requests = 9\n"
            "[adapter.port.remote.lun.fcp_statistics_per_second]\noutput_requests = 1\n"
            "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n" +
            fault("HBA_GetFC4Statistics", busy, "2") + fault("HBA_GetFCPStatistics", busy, "2"));
        mHandle = open("a");
    }

    HBA_STATUS ofPort(char const* aPort, HBA_UINT8 aType = 8)
    {
        return mTable.GetFC4StatisticsHandler(mHandle, wwn(aPort), aType, &mStatistics);
    }

    HBA_STATUS ofLun(HBA_UINT32 aLun)
    {
        HBA_SCSIID id{};
        id.ScsiOSLun = aLun;
        return mTable.GetFCPStatisticsHandler(mHandle, &id, &mStatistics);
    }

    HBA_FC4STATISTICS mStatistics = filledWith<HBA_FC4STATISTICS>(fill);
};

TEST_F(HbaFcpStatistics, PortHasTheCountersOfTheScenario)
{
    EXPECT_EQ(ofPort(firstPort), ok);
    EXPECT_EQ(mStatistics.InputRequests, 1);
    EXPECT_EQ(mStatistics.OutputRequests, 2);
    EXPECT_EQ(mStatistics.ControlRequests, 3);
    EXPECT_EQ(mStatistics.InputMegabytes, 4);
    EXPECT_GT(mStatistics.OutputMegabytes, 0) << "it grows by 4 per nanosecond";
    EXPECT_EQ(ofPort(firstPort), busy);
}

TEST_F(HbaFcpStatistics, PortIsRefusedForItsNameAndType)
{
    EXPECT_EQ(ofPort(sharedTarget), badName);
    EXPECT_EQ(ofPort(firstPort, 5), HBA_STATUS{HBA_STATUS_ERROR_UNSUPPORTED_FC4});
    EXPECT_EQ(ofPort(secondPort), HBA_STATUS{HBA_STATUS_ERROR_NOT_SUPPORTED});
    EXPECT_TRUE(isStill(fill, mStatistics));
    EXPECT_EQ(mTable.GetFC4StatisticsHandler(mHandle, wwn(firstPort), 8, nullptr), badArgument);
}

TEST_F(HbaFcpStatistics, LunHasTheCountersOfTheScenario)
{
    EXPECT_EQ(ofLun(8), ok);
    EXPECT_EQ(mStatistics.InputRequests, 9);
    EXPECT_GE(mStatistics.OutputRequests, 0);
    EXPECT_EQ(mStatistics.InputMegabytes, -1) << "a counter without a key is not offered";
    EXPECT_EQ(ofLun(8), busy);
}

TEST_F(HbaFcpStatistics, LunIsRefusedForItsAddress)
{
    EXPECT_EQ(ofLun(9), HBA_STATUS{HBA_STATUS_ERROR_INVALID_LUN});
    EXPECT_EQ(ofLun(7), HBA_STATUS{HBA_STATUS_ERROR_NOT_SUPPORTED});
    EXPECT_TRUE(isStill(fill, mStatistics));
    EXPECT_EQ(mTable.GetFCPStatisticsHandler(mHandle, nullptr, &mStatistics), badArgument);
}

TEST_F(HbaSecondVersion, RefreshOfTheConfigurationChangesNothing)
{
    mTable.RefreshAdapterConfigurationHandler();
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
}
}  // namespace
