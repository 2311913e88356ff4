#include <ctime>
#include <deque>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/testing/FakeHbaapi.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tests/backend/sensor/agentcommon/HbaapiLayer.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr char loadFailed[] = "QZCExitConditionEx 19: Can't load HBAAPI library!";
constexpr char namesFailed[] = "QZCExitConditionEx 19: HBA_GetAdapterName method failed";
constexpr char openFailed[] = "QZCHbaapiEx 802: HBA_OpenAdapter method failed";

/// The layer's operations for the library and its adapters.
class HbaapiAbs : public HbaapiLayer
{
protected:
    /// Sets the names that answer the next requests.
    void answerNames(std::vector<std::string> const& aNames)
    {
        for (std::string const& name : aNames)
        {
            mHbaapi.mNames.push_back({HBA_STATUS_OK, name});
        }
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> texts;
        for (QZCString const& name : mNames)
        {
            texts.push_back(name.get());
        }
        return texts;
    }

    std::string openAdapter(std::string aName)
    {
        return outcomeOf([&] { mHandle = mLayer.HA_OpenAdapter(aName.data()); });
    }

    std::string getNames(unsigned int aCount)
    {
        return outcomeOf([&] { mLayer.HA_GetAdapterNames(aCount, mNames); });
    }

    QZCVector<QZCString> mNames;
    unsigned int mHandle = 0;
};

TEST_F(HbaapiAbs, ConstructionAndDestructionDoNothing)
{
    {
        QZCHbaapiAbs const another;
    }
    EXPECT_THAT(events(), IsEmpty());
}

TEST_F(HbaapiAbs, VirtualTableKeepsTheOrderOfOperations)
{
    EXPECT_THAT(virtualSlots(&mLayer, 12),
                ElementsAre("QZCHbaapiAbs::~QZCHbaapiAbs()", "QZCHbaapiAbs::~QZCHbaapiAbs()",
                            "QZCHbaapiAbs::HA_LoadHbaapi()", "QZCHbaapiAbs::HA_FreeHbaapi()",
                            "QZCHbaapiAbs::HA_GetNumberOfAdapters()", "QZCHbaapiAbs::HA_OpenAdapter(char*)",
                            "QZCHbaapiAbs::HA_CloseAdapter(unsigned int)",
                            "QZCHbaapiAbs::HA_RefreshAdapter(unsigned int)",
                            "QZCHbaapiAbs::HA_GetAdapterNames(unsigned int, QZCVector<QZCString>&)",
                            "QZCHbaapiAbs::HA_GetAdapterAttributes(unsigned int)",
                            "QZCHbaapiAbs::HA_GetAdapterPorts(unsigned int, "
                            "hba_AdapterAttributes const*, unsigned int&)",
                            "QZCHbaapiAbs::HA_GetTargetMappings(unsigned int, HBA_FCPTargetMapping*&)"));
}

TEST_F(HbaapiAbs, ClassHasNoDataMembers)
{
    EXPECT_EQ(sizeof mLayer, sizeof(void*)) << "only the virtual table pointer";
}

TEST_F(HbaapiAbs, SecondObjectLoadsTheLibraryAgain)
{
    QZCHbaapiAbs another;
    mLayer.HA_LoadHbaapi();
    std::vector<LogLine> const first = events();
    mLog.clear();
    another.HA_LoadHbaapi();
    EXPECT_EQ(events(), first) << "the layer does not remember that the library is loaded";
}

TEST_F(HbaapiAbs, LoadCallsTheHbaApiAfterItsTraceLines)
{
    ExpectedLog const expected = logOf("HA_LoadHbaapi");
    EXPECT_EQ(outcomeOf([&] { mLayer.HA_LoadHbaapi(); }), done);
    EXPECT_THAT(events(), ElementsAre(expected.entered(), expected.trace("Going to open HBAAPI library"),
                                      call("HBA_LoadLibrary()"), expected.left()));
}

TEST_F(HbaapiAbs, FreeCallsTheHbaApiBetweenEnteredAndLeft)
{
    ExpectedLog const expected = logOf("HA_FreeHbaapi");
    mLayer.HA_FreeHbaapi();
    EXPECT_THAT(events(), ElementsAre(expected.entered(), call("HBA_FreeLibrary()"), expected.left()));
}

TEST_F(HbaapiAbs, FreeIgnoresTheStatus)
{
    ExpectedLog const expected = logOf("HA_FreeHbaapi");
    std::vector<HBA_STATUS> statuses(32);
    std::iota(statuses.begin(), statuses.end(), HBA_STATUS{0});
    statuses.push_back(4294967295u);
    for (HBA_STATUS const status : statuses)
    {
        mLog.clear();
        mHbaapi.mFreeStatus = status;
        EXPECT_EQ(outcomeOf([&] { mLayer.HA_FreeHbaapi(); }), done) << "status " << status;
        EXPECT_THAT(events(), ElementsAre(expected.entered(), call("HBA_FreeLibrary()"), expected.left()));
    }
}

TEST_F(HbaapiAbs, CountCallsTheHbaApiBetweenEnteredAndLeft)
{
    ExpectedLog const expected = logOf("HA_GetNumberOfAdapters");
    mHbaapi.mNumberOfAdapters = 3;
    mLayer.HA_GetNumberOfAdapters();
    EXPECT_THAT(events(),
                ElementsAre(expected.entered(), call("HBA_GetNumberOfAdapters()"), expected.left()));
}

TEST_F(HbaapiAbs, CountIsReturnedUnchanged)
{
    for (unsigned int const count : {0u, 3u, 2147483648u, 4294967295u})
    {
        mHbaapi.mNumberOfAdapters = count;
        EXPECT_EQ(mLayer.HA_GetNumberOfAdapters(), count);
    }
}

TEST_F(HbaapiAbs, OpenCallsTheHbaApiAfterItsTraceLines)
{
    ExpectedLog const expected = logOf("HA_OpenAdapter");
    EXPECT_EQ(openAdapter("sim-1"), done);
    EXPECT_THAT(events(), ElementsAre(expected.entered(),
                                      expected.trace("Going to open adapter, adapter name = <%s>",
                                                     "Going to open adapter, adapter name = <sim-1>"),
                                      call("HBA_OpenAdapter(sim-1)"), expected.left()));
}

TEST_F(HbaapiAbs, OpenReturnsAnyNonzeroHandle)
{
    for (unsigned int const handle : {1u, 2147483648u, 4294967295u})
    {
        mHbaapi.mOpenHandle = handle;
        EXPECT_EQ(openAdapter("sim-1"), done);
        EXPECT_EQ(mHandle, handle);
    }
}

TEST_F(HbaapiAbs, OpenLogsAnErrorAndThrowsForHandleZero)
{
    ExpectedLog const expected = logOf("HA_OpenAdapter");
    mHbaapi.mOpenHandle = 0;
    EXPECT_EQ(openAdapter("sim-1"), openFailed);
    EXPECT_THAT(events(), ElementsAre(expected.entered(),
                                      expected.trace("Going to open adapter, adapter name = <%s>",
                                                     "Going to open adapter, adapter name = <sim-1>"),
                                      call("HBA_OpenAdapter(sim-1)"),
                                      expected.error("Failed to open adapter, adapter name = <%s>",
                                                     "Failed to open adapter, adapter name = <sim-1>"),
                                      expected.left()));
}

TEST_F(HbaapiAbs, OpenLogsANameWithConversionsVerbatim)
{
    mHbaapi.mOpenHandle = 0;
    EXPECT_EQ(openAdapter("%s%n"), openFailed);
    EXPECT_EQ(events().at(1).mText, "Going to open adapter, adapter name = <%s%n>");
    EXPECT_EQ(events().at(3).mText, "Failed to open adapter, adapter name = <%s%n>");
}

TEST_F(HbaapiAbs, OpenBeforeLoadIsPassedToTheHbaApi)
{
    EXPECT_EQ(openAdapter("sim-1"), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_OpenAdapter(sim-1)"));
}

/// Valid, unknown and impossible handles; the layer does not check them.
class HbaapiAbsHandles : public HbaapiAbs, public testing::WithParamInterface<unsigned int>
{
protected:
    std::string callWithHandle(std::string const& aFunction) const
    {
        return aFunction + '(' + std::to_string(GetParam()) + ')';
    }
};

INSTANTIATE_TEST_SUITE_P(Any, HbaapiAbsHandles, testing::Values(0u, 1u, 12345u, 4294967295u));

TEST_P(HbaapiAbsHandles, CloseLogsBothProgressLinesAndReturns)
{
    ExpectedLog const expected = logOf("HA_CloseAdapter");
    EXPECT_EQ(outcomeOf([&] { mLayer.HA_CloseAdapter(GetParam()); }), done);
    EXPECT_THAT(events(), ElementsAre(expected.entered(), expected.trace("Going to close adapter..."),
                                      call(callWithHandle("HBA_CloseAdapter")),
                                      expected.trace("Closed adapter"), expected.left()));
}

TEST_P(HbaapiAbsHandles, RefreshLogsBothProgressLinesAndReturns)
{
    ExpectedLog const expected = logOf("HA_RefreshAdapter");
    EXPECT_EQ(outcomeOf([&] { mLayer.HA_RefreshAdapter(GetParam()); }), done);
    EXPECT_THAT(events(),
                ElementsAre(expected.entered(), expected.trace("Going to refresh adapter's information..."),
                            call(callWithHandle("HBA_RefreshInformation")),
                            expected.trace("Refreshed adapter's information"), expected.left()));
}

TEST_F(HbaapiAbs, NamesAreFetchedByIndexInOrder)
{
    ExpectedLog const expected = logOf("HA_GetAdapterNames");
    answerNames({"sim-1", "sim-2"});
    EXPECT_EQ(getNames(2), done);
    EXPECT_THAT(
        events(),
        ElementsAre(
            expected.entered(),
            expected.trace("Going to get adapter name, # = <%d>", "Going to get adapter name, # = <0>"),
            call("HBA_GetAdapterName(0)"), expected.trace("Adapter name: %s", "Adapter name: sim-1"),
            expected.trace("Going to get adapter name, # = <%d>", "Going to get adapter name, # = <1>"),
            call("HBA_GetAdapterName(1)"), expected.trace("Adapter name: %s", "Adapter name: sim-2"),
            expected.left()));
    EXPECT_THAT(names(), ElementsAre("sim-1", "sim-2"));
}

TEST_F(HbaapiAbs, CountOfZeroFetchesNoNames)
{
    mNames.push_back("kept");
    EXPECT_EQ(getNames(0), done);
    EXPECT_THAT(events(),
                ElementsAre(logOf("HA_GetAdapterNames").entered(), logOf("HA_GetAdapterNames").left()));
    EXPECT_THAT(names(), ElementsAre("kept"));
}

TEST_F(HbaapiAbs, CountAboveTheSignedRangeIsUsed)
{
    mHbaapi.mNames.push_back({HBA_STATUS_ERROR, ""});
    EXPECT_EQ(getNames(4294967295u), namesFailed) << "a count below 0 would fetch nothing";
}

TEST_F(HbaapiAbs, NamesAreAppendedToTheList)
{
    mNames.push_back("kept");
    answerNames({"sim-1"});
    EXPECT_EQ(getNames(1), done);
    EXPECT_THAT(names(), ElementsAre("kept", "sim-1"));
}

TEST_F(HbaapiAbs, NamesFetchedTwiceAppearTwice)
{
    answerNames({"sim-1", "sim-2", "sim-1", "sim-2"});
    EXPECT_EQ(getNames(2), done);
    EXPECT_EQ(getNames(2), done);
    EXPECT_THAT(names(), ElementsAre("sim-1", "sim-2", "sim-1", "sim-2"));
}

TEST_F(HbaapiAbs, EachNameIsReadIntoAZeroFilledBuffer)
{
    answerNames({std::string(256, 'x'), "sim-2", ""});
    EXPECT_EQ(getNames(3), done);
    EXPECT_TRUE(mHbaapi.mNameBuffersWereZero) << "a name saw what one before it left behind";
}

TEST_F(HbaapiAbs, UnterminatedNameIsReadOnlyToTheEndOfItsBuffer)
{
    std::string const name(256, 'x');
    answerNames({name});
    EXPECT_EQ(getNames(1), done);
    EXPECT_THAT(names(), ElementsAre(name));
    EXPECT_EQ(events().at(3).mText, "Adapter name: " + name);
}

TEST_F(HbaapiAbs, LongestTerminatedNameIsReadWhole)
{
    std::string const name(255, 'x');
    answerNames({name});
    EXPECT_EQ(getNames(1), done);
    EXPECT_THAT(names(), ElementsAre(name));
}

TEST_F(HbaapiAbs, NameWithConversionsIsKeptVerbatim)
{
    answerNames({"%s%n"});
    EXPECT_EQ(getNames(1), done);
    EXPECT_THAT(names(), ElementsAre("%s%n"));
    EXPECT_EQ(events().at(3).mText, "Adapter name: %s%n");
}

TEST_F(HbaapiAbs, EmptyNameIsKept)
{
    answerNames({""});
    EXPECT_EQ(getNames(1), done);
    EXPECT_THAT(names(), ElementsAre(""));
}

TEST_F(HbaapiAbs, FailedNameKeepsEarlierNamesAndStopsTheQuery)
{
    answerNames({"sim-1", "sim-2"});
    mHbaapi.mNames.push_back({HBA_STATUS_ERROR, "ignored"});
    EXPECT_EQ(getNames(5), namesFailed);
    EXPECT_THAT(names(), ElementsAre("sim-1", "sim-2"));
    EXPECT_THAT(mHbaapi.calls(),
                ElementsAre("HBA_GetAdapterName(0)", "HBA_GetAdapterName(1)", "HBA_GetAdapterName(2)"));
}

class HbaapiAbsStatus : public HbaapiAbs, public testing::WithParamInterface<NamedStatus>
{
};

INSTANTIATE_TEST_SUITE_P(EachThatFails, HbaapiAbsStatus, testing::ValuesIn(failuresBut({})));

TEST_P(HbaapiAbsStatus, LoadFailureNamesTheStatus)
{
    ExpectedLog const expected = logOf("HA_LoadHbaapi");
    mHbaapi.mLoadStatus = GetParam().mStatus;
    EXPECT_EQ(outcomeOf([&] { mLayer.HA_LoadHbaapi(); }), loadFailed);
    EXPECT_THAT(events(), ElementsAre(expected.entered(), expected.trace("Going to open HBAAPI library"),
                                      call("HBA_LoadLibrary()"),
                                      expected.error("Failed to load HBAAPI library : %s",
                                                     "Failed to load HBAAPI library : " + GetParam().mName),
                                      expected.left()));
}

TEST_P(HbaapiAbsStatus, NameFailureNamesTheIndexAndTheStatus)
{
    ExpectedLog const expected = logOf("HA_GetAdapterNames");
    answerNames({"sim-1"});
    mHbaapi.mNames.push_back({GetParam().mStatus, "ignored"});
    EXPECT_EQ(getNames(2), namesFailed);
    EXPECT_THAT(
        events(),
        ElementsAre(
            expected.entered(),
            expected.trace("Going to get adapter name, # = <%d>", "Going to get adapter name, # = <0>"),
            call("HBA_GetAdapterName(0)"), expected.trace("Adapter name: %s", "Adapter name: sim-1"),
            expected.trace("Going to get adapter name, # = <%d>", "Going to get adapter name, # = <1>"),
            call("HBA_GetAdapterName(1)"),
            expected.error("Failed to get adapter #%d name - %s",
                           "Failed to get adapter #1 name - " + GetParam().mName),
            expected.left()));
}

/// Fetches two names into an empty list while an allocation fails.
class HbaapiAbsWithoutMemory : public HbaapiAbs
{
protected:
    HbaapiAbsWithoutMemory()
    {
        answerNames({"sim-1", "sim-2"});
        mAllocations = allocationsOf([this] { mLayer.HA_GetAdapterNames(2, mNames); });
    }

    /// Makes the allocation with that number, counted from 1, fail.
    std::string fetchFailing(unsigned int aAllocation)
    {
        // QZCPointer leaks a string deliberately when it cannot allocate its count.
        DeliberateLeak const leak;
        reset();
        return outcomeWithoutMemory(aAllocation, [this] { mLayer.HA_GetAdapterNames(2, mNames); });
    }

    /// The number of blocks that leak when the allocation with that number fails.
    long lostBlocks(unsigned int aAllocation)
    {
        reset();
        long const before = liveBlocks();
        fetchFailing(aAllocation);
        reset();
        return liveBlocks() - before;
    }

    void reset()
    {
        mLog.clear();
        mNames = QZCVector<QZCString>();
        mHbaapi.mNames = std::deque<qz::FakeHbaapi::Name>();
        answerNames({"sim-1", "sim-2"});
    }

    unsigned int mAllocations = 0;
};

TEST_F(HbaapiAbsWithoutMemory, EveryFailedAllocationIsReported)
{
    ASSERT_GE(mAllocations, 8u) << "a string and a count for each name and for its copy in the list";
    for (unsigned int failing = 1; failing <= mAllocations; ++failing)
    {
        EXPECT_EQ(fetchFailing(failing), outOfMemory) << "allocation " << failing;
    }
    EXPECT_EQ(fetchFailing(mAllocations + 1), done);
}

TEST_F(HbaapiAbsWithoutMemory, LeftIsNotTraced)
{
    for (unsigned int failing = 1; failing <= mAllocations; ++failing)
    {
        fetchFailing(failing);
        std::string const expected = names().empty() ? "Adapter name: sim-1" : "Adapter name: sim-2";
        EXPECT_EQ(events().back().mText, expected) << "allocation " << failing;
    }
}

TEST_F(HbaapiAbsWithoutMemory, NamesBeforeTheFailureAreKept)
{
    fetchFailing(1);
    EXPECT_THAT(names(), IsEmpty());
    fetchFailing(mAllocations);
    EXPECT_THAT(names(), ElementsAre("sim-1"));
}

TEST_F(HbaapiAbsWithoutMemory, OnlyAStringWithoutItsCountLeaks)
{
    std::vector<long> lost;
    for (unsigned int failing = 1; failing <= mAllocations; ++failing)
    {
        lost.push_back(lostBlocks(failing));
    }
    // Each name is a string and its count. Then the list grows and copies the new name and the existing one.
    EXPECT_THAT(lost, ElementsAre(0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 1));
}
}  // namespace
