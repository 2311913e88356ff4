// The witness in a program with a fake common library, whose answers the test sets.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "tests/agentkit/FakeCommonLibrary.h"
#include "tests/support/Outcome.h"

using qz::HbaCall;
using qz::lastHbaCall;
using testing::Each;
using testing::ElementsAre;

namespace
{
constexpr HBA_UINT8 checkCondition = 0x02;
constexpr HBA_UINT8 statusOfCaller = 0x77;

HBA_WWN const port = {{1, 2, 3, 4, 5, 6, 7, 8}};
HBA_WWN const remotePort = {{8, 7, 6, 5, 4, 3, 2, 1}};

/// One function of the HBA API, and a call of it.
struct Function
{
    std::string mName;
    std::function<HBA_STATUS()> mCall;
};

/// The memory areas that are passed to a SCSI call of version 2.
struct ScsiBlocks
{
    std::array<unsigned char, 16> mResponse = {};
    HBA_UINT32 mResponseSize = 16;
    HBA_UINT8 mScsiStatus = statusOfCaller;
    std::array<unsigned char, 32> mSense = {};
    HBA_UINT32 mSenseSize = 32;
};

HBA_STATUS inquireV2(ScsiBlocks& aBlocks)
{
    return HBA_ScsiInquiryV2(1, port, remotePort, 2, 3, 4, aBlocks.mResponse.data(), &aBlocks.mResponseSize,
                             &aBlocks.mScsiStatus, aBlocks.mSense.data(), &aBlocks.mSenseSize);
}

HBA_STATUS reportLunsV2(ScsiBlocks& aBlocks)
{
    return HBA_ScsiReportLUNsV2(1, port, remotePort, aBlocks.mResponse.data(), &aBlocks.mResponseSize,
                                &aBlocks.mScsiStatus, aBlocks.mSense.data(), &aBlocks.mSenseSize);
}

HBA_STATUS readCapacityV2(ScsiBlocks& aBlocks)
{
    return HBA_ScsiReadCapacityV2(1, port, remotePort, 2, aBlocks.mResponse.data(), &aBlocks.mResponseSize,
                                  &aBlocks.mScsiStatus, aBlocks.mSense.data(), &aBlocks.mSenseSize);
}

HBA_STATUS reportLuns(std::vector<unsigned char>& aSense)
{
    unsigned char response[16];
    return HBA_SendReportLUNs(1, remotePort, response, sizeof response,
                              aSense.empty() ? nullptr : aSense.data(),
                              static_cast<HBA_UINT32>(aSense.size()));
}

template <typename Call>
Function scsiFunction(std::string const& aName, Call aCall)
{
    return {aName, [aCall]
            {
                ScsiBlocks blocks;
                return aCall(blocks);
            }};
}

std::vector<Function> const functions = {
    {"HBA_LoadLibrary", [] { return HBA_LoadLibrary(); }},
    {"HBA_FreeLibrary", [] { return HBA_FreeLibrary(); }},
    {"HBA_GetAdapterName",
     []
     {
         char name[256];
         return HBA_GetAdapterName(1, name);
     }},
    {"HBA_GetAdapterAttributes",
     []
     {
         HBA_ADAPTERATTRIBUTES attributes;
         return HBA_GetAdapterAttributes(1, &attributes);
     }},
    {"HBA_GetAdapterPortAttributes",
     []
     {
         HBA_PORTATTRIBUTES attributes;
         return HBA_GetAdapterPortAttributes(1, 2, &attributes);
     }},
    {"HBA_GetDiscoveredPortAttributes",
     []
     {
         HBA_PORTATTRIBUTES attributes;
         return HBA_GetDiscoveredPortAttributes(1, 2, 3, &attributes);
     }},
    {"HBA_GetPortStatistics",
     []
     {
         HBA_PORTSTATISTICS statistics;
         return HBA_GetPortStatistics(1, 2, &statistics);
     }},
    {"HBA_GetFcpTargetMapping",
     []
     {
         HBA_FCPTargetMapping mapping;
         return HBA_GetFcpTargetMapping(1, &mapping);
     }},
    {"HBA_SendReportLUNs",
     []
     {
         std::vector<unsigned char> sense(32);
         return reportLuns(sense);
     }},
    {"HBA_SendScsiInquiry",
     []
     {
         unsigned char response[16];
         unsigned char sense[32];
         return HBA_SendScsiInquiry(1, remotePort, 2, 3, 4, response, sizeof response, sense, sizeof sense);
     }},
    {"HBA_SendReadCapacity",
     []
     {
         unsigned char response[16];
         unsigned char sense[32];
         return HBA_SendReadCapacity(1, remotePort, 2, response, sizeof response, sense, sizeof sense);
     }},
    scsiFunction("HBA_ScsiInquiryV2", inquireV2),
    scsiFunction("HBA_ScsiReportLUNsV2", reportLunsV2),
    scsiFunction("HBA_ScsiReadCapacityV2", readCapacityV2),
};

constexpr HBA_STATUS statuses[] = {HBA_STATUS_OK, HBA_STATUS_ERROR_BUSY, HBA_STATUS_ERROR_ILLEGAL_WWN};

class HbaWitness : public testing::Test
{
protected:
    HbaWitness() { commonLibrary() = CommonLibrary(); }
};

TEST_F(HbaWitness, NewThreadHasNoLastCall)
{
    std::thread(
        []
        {
            EXPECT_EQ(lastHbaCall().mFunction, nullptr);
            EXPECT_EQ(lastHbaCall().mNumber, 0u);
            EXPECT_EQ(lastHbaCall().mStatus, HBA_STATUS_OK);
            EXPECT_FALSE(lastHbaCall().mScsiStatus.has_value());
            EXPECT_EQ(lastHbaCall().mSenseSize, 0u);
        })
        .join();
}

TEST_F(HbaWitness, ForwardsEachCallAndKeepsItsAnswer)
{
    for (Function const& function : functions)
    {
        for (HBA_STATUS const status : statuses)
        {
            commonLibrary() = CommonLibrary();
            commonLibrary().mStatus = status;
            std::uint64_t const before = lastHbaCall().mNumber;
            EXPECT_EQ(function.mCall(), status) << function.mName;
            EXPECT_EQ(commonLibrary().mCalls, 1u) << function.mName;
            EXPECT_EQ(commonLibrary().mFunction, function.mName);
            EXPECT_EQ(lastHbaCall().mFunction, function.mName);
            EXPECT_EQ(lastHbaCall().mStatus, status);
            EXPECT_EQ(lastHbaCall().mNumber, before + 1) << function.mName;
            EXPECT_FALSE(lastHbaCall().mScsiStatus.has_value()) << function.mName;
            EXPECT_EQ(lastHbaCall().mSenseSize, 0u) << function.mName;
        }
    }
}

TEST_F(HbaWitness, ForwardsTheArguments)
{
    ScsiBlocks blocks;
    inquireV2(blocks);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0102030405060708, 0807060504030201, 2, 3, 4, 16, 32");
    blocks = ScsiBlocks();
    reportLunsV2(blocks);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0102030405060708, 0807060504030201, 16, 32");
    blocks = ScsiBlocks();
    readCapacityV2(blocks);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0102030405060708, 0807060504030201, 2, 16, 32");
    std::vector<unsigned char> sense(32);
    reportLuns(sense);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0807060504030201, 16, 32");
    unsigned char block[16];
    HBA_SendScsiInquiry(1, remotePort, 2, 3, 4, block, sizeof block, block, 8);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0807060504030201, 2, 3, 4, 16, 8");
    HBA_SendReadCapacity(1, remotePort, 2, block, sizeof block, block, 8);
    EXPECT_EQ(commonLibrary().mArguments, "1, 0807060504030201, 2, 16, 8");
    char name[] = "qz-0";
    HBA_OpenAdapter(name);
    EXPECT_EQ(commonLibrary().mArguments, "qz-0");
    HBA_PORTATTRIBUTES attributes;
    HBA_GetDiscoveredPortAttributes(1, 2, 3, &attributes);
    EXPECT_EQ(commonLibrary().mArguments, "1, 2, 3");
}

TEST_F(HbaWitness, KeepsWhetherAnAdapterOpened)
{
    char name[] = "qz-0";
    commonLibrary().mHandle = 9;
    EXPECT_EQ(HBA_OpenAdapter(name), 9u);
    EXPECT_STREQ(lastHbaCall().mFunction, "HBA_OpenAdapter");
    EXPECT_EQ(lastHbaCall().mStatus, HBA_STATUS_OK);
    commonLibrary().mHandle = 0;
    EXPECT_EQ(HBA_OpenAdapter(name), 0u);
    EXPECT_EQ(lastHbaCall().mStatus, HBA_STATUS_ERROR);
}

/// The SCSI calls that report a SCSI status.
std::vector<std::function<HBA_STATUS(ScsiBlocks&)>> const callsWithStatus = {inquireV2, reportLunsV2,
                                                                             readCapacityV2};

TEST_F(HbaWitness, KeepsTheScsiStatusAndHandsItOver)
{
    for (auto const& scsiCall : callsWithStatus)
    {
        ScsiBlocks blocks;
        commonLibrary().mScsiStatus = 0x08;
        scsiCall(blocks);
        EXPECT_EQ(blocks.mScsiStatus, 0x08);
        EXPECT_EQ(lastHbaCall().mScsiStatus, std::optional<HBA_UINT8>(0x08));
        EXPECT_EQ(lastHbaCall().mSenseSize, 0u) << "a busy answer has no sense data";
    }
}

TEST_F(HbaWitness, CallWithoutAWrittenScsiStatusHasNone)
{
    for (auto const& scsiCall : callsWithStatus)
    {
        ScsiBlocks blocks;
        commonLibrary().mStatus = HBA_STATUS_ERROR_ILLEGAL_WWN;
        scsiCall(blocks);
        EXPECT_EQ(blocks.mScsiStatus, statusOfCaller);
        EXPECT_FALSE(lastHbaCall().mScsiStatus.has_value());
    }
}

TEST_F(HbaWitness, KeepsTheSenseDataOfACheckCondition)
{
    commonLibrary().mSense = {0x70, 0, 0x05};
    for (auto const& scsiCall : callsWithStatus)
    {
        for (bool const isOfTheCall : {true, false})
        {
            // The library reports a check condition by the status of the call, of the command, or of both.
            ScsiBlocks blocks;
            commonLibrary().mStatus = isOfTheCall ? HBA_STATUS_SCSI_CHECK_CONDITION : HBA_STATUS_ERROR;
            commonLibrary().mScsiStatus = checkCondition;
            scsiCall(blocks);
            HbaCall const& call = lastHbaCall();
            EXPECT_EQ(call.mScsiStatus, std::optional<HBA_UINT8>(checkCondition));
            ASSERT_EQ(call.mSenseSize, 3u) << "the number of bytes that the library reports";
            EXPECT_THAT(std::vector<unsigned char>(call.mSense.begin(), call.mSense.begin() + 3),
                        ElementsAre(0x70, 0, 0x05));
        }
    }
}

TEST_F(HbaWitness, KeepsTheWholeSenseBufferOfACallThatDoesNotCount)
{
    commonLibrary().mStatus = HBA_STATUS_SCSI_CHECK_CONDITION;
    commonLibrary().mSense = {0x70, 0, 0x05};
    std::vector<unsigned char> sense(32);
    reportLuns(sense);
    EXPECT_EQ(lastHbaCall().mScsiStatus, std::optional<HBA_UINT8>(checkCondition));
    EXPECT_EQ(lastHbaCall().mSenseSize, 32u);
    EXPECT_EQ(lastHbaCall().mSense[2], 0x05);
}

TEST_F(HbaWitness, KeepsNoMoreSenseDataThanItHasRoomFor)
{
    commonLibrary().mStatus = HBA_STATUS_SCSI_CHECK_CONDITION;
    std::vector<unsigned char> sense(1000, 0xab);
    reportLuns(sense);
    EXPECT_EQ(lastHbaCall().mSenseSize, 256u);
    EXPECT_THAT(lastHbaCall().mSense, Each(0xab));
}

TEST_F(HbaWitness, DoesWithoutASenseBuffer)
{
    commonLibrary().mStatus = HBA_STATUS_SCSI_CHECK_CONDITION;
    std::vector<unsigned char> none;
    reportLuns(none);
    EXPECT_EQ(lastHbaCall().mScsiStatus, std::optional<HBA_UINT8>(checkCondition));
    EXPECT_EQ(lastHbaCall().mSenseSize, 0u);
}

TEST_F(HbaWitness, ForgetsScsiStatusAndSenseDataWithTheNextCall)
{
    commonLibrary().mStatus = HBA_STATUS_SCSI_CHECK_CONDITION;
    std::vector<unsigned char> sense(32);
    reportLuns(sense);
    commonLibrary().mStatus = HBA_STATUS_OK;
    HBA_LoadLibrary();
    EXPECT_FALSE(lastHbaCall().mScsiStatus.has_value());
    EXPECT_EQ(lastHbaCall().mSenseSize, 0u);
}

TEST_F(HbaWitness, ShowsEachThreadItsOwnCalls)
{
    commonLibrary().mStatus = HBA_STATUS_ERROR_BUSY;
    HBA_LoadLibrary();
    std::uint64_t const number = lastHbaCall().mNumber;
    std::thread(
        []
        {
            commonLibrary().mStatus = HBA_STATUS_ERROR_UNAVAILABLE;
            HBA_FreeLibrary();
            EXPECT_EQ(lastHbaCall().mNumber, 1u);
            EXPECT_EQ(lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR_UNAVAILABLE));
        })
        .join();
    EXPECT_STREQ(lastHbaCall().mFunction, "HBA_LoadLibrary");
    EXPECT_EQ(lastHbaCall().mNumber, number);
    EXPECT_EQ(lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR_BUSY));
}

TEST_F(HbaWitness, SaysWhyTheLayerThrew)
{
    commonLibrary().mHandle = 1;
    qz::HbaApi api;
    qz::Adapter adapter(api, "qz-0");
    commonLibrary().mStatus = HBA_STATUS_ERROR_ILLEGAL_INDEX;
    EXPECT_EQ(outcomeOf([&] { adapter.attributes(); }),
              "QZCHbaapiEx 802: HBA_GetAdapterAttributes method failed");
    EXPECT_STREQ(lastHbaCall().mFunction, "HBA_GetAdapterAttributes");
    EXPECT_EQ(lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR_ILLEGAL_INDEX));
}

TEST_F(HbaWitness, SaysWhyAKitCallThrew)
{
    qz::HbaApi api;
    commonLibrary().mStatus = HBA_STATUS_ERROR_ILLEGAL_INDEX;
    EXPECT_EQ(outcomeOf([&] { api.adapterName(3); }),
              "QZCExitConditionEx 19: HBA_GetAdapterName method failed");
    EXPECT_STREQ(lastHbaCall().mFunction, "HBA_GetAdapterName");
    EXPECT_EQ(lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR_ILLEGAL_INDEX));
}
}  // namespace
