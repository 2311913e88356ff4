#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/backend/sensor/agentcommon/HbaapiLayer.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;

namespace
{
constexpr char failed[] = "QZCHbaapiEx 802: HBA_GetAdapterAttributes method failed";
constexpr char notSupported[] = "QZCHbaapiEx 802: HBA_GetAdapterAttributes encounter non-supported Adapter";
constexpr char withoutPorts[] = "QZCHbaapiEx 802: ZERO Ports on the Adapter";

class AdapterAttributes : public HbaapiLayer
{
protected:
    /// Sets the answer to the next request.
    void answer(HBA_STATUS aStatus, HBA_UINT32 aNumberOfPorts = 2)
    {
        mHbaapi.mAdapterAttributes.push_back({aStatus, [=](HBA_ADAPTERATTRIBUTES& aAttributes)
                                              { aAttributes.NumberOfPorts = aNumberOfPorts; }});
    }

    std::string fetch(unsigned int aHandle = 7)
    {
        return outcomeOf([&] { mAttributes.reset(mLayer.HA_GetAdapterAttributes(aHandle)); });
    }

    /// The number of blocks that the query leaves allocated.
    long blocksLeftByFetching()
    {
        long const before = liveBlocks();
        fetch();
        return liveBlocks() - before;
    }

    ExpectedLog const mExpected = logOf("HA_GetAdapterAttributes");
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> mAttributes;
};

TEST_F(AdapterAttributes, HbaApiIsCalledAfterTheTraceLines)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), mExpected.trace("Going to get adapter attributes"),
                                      call("HBA_GetAdapterAttributes(7)"), mExpected.left()));
}

TEST_F(AdapterAttributes, HbaApiAnswerIsReturnedUnchanged)
{
    mHbaapi.mAdapterAttributes.push_back({HBA_STATUS_OK, [](HBA_ADAPTERATTRIBUTES& aAttributes)
                                          {
                                              std::memset(&aAttributes, 0x5a, sizeof aAttributes);
                                              std::strcpy(aAttributes.Model, "S-4");
                                          }});
    EXPECT_EQ(fetch(), done);
    HBA_ADAPTERATTRIBUTES expected;
    std::memset(&expected, 0x5a, sizeof expected);
    std::strcpy(expected.Model, "S-4");
    EXPECT_EQ(std::memcmp(mAttributes.get(), &expected, sizeof expected), 0);
}

TEST_F(AdapterAttributes, AnyHandleIsPassedToTheHbaApi)
{
    for (unsigned int const handle : {0u, 1u, 2147483648u, 4294967295u})
    {
        answer(HBA_STATUS_OK);
        EXPECT_EQ(fetch(handle), done);
        EXPECT_EQ(mHbaapi.calls().back(), "HBA_GetAdapterAttributes(" + std::to_string(handle) + ')');
    }
}

TEST_F(AdapterAttributes, AnyNonzeroNumberOfPortsIsAccepted)
{
    for (unsigned int const number : {1u, 2147483648u, 4294967295u})
    {
        answer(HBA_STATUS_OK, number);
        EXPECT_EQ(fetch(), done);
        EXPECT_EQ(mAttributes->NumberOfPorts, number);
    }
}

TEST_F(AdapterAttributes, ReturnedBlockIsFreedWithDelete)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(blocksLeftByFetching(), 1);
    long const before = liveBlocks();
    mAttributes.reset();
    EXPECT_EQ(liveBlocks(), before - 1);
}

TEST_F(AdapterAttributes, ZeroPortsAreAnError)
{
    answer(HBA_STATUS_OK, 0);
    EXPECT_EQ(fetch(), withoutPorts);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), mExpected.trace("Going to get adapter attributes"),
                                      call("HBA_GetAdapterAttributes(7)"),
                                      mExpected.error("No ports on the adapter"), mExpected.left()));
}

TEST_F(AdapterAttributes, ZeroPortsReleaseTheRecord)
{
    answer(HBA_STATUS_OK, 0);
    EXPECT_EQ(blocksLeftByFetching(), 0);
}

TEST_F(AdapterAttributes, UnsupportedAdapterIsLoggedAsInformation)
{
    // The layer's only failure at info level: the adapter is not broken, the agent just does not support it.
    answer(HBA_STATUS_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(fetch(), notSupported);
    EXPECT_THAT(
        events(),
        ElementsAre(mExpected.entered(), mExpected.trace("Going to get adapter attributes"),
                    call("HBA_GetAdapterAttributes(7)"),
                    mExpected.info("Encountered non-supported Adapter - %s",
                                   "Encountered non-supported Adapter - HBA_STATUS_ERROR_NOT_SUPPORTED"),
                    mExpected.left()));
}

TEST_F(AdapterAttributes, UnsupportedAdapterReleasesTheRecord)
{
    answer(HBA_STATUS_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(blocksLeftByFetching(), 0);
}

TEST_F(AdapterAttributes, HbaApiIsNotCalledWithoutMemory)
{
    EXPECT_EQ(outcomeWithoutMemory(1, [this] { mLayer.HA_GetAdapterAttributes(7); }),
              "QZCHaltEx 1: No memory for adapter attributes");
    EXPECT_THAT(events(),
                ElementsAre(mExpected.entered(), mExpected.error("Failed to allocate adapter attributes"),
                            mExpected.left()));
}

class AdapterAttributesStatus : public AdapterAttributes, public testing::WithParamInterface<NamedStatus>
{
};

INSTANTIATE_TEST_SUITE_P(EachThatFails, AdapterAttributesStatus,
                         testing::ValuesIn(failuresBut({HBA_STATUS_ERROR_NOT_SUPPORTED})));

TEST_P(AdapterAttributesStatus, FailureIsNamedInTheErrorLine)
{
    answer(GetParam().mStatus);
    EXPECT_EQ(fetch(), failed);
    EXPECT_THAT(events(),
                ElementsAre(mExpected.entered(), mExpected.trace("Going to get adapter attributes"),
                            call("HBA_GetAdapterAttributes(7)"),
                            mExpected.error("Failed to get adapter attributes - %s",
                                            "Failed to get adapter attributes - " + GetParam().mName),
                            mExpected.left()));
}

TEST_P(AdapterAttributesStatus, FailureIsCheckedBeforeTheNumberOfPorts)
{
    answer(GetParam().mStatus, 0);
    EXPECT_EQ(fetch(), failed);
}

TEST_P(AdapterAttributesStatus, FailureReleasesTheRecord)
{
    answer(GetParam().mStatus);
    EXPECT_EQ(blocksLeftByFetching(), 0);
}
}  // namespace
