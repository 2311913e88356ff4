#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "agentkit/include/Wwn.h"
#include "agentkit/testing/FakeHbaapi.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Bytes.h"
#include "tests/support/Circumstances.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MallocFailure.h"
#include "tests/support/Outcome.h"

using qz::Adapter;
using qz::HbaApi;
using qz::LunReport;
using qz::TargetMappings;
using qz::Wwn;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Ge;
using testing::IsEmpty;
using testing::Lt;

namespace
{
constexpr char nameFailed[] = "QZCExitConditionEx 19: HBA_GetAdapterName method failed";
constexpr char portFailed[] = "QZCHbaapiEx 802: HBA_GetAdapterPortAttributes method failed";
constexpr char mappingFailed[] = "QZCHbaapiEx 802: HBA_GetFcpTargetMapping method failed";
constexpr char lunsFailed[] = "QZCHbaapiEx 802: HBA_SendReportLUNs method failed";

Wwn const remotePort = *Wwn::parse("10:00:00:00:c9:2a:3b:4c");

class HbaApiCalls : public testing::Test
{
protected:
    /// Makes the HBA API answer the next query with this number of mappings, whose bus numbers count from 0.
    void answerMappings(HBA_STATUS aStatus, HBA_UINT32 aCount)
    {
        mHbaapi.mTargetMappings.push_back({aStatus, [this, aCount](HBA_FCPTargetMapping& aBlock)
                                           {
                                               HBA_UINT32 const room =
                                                   std::min(aBlock.NumberOfEntries, aCount);
                                               for (HBA_UINT32 i = 0; i < room; ++i)
                                               {
                                                   entryOf(aBlock, i).ScsiId.ScsiBusNumber = i;
                                               }
                                               aBlock.NumberOfEntries = aCount;
                                               ++mMappingQueries;
                                           }});
    }

    void answerBusy(unsigned int aTimes)
    {
        for (unsigned int i = 0; i < aTimes; ++i)
        {
            mHbaapi.mTargetMappings.push_back({HBA_STATUS_ERROR_BUSY});
        }
    }

    /// Makes the HBA API answer the next REPORT LUNS with these bytes.
    void answerLuns(HBA_STATUS aStatus, Bytes const& aAnswer = {})
    {
        mHbaapi.mReportLuns.push_back({aStatus, [aAnswer](qz::FakeHbaapi::ReportLunsBlocks& aBlocks)
                                       {
                                           ASSERT_LE(aAnswer.size(), aBlocks.mResponseSize);
                                           std::copy(aAnswer.begin(), aAnswer.end(), aBlocks.mResponse);
                                       }});
    }

    static std::vector<unsigned int> busNumbersOf(TargetMappings const& aMappings)
    {
        std::vector<unsigned int> numbers;
        for (HBA_FCPSCSIENTRY const& entry : aMappings)
        {
            numbers.push_back(entry.ScsiId.ScsiBusNumber);
        }
        return numbers;
    }

    /// The calls that reached the HBA API, without loading, opening, closing and freeing.
    std::vector<std::string> queries() const
    {
        std::vector<std::string> const& calls = mHbaapi.calls();
        EXPECT_GE(calls.size(), 4u);
        return {calls.begin() + 2, calls.end() - 2};
    }

    /// Number of times that a call was made.
    long timesOf(std::string const& aCall) const
    {
        return std::count(mHbaapi.calls().begin(), mHbaapi.calls().end(), aCall);
    }

    qz::FakeHbaapi mHbaapi;
    LogCapture mLog;
    unsigned int mMappingQueries = 0;

private:
    static HBA_FCPSCSIENTRY& entryOf(HBA_FCPTargetMapping& aBlock, HBA_UINT32 aIndex)
    {
        HBA_FCPSCSIENTRY* const first = aBlock.entry;
        return first[aIndex];
    }
};

/// The numbers from 0 to the end, without the end.
std::vector<unsigned int> numbersUpTo(unsigned int aEnd)
{
    std::vector<unsigned int> numbers(aEnd);
    for (unsigned int i = 0; i < aEnd; ++i)
    {
        numbers[i] = i;
    }
    return numbers;
}

TEST_F(HbaApiCalls, LoadAndFreeTheLibraryOnce)
{
    {
        HbaApi api;
        EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_LoadLibrary()"));
    }
    EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_LoadLibrary()", "HBA_FreeLibrary()"));
}

TEST_F(HbaApiCalls, DoNotFreeALibraryThatDidNotLoad)
{
    mHbaapi.mLoadStatus = HBA_STATUS_ERROR;
    EXPECT_EQ(outcomeOf([] { HbaApi(); }), "QZCExitConditionEx 19: Can't load HBAAPI library!");
    EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_LoadLibrary()"));
}

TEST_F(HbaApiCalls, ReachTheLayer)
{
    mHbaapi.mNumberOfAdapters = 3;
    HbaApi api;
    EXPECT_EQ(api.numberOfAdapters(), 3u);
    EXPECT_EQ(api.layer().HA_GetNumberOfAdapters(), 3u);
}

TEST_F(HbaApiCalls, ReadTheNamesOfOtherAdaptersWhenOneFails)
{
    mHbaapi.mNames = {
        {HBA_STATUS_OK, "first"}, {HBA_STATUS_ERROR_UNAVAILABLE, "lost"}, {HBA_STATUS_OK, "third"}};
    HbaApi api;
    EXPECT_EQ(api.adapterName(0), "first");
    EXPECT_EQ(outcomeOf([&] { api.adapterName(1); }), nameFailed);
    EXPECT_EQ(api.adapterName(2), "third");
    EXPECT_TRUE(mHbaapi.mNameBuffersWereZero);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_LoadLibrary()", "HBA_GetAdapterName(0)",
                                             "HBA_GetAdapterName(1)", "HBA_GetAdapterName(2)"));
}

TEST_F(HbaApiCalls, EndANameThatComesWithoutATerminator)
{
    mHbaapi.mNames = {{HBA_STATUS_OK, std::string(256, 'x')}};
    HbaApi api;
    EXPECT_EQ(api.adapterName(0), std::string(256, 'x'));
}

TEST_F(HbaApiCalls, ReportThatThereIsNoMemoryForAName)
{
    mHbaapi.mNames = {{HBA_STATUS_OK, "a name that does not fit into the string object itself"}};
    HbaApi api;
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { api.adapterName(0); }), badAlloc);
}

TEST_F(HbaApiCalls, OpenAndCloseAnAdapterOnce)
{
    mHbaapi.mOpenHandle = 7;
    {
        HbaApi api;
        Adapter adapter(api, "qz-0");
        EXPECT_EQ(adapter.handle(), 7u);
        adapter.refresh();
    }
    EXPECT_THAT(mHbaapi.calls(),
                ElementsAre("HBA_LoadLibrary()", "HBA_OpenAdapter(qz-0)", "HBA_RefreshInformation(7)",
                            "HBA_CloseAdapter(7)", "HBA_FreeLibrary()"));
}

TEST_F(HbaApiCalls, DoNotCloseAnAdapterThatDidNotOpen)
{
    mHbaapi.mOpenHandle = 0;
    {
        HbaApi api;
        EXPECT_EQ(outcomeOf([&] { Adapter(api, "qz-0"); }), "QZCHbaapiEx 802: HBA_OpenAdapter method failed");
    }
    EXPECT_THAT(mHbaapi.calls(),
                ElementsAre("HBA_LoadLibrary()", "HBA_OpenAdapter(qz-0)", "HBA_FreeLibrary()"));
}

TEST_F(HbaApiCalls, CloseTheAdapterAndFreeTheLibraryWhenAnExceptionPasses)
{
    auto const fail = [&]
    {
        HbaApi api;
        Adapter adapter(api, "qz-0");
        mHbaapi.mPortAttributes = {{HBA_STATUS_ERROR}};
        adapter.port(0);
    };
    EXPECT_EQ(outcomeOf(fail), portFailed);
    EXPECT_EQ(timesOf("HBA_CloseAdapter(1)"), 1);
    EXPECT_EQ(timesOf("HBA_FreeLibrary()"), 1);
}

/// Expects that the double's last call is this one.
void expectLastCall(std::uint64_t aNumber, std::string const& aFunction, HBA_STATUS aStatus)
{
    EXPECT_EQ(qz::lastHbaCall().mNumber, aNumber);
    EXPECT_EQ(qz::lastHbaCall().mFunction, aFunction);
    EXPECT_EQ(qz::lastHbaCall().mStatus, aStatus) << aFunction;
}

TEST_F(HbaApiCalls, AreTheLastCallOfTheDouble)
{
    mHbaapi.mLoadStatus = HBA_STATUS_ERROR_BUSY;
    outcomeOf([] { HbaApi(); });
    expectLastCall(1, "HBA_LoadLibrary", HBA_STATUS_ERROR_BUSY);
    mHbaapi.mLoadStatus = HBA_STATUS_OK;
    mHbaapi.mFreeStatus = HBA_STATUS_ERROR_NOT_SUPPORTED;
    {
        HbaApi api;
        mHbaapi.mNames = {{HBA_STATUS_ERROR_UNAVAILABLE, ""}};
        outcomeOf([&] { api.adapterName(0); });
        expectLastCall(3, "HBA_GetAdapterName", HBA_STATUS_ERROR_UNAVAILABLE);
        mHbaapi.mOpenHandle = 0;
        outcomeOf([&] { Adapter(api, "qz-0"); });
        expectLastCall(4, "HBA_OpenAdapter", HBA_STATUS_ERROR);
        mHbaapi.mOpenHandle = 1;
        Adapter adapter(api, "qz-0");
        expectLastCall(5, "HBA_OpenAdapter", HBA_STATUS_OK);
        mHbaapi.mAdapterAttributes = {{HBA_STATUS_ERROR_ILLEGAL_INDEX}};
        outcomeOf([&] { adapter.attributes(); });
        expectLastCall(6, "HBA_GetAdapterAttributes", HBA_STATUS_ERROR_ILLEGAL_INDEX);
        mHbaapi.mPortAttributes = {{HBA_STATUS_ERROR_STALE_DATA}};
        outcomeOf([&] { adapter.port(0); });
        expectLastCall(7, "HBA_GetAdapterPortAttributes", HBA_STATUS_ERROR_STALE_DATA);
        mHbaapi.mTargetMappings = {{HBA_STATUS_ERROR_TRY_AGAIN}};
        outcomeOf([&] { adapter.targetMappings(); });
        expectLastCall(8, "HBA_GetFcpTargetMapping", HBA_STATUS_ERROR_TRY_AGAIN);
        answerLuns(HBA_STATUS_ERROR_INVALID_LUN);
        outcomeOf([&] { adapter.reportLuns(remotePort); });
        expectLastCall(9, "HBA_SendReportLUNs", HBA_STATUS_ERROR_INVALID_LUN);
        EXPECT_FALSE(qz::lastHbaCall().mScsiStatus.has_value());
        adapter.refresh();
        static_cast<void>(api.numberOfAdapters());
        expectLastCall(9, "HBA_SendReportLUNs", HBA_STATUS_ERROR_INVALID_LUN);
    }
    expectLastCall(10, "HBA_FreeLibrary", HBA_STATUS_ERROR_NOT_SUPPORTED);
}

TEST_F(HbaApiCalls, ShowTheSenseDataOfTheDouble)
{
    HbaApi api;
    Adapter adapter(api, "qz-0");
    for (unsigned int attempt = 0; attempt < 5; ++attempt)
    {
        mHbaapi.mReportLuns.push_back({HBA_STATUS_SCSI_CHECK_CONDITION,
                                       [](qz::FakeHbaapi::ReportLunsBlocks& aBlocks)
                                       { aBlocks.mSense[2] = 0x05; }});
    }
    EXPECT_EQ(outcomeOf([&] { adapter.reportLuns(remotePort); }), lunsFailed);
    EXPECT_EQ(qz::lastHbaCall().mScsiStatus, std::optional<HBA_UINT8>(0x02));
    EXPECT_EQ(qz::lastHbaCall().mSenseSize, 256u);
    EXPECT_EQ(qz::lastHbaCall().mSense[2], 0x05);
}

TEST_F(HbaApiCalls, KeepTheirNamesAtThePlaceThatTheProgramSets)
{
    static std::atomic<char const*> place = nullptr;
    qz::keepRunningHbaCall(place);
    std::vector<std::string> running;
    mHbaapi.mOnCall = [&](char const*) { running.emplace_back(place.load()); };
    HBA_LoadLibrary();
    EXPECT_THAT(running, ElementsAre("HBA_LoadLibrary"));
    EXPECT_EQ(place, nullptr);
}

TEST_F(HbaApiCalls, AnswerWithoutDataAlthoughTheProgramRefusesIt)
{
    mHbaapi.mNames = {{HBA_STATUS_OK, "qz-0"}};
    mHbaapi.mAdapterAttributes = {{HBA_STATUS_OK}};
    HbaApi api;
    Adapter adapter(api, "qz-0");
    qz::refuseUnansweredQueries(true);
    HBA_ADAPTERATTRIBUTES attributes{};
    EXPECT_EQ(HBA_GetAdapterAttributes(adapter.handle(), &attributes), HBA_STATUS_OK);
    EXPECT_FALSE(qz::lastHbaCall().mIsUnanswered);
}

TEST_F(HbaApiCalls, RunWhileTheDoubleAnswersThem)
{
    std::vector<std::string> running;
    mHbaapi.mOnCall = [&](char const*) { running.emplace_back(qz::runningHbaCall()); };
    mHbaapi.mNames = {{HBA_STATUS_OK, "qz-0"}};
    mHbaapi.mAdapterAttributes = {{HBA_STATUS_ERROR}};
    mHbaapi.mPortAttributes = {{HBA_STATUS_OK}};
    mHbaapi.mTargetMappings = {{HBA_STATUS_ERROR}};
    mHbaapi.mReportLuns = {{HBA_STATUS_ERROR}};
    {
        HbaApi api;
        static_cast<void>(api.numberOfAdapters());
        Adapter adapter(api, api.adapterName(0));
        adapter.refresh();
        outcomeOf([&] { adapter.attributes(); });
        adapter.port(0);
        outcomeOf([&] { adapter.targetMappings(); });
        outcomeOf([&] { adapter.reportLuns(remotePort); });
        EXPECT_EQ(qz::runningHbaCall(), nullptr);
    }
    EXPECT_THAT(running, ElementsAre("HBA_LoadLibrary", "HBA_GetNumberOfAdapters", "HBA_GetAdapterName",
                                     "HBA_OpenAdapter", "HBA_RefreshInformation", "HBA_GetAdapterAttributes",
                                     "HBA_GetAdapterPortAttributes", "HBA_GetFcpTargetMapping",
                                     "HBA_SendReportLUNs", "HBA_CloseAdapter", "HBA_FreeLibrary"));
}

TEST(FakeHbaapi, BeginsWithoutALastCall)
{
    {
        qz::FakeHbaapi const hbaapi;
        HBA_LoadLibrary();
        EXPECT_EQ(qz::lastHbaCall().mNumber, 1u);
    }
    qz::FakeHbaapi const hbaapi;
    EXPECT_EQ(qz::lastHbaCall().mNumber, 0u);
    EXPECT_EQ(qz::lastHbaCall().mFunction, nullptr);
}

/// The steps of an agent, each with the call of the HBA API that it makes.
std::vector<std::string> const agentSteps = {
    "HBA_LoadLibrary()",
    "HBA_GetAdapterName(0)",
    "HBA_OpenAdapter(qz-0)",
    "HBA_GetAdapterAttributes(1)",
    "HBA_GetAdapterPortAttributes(1, 0)",
    "HBA_GetFcpTargetMapping(1, 256)",
    "HBA_SendReportLUNs(1, 10000000c92a3b4c, 4104, 256)",
};

/// Takes the steps until one fails.
void takeHbaSteps()
{
    HbaApi api;
    Adapter adapter(api, api.adapterName(0));
    auto const attributes = adapter.attributes();
    HBA_PORTATTRIBUTES const port = adapter.port(0);
    TargetMappings const mappings = adapter.targetMappings(steady_clock::now());
    LunReport const report = adapter.reportLuns(remotePort);
    EXPECT_EQ(attributes->NumberOfPorts, 1u);
    EXPECT_EQ(port.PortState, 0u);
    EXPECT_EQ(mappings.size(), 0u);
    EXPECT_THAT(report.luns(), IsEmpty());
}

TEST_F(HbaApiCalls, ReleaseEveryStepOnceWhereverTheAgentFails)
{
    for (Circumstance const& circumstance : circumstances)
    {
        for (std::size_t failing = 0; failing <= agentSteps.size(); ++failing)
        {
            SCOPED_TRACE("step " + std::to_string(failing) + " fails " + circumstance.mName);
            auto const answerOf = [&](std::size_t aStep) -> HBA_STATUS
            { return aStep == failing ? HBA_STATUS_ERROR : HBA_STATUS_OK; };
            mHbaapi.mLoadStatus = answerOf(0);
            mHbaapi.mNames = {{answerOf(1), "qz-0"}};
            mHbaapi.mOpenHandle = failing == 2 ? 0 : 1;
            mHbaapi.mAdapterAttributes = {
                {answerOf(3), [](HBA_ADAPTERATTRIBUTES& aAttributes) { aAttributes.NumberOfPorts = 1; }}};
            mHbaapi.mPortAttributes = {{answerOf(4)}};
            mHbaapi.mTargetMappings.clear();
            answerMappings(answerOf(5), 0);
            mHbaapi.mReportLuns.clear();
            for (unsigned int attempt = 0; attempt < 3; ++attempt)
            {
                answerLuns(answerOf(6));
            }
            std::size_t const callsBefore = mHbaapi.calls().size();

            outcomeOf([&] { circumstance.mRun(takeHbaSteps); });

            std::vector<std::string> calls(mHbaapi.calls().begin() + static_cast<std::ptrdiff_t>(callsBefore),
                                           mHbaapi.calls().end());
            calls.erase(std::unique(calls.begin(), calls.end()),
                        calls.end());  // the layer repeats REPORT LUNS
            std::vector<std::string> expected(
                agentSteps.begin(),
                agentSteps.begin() + static_cast<std::ptrdiff_t>(std::min(failing + 1, agentSteps.size())));
            if (failing > 2)
            {
                expected.emplace_back("HBA_CloseAdapter(1)");
            }
            if (failing > 0)
            {
                expected.emplace_back("HBA_FreeLibrary()");
            }
            EXPECT_THAT(calls, ElementsAreArray(expected));
        }
    }
    EXPECT_TRUE(std::none_of(mLog.lines().begin(), mLog.lines().end(),
                             [](LogLine const& aLine) { return aLine.mTag == "-H-"; }));
}

TEST_F(HbaApiCalls, RefusedSecondLoadLeavesTheFirstLoaded)
{
    {
        HbaApi const api;
        mHbaapi.mLoadStatus = HBA_STATUS_ERROR;
        EXPECT_EQ(outcomeOf([] { HbaApi(); }), "QZCExitConditionEx 19: Can't load HBAAPI library!");
        EXPECT_EQ(timesOf("HBA_FreeLibrary()"), 0);
    }
    EXPECT_EQ(timesOf("HBA_FreeLibrary()"), 1);
}

TEST_F(HbaApiCalls, ReadTheAttributesIntoARecordThatIsFreed)
{
    mHbaapi.mAdapterAttributes.push_back(
        {HBA_STATUS_OK, [](HBA_ADAPTERATTRIBUTES& aAttributes) { aAttributes.NumberOfPorts = 2; }});
    mHbaapi.mAdapterAttributes.push_back({HBA_STATUS_ERROR});
    HbaApi api;
    Adapter adapter(api, "qz-0");
    long const before = liveBlocks();
    EXPECT_EQ(adapter.attributes()->NumberOfPorts, 2u);
    EXPECT_EQ(liveBlocks(), before);
    EXPECT_EQ(outcomeOf([&] { adapter.attributes(); }),
              "QZCHbaapiEx 802: HBA_GetAdapterAttributes method failed");
    EXPECT_EQ(liveBlocks(), before);
}

TEST_F(HbaApiCalls, ReadOtherPortsWhenOneFails)
{
    HbaApi api;
    Adapter adapter(api, "qz-0");
    mHbaapi.mPortAttributes.push_back(
        {HBA_STATUS_OK, [](HBA_PORTATTRIBUTES& aAttributes) { aAttributes.PortFcId = 11; }});
    mHbaapi.mPortAttributes.push_back(
        {HBA_STATUS_ERROR, [](HBA_PORTATTRIBUTES& aAttributes) { aAttributes.PortFcId = 12; }});
    mHbaapi.mPortAttributes.push_back(
        {HBA_STATUS_OK, [](HBA_PORTATTRIBUTES& aAttributes) { EXPECT_EQ(aAttributes.PortFcId, 0u); }});
    EXPECT_EQ(adapter.port(0).PortFcId, 11u);
    EXPECT_EQ(outcomeOf([&] { adapter.port(1); }), portFailed);
    EXPECT_EQ(adapter.port(2).PortFcId, 0u);
    EXPECT_EQ(timesOf("HBA_GetAdapterPortAttributes(1, 0)"), 1);
    EXPECT_EQ(timesOf("HBA_GetAdapterPortAttributes(1, 1)"), 1);
    EXPECT_EQ(timesOf("HBA_GetAdapterPortAttributes(1, 2)"), 1);
}

template <typename Movable>
void moveAway(Movable& aMovable)
{
    Movable const taken = std::move(aMovable);
}

/// The FC-IDs of the ports.
std::vector<unsigned int> idsOf(qz::AdapterPorts const& aPorts)
{
    std::vector<unsigned int> ids;
    for (HBA_PORTATTRIBUTES const& port : aPorts)
    {
        ids.push_back(port.PortFcId);
    }
    return ids;
}

class HbaApiPorts : public HbaApiCalls
{
protected:
    HbaApiPorts()
    {
        mHbaapi.mAdapterAttributes.push_back(
            {HBA_STATUS_OK, [](HBA_ADAPTERATTRIBUTES& aAttributes) { aAttributes.NumberOfPorts = 2; }});
    }

    void answerPort(HBA_UINT32 aId)
    {
        mHbaapi.mPortAttributes.push_back(
            {HBA_STATUS_OK, [aId](HBA_PORTATTRIBUTES& aAttributes) { aAttributes.PortFcId = aId; }});
    }

    HbaApi mApi;
    Adapter mAdapter{mApi, "qz-0"};
};

TEST_F(HbaApiPorts, AreAllPortsOfTheAttributes)
{
    answerPort(11);
    answerPort(12);
    qz::AdapterPorts const ports = mAdapter.ports();
    EXPECT_EQ(ports.size(), 2u);
    EXPECT_THAT(idsOf(ports), ElementsAre(11, 12));
}

TEST_F(HbaApiPorts, EndWithTheFirstPortThatFails)
{
    answerPort(11);
    mHbaapi.mPortAttributes.push_back({HBA_STATUS_ERROR});
    EXPECT_EQ(outcomeOf([&] { mAdapter.ports(); }), portFailed);
}

TEST_F(HbaApiPorts, EndWithTheFailureOfTheAttributes)
{
    mHbaapi.mAdapterAttributes = {{HBA_STATUS_ERROR}};
    EXPECT_EQ(outcomeOf([&] { mAdapter.ports(); }),
              "QZCHbaapiEx 802: HBA_GetAdapterAttributes method failed");
}

TEST_F(HbaApiPorts, AreFreedWithTheirOwner)
{
    answerPort(11);
    answerPort(12);
    long const before = liveBlocks();
    {
        qz::AdapterPorts ports = mAdapter.ports();
        EXPECT_EQ(liveBlocks(), before + 1);
        moveAway(ports);
        EXPECT_EQ(ports.size(), 0u);
        EXPECT_EQ(ports.begin(), ports.end());
        EXPECT_EQ(liveBlocks(), before);
    }
    EXPECT_EQ(liveBlocks(), before);
}

/// Reads the mappings in one of the two ways.
struct Way
{
    char const* mName;
    std::function<TargetMappings(Adapter&)> mRead;
};

std::ostream& operator<<(std::ostream& aOut, Way const& aWay) { return aOut << aWay.mName; }

class HbaApiMappings : public HbaApiCalls, public testing::WithParamInterface<Way>
{
protected:
    TargetMappings read() { return GetParam().mRead(mAdapter); }

    HbaApi mApi;
    Adapter mAdapter{mApi, "qz-0"};
};

INSTANTIATE_TEST_SUITE_P(
    Of, HbaApiMappings,
    testing::Values(Way{"TheLayer", [](Adapter& aAdapter) { return aAdapter.targetMappings(); }},
                    Way{"ADeadline", [](Adapter& aAdapter)
                        { return aAdapter.targetMappings(steady_clock::time_point()); }}),
    [](testing::TestParamInfo<Way> const& aInfo) { return aInfo.param.mName; });

TEST_P(HbaApiMappings, MayBeNone)
{
    answerMappings(HBA_STATUS_OK, 0);
    TargetMappings const mappings = read();
    EXPECT_EQ(mappings.size(), 0u);
    EXPECT_EQ(mappings.begin(), mappings.end());
}

TEST_P(HbaApiMappings, QueryAfterAnEmptyAnswerReadsTheNewMappings)
{
    answerMappings(HBA_STATUS_OK, 0);
    answerMappings(HBA_STATUS_OK, 3);
    EXPECT_EQ(read().size(), 0u);
    EXPECT_THAT(busNumbersOf(read()), ElementsAre(0, 1, 2));
    EXPECT_EQ(timesOf("HBA_GetFcpTargetMapping(1, 256)"), 2) << "each query uses a new block";
}

TEST_P(HbaApiMappings, MoreMappingsAreReadIntoALargerBlock)
{
    answerMappings(HBA_STATUS_ERROR_MORE_DATA, 300);
    answerMappings(HBA_STATUS_OK, 300);
    EXPECT_THAT(busNumbersOf(read()), ElementsAreArray(numbersUpTo(300)));
    EXPECT_EQ(timesOf("HBA_GetFcpTargetMapping(1, 256)"), 1);
    EXPECT_EQ(timesOf("HBA_GetFcpTargetMapping(1, 300)"), 1);
}

TEST_P(HbaApiMappings, AreAsManyAsTheBlockHoldsWhenTheAnswerCountsMore)
{
    answerMappings(HBA_STATUS_OK, 4000);
    EXPECT_THAT(busNumbersOf(read()), ElementsAreArray(numbersUpTo(256)));
}

TEST_P(HbaApiMappings, EndWithTheLayersExceptionWhenTheQueryFails)
{
    mHbaapi.mTargetMappings.push_back({HBA_STATUS_ERROR_UNAVAILABLE});
    EXPECT_EQ(outcomeOf([&] { read(); }), mappingFailed);
}

TEST_P(HbaApiMappings, MovedMappingsKeepTheirEntries)
{
    answerMappings(HBA_STATUS_OK, 2);
    TargetMappings mappings = read();
    TargetMappings const moved = std::move(mappings);
    EXPECT_THAT(busNumbersOf(moved), ElementsAre(0, 1));
}

TEST_P(HbaApiMappings, AreNoneAfterTheyWereMoved)
{
    answerMappings(HBA_STATUS_OK, 2);
    TargetMappings mappings = read();
    moveAway(mappings);
    EXPECT_EQ(mappings.size(), 0u);
    EXPECT_EQ(mappings.begin(), mappings.end());
}

class HbaApiDeadline : public HbaApiCalls
{
protected:
    std::string outcomeUntil(steady_clock::time_point aDeadline)
    {
        return outcomeOf([&] { mAdapter.targetMappings(aDeadline); });
    }

    /// The outcome of an answer MORE_DATA that no adapter gives.
    static std::string implausible(HBA_UINT32 aCount, HBA_UINT32 aRoom)
    {
        std::string text = mappingFailed;
        std::string const start = "HBA_GetFcpTargetMapping method failed";
        text.insert(text.find(start) + start.size(),
                    ": the library asked for an implausible number of mappings, " + std::to_string(aCount) +
                        " after room for " + std::to_string(aRoom));
        return text;
    }

    HbaApi mApi;
    Adapter mAdapter{mApi, "qz-0"};
};

TEST_F(HbaApiDeadline, ThatHasPassedAllowsOneQuery)
{
    answerBusy(1);
    EXPECT_EQ(outcomeUntil(steady_clock::time_point()), mappingFailed);
    EXPECT_THAT(mHbaapi.mTargetMappings, IsEmpty());
}

TEST_F(HbaApiDeadline, EndsTheWaitingForABusyAdapter)
{
    answerBusy(100);
    auto const start = steady_clock::now();
    EXPECT_EQ(outcomeUntil(start + std::chrono::milliseconds(250)), mappingFailed);
    EXPECT_THAT(steady_clock::now() - start,
                AllOf(Ge(std::chrono::milliseconds(250)), Lt(std::chrono::seconds(20))));
    std::size_t const made = 100 - mHbaapi.mTargetMappings.size();
    EXPECT_THAT(made, AllOf(Ge(2u), testing::Le(4u))) << "queries at 0, 100, 200 and 250 ms";
}

TEST_F(HbaApiDeadline, AnswerEndsTheWaitBeforeTheDeadline)
{
    answerBusy(1);
    answerMappings(HBA_STATUS_OK, 1);
    auto const start = steady_clock::now();
    EXPECT_EQ(mAdapter.targetMappings(start + std::chrono::hours(1)).size(), 1u);
    EXPECT_LT(steady_clock::now() - start, std::chrono::minutes(1));
}

TEST_F(HbaApiDeadline, RequestForABlockThatIsNoLargerFails)
{
    for (HBA_UINT32 const count : {0u, 1u, 255u, 256u})
    {
        answerMappings(HBA_STATUS_ERROR_MORE_DATA, count);
        EXPECT_EQ(outcomeUntil(steady_clock::now() + std::chrono::hours(1)), implausible(count, 256));
    }
    EXPECT_THAT(mHbaapi.mTargetMappings, IsEmpty());
}

TEST_F(HbaApiDeadline, RequestForMoreThanAMillionMappingsFails)
{
    answerMappings(HBA_STATUS_ERROR_MORE_DATA, 0x100001);
    EXPECT_EQ(outcomeUntil(steady_clock::now()), implausible(0x100001, 256));
    answerMappings(HBA_STATUS_ERROR_MORE_DATA, 0x100000);
    answerMappings(HBA_STATUS_OK, 1);
    EXPECT_EQ(mAdapter.targetMappings(steady_clock::now()).size(), 1u);
}

TEST_F(HbaApiDeadline, RequestForALargerBlockIsMetSixteenTimes)
{
    for (HBA_UINT32 count = 257; count <= 273; ++count)
    {
        answerMappings(HBA_STATUS_ERROR_MORE_DATA, count);
    }
    EXPECT_EQ(outcomeUntil(steady_clock::now() + std::chrono::hours(1)), implausible(273, 272));
    EXPECT_THAT(mHbaapi.mTargetMappings, IsEmpty());
}

TEST_F(HbaApiDeadline, MissingMemoryIsReported)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace the heap";
    }
    auto const failing = [&]
    {
        MallocFailure const failure;
        mAdapter.targetMappings(steady_clock::now());
    };
    EXPECT_EQ(outcomeOf(failing), outOfMemory);
}

class HbaApiLuns : public HbaApiCalls
{
protected:
    HbaApi mApi;
    Adapter mAdapter{mApi, "qz-0"};
};

TEST_F(HbaApiLuns, RequestHasAZeroedBlockWithRoomForTheLongestList)
{
    mHbaapi.mReportLuns.push_back(
        {HBA_STATUS_OK, [](qz::FakeHbaapi::ReportLunsBlocks& aBlocks)
         { EXPECT_THAT(Bytes(aBlocks.mResponse, aBlocks.mResponse + aBlocks.mResponseSize), Each(0)); }});
    LunReport const report = mAdapter.reportLuns(remotePort);
    EXPECT_EQ(report.bytes().mSize, 4104u);
    EXPECT_THAT(report.luns(), IsEmpty());
    EXPECT_EQ(timesOf("HBA_SendReportLUNs(1, 10000000c92a3b4c, 4104, 256)"), 1);
}

TEST_F(HbaApiLuns, LunsKeepTheBytesOfTheResponse)
{
    answerLuns(HBA_STATUS_OK,
               {0, 0, 0, 16, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x40, 0xff, 0, 0, 0, 0, 0, 9});
    EXPECT_THAT(mAdapter.reportLuns(remotePort).luns(),
                ElementsAre(ElementsAre(0, 1, 0, 0, 0, 0, 0, 0), ElementsAre(0x40, 0xff, 0, 0, 0, 0, 0, 9)));
}

TEST_F(HbaApiLuns, FillTheWholeBlock)
{
    answerLuns(HBA_STATUS_OK, {0, 0, 0x10, 0});
    EXPECT_EQ(mAdapter.reportLuns(remotePort).luns().size(), 512u);
}

TEST_F(HbaApiLuns, ListLongerThanTheLayerAcceptsIsRefused)
{
    answerLuns(HBA_STATUS_OK, {0, 0, 0x10, 1});
    EXPECT_EQ(outcomeOf([&] { mAdapter.reportLuns(remotePort); }), lunsFailed);
}

TEST_F(HbaApiLuns, EndWithTheLayersExceptionWhenTheQueryFails)
{
    answerLuns(HBA_STATUS_ERROR);
    EXPECT_EQ(outcomeOf([&] { mAdapter.reportLuns(remotePort); }), lunsFailed);
}

TEST_F(HbaApiLuns, ReportThatThereIsNoMemory)
{
    if (!MallocFailure::isPossible())
    {
        GTEST_SKIP() << "the sanitizers replace the heap";
    }
    auto const failing = [&]
    {
        MallocFailure const failure;
        mAdapter.reportLuns(remotePort);
    };
    EXPECT_EQ(outcomeOf(failing), outOfMemory);
    EXPECT_EQ(timesOf("HBA_SendReportLUNs(1, 10000000c92a3b4c, 4104, 256)"), 0);
}

TEST_F(HbaApiLuns, QueryIntoAReportReplacesItsListAndKeepsItsBlock)
{
    answerLuns(HBA_STATUS_OK, {0, 0, 0, 16, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 2});
    answerLuns(HBA_STATUS_OK, {0, 0, 0, 8, 0, 0, 0, 0, 0, 3});
    LunReport report;
    unsigned char const* const block = report.bytes().begin();
    EXPECT_THAT(report.luns(), IsEmpty());
    mAdapter.reportLuns(remotePort, report);
    EXPECT_EQ(report.luns().size(), 2u);
    mAdapter.reportLuns(remotePort, report);
    EXPECT_THAT(report.luns(), ElementsAre(ElementsAre(0, 3, 0, 0, 0, 0, 0, 0)));
    EXPECT_EQ(report.bytes().begin(), block);
    EXPECT_EQ(report.bytes().mSize, 4104u);
}

TEST_F(HbaApiLuns, QueryIntoAReportThatHasNoBlockOrASmallOneAllocatesOne)
{
    LunReport moved;
    moveAway(moved);
    LunReport small(std::unique_ptr<void, qz::BlockRelease>(std::calloc(1, 4103)), 4103);
    for (LunReport* const report : {&moved, &small})
    {
        answerLuns(HBA_STATUS_OK, {0, 0, 0x10, 0});
        mAdapter.reportLuns(remotePort, *report);
        EXPECT_EQ(report->luns().size(), 512u);
        EXPECT_EQ(report->bytes().mSize, 4104u);
    }
    EXPECT_EQ(timesOf("HBA_SendReportLUNs(1, 10000000c92a3b4c, 4104, 256)"), 2);
}

/// A report in a block that has exactly its size.
LunReport reportOf(Bytes const& aBytes)
{
    void* const block = std::malloc(std::max<std::size_t>(aBytes.size(), 1));
    std::copy(aBytes.begin(), aBytes.end(), static_cast<unsigned char*>(block));
    return LunReport(std::unique_ptr<void, qz::BlockRelease>(block), aBytes.size());
}

/// The number of LUNs read from a block that has a list length and another number of bytes.
std::size_t lunsOf(unsigned int aLength, std::size_t aHeld)
{
    Bytes bytes(8 + aHeld);
    for (unsigned int i = 0; i < 4; ++i)
    {
        bytes[i] = static_cast<unsigned char>(aLength >> (24 - 8 * i));
    }
    return reportOf(bytes).luns().size();
}

TEST(LunReport, BlockShorterThanItsHeaderHasNoLuns)
{
    for (std::size_t size = 0; size < 8; ++size)
    {
        EXPECT_THAT(reportOf(Bytes(size, 0xff)).luns(), IsEmpty()) << size;
    }
}

TEST(LunReport, LengthBeyondTheBlockIsLimitedToTheBlock)
{
    EXPECT_EQ(lunsOf(24, 16), 2u);
    EXPECT_EQ(lunsOf(0xffffffff, 8), 1u);
    EXPECT_EQ(lunsOf(0xffffffff, 0), 0u);
}

TEST(LunReport, LeavesOutWhatIsNoWholeLun)
{
    for (unsigned int length = 0; length < 24; ++length)
    {
        EXPECT_EQ(lunsOf(length, 24), length / 8) << length;
        EXPECT_EQ(lunsOf(24, length), length / 8) << length;
    }
}

TEST(LunReport, AnswerHasTheHeaderAndTheList)
{
    EXPECT_EQ(reportOf({0, 0, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0xee, 0xee}).answerSize(), 16u);
    EXPECT_EQ(reportOf({0, 0, 0, 0, 0, 0, 0, 0, 0xee}).answerSize(), 8u);
}

TEST(LunReport, AnswerEndsWithItsBlock)
{
    EXPECT_EQ(reportOf({0, 0, 0, 9, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0}).answerSize(), 16u);
    EXPECT_EQ(reportOf({0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0}).answerSize(), 8u);
    EXPECT_EQ(reportOf(Bytes(7, 0xff)).answerSize(), 7u);
    EXPECT_EQ(reportOf({}).answerSize(), 0u);
}

TEST(LunReport, HasNoLunsAndNoBytesAfterItWasMoved)
{
    LunReport report = reportOf({0, 0, 0, 8, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0});
    moveAway(report);
    EXPECT_THAT(report.luns(), IsEmpty());
    EXPECT_EQ(report.answerSize(), 0u);
    EXPECT_EQ(report.bytes().mSize, 0u);
}

TEST(LunReport, ShowsItsBytesInPlace)
{
    LunReport const report = reportOf({0, 0, 0, 0, 1, 2, 3, 4});
    EXPECT_THAT(std::vector<unsigned char>(report.bytes().begin(), report.bytes().end()),
                ElementsAre(0, 0, 0, 0, 1, 2, 3, 4));
}
}  // namespace
