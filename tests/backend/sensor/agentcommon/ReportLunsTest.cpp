#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <sys/wait.h>

#include "tests/backend/sensor/agentcommon/HbaapiLayer.h"
#include "tests/backend/sensor/agentcommon/LibraryHeap.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// The log text has "Failed" with a capital F, unlike the exception text. Both are kept for compatibility.
constexpr char lunsFailed[] = "QZCHbaapiEx 802: HBA_SendReportLUNs method failed";
constexpr char withoutMemory[] = "QZCHbaapiEx 802: Malloc Failed in HA_SendReportLUNs";
constexpr HBA_WWN port = {{0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c}};

using Blocks = qz::FakeHbaapi::ReportLunsBlocks;

void putLength(Blocks& aBlocks, unsigned int aLength)
{
    for (unsigned int i = 0; i < 4; ++i)
    {
        aBlocks.mResponse[i] = static_cast<unsigned char>(aLength >> (24 - 8 * i));
    }
}

class ReportLuns : public HbaapiLayer
{
protected:
    ReportLuns() { passBuffer(16, 16); }

    ~ReportLuns() override { std::free(mBuffer); }

    /// Passes a buffer with this declared size to the request. Its bytes are not zero.
    void passBuffer(unsigned int aAllocated, unsigned int aSize)
    {
        std::free(mBuffer);
        mBuffer = std::malloc(aAllocated);
        std::memset(mBuffer, untouched, aAllocated);
        mSize = aSize;
    }

    /// Sets the answer to the next request.
    void answer(HBA_STATUS aStatus, std::function<void(Blocks&)> aFill = {})
    {
        mHbaapi.mReportLuns.push_back({aStatus, std::move(aFill)});
    }

    /// Sets a list of this length in bytes as the answer to the next requests.
    void answerList(unsigned int aLength, HBA_STATUS aStatus = HBA_STATUS_OK, unsigned int aTimes = 1)
    {
        for (unsigned int i = 0; i < aTimes; ++i)
        {
            answer(aStatus, [=](Blocks& aBlocks) { putLength(aBlocks, aLength); });
        }
    }

    std::string send(unsigned int aHandle = 7)
    {
        return outcomeOf([&] { mLayer.HA_SendReportLUNs(aHandle, port, &mBuffer, &mSize); });
    }

    /// The first bytes of the caller's buffer.
    Bytes content(unsigned int aLength) const
    {
        unsigned char const* const first = static_cast<unsigned char const*>(mBuffer);
        return Bytes(first, first + aLength);
    }

    /// The HBA API call with a buffer of this size.
    static std::string requestOf(unsigned int aSize)
    {
        return "HBA_SendReportLUNs(7, 10000000c92a3b4c, " + std::to_string(aSize) + ", 256)";
    }

    LogLine request(unsigned int aSize) const { return call(requestOf(aSize)); }

    LogLine listOf(unsigned int aLength) const
    {
        return mExpected.trace("Size got from SendReportLuns = %d\n",
                               "Size got from SendReportLuns = " + std::to_string(aLength) + '\n');
    }

    /// The last line of a failed request, which is not followed by "Left".
    LogLine failure(std::string const& aStatusName) const
    {
        return mExpected.trace("Failed SendReportLUNs - %s", "Failed SendReportLUNs - " + aStatusName);
    }

    ExpectedLog const mExpected = logOf("HA_SendReportLUNs");
    LibraryHeap mHeap;
    void* mBuffer = nullptr;
    unsigned int mSize = 0;
};

TEST_F(ReportLuns, ListThatFitsTakesOneRequest)
{
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), listOf(8), mExpected.left()));
}

TEST_F(ReportLuns, ListThatFitsIsInTheCallersBuffer)
{
    void* const buffer = mBuffer;
    answer(HBA_STATUS_OK,
           [](Blocks& aBlocks)
           {
               putLength(aBlocks, 8);
               aBlocks.mResponse[15] = 0x77;
           });
    EXPECT_EQ(send(), done);
    EXPECT_EQ(mBuffer, buffer);
    EXPECT_EQ(mSize, 16u);
    EXPECT_THAT(content(16), ElementsAre(0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x77));
}

TEST_F(ReportLuns, AnyHandleIsPassedToTheHbaApi)
{
    for (unsigned int const handle : {0u, 1u, 2147483648u, 4294967295u})
    {
        answerList(8);
        EXPECT_EQ(send(handle), done);
        EXPECT_EQ(mHbaapi.calls().back(),
                  "HBA_SendReportLUNs(" + std::to_string(handle) + ", 10000000c92a3b4c, 16, 256)");
    }
}

TEST_F(ReportLuns, BufferIsZeroedExactlyOverItsSize)
{
    passBuffer(24, 16);
    Bytes seen;
    answer(HBA_STATUS_OK, [&](Blocks& aBlocks) { seen.assign(aBlocks.mResponse, aBlocks.mResponse + 24); });
    EXPECT_EQ(send(), done);
    EXPECT_THAT(Bytes(seen.begin(), seen.begin() + 16), Each(0));
    EXPECT_THAT(Bytes(seen.begin() + 16, seen.end()), Each(untouched));
}

TEST_F(ReportLuns, BufferIsZeroedOnlyOnce)
{
    Bytes seen;
    answer(HBA_STATUS_ERROR_BUSY,
           [](Blocks& aBlocks) { std::memset(aBlocks.mResponse, 0x77, aBlocks.mResponseSize); });
    answer(HBA_STATUS_OK,
           [&](Blocks& aBlocks)
           {
               seen.assign(aBlocks.mResponse, aBlocks.mResponse + aBlocks.mResponseSize);
               putLength(aBlocks, 8);
           });
    EXPECT_EQ(send(), done);
    EXPECT_THAT(seen, Each(0x77));
}

TEST_F(ReportLuns, SenseBufferIsZeroBeforeTheFirstRequestOnly)
{
    Bytes first;
    Bytes second;
    answer(HBA_STATUS_SCSI_CHECK_CONDITION,
           [&](Blocks& aBlocks)
           {
               first.assign(aBlocks.mSense, aBlocks.mSense + aBlocks.mSenseSize);
               std::memset(aBlocks.mSense, 0x77, aBlocks.mSenseSize);
           });
    answer(HBA_STATUS_OK,
           [&](Blocks& aBlocks) { second.assign(aBlocks.mSense, aBlocks.mSense + aBlocks.mSenseSize); });
    EXPECT_EQ(send(), done);
    EXPECT_EQ(first, Bytes(256, 0));
    EXPECT_EQ(second, Bytes(256, 0x77));
}

TEST_F(ReportLuns, BufferAndSizeAreReadAgainForEachRequest)
{
    passBuffer(16, 8);
    answer(HBA_STATUS_ERROR_BUSY, [this](Blocks&) { passBuffer(32, 32); });
    answer(HBA_STATUS_OK,
           [this](Blocks& aBlocks)
           {
               EXPECT_EQ(aBlocks.mResponse, mBuffer);
               putLength(aBlocks, 24);
           });
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre(requestOf(8), requestOf(32)));
}

TEST_F(ReportLuns, ListThatDoesNotFitIsRequestedAgainWithALargerBuffer)
{
    answerList(64, HBA_STATUS_OK, 2);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), listOf(64), request(72), listOf(64),
                                      mExpected.left()));
    EXPECT_EQ(mSize, 72u);
}

TEST_F(ReportLuns, LargerBufferHasSpareBytesPastItsSize)
{
    // Deliberate: the block has eight bytes for each byte of the list, and the reported size is that of the response.
    for (unsigned int const length : {9u, 64u, 1000u, 4096u})
    {
        passBuffer(16, 16);
        answerList(length, HBA_STATUS_OK, 2);
        EXPECT_EQ(send(), done);
        EXPECT_EQ(mHeap.sizeOf(mBuffer), length * 8 + 8);
        EXPECT_EQ(mSize, length + 8);
    }
}

TEST_F(ReportLuns, ListThatJustFitsIsNotRequestedAgain)
{
    passBuffer(72, 72);
    answerList(64);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre(requestOf(72)));
}

TEST_F(ReportLuns, ListThatIsOneByteTooLongIsRequestedAgain)
{
    passBuffer(71, 71);
    answerList(64, HBA_STATUS_OK, 2);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre(requestOf(71), requestOf(72)));
}

TEST_F(ReportLuns, EmptyListNeedsItsHeader)
{
    passBuffer(4, 4);
    answerList(0, HBA_STATUS_OK, 2);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre(requestOf(4), requestOf(8)));
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 8u);
}

TEST_F(ReportLuns, GrowingListIsRequestedAgainWithoutALimit)
{
    // Deliberately unlimited, unlike the answers that are retried.
    for (unsigned int length = 9; length <= 1000; ++length)
    {
        answerList(length);
    }
    answerList(1000);
    EXPECT_EQ(send(), done);
    EXPECT_EQ(mHbaapi.calls().size(), 993u);
    EXPECT_EQ(mSize, 1008u);
}

TEST_F(ReportLuns, ShrinkingListStaysInTheLargerBuffer)
{
    answerList(64);
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_EQ(mSize, 72u);
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 520u);
}

TEST_F(ReportLuns, MoreDataThatFitsIsRequestedAgainWithTheSameBuffer)
{
    void* const buffer = mBuffer;
    answerList(8, HBA_STATUS_ERROR_MORE_DATA);
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), listOf(8), request(16), listOf(8),
                                      mExpected.left()));
    EXPECT_EQ(mBuffer, buffer);
}

TEST_F(ReportLuns, MoreDataThatDoesNotFitTakesALargerBuffer)
{
    answerList(64, HBA_STATUS_ERROR_MORE_DATA);
    answerList(64);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHbaapi.calls(), ElementsAre(requestOf(16), requestOf(72)));
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 520u);
}

TEST_F(ReportLuns, MoreDataIsRequestedAgainWithoutALimit)
{
    // Deliberately unlimited.
    answerList(8, HBA_STATUS_ERROR_MORE_DATA, 1000);
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_EQ(mHbaapi.calls().size(), 1001u);
}

TEST_F(ReportLuns, ListOf4096BytesIsAccepted)
{
    passBuffer(4104, 4104);
    answerList(4096);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(4104), listOf(4096), mExpected.left()));
}

/// Lengths of lists that are refused. Some are negative as signed numbers.
class ReportLunsTooLong : public ReportLuns, public testing::WithParamInterface<unsigned int>
{
protected:
    LogLine refusal() const { return mExpected.trace("HBA_SendReportLUNs method Failed"); }
};

INSTANTIATE_TEST_SUITE_P(Any, ReportLunsTooLong,
                         testing::Values(4097u, 65536u, 2147483647u, 2147483648u, 4294967288u, 4294967295u));

TEST_P(ReportLunsTooLong, ListIsRefused)
{
    answerList(GetParam());
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), refusal(), mExpected.left()));
}

TEST_P(ReportLunsTooLong, ListIsRefusedWithMoreData)
{
    answerList(GetParam(), HBA_STATUS_ERROR_MORE_DATA);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), refusal(), mExpected.left()));
}

TEST_P(ReportLunsTooLong, ListIsRefusedBeforeALargerBufferIsAllocated)
{
    void* const buffer = mBuffer;
    answerList(GetParam());
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mBuffer, buffer);
    EXPECT_EQ(mSize, 16u);
    EXPECT_THAT(mHeap.calls(), IsEmpty());
}

TEST_P(ReportLunsTooLong, ListIsRefusedInALargerBuffer)
{
    answerList(64);
    answerList(GetParam());
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), listOf(64), request(72), refusal(),
                                      mExpected.left()));
    EXPECT_EQ(mSize, 72u);
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 520u) << "the caller keeps the buffer of this size";
}

TEST_P(ReportLunsTooLong, ListLengthIsIgnoredAfterAnotherStatus)
{
    answerList(GetParam(), HBA_STATUS_ERROR_BUSY);
    answerList(8);
    EXPECT_EQ(send(), done);
}

/// The statuses that are retried.
class ReportLunsTransient : public ReportLuns, public testing::WithParamInterface<NamedStatus>
{
protected:
    void answerTransient(unsigned int aTimes)
    {
        for (unsigned int i = 0; i < aTimes; ++i)
        {
            answer(GetParam().mStatus);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Each, ReportLunsTransient,
                         testing::Values(NamedStatus{HBA_STATUS_SCSI_CHECK_CONDITION,
                                                     "HBA_STATUS_SCSI_CHECK_CONDITION"},
                                         NamedStatus{HBA_STATUS_ERROR_BUSY, "HBA_STATUS_ERROR_BUSY"}));

TEST_P(ReportLunsTransient, RequestFailsAfterFiveAttempts)
{
    answerTransient(5);
    EXPECT_EQ(send(), lunsFailed);
    // There is no wait between the requests, the failure is a trace line, and deliberately there is no "Left".
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), request(16), request(16), request(16),
                                      request(16), failure(GetParam().mName)));
}

TEST_P(ReportLunsTransient, RequestSucceedsAfterFourFailedAttempts)
{
    answerTransient(4);
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), request(16), request(16), request(16),
                                      request(16), listOf(8), mExpected.left()));
}

TEST_P(ReportLunsTransient, RetryUsesTheSameBuffer)
{
    void* const buffer = mBuffer;
    answerTransient(5);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mBuffer, buffer);
    EXPECT_EQ(mSize, 16u);
}

TEST_P(ReportLunsTransient, StatusIsRetriedAfterThreeOtherAttempts)
{
    answerList(8, HBA_STATUS_ERROR_MORE_DATA, 3);
    answerTransient(1);
    answerList(8);
    EXPECT_EQ(send(), done);
    EXPECT_EQ(mHbaapi.calls().size(), 5u);
}

TEST_P(ReportLunsTransient, StatusIsNotRetriedAfterFourOtherAttempts)
{
    // Requests that were repeated for another reason also count.
    answerList(8, HBA_STATUS_ERROR_MORE_DATA, 4);
    answerTransient(1);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mHbaapi.calls().size(), 5u);
    EXPECT_EQ(events().back(), failure(GetParam().mName));
}

TEST_P(ReportLunsTransient, StatusIsNotRetriedAfterManyOtherAttempts)
{
    answerList(8, HBA_STATUS_ERROR_MORE_DATA, 20);
    answerTransient(1);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mHbaapi.calls().size(), 21u);
}

TEST_P(ReportLunsTransient, RequestFailsAfterALargerBufferAndFourMoreAttempts)
{
    answerList(64);
    answerTransient(4);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), listOf(64), request(72), request(72),
                                      request(72), request(72), failure(GetParam().mName)));
    EXPECT_EQ(mSize, 72u);
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 520u);
}

TEST_F(ReportLuns, CheckConditionsAndBusyAnswersCountTogether)
{
    for (HBA_STATUS const status : {9u, 10u, 9u, 10u, 9u})
    {
        answer(status);
    }
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mHbaapi.calls().size(), 5u);
    EXPECT_EQ(events().back(), failure("HBA_STATUS_SCSI_CHECK_CONDITION"));
}

class ReportLunsStatus : public ReportLuns, public testing::WithParamInterface<NamedStatus>
{
};

INSTANTIATE_TEST_SUITE_P(EachThatFailsAtOnce, ReportLunsStatus,
                         testing::ValuesIn(failuresBut({HBA_STATUS_ERROR_MORE_DATA,
                                                        HBA_STATUS_SCSI_CHECK_CONDITION,
                                                        HBA_STATUS_ERROR_BUSY})));

TEST_P(ReportLunsStatus, FailureIsNotRetried)
{
    answer(GetParam().mStatus);
    EXPECT_EQ(send(), lunsFailed);
    // There is no "Left" and no error line, as in RequestFailsAfterFiveAttempts.
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), failure(GetParam().mName)));
}

TEST_P(ReportLunsStatus, FailureIsNotRetriedAfterOtherAnswers)
{
    answer(HBA_STATUS_ERROR_BUSY);
    answerList(8, HBA_STATUS_ERROR_MORE_DATA);
    answer(GetParam().mStatus);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_THAT(events(), ElementsAre(mExpected.entered(), request(16), request(16), listOf(8), request(16),
                                      failure(GetParam().mName)));
}

TEST_P(ReportLunsStatus, FailureKeepsTheCallersBuffer)
{
    void* const buffer = mBuffer;
    answer(GetParam().mStatus);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mBuffer, buffer);
    EXPECT_EQ(mSize, 16u);
}

TEST_P(ReportLunsStatus, FailureKeepsTheLargerBufferAndItsSize)
{
    answerList(64);
    answer(GetParam().mStatus);
    EXPECT_EQ(send(), lunsFailed);
    EXPECT_EQ(mSize, 72u);
    EXPECT_EQ(mHeap.sizeOf(mBuffer), 520u);
}

/// Watches the library's use of the C heap.
class ReportLunsHeap : public ReportLuns
{
protected:
    void SetUp() override
    {
        if (!LibraryHeap::isWatched())
        {
            GTEST_SKIP() << "the sanitizers replace malloc in this build";
        }
    }

    LogLine missing(unsigned int aSize) const
    {
        return mExpected.trace("Allocating %u bytes of memory Failed",
                               "Allocating " + std::to_string(aSize) + " bytes of memory Failed");
    }
};

using ReportLunsHeapDeathTest = ReportLunsHeap;

TEST_F(ReportLunsHeap, EachBufferIsFreedOnceBeforeTheNextIsAllocated)
{
    answerList(64);
    answerList(80);
    answerList(80);
    EXPECT_EQ(send(), done);
    EXPECT_THAT(mHeap.calls(),
                ElementsAre("free(the caller's)", "allocate(520)", "free(520)", "allocate(648)"));
}

TEST_F(ReportLunsHeap, LargerBufferIsNotZeroed)
{
    // The next request receives the block as malloc returned it.
    Bytes seen;
    answerList(64);
    answer(HBA_STATUS_OK,
           [&](Blocks& aBlocks)
           {
               seen.assign(aBlocks.mResponse, aBlocks.mResponse + 520);
               putLength(aBlocks, 64);
           });
    EXPECT_EQ(send(), done);
    EXPECT_EQ(seen, Bytes(520, LibraryHeap::sgFilling));
}

TEST_F(ReportLunsHeap, UnwrittenLargerBufferIsReadAsMallocReturnedIt)
{
    // The filling of the block reads as a list that is too long.
    answerList(64);
    answer(HBA_STATUS_OK, [](Blocks&) {});
    EXPECT_EQ(send(), "QZCHbaapiEx 802: HBA_SendReportLUNs method failed");
    EXPECT_EQ(mSize, 72u);
}

TEST_F(ReportLunsHeapDeathTest, CallingAgainAfterMissingMemoryCrashesTheProcess)
{
    answerList(64);
    mHeap.failAllocation(1);
    ASSERT_EQ(send(), withoutMemory);
    EXPECT_EXIT(
        send(), [](int aStatus) { return WIFSIGNALED(aStatus); }, "");
}

TEST_F(ReportLunsHeap, MissingMemoryEndsTheRequest)
{
    answerList(64);
    mHeap.failAllocation(1);
    EXPECT_EQ(send(), withoutMemory);
    EXPECT_THAT(events(),
                ElementsAre(mExpected.entered(), request(16), listOf(64), missing(520), mExpected.left()));
}

TEST_F(ReportLunsHeap, MissingMemoryFreesTheBufferAndKeepsTheSize)
{
    answerList(64);
    mHeap.failAllocation(1);
    EXPECT_EQ(send(), withoutMemory);
    EXPECT_EQ(mBuffer, nullptr);
    EXPECT_EQ(mSize, 16u);
    EXPECT_THAT(mHeap.calls(), ElementsAre("free(the caller's)", "allocate(520)"));
}

TEST_F(ReportLunsHeap, LaterMissingMemoryKeepsTheSizeOfThePreviousBuffer)
{
    answerList(64);
    answerList(4096, HBA_STATUS_ERROR_MORE_DATA);
    mHeap.failAllocation(2);
    EXPECT_EQ(send(), withoutMemory);
    EXPECT_EQ(events().at(events().size() - 2), missing(32776));
    EXPECT_EQ(mBuffer, nullptr);
    EXPECT_EQ(mSize, 72u);
    EXPECT_THAT(mHeap.calls(),
                ElementsAre("free(the caller's)", "allocate(520)", "free(520)", "allocate(32776)"));
}
}  // namespace
