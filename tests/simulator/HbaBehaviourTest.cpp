// The simulated HBA library with the behaviour of libhbalinux.
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scsi.h"
#include "tests/simulator/HbaQueryFixture.h"
#include "tests/simulator/MappingBlock.h"
#include "tests/simulator/ScenarioErrors.h"

namespace
{
constexpr char const* initiator = "10:00:00:00:00:00:00:09";

constexpr HBA_STATUS failed = HBA_STATUS_ERROR;
constexpr HBA_STATUS badLun = HBA_STATUS_ERROR_TARGET_LUN;
constexpr HBA_STATUS badTarget = HBA_STATUS_ERROR_TARGET_PORT_WWN;
constexpr HBA_STATUS notSupported = HBA_STATUS_ERROR_NOT_SUPPORTED;

class HbaLinuxBehaviour : public HbaQueryFixture
{
protected:
    HbaLinuxBehaviour()
    {
        load("behaviour = \"linux\"\n" + std::string(fabric));
        mHandle = open("a");
    }

    HBA_STATUS inquiry(char const* aTarget, HBA_UINT64 aLun)
    {
        char response[36];
        return mTable.ScsiInquiryHandler(mHandle, wwn(aTarget), aLun, 0, 0, response, sizeof response,
                                         nullptr, 0);
    }

    HBA_STATUS inquiryV2(char const* aPort, char const* aTarget, HBA_UINT64 aLun, HBA_UINT8 aPage = 0)
    {
        char response[36];
        HBA_UINT32 size = sizeof response;
        HBA_UINT32 senseSize = sizeof mSense;
        return mTable.ScsiInquiryV2Handler(mHandle, wwn(aPort), wwn(aTarget), aLun, 0, aPage, response, &size,
                                           &mScsiStatus, mSense, &senseSize);
    }

    HBA_STATUS reportLuns(char const* aTarget)
    {
        char response[16];
        return mTable.ReportLUNsHandler(mHandle, wwn(aTarget), response, sizeof response, nullptr, 0);
    }

    HBA_STATUS reportLunsV2(char const* aPort, char const* aTarget)
    {
        char response[16];
        HBA_UINT32 size = sizeof response;
        HBA_UINT32 senseSize = 0;
        return mTable.ScsiReportLUNsV2Handler(mHandle, wwn(aPort), wwn(aTarget), response, &size,
                                              &mScsiStatus, nullptr, &senseSize);
    }

    HBA_UINT8 mScsiStatus = 0xff;
    unsigned char mSense[18] = {};
};

TEST_F(HbaLinuxBehaviour, HandleIsFixedAndOutlivesItsClose)
{
    EXPECT_EQ(mHandle, 0x100U);
    EXPECT_EQ(open("b"), 0x101U);
    EXPECT_EQ(open("a"), 0x100U);
    mTable.CloseAdapterHandler(mHandle);
    HBA_ADAPTERATTRIBUTES adapter;
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, &adapter), ok);
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(0x101, &adapter), ok);
}

TEST_F(HbaLinuxBehaviour, RecordIsRefusedWithAGeneralError)
{
    HBA_ADAPTERATTRIBUTES adapter;
    HBA_PORTATTRIBUTES port;
    for (HBA_HANDLE const handle : {0U, 0xffU, 0x102U})
    {
        EXPECT_EQ(mTable.GetAdapterAttributesHandler(handle, &adapter), failed);
        EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(handle, 0, &port), failed);
        EXPECT_EQ(mTable.GetDiscoveredPortAttributesHandler(handle, 0, 0, &port), failed);
    }
    EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(mHandle, 2, &port), failed);
    EXPECT_EQ(mTable.GetDiscoveredPortAttributesHandler(mHandle, 0, 2, &port), failed);
    EXPECT_EQ(mTable.GetDiscoveredPortAttributesHandler(mHandle, 2, 0, &port), failed);
}

TEST_F(HbaLinuxBehaviour, RefusedStatisticsAreAllUnavailable)
{
    auto statistics = filledWith<HBA_PORTSTATISTICS>(fill);
    EXPECT_EQ(mTable.GetPortStatisticsHandler(mHandle, 2, &statistics), failed);
    EXPECT_TRUE(isStill(0xff, statistics));
    statistics = filledWith<HBA_PORTSTATISTICS>(fill);
    EXPECT_EQ(mTable.GetPortStatisticsHandler(7, 0, &statistics), failed);
    EXPECT_TRUE(isStill(0xff, statistics));
    EXPECT_EQ(mTable.GetPortStatisticsHandler(mHandle, 0, &statistics), failed) << "the port has none";
}

TEST_F(HbaLinuxBehaviour, Fc4StatisticsIgnoreTheType)
{
    load(
        "behaviour = \"linux\"\n[[adapter]]\nname = \"a\"\n[[adapter.port]]\n"
        "port_wwn = \"10:00:00:00:00:00:00:01\"\n[adapter.port.fc4_statistics]\ninput_requests = 4\n"
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n");
    HBA_FC4STATISTICS statistics;
    EXPECT_EQ(mTable.GetFC4StatisticsHandler(mHandle, wwn(firstPort), 77, &statistics), ok);
    EXPECT_EQ(statistics.InputRequests, 4);
    EXPECT_EQ(mTable.GetFC4StatisticsHandler(mHandle, wwn(sharedTarget), 8, &statistics), badName);
    EXPECT_EQ(mTable.GetFC4StatisticsHandler(7, wwn(firstPort), 8, &statistics), badName);
    EXPECT_TRUE(isStill(0xff, statistics));
    EXPECT_EQ(mTable.GetFC4StatisticsHandler(mHandle, wwn(secondPort), 8, &statistics), failed);
}

TEST_F(HbaLinuxBehaviour, MappingsOfAnUnknownPortHaveABadHandle)
{
    MappingBlock<HBA_FCPTARGETMAPPINGV2> block(1);
    EXPECT_EQ(mTable.GetFcpTargetMappingV2Handler(mHandle, wwn(sharedTarget), block.get()), badHandle);
    EXPECT_EQ(mTable.GetFcpTargetMappingV2Handler(7, wwn(firstPort), block.get()), badHandle);
}

TEST_F(HbaLinuxBehaviour, MappingsClearTheWholeBlock)
{
    MappingBlock<HBA_FCPTARGETMAPPING> block(6);
    EXPECT_EQ(mTable.GetFcpTargetMappingHandler(mHandle, block.get()), ok);
    EXPECT_EQ(block.number(), 4U);
    EXPECT_EQ(block.entry(5).FcpId.FcId, 0U);
}

TEST_F(HbaLinuxBehaviour, CommandOfTheFirstVersionUsesOnlyTheFirstPort)
{
    HBA_UINT64 const lunOne = qzsim::fcpLun(1, qzsim::LunAddressing::automatic, qzsim::LunStyle::scsi);
    EXPECT_EQ(inquiry(sharedTarget, lunOne), ok);
    EXPECT_EQ(inquiry(secondTarget, 0), badLun);
    EXPECT_EQ(reportLuns(secondTarget), badTarget);
    EXPECT_EQ(inquiryV2(secondPort, secondTarget, 0), ok);
}

TEST_F(HbaLinuxBehaviour, AdapterWithoutPortsHasABadHandleForCommands)
{
    mHandle = open("b");
    EXPECT_EQ(inquiry(sharedTarget, 0), badHandle);
    EXPECT_EQ(reportLuns(sharedTarget), badHandle);
}

TEST_F(HbaLinuxBehaviour, LunThatIsNotMappedHasNoDeviceForCommands)
{
    load(
        "behaviour = \"linux\"\n[[adapter]]\nname = \"a\"\n"
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote.lun]]\nlun = 0\nmapped = false\n[[adapter.port.remote.lun]]\nlun = 1\n");
    mHandle = open("a");
    EXPECT_EQ(inquiry(sharedTarget, 0), badLun);
    EXPECT_EQ(inquiry(sharedTarget, qzsim::fcpLun(1, qzsim::LunAddressing::automatic, qzsim::LunStyle::scsi)),
              ok);
    EXPECT_EQ(reportLuns(sharedTarget), badTarget);
}

TEST_F(HbaLinuxBehaviour, UnknownTargetsInitiatorsAndLunsHaveTheSameStatus)
{
    for (char const* const target : {initiator, "50:00:00:00:00:00:00:0f"})
    {
        EXPECT_EQ(inquiry(target, 0), badLun);
        EXPECT_EQ(inquiryV2(firstPort, target, 0), badLun);
        EXPECT_EQ(reportLuns(target), badTarget);
        EXPECT_EQ(reportLunsV2(firstPort, target), badTarget);
    }
    EXPECT_EQ(inquiry(sharedTarget, 0), badLun) << "the target has LUNs 1 and 300";
    EXPECT_EQ(mTable.ReadCapacityHandler(mHandle, wwn(sharedTarget), 0, nullptr, 0, nullptr, 0), badLun);
}

TEST_F(HbaLinuxBehaviour, CommandOfTheSecondVersionHasABadNameForHandleAndPort)
{
    EXPECT_EQ(inquiryV2(sharedTarget, sharedTarget, 0), badName);
    mHandle = 7;
    EXPECT_EQ(inquiryV2(firstPort, sharedTarget, 0), badName);
    EXPECT_EQ(reportLunsV2(firstPort, sharedTarget), badName);
    EXPECT_EQ(inquiry(sharedTarget, 0), badHandle);
    EXPECT_EQ(reportLuns(sharedTarget), badHandle);
}

TEST_F(HbaLinuxBehaviour, ReportLunsNeedsLunZero)
{
    EXPECT_EQ(reportLunsV2(firstPort, sharedTarget), badTarget) << "through this port, it has LUNs 1 and 300";
    EXPECT_EQ(reportLunsV2(secondPort, sharedTarget), ok) << "through this port, it has LUN 0";
}

TEST_F(HbaLinuxBehaviour, CheckConditionOfTheSecondVersionIsOnlyInTheScsiStatus)
{
    EXPECT_EQ(inquiryV2(secondPort, secondTarget, 0, 0x83), ok);
    EXPECT_EQ(mScsiStatus, 2U);
    EXPECT_EQ(mSense[12], 0x24U);
}

TEST_F(HbaLinuxBehaviour, CapacityIsLongWithRoomForItsNumbers)
{
    auto const capacity = [this](HBA_UINT32 aRoom)
    {
        std::vector<unsigned char> response(aRoom, fill);
        HBA_UINT32 senseSize = 0;
        EXPECT_EQ(
            mTable.ScsiReadCapacityV2Handler(mHandle, wwn(secondPort), wwn(secondTarget), 0, response.data(),
                                             &aRoom, &mScsiStatus, nullptr, &senseSize),
            ok);
        response.resize(aRoom);
        return response;
    };
    EXPECT_EQ(capacity(11), (std::vector<unsigned char>{0, 0x1f, 0xff, 0xff, 0, 0, 2, 0}));
    EXPECT_EQ(capacity(12), (std::vector<unsigned char>{0, 0, 0, 0, 0, 0x1f, 0xff, 0xff, 0, 0, 2, 0}));
    EXPECT_EQ(capacity(40).size(), 32U);
}

TEST_F(HbaLinuxBehaviour, SomeCallsAreNotOffered)
{
    HBA_PORTATTRIBUTES port;
    EXPECT_EQ(mTable.GetPortAttributesByWWNHandler(mHandle, wwn(firstPort), &port), notSupported);
    HBA_SCSIID const lun{};
    HBA_FC4STATISTICS statistics;
    EXPECT_EQ(mTable.GetFCPStatisticsHandler(mHandle, &lun, &statistics), notSupported);
    EXPECT_EQ(mTable.OpenAdapterByWWNHandler(&mHandle, wwn(firstPort)), badName)
        << "what the common library returns when no library opens the adapter";
}

TEST(HbaBehaviour, OfAScenarioIsOneOfTwo)
{
    EXPECT_EQ(errorOf("behaviour = \"windows\"\n"),
              "bad.toml:1:13: expected one of standard, linux, found \"windows\"");
    EXPECT_EQ(errorOf("behaviour = \"standard\"\n"), "(no error)");
}
}  // namespace
