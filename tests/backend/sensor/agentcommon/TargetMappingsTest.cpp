#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "backend/common/include/Clib.h"
#include "tests/backend/sensor/agentcommon/HbaapiLayer.h"
#include "tests/backend/sensor/agentcommon/LibraryHeap.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::ExitedWithCode;

/// Replaces the framework's function: a wait becomes a log line and takes no time.
void ClibSleepMS(unsigned long aMilliseconds)
{
    logCall(("ClibSleepMS(" + std::to_string(aMilliseconds) + ')').c_str());
}

namespace
{
constexpr char mappingsFailed[] = "QZCHbaapiEx 802: HBA_GetFcpTargetMapping method failed";

using Lines = std::vector<LogLine>;

Lines joinedLines(std::initializer_list<Lines> aParts)
{
    Lines lines;
    for (Lines const& part : aParts)
    {
        lines.insert(lines.end(), part.begin(), part.end());
    }
    return lines;
}

Lines repeated(unsigned int aTimes, Lines const& aLines)
{
    Lines lines;
    for (unsigned int i = 0; i < aTimes; ++i)
    {
        lines.insert(lines.end(), aLines.begin(), aLines.end());
    }
    return lines;
}

/// The size of a mapping according to the standard's declaration.
std::size_t sizeFor(std::size_t aNumEntries)
{
    return offsetof(HBA_FCPTargetMapping, entry) + aNumEntries * sizeof(HBA_FCPSCSIENTRY);
}

std::string allocateFor(std::size_t aNumEntries)
{
    return "allocate(" + std::to_string(sizeFor(aNumEntries)) + ')';
}

std::string freeFor(std::size_t aNumEntries) { return "free(" + std::to_string(sizeFor(aNumEntries)) + ')'; }

class TargetMappings : public HbaapiLayer
{
protected:
    ~TargetMappings() override { std::free(mMapping); }

    /// Sets the answers to the next requests.
    void answer(HBA_STATUS aStatus, unsigned int aTimes = 1)
    {
        for (unsigned int i = 0; i < aTimes; ++i)
        {
            mHbaapi.mTargetMappings.push_back({aStatus});
        }
    }

    /// Sets MORE_DATA with this number of entries as the answer to the next request.
    void answerMoreData(unsigned int aNumEntries)
    {
        mHbaapi.mTargetMappings.push_back({HBA_STATUS_ERROR_MORE_DATA, [=](HBA_FCPTargetMapping& aMapping)
                                           { aMapping.NumberOfEntries = aNumEntries; }});
    }

    /// Passes a block with this number of entries to the next query. Its bytes are not zero.
    void passBlock(unsigned int aNumEntries)
    {
        mMapping = static_cast<HBA_FCPTargetMapping*>(std::malloc(sizeFor(std::max(aNumEntries, 1u))));
        std::memset(static_cast<void*>(mMapping), untouched, sizeFor(std::max(aNumEntries, 1u)));
        mMapping->NumberOfEntries = aNumEntries;
    }

    std::string fetch(unsigned int aHandle = 7)
    {
        return outcomeOf([&] { mReturned = mLayer.HA_GetTargetMappings(aHandle, mMapping); });
    }

    /// The bytes of the mapping's entries.
    static std::vector<unsigned char> entriesOf(HBA_FCPTargetMapping const& aMapping)
    {
        unsigned char const* const first = reinterpret_cast<unsigned char const*>(aMapping.entry);
        return std::vector<unsigned char>(
            first, first + sizeFor(aMapping.NumberOfEntries) - offsetof(HBA_FCPTargetMapping, entry));
    }

    /// The log lines of one request.
    static Lines request(unsigned int aNumEntries, std::string const& aStatusName)
    {
        ExpectedLog const step = logOf("__sGetTargetMappings");
        Lines lines = requestInBlock(aNumEntries, aStatusName);
        lines.insert(lines.begin() + 1, step.trace("Allocating memory for target mappings"));
        return lines;
    }

    /// The log lines of a request with the caller's block.
    static Lines requestInBlock(unsigned int aNumEntries, std::string const& aStatusName)
    {
        ExpectedLog const step = logOf("__sGetTargetMappings");
        return {step.entered(), step.trace("Going to invoke HBA_GetFcpTargetMapping for mappings"),
                call("HBA_GetFcpTargetMapping(7, " + std::to_string(aNumEntries) + ')'),
                step.trace("The status of get fcp target mapping: %s",
                           "The status of get fcp target mapping: " + aStatusName),
                step.left()};
    }

    /// The log lines of a request that is answered with MORE_DATA.
    static Lines moreWanted(unsigned int aNumEntries)
    {
        return request(aNumEntries, "HBA_STATUS_ERROR_MORE_DATA");
    }

    /// The log lines of a request that is answered with BUSY, and of the wait.
    static Lines busy(unsigned int aNumEntries)
    {
        return joinedLines({request(aNumEntries, "HBA_STATUS_ERROR_BUSY"), {call("ClibSleepMS(1000)")}});
    }

    /// The last log lines of a failed query.
    Lines failure(unsigned int aNumEntries, std::string const& aStatusName) const
    {
        return {mExpected.error(
                    "Failed to get <%d> target mappings - %s",
                    "Failed to get <" + std::to_string(aNumEntries) + "> target mappings - " + aStatusName),
                mExpected.left()};
    }

    ExpectedLog const mExpected = logOf("HA_GetTargetMappings");
    Lines const mEntered = {mExpected.entered()};
    Lines const mLeft = {mExpected.left()};
    LibraryHeap mHeap;
    HBA_FCPTargetMapping* mMapping = nullptr;
    HBA_FCPTargetMapping* mReturned = nullptr;
};

TEST_F(TargetMappings, FirstRequestWithoutABlockHas256Entries)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, request(256, "HBA_STATUS_OK"), mLeft})));
}

TEST_F(TargetMappings, BlockIsReturnedAndStoredInThePointer)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_NE(mMapping, nullptr);
    EXPECT_EQ(mReturned, mMapping);
}

TEST_F(TargetMappings, HbaApiAnswerIsReturnedUnchanged)
{
    mHbaapi.mTargetMappings.push_back({HBA_STATUS_OK, [](HBA_FCPTargetMapping& aMapping)
                                       {
                                           aMapping.NumberOfEntries = 2;
                                           aMapping.entry[0].FcpId.FcId = 100;
                                           aMapping.entry[1].FcpId.FcId = 101;
                                       }});
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mMapping->NumberOfEntries, 2u);
    EXPECT_EQ(mMapping->entry[0].FcpId.FcId, 100u);
    EXPECT_EQ(mMapping->entry[1].FcpId.FcId, 101u);
}

TEST_F(TargetMappings, FirstBlockIsZeroed)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(entriesOf(*mMapping), Each(0));
}

TEST_F(TargetMappings, BlockHasTheSizeOfTheStandardStructure)
{
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mHeap.sizeOf(mMapping), sizeFor(256));
}

TEST_F(TargetMappings, AnyHandleIsPassedToTheHbaApi)
{
    passBlock(2);
    for (unsigned int const handle : {0u, 1u, 2147483648u, 4294967295u})
    {
        answer(HBA_STATUS_OK);
        EXPECT_EQ(fetch(handle), done);
        EXPECT_EQ(mHbaapi.calls().back(), "HBA_GetFcpTargetMapping(" + std::to_string(handle) + ", 2)");
    }
}

TEST_F(TargetMappings, CallersBlockIsUsedWithoutAllocating)
{
    passBlock(2);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(),
                ElementsAreArray(joinedLines({mEntered, requestInBlock(2, "HBA_STATUS_OK"), mLeft})));
}

TEST_F(TargetMappings, CallersBlockIsPassedUnchanged)
{
    passBlock(2);
    HBA_FCPTargetMapping* const block = mMapping;
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mMapping, block);
    EXPECT_EQ(mMapping->NumberOfEntries, 2u);
    EXPECT_THAT(entriesOf(*mMapping), Each(untouched));
}

TEST_F(TargetMappings, CallersBlockMayHaveOneEntry)
{
    passBlock(1);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre("HBA_GetFcpTargetMapping(7, 1)"));
}

TEST_F(TargetMappings, MoreDataIsRequestedWithTheReportedNumberOfEntries)
{
    answerMoreData(300);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(
        events(),
        ElementsAreArray(joinedLines({mEntered, moreWanted(256), request(300, "HBA_STATUS_OK"), mLeft})));
}

TEST_F(TargetMappings, MoreDataIsRequestedWithANewZeroedBlock)
{
    mHbaapi.mTargetMappings.push_back({HBA_STATUS_ERROR_MORE_DATA, [](HBA_FCPTargetMapping& aMapping)
                                       {
                                           std::memset(static_cast<void*>(&aMapping), untouched,
                                                       sizeFor(256));
                                           aMapping.NumberOfEntries = 300;
                                       }});
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mHeap.sizeOf(mMapping), sizeFor(300));
    EXPECT_EQ(mMapping->NumberOfEntries, 300u);
    EXPECT_THAT(entriesOf(*mMapping), Each(0));
}

TEST_F(TargetMappings, MoreDataReplacesTheCallersBlock)
{
    passBlock(2);
    answerMoreData(3);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(),
                ElementsAreArray(joinedLines({mEntered, requestInBlock(2, "HBA_STATUS_ERROR_MORE_DATA"),
                                              request(3, "HBA_STATUS_OK"), mLeft})));
    EXPECT_THAT(entriesOf(*mMapping), Each(0));
}

TEST_F(TargetMappings, MoreDataMayReportFewerEntriesThanBefore)
{
    answerMoreData(300);
    answerMoreData(2);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(mHbaapi.calls(),
                ElementsAre("HBA_GetFcpTargetMapping(7, 256)", "HBA_GetFcpTargetMapping(7, 300)",
                            "HBA_GetFcpTargetMapping(7, 2)"));
}

TEST_F(TargetMappings, MoreDataIsRequestedAgainWithoutALimit)
{
    // Deliberately unlimited: mappings that keep growing are requested again each time.
    for (unsigned int i = 0; i < 1000; ++i)
    {
        answerMoreData(2 + i % 7);
    }
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mHbaapi.calls().size(), 1001u);
    EXPECT_EQ(mHbaapi.calls().back(), "HBA_GetFcpTargetMapping(7, 7)");
}

TEST_F(TargetMappings, BusyAdapterIsQueriedAgainAfterASecond)
{
    answer(HBA_STATUS_ERROR_BUSY);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(),
                ElementsAreArray(joinedLines({mEntered, busy(256), request(256, "HBA_STATUS_OK"), mLeft})));
}

TEST_F(TargetMappings, QuerySucceedsAfterFourBusyAnswers)
{
    answer(HBA_STATUS_ERROR_BUSY, 4);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines(
                              {mEntered, repeated(4, busy(256)), request(256, "HBA_STATUS_OK"), mLeft})));
    EXPECT_EQ(mReturned, mMapping);
}

TEST_F(TargetMappings, QueryFailsAfterFiveBusyAnswersAndAFinalWait)
{
    // The layer waits after every busy answer, including the fifth, which is not followed by a request.
    answer(HBA_STATUS_ERROR_BUSY, 5);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines(
                              {mEntered, repeated(5, busy(256)), failure(256, "HBA_STATUS_ERROR_BUSY")})));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_F(TargetMappings, RetryOfABusyAdapterHasTheSameNumberOfEntries)
{
    passBlock(2);
    answer(HBA_STATUS_ERROR_BUSY);
    answerMoreData(300);
    answer(HBA_STATUS_ERROR_BUSY);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(mHbaapi.calls(),
                ElementsAre("HBA_GetFcpTargetMapping(7, 2)", "HBA_GetFcpTargetMapping(7, 2)",
                            "HBA_GetFcpTargetMapping(7, 300)", "HBA_GetFcpTargetMapping(7, 300)"));
}

TEST_F(TargetMappings, RetryOfABusyAdapterHasANewZeroedBlock)
{
    passBlock(2);
    answer(HBA_STATUS_ERROR_BUSY);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mHeap.sizeOf(mMapping), sizeFor(2));
    EXPECT_THAT(entriesOf(*mMapping), Each(0));
}

TEST_F(TargetMappings, MoreDataDoesNotResetTheCountOfBusyAnswers)
{
    for (unsigned int i = 0; i < 5; ++i)
    {
        answerMoreData(300 + i);
        answer(HBA_STATUS_ERROR_BUSY);
    }
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, moreWanted(256), busy(300), moreWanted(300),
                                                        busy(301), moreWanted(301), busy(302),
                                                        moreWanted(302), busy(303), moreWanted(303),
                                                        busy(304), failure(304, "HBA_STATUS_ERROR_BUSY")})));
}

TEST_F(TargetMappings, MoreDataDoesNotCountAsBusy)
{
    answer(HBA_STATUS_ERROR_BUSY, 4);
    for (unsigned int i = 0; i < 10; ++i)
    {
        answerMoreData(300);
    }
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_EQ(mHbaapi.calls().size(), 15u);
}

class TargetMappingsStatus : public TargetMappings, public testing::WithParamInterface<NamedStatus>
{
protected:
    Lines finalRequest(unsigned int aNumEntries) const
    {
        return joinedLines({request(aNumEntries, GetParam().mName), failure(aNumEntries, GetParam().mName)});
    }
};

INSTANTIATE_TEST_SUITE_P(EachThatEndsTheQuery, TargetMappingsStatus,
                         testing::ValuesIn(failuresBut({HBA_STATUS_ERROR_MORE_DATA, HBA_STATUS_ERROR_BUSY})));

TEST_P(TargetMappingsStatus, FailureIsNotRetried)
{
    answer(GetParam().mStatus);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, finalRequest(256)})));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_P(TargetMappingsStatus, FailureIsNotRetriedAfterMoreData)
{
    answerMoreData(300);
    answer(GetParam().mStatus);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, moreWanted(256), finalRequest(300)})));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_P(TargetMappingsStatus, FailureIsNotRetriedAfterABusyAnswer)
{
    answer(HBA_STATUS_ERROR_BUSY);
    answer(GetParam().mStatus);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, busy(256), finalRequest(256)})));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_P(TargetMappingsStatus, FailureFreesTheCallersBlock)
{
    passBlock(2);
    answer(GetParam().mStatus);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(events(), ElementsAreArray(joinedLines({mEntered, requestInBlock(2, GetParam().mName),
                                                        failure(2, GetParam().mName)})));
    EXPECT_EQ(mMapping, nullptr);
}

using TargetMappingsDeathTest = TargetMappings;

TEST_F(TargetMappingsDeathTest, BlockWithoutEntriesEndsTheProcess)
{
    passBlock(0);
    EXPECT_EXIT(
        {
            echoLogLines();
            fetch();
        },
        ExitedWithCode(1),
        onlyTheseLines(joinedLines({mEntered,
                                    {logOf("__sGetTargetMappings").entered(),
                                     logOf("__sGetTargetMappings").assertion("acNumEntries > 0")}})));
}

TEST_F(TargetMappingsDeathTest, MoreDataWithFewerThanTwoEntriesEndsTheProcess)
{
    for (unsigned int const numEntries : {0u, 1u})
    {
        answerMoreData(numEntries);
        EXPECT_EXIT(
            {
                echoLogLines();
                fetch();
            },
            ExitedWithCode(1),
            onlyTheseLines(joinedLines(
                {mEntered, moreWanted(256), {mExpected.assertion("arMapping->NumberOfEntries > 1")}})))
            << numEntries << " entries";
        mHbaapi.mTargetMappings.clear();
    }
}

/// Watches the library's use of the C heap.
class TargetMappingsHeap : public TargetMappings
{
protected:
    void SetUp() override
    {
        if (!LibraryHeap::isWatched())
        {
            GTEST_SKIP() << "the sanitizers replace malloc in this build";
        }
    }
};

TEST_F(TargetMappingsHeap, EveryBlockExceptTheLastIsFreedOnce)
{
    passBlock(2);
    answerMoreData(300);
    answer(HBA_STATUS_ERROR_BUSY);
    answer(HBA_STATUS_OK);
    EXPECT_EQ(fetch(), done);
    EXPECT_THAT(mHeap.calls(),
                ElementsAre("free(the caller's)", allocateFor(300), freeFor(300), allocateFor(300)));
}

TEST_F(TargetMappingsHeap, FailureFreesEveryBlockOnce)
{
    answerMoreData(300);
    answer(HBA_STATUS_ERROR);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(mHeap.calls(), ElementsAre(allocateFor(256), freeFor(256), allocateFor(300), freeFor(300)));
}

TEST_F(TargetMappingsHeap, EveryBlockOfABusyAdapterIsFreedOnce)
{
    passBlock(2);
    answer(HBA_STATUS_ERROR_BUSY, 5);
    EXPECT_EQ(fetch(), mappingsFailed);
    EXPECT_THAT(mHeap.calls(),
                ElementsAre("free(the caller's)", allocateFor(2), freeFor(2), allocateFor(2), freeFor(2),
                            allocateFor(2), freeFor(2), allocateFor(2), freeFor(2)));
}

TEST_F(TargetMappingsHeap, MissingMemoryIsReportedWithoutALogLine)
{
    mHeap.failAllocation(1);
    EXPECT_EQ(fetch(), outOfMemory);
    ExpectedLog const step = logOf("__sGetTargetMappings");
    EXPECT_THAT(events(),
                ElementsAreArray(joinedLines(
                    {mEntered, {step.entered(), step.trace("Allocating memory for target mappings")}})));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_F(TargetMappingsHeap, MissingMemoryForMoreDataLeavesNoBlock)
{
    answerMoreData(300);
    mHeap.failAllocation(2);
    EXPECT_EQ(fetch(), outOfMemory);
    EXPECT_EQ(events().back().mText, "Allocating memory for target mappings");
    EXPECT_THAT(mHeap.calls(), ElementsAre(allocateFor(256), freeFor(256), allocateFor(300)));
    EXPECT_EQ(mMapping, nullptr);
}

TEST_F(TargetMappingsHeap, SizeOfTheLargestNumberOfEntriesDoesNotOverflow)
{
    answerMoreData(4294967295u);
    mHeap.failAllocation(2);
    EXPECT_EQ(fetch(), outOfMemory);
    if (sizeof(std::size_t) == sizeof(std::uint32_t))
    {
        GTEST_SKIP() << "the address space is too small for that many entries";
    }
    EXPECT_EQ(mHeap.calls().back(), allocateFor(4294967295u));
}
}  // namespace
