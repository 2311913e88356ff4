/// @file
/// A scripted HBA API, for answers that a real one never returns. It defines the HBA_* functions in the test program,
/// where they replace those of the common library.
#pragma once

#include <ctime>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "agentkit/testing/UncountedAllocator.h"

namespace qz
{
/// Holds the answers of the HBA_* functions and records their calls. Only one object may exist at a time. A
/// call without an answer fails the test. AllocationFailure does not count its allocations, as long as the
/// names are short.
class FakeHbaapi
{
public:
    /// An answer of HBA_GetAdapterName: the status, and the text for the caller's buffer of 256 bytes (with a
    /// terminating NUL when it is shorter).
    struct Name
    {
        HBA_STATUS mStatus;
        std::string mName;
    };

    /// An answer of a query: the status, and an optional function that first fills the caller's structure.
    /// AllocationFailure does not count a function with small captures.
    template <typename Handed>
    struct Answer
    {
        HBA_STATUS mStatus;
        std::function<void(Handed&)> mFill = {};
    };

    /// The blocks passed to HBA_SendReportLUNs.
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

    /// The instance that the HBA_* functions use.
    static FakeHbaapi& instance();

    /// Records one call and passes it to mOnCall.
    void record(UncountedString const& aCall);

    /// The calls so far with their numeric arguments: "HBA_GetAdapterName(0)",
    /// "HBA_GetFcpTargetMapping(7, 256)" with the block's NumberOfEntries, and
    /// "HBA_SendReportLUNs(7, 10000000c92a3b4c, 16, 256)" with the port and the sizes of the two blocks.
    std::vector<std::string> const& calls() const;

    /// Receives each call before it is answered.
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

    /// Whether the 256 bytes of every name buffer so far were zero.
    bool mNameBuffersWereZero = true;

private:
    UncountedVector<UncountedString> mRecorded;
    mutable std::vector<std::string> mCalls;  ///< the start of mRecorded that calls() has converted
};
}  // namespace qz
