#include <ctime>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/backend/sensor/agentcommon/HbaapiLayer.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

namespace
{
constexpr char portsFailed[] = "QZCHbaapiEx 802: HBA_GetAdapterPortAttributes method failed";
constexpr unsigned int notSet = 77;

class AdapterPorts : public HbaapiLayer
{
protected:
    /// Sets the answers to the next requests, one for each port.
    void answerPorts(unsigned int aNumber)
    {
        for (unsigned int i = 0; i < aNumber; ++i)
        {
            mHbaapi.mPortAttributes.push_back(
                {HBA_STATUS_OK, [=](HBA_PORTATTRIBUTES& aPort) { aPort.PortFcId = 100 + i; }});
        }
    }

    std::string fetch(unsigned int aNumber, unsigned int aHandle = 7)
    {
        mAttributes.NumberOfPorts = aNumber;
        return outcomeOf([&]
                         { mPorts.reset(mLayer.HA_GetAdapterPorts(aHandle, &mAttributes, mNumberOfPorts)); });
    }

    /// The number of blocks that the query leaves allocated.
    long blocksLeftByFetching(unsigned int aNumber)
    {
        long const before = liveBlocks();
        fetch(aNumber);
        return liveBlocks() - before;
    }

    LogLine notice(unsigned int aNumber) const
    {
        return mExpected.notice("Adapter has %d ports", "Adapter has " + std::to_string(aNumber) + " ports");
    }

    LogLine going() const { return mExpected.trace("Going to get port attributes"); }

    ExpectedLog const mExpected = logOf("HA_GetAdapterPorts");
    HBA_ADAPTERATTRIBUTES mAttributes = {};
    std::unique_ptr<HBA_PORTATTRIBUTES[]> mPorts;
    unsigned int mNumberOfPorts = notSet;
};

TEST_F(AdapterPorts, PortsAreFetchedByIndexInOrder)
{
    answerPorts(2);
    EXPECT_EQ(fetch(2), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), notice(2), going(),
                                      call("HBA_GetAdapterPortAttributes(7, 0)"), going(),
                                      call("HBA_GetAdapterPortAttributes(7, 1)"), mExpected.left()));
}

TEST_F(AdapterPorts, RecordsAreReturnedInPortOrder)
{
    answerPorts(3);
    EXPECT_EQ(fetch(3), done);
    EXPECT_EQ(mPorts[0].PortFcId, 100u);
    EXPECT_EQ(mPorts[1].PortFcId, 101u);
    EXPECT_EQ(mPorts[2].PortFcId, 102u);
}

TEST_F(AdapterPorts, HbaApiFillsTheReturnedArray)
{
    std::vector<HBA_PORTATTRIBUTES*> filled;
    for (int i = 0; i < 3; ++i)
    {
        mHbaapi.mPortAttributes.push_back(
            {HBA_STATUS_OK, [&](HBA_PORTATTRIBUTES& aPort) { filled.push_back(&aPort); }});
    }
    EXPECT_EQ(fetch(3), done);
    EXPECT_THAT(filled, ElementsAre(&mPorts[0], &mPorts[1], &mPorts[2]));
}

TEST_F(AdapterPorts, PortCountComesFromTheAttributes)
{
    for (unsigned int const number : {1u, 2u, 300u})
    {
        answerPorts(number);
        EXPECT_EQ(fetch(number), done);
        EXPECT_EQ(mNumberOfPorts, number);
        EXPECT_EQ(mPorts[number - 1].PortFcId, 100 + number - 1);
    }
}

TEST_F(AdapterPorts, AnyHandleIsPassedToTheHbaApi)
{
    for (unsigned int const handle : {0u, 1u, 2147483648u, 4294967295u})
    {
        answerPorts(1);
        EXPECT_EQ(fetch(1, handle), done);
        EXPECT_EQ(mHbaapi.calls().back(), "HBA_GetAdapterPortAttributes(" + std::to_string(handle) + ", 0)");
    }
}

TEST_F(AdapterPorts, ReturnedBlockIsFreedWithArrayDelete)
{
    answerPorts(4);
    EXPECT_EQ(blocksLeftByFetching(4), 1);
    long const before = liveBlocks();
    mPorts.reset();
    EXPECT_EQ(liveBlocks(), before - 1);
}

TEST_F(AdapterPorts, HbaApiIsNotCalledWithoutMemory)
{
    mAttributes.NumberOfPorts = 4;
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { mLayer.HA_GetAdapterPorts(7, &mAttributes, mNumberOfPorts); }),
              "QZCHaltEx 1: No memory for Port Attributes");
    // The array holds records, not pointers. The text is kept for compatibility.
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(),
                                      mExpected.error("Failed to allocate port attributes ptr array"),
                                      mExpected.left()));
}

TEST_F(AdapterPorts, PortCountIsSetEvenWithoutMemory)
{
    mAttributes.NumberOfPorts = 4;
    outcomeWithoutMemory(1, [&] { mLayer.HA_GetAdapterPorts(7, &mAttributes, mNumberOfPorts); });
    EXPECT_EQ(mNumberOfPorts, 4u);
}

using AdapterPortsDeathTest = AdapterPorts;

TEST_F(AdapterPortsDeathTest, ZeroPortsEndTheProcess)
{
    // The number was not 0 before, so the assertion shows that it is set before the check.
    ASSERT_NE(mNumberOfPorts, 0u);
    EXPECT_EXIT(
        {
            echoLogLines();
            fetch(0);
        },
        ExitedWithCode(1), onlyTheseLines({mExpected.entered(), mExpected.assertion("0 < arNumberOfPorts")}));
}

/// A status, and the index of the port that it answers for.
struct FailedPort
{
    NamedStatus mStatus;
    unsigned int mIndex;
};

std::ostream& operator<<(std::ostream& aOut, FailedPort const& aFailure)
{
    return aOut << "port " << aFailure.mIndex << ", status " << aFailure.mStatus;
}

std::vector<FailedPort> failedPorts()
{
    std::vector<FailedPort> ports;
    for (NamedStatus const& status : failuresBut({}))
    {
        ports.push_back({status, 0});
        ports.push_back({status, 2});
        ports.push_back({status, 3});
    }
    return ports;
}

class AdapterPortsStatus : public AdapterPorts, public testing::WithParamInterface<FailedPort>
{
protected:
    AdapterPortsStatus()
    {
        answerPorts(GetParam().mIndex);
        mHbaapi.mPortAttributes.push_back({GetParam().mStatus.mStatus});
    }
};

INSTANTIATE_TEST_SUITE_P(EachThatFails, AdapterPortsStatus, testing::ValuesIn(failedPorts()));

TEST_P(AdapterPortsStatus, FailureNamesThePortAndStopsTheQuery)
{
    std::vector<LogLine> expected = {mExpected.entered(), notice(4)};
    for (unsigned int i = 0; i <= GetParam().mIndex; ++i)
    {
        expected.push_back(going());
        expected.push_back(call("HBA_GetAdapterPortAttributes(7, " + std::to_string(i) + ')'));
    }
    expected.push_back(mExpected.error("Failed to get port #%d attributes - %s",
                                       "Failed to get port #" + std::to_string(GetParam().mIndex) +
                                           " attributes - " + GetParam().mStatus.mName));
    EXPECT_EQ(fetch(4), portsFailed);
    // This is the only exit from the query that does not trace "Left".
    EXPECT_THAT(events(), ElementsAreArray(expected));
}

TEST_P(AdapterPortsStatus, FailureReleasesTheWholeArray) { EXPECT_EQ(blocksLeftByFetching(4), 0); }

TEST_P(AdapterPortsStatus, FailureKeepsThePortCount)
{
    EXPECT_EQ(fetch(4), portsFailed);
    EXPECT_EQ(mNumberOfPorts, 4u);
}
}  // namespace
