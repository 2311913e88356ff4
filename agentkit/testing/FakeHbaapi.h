/// @file
/// A scripted HBA API for what no real one can be made to answer. A test program that links this has its own
/// HBA_* functions, which take the place of the common library's.
#pragma once

#include <ctime>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "agentkit/testing/UncountedAllocator.h"

/// The answers that the HBA_* functions give while it lives, and the calls that reach them. One at a time. A
/// script that runs out fails the test. AllocationFailure does not notice it, as long as the names are short.
class FakeHbaapi
{
public:
    /// An answer of HBA_GetAdapterName: the status, and what is written to the caller's buffer (with a
    /// terminating NUL where it is shorter than the buffer's 256 bytes).
    struct Name
    {
        HBA_STATUS mStatus;
        std::string mName;
    };

    /// An answer of a query: the status, and what is done first with what the caller handed over (nothing,
    /// when there is no function). AllocationFailure does not notice a function that captures little.
    template <typename Handed>
    struct Answer
    {
        HBA_STATUS mStatus;
        std::function<void(Handed&)> mFill = {};
    };

    /// The blocks handed to HBA_SendReportLUNs.
    struct ReportLunsBlocks
    {
        unsigned char* mResponse;
        HBA_UINT32 mResponseSize;
        unsigned char* mSense;
        HBA_UINT32 mSenseSize;
    };

    FakeHbaapi();
    ~FakeHbaapi();
    FakeHbaapi(FakeHbaapi const&) = delete;
    FakeHbaapi& operator=(FakeHbaapi const&) = delete;

    /// The instance that the functions answer from.
    static FakeHbaapi& instance();

    /// Adds one call to the record and tells mOnCall.
    void record(UncountedString const& aCall);

    /// The calls so far with the numbers that they were given, as "HBA_GetAdapterName(0)",
    /// "HBA_GetFcpTargetMapping(7, 256)" with the block's NumberOfEntries, and
    /// "HBA_SendReportLUNs(7, 10000000c92a3b4c, 16, 256)" with the port and the sizes of the two blocks.
    std::vector<std::string> const& calls() const;

    /// Is told each call, before it is answered.
    std::function<void(char const* aCall)> mOnCall;

    HBA_STATUS mLoadStatus = HBA_STATUS_OK;
    HBA_STATUS mFreeStatus = HBA_STATUS_OK;
    HBA_UINT32 mNumberOfAdapters = 0;
    HBA_HANDLE mOpenHandle = 1;
    std::deque<Name> mNames;
    std::deque<Answer<HBA_ADAPTERATTRIBUTES>> mAdapterAttributes;
    std::deque<Answer<HBA_PORTATTRIBUTES>> mPortAttributes;
    std::deque<Answer<HBA_FCPTargetMapping>> mTargetMappings;
    std::deque<Answer<ReportLunsBlocks>> mReportLuns;

    /// Whether the 256 bytes of every name buffer handed over so far were zero.
    bool mNameBuffersWereZero = true;

private:
    UncountedVector<UncountedString> mRecorded;
    mutable std::vector<std::string> mCalls;  ///< as many of mRecorded as have been asked for
};
