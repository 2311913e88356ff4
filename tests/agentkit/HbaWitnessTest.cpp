// The witness in a program with a fake common library, whose answers the test sets.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "tests/agentkit/FakeCommonLibrary.h"
#include "tests/agentkit/HbaArguments.h"
#include "tests/support/Outcome.h"

using qz::HbaCall;
using qz::lastHbaCall;
using qz::runningHbaCall;
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

std::vector<Function> const scsiFunctions = {
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

TEST_F(HbaWitness, ForwardsEachScsiCallAndKeepsItsAnswer)
{
    for (Function const& function : scsiFunctions)
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

TEST_F(HbaWitness, ForwardsTheArgumentsOfScsiCalls)
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
}

/// Calls the function and expects that the common library gets the call, and the caller the library's answer.
template <typename Called>
void expectForwarded(std::string const& aName, Called* aFunction)
{
    commonLibrary() = CommonLibrary();
    commonLibrary().mStatus = HBA_STATUS_ERROR_BUSY;
    EXPECT_EQ(callHba(aFunction).value_or(HBA_STATUS_ERROR_BUSY), HBA_STATUS_ERROR_BUSY) << aName;
    EXPECT_EQ(commonLibrary().mCalls, 1u) << aName;
    EXPECT_EQ(commonLibrary().mFunction, aName);
    EXPECT_EQ(commonLibrary().mArgumentBytes, bytesOfEach(hbaArguments(aFunction))) << aName;
}

#define QZ_EXPECT_STATUS(count, function)                                     \
    {                                                                         \
        std::uint64_t const before = lastHbaCall().mNumber;                   \
        expectForwarded(#function, function);                                 \
        EXPECT_STREQ(lastHbaCall().mFunction, #function);                     \
        EXPECT_EQ(lastHbaCall().mStatus, HBA_STATUS_ERROR_BUSY) << #function; \
        EXPECT_EQ(lastHbaCall().mNumber, before + 1) << #function;            \
    }

#define QZ_EXPECT_NOTHING_KEPT(count, function)                \
    {                                                          \
        std::uint64_t const before = lastHbaCall().mNumber;    \
        expectForwarded(#function, function);                  \
        EXPECT_EQ(lastHbaCall().mNumber, before) << #function; \
    }

TEST_F(HbaWitness, ForwardsEachCallThatHasAStatusAndKeepsItsAnswer){QZ_HBA_STATUS_FUNCTIONS(QZ_EXPECT_STATUS)}

TEST_F(HbaWitness, ForwardsTheCallsWithoutAStatusAndKeepsTheLastCall)
{
    QZ_HBA_OTHER_FUNCTIONS(QZ_EXPECT_NOTHING_KEPT)
}

/// Refuses queries without an answer while it exists.
class Refusal
{
public:
    Refusal() { qz::refuseUnansweredQueries(true); }
    ~Refusal() { qz::refuseUnansweredQueries(false); }
    Refusal(Refusal const&) = delete;
    Refusal& operator=(Refusal const&) = delete;
};

TEST_F(HbaWitness, ForwardsAnAnswerWithoutDataUnlessItIsRefused)
{
    HBA_ADAPTERATTRIBUTES attributes;
    attributes.NumberOfPorts = 7;
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &attributes), HBA_STATUS_OK);
    EXPECT_EQ(attributes.NumberOfPorts, 7u);
    EXPECT_FALSE(lastHbaCall().mIsUnanswered);
}

TEST_F(HbaWitness, RefusesAttributesThatTheLibraryDoesNotWrite)
{
    Refusal const refusal;
    HBA_ADAPTERATTRIBUTES adapter;
    HBA_PORTATTRIBUTES ports;
    adapter.NumberOfPorts = ports.PortFcId = 7;
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &adapter), HBA_STATUS_ERROR);
    EXPECT_EQ(adapter.NumberOfPorts, 0u);
    EXPECT_EQ(lastHbaCall().mStatus, HBA_STATUS_OK);
    EXPECT_TRUE(lastHbaCall().mIsUnanswered);
    EXPECT_EQ(HBA_GetAdapterPortAttributes(1, 0, &ports), HBA_STATUS_ERROR);
    EXPECT_EQ(ports.PortFcId, 0u);
    ports.PortFcId = 7;
    EXPECT_EQ(HBA_GetDiscoveredPortAttributes(1, 0, 0, &ports), HBA_STATUS_ERROR);
    EXPECT_EQ(ports.PortFcId, 0u);
    ports.PortFcId = 7;
    EXPECT_EQ(HBA_GetPortAttributesByWWN(1, port, &ports), HBA_STATUS_ERROR);
    EXPECT_EQ(ports.PortFcId, 0u);
}

TEST_F(HbaWitness, ForwardsAttributesThatTheLibraryWrites)
{
    Refusal const refusal;
    HBA_ADAPTERATTRIBUTES attributes;
    commonLibrary().mOnCall = [&] { attributes.NumberOfPorts = 2; };
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &attributes), HBA_STATUS_OK);
    EXPECT_EQ(attributes.NumberOfPorts, 2u);
    EXPECT_FALSE(lastHbaCall().mIsUnanswered);
    EXPECT_EQ(attributes.Model[0], '\0');
}

TEST_F(HbaWitness, ForwardsThatAnAdapterHasNoPorts)
{
    Refusal const refusal;
    HBA_ADAPTERATTRIBUTES attributes;
    commonLibrary().mOnCall = [&] { attributes.NumberOfPorts = 0; };
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &attributes), HBA_STATUS_OK);
    EXPECT_EQ(attributes.NumberOfPorts, 0u);
}

TEST_F(HbaWitness, ForwardsAttributesWithoutANumberOfPorts)
{
    Refusal const refusal;
    HBA_ADAPTERATTRIBUTES attributes;
    commonLibrary().mOnCall = [&] { attributes.Model[0] = 'm'; };
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &attributes), HBA_STATUS_OK);
    EXPECT_EQ(attributes.NumberOfPorts, 0u);
    EXPECT_EQ(attributes.Model[0], 'm');
}

TEST_F(HbaWitness, RefusesStatisticsThatTheLibraryDoesNotWrite)
{
    Refusal const refusal;
    HBA_PORTSTATISTICS statistics;
    std::memset(&statistics, 7, sizeof statistics);
    HBA_PORTSTATISTICS const ofCaller = statistics;
    EXPECT_EQ(HBA_GetPortStatistics(1, 0, &statistics), HBA_STATUS_ERROR);
    EXPECT_TRUE(lastHbaCall().mIsUnanswered);
    EXPECT_EQ(std::memcmp(&statistics, &ofCaller, sizeof statistics), 0);
}

TEST_F(HbaWitness, ForwardsStatisticsOfZerosOrOnes)
{
    Refusal const refusal;
    for (int const byte : {0, 0xff})
    {
        HBA_PORTSTATISTICS statistics;
        std::memset(&statistics, 7, sizeof statistics);
        commonLibrary().mOnCall = [&] { std::memset(&statistics, byte, sizeof statistics); };
        EXPECT_EQ(HBA_GetPortStatistics(1, 0, &statistics), HBA_STATUS_OK);
        EXPECT_EQ(statistics.TxFrames, byte == 0 ? 0 : -1);
    }
}

TEST_F(HbaWitness, KeepsTheCountersOfTheCallerThatTheLibraryDoesNotWrite)
{
    Refusal const refusal;
    HBA_PORTSTATISTICS statistics{};
    statistics.RxFrames = 5;
    commonLibrary().mOnCall = [&] { statistics.TxFrames = 3; };
    EXPECT_EQ(HBA_GetPortStatistics(1, 0, &statistics), HBA_STATUS_OK);
    EXPECT_EQ(statistics.TxFrames, 3);
    EXPECT_EQ(statistics.RxFrames, 5);
}

TEST_F(HbaWitness, RefusesANameThatTheLibraryDoesNotWrite)
{
    Refusal const refusal;
    char name[256] = "former";
    EXPECT_EQ(HBA_GetAdapterName(0, name), HBA_STATUS_ERROR);
    EXPECT_STREQ(name, "");
    EXPECT_TRUE(lastHbaCall().mIsUnanswered);
    EXPECT_STREQ(lastHbaCall().mFunction, "HBA_GetAdapterName");
    commonLibrary().mOnCall = [&] { std::strcpy(name, "qz-0"); };
    EXPECT_EQ(HBA_GetAdapterName(0, name), HBA_STATUS_OK);
    EXPECT_STREQ(name, "qz-0");
}

TEST_F(HbaWitness, ForwardsTheErrorOfAQuery)
{
    Refusal const refusal;
    HBA_ADAPTERATTRIBUTES attributes;
    commonLibrary().mStatus = HBA_STATUS_ERROR_BUSY;
    EXPECT_EQ(HBA_GetAdapterAttributes(1, &attributes), HBA_STATUS_ERROR_BUSY);
    EXPECT_FALSE(lastHbaCall().mIsUnanswered);
}

TEST_F(HbaWitness, RefusesTargetMappingsThatTheLibraryDoesNotWrite)
{
    Refusal const refusal;
    HBA_FCPTARGETMAPPING mapping;
    std::memset(&mapping, 7, sizeof mapping);
    mapping.NumberOfEntries = 1;
    EXPECT_EQ(HBA_GetFcpTargetMapping(1, &mapping), HBA_STATUS_ERROR);
    EXPECT_TRUE(lastHbaCall().mIsUnanswered);
    commonLibrary().mOnCall = [&] { mapping.entry[0].FcpId.PortWWN = port; };
    EXPECT_EQ(HBA_GetFcpTargetMapping(1, &mapping), HBA_STATUS_OK);
    EXPECT_FALSE(lastHbaCall().mIsUnanswered);
}

TEST_F(HbaWitness, ForwardsThatThereAreNoTargetMappings)
{
    Refusal const refusal;
    HBA_FCPTARGETMAPPING mapping = {};
    mapping.NumberOfEntries = 1;
    commonLibrary().mOnCall = [&] { mapping.NumberOfEntries = 0; };
    EXPECT_EQ(HBA_GetFcpTargetMapping(1, &mapping), HBA_STATUS_OK);
    // The caller only wants the number of mappings.
    EXPECT_EQ(HBA_GetFcpTargetMapping(1, &mapping), HBA_STATUS_OK);
}

TEST_F(HbaWitness, KeepsWhetherAnAdapterOpened)
{
    char name[] = "qz-0";
    char* const nameOfCaller = name;
    commonLibrary().mHandle = 9;
    EXPECT_EQ(HBA_OpenAdapter(name), 9u);
    EXPECT_THAT(commonLibrary().mArgumentBytes, ElementsAre(bytesOf(nameOfCaller)));
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

TEST_F(HbaWitness, KeepsTheScsiStatusThatTheCallerDoesNotAskFor)
{
    commonLibrary().mScsiStatus = 0x08;
    ScsiBlocks blocks;
    EXPECT_EQ(HBA_ScsiReportLUNsV2(1, port, remotePort, blocks.mResponse.data(), &blocks.mResponseSize,
                                   nullptr, blocks.mSense.data(), &blocks.mSenseSize),
              static_cast<HBA_STATUS>(HBA_STATUS_OK));
    EXPECT_EQ(lastHbaCall().mScsiStatus, std::optional<HBA_UINT8>(0x08));
}

TEST_F(HbaWitness, KeepsNoSenseDataOfACallWithoutTheirSize)
{
    commonLibrary().mStatus = HBA_STATUS_SCSI_CHECK_CONDITION;
    ScsiBlocks blocks;
    EXPECT_EQ(HBA_ScsiReportLUNsV2(1, port, remotePort, blocks.mResponse.data(), &blocks.mResponseSize,
                                   &blocks.mScsiStatus, blocks.mSense.data(), nullptr),
              static_cast<HBA_STATUS>(HBA_STATUS_SCSI_CHECK_CONDITION));
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

/// What qz::runningHbaCall() says while the function runs.
template <typename Called>
std::string runningDuring(Called* aFunction)
{
    std::string running;
    commonLibrary().mOnCall = [&] { running = runningHbaCall(); };
    callHba(aFunction);
    return running;
}

#define QZ_EXPECT_NAMED(count, function)           \
    EXPECT_EQ(runningDuring(function), #function); \
    EXPECT_EQ(runningHbaCall(), nullptr) << #function;

TEST_F(HbaWitness, NamesTheCallThatIsRunning)
{
    EXPECT_EQ(runningHbaCall(), nullptr);
    QZ_HBA_STATUS_FUNCTIONS(QZ_EXPECT_NAMED)
    QZ_HBA_OTHER_FUNCTIONS(QZ_EXPECT_NAMED)
    QZ_EXPECT_NAMED(1, HBA_OpenAdapter)
}

TEST_F(HbaWitness, NamesTheScsiCallThatIsRunning)
{
    for (Function const& function : scsiFunctions)
    {
        std::string running;
        commonLibrary().mOnCall = [&] { running = runningHbaCall(); };
        function.mCall();
        EXPECT_EQ(running, function.mName);
        EXPECT_EQ(runningHbaCall(), nullptr);
    }
}

/// A thread whose call does not return before release().
class BlockedCall
{
public:
    explicit BlockedCall(HBA_STATUS (*aFunction)())
    {
        commonLibrary().mOnCall = [this]
        {
            mEntered.set_value();
            mReleased.get_future().wait();
        };
        mThread = std::thread(aFunction);
        mEntered.get_future().wait();
    }

    void release()
    {
        mReleased.set_value();
        mThread.join();
    }

private:
    std::promise<void> mEntered;
    std::promise<void> mReleased;
    std::thread mThread;
};

TEST_F(HbaWitness, NamesTheRunningCallOfSeveralThatStartedLast)
{
    for (bool const endsFirstStartedFirst : {true, false})
    {
        BlockedCall first(HBA_LoadLibrary);
        EXPECT_STREQ(runningHbaCall(), "HBA_LoadLibrary");
        BlockedCall second(HBA_FreeLibrary);
        EXPECT_STREQ(runningHbaCall(), "HBA_FreeLibrary");
        (endsFirstStartedFirst ? first : second).release();
        EXPECT_STREQ(runningHbaCall(), endsFirstStartedFirst ? "HBA_FreeLibrary" : "HBA_LoadLibrary");
        (endsFirstStartedFirst ? second : first).release();
        EXPECT_EQ(runningHbaCall(), nullptr);
    }
}

TEST_F(HbaWitness, KeepsTheNameOfTheRunningCallInSharedMemory)
{
    using Place = std::atomic<char const*>;
    void* const memory =
        ::mmap(nullptr, sizeof(Place), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    qz::keepRunningHbaCall(*new (memory) Place("stale"));
    EXPECT_EQ(runningHbaCall(), nullptr);
    commonLibrary().mOnCall = [] { ::_exit(0); };
    pid_t const child = ::fork();
    if (child == 0)
    {
        HBA_LoadLibrary();
        ::_exit(1);
    }
    ASSERT_EQ(::waitpid(child, nullptr, 0), child);
    EXPECT_STREQ(runningHbaCall(), "HBA_LoadLibrary");
    static std::atomic<char const*> own = nullptr;
    static_cast<Place*>(memory)->store(nullptr);
    qz::keepRunningHbaCall(own);
    ::munmap(memory, sizeof(Place));
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
