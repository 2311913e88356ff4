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
/// Holds the answers of the HBA_* functions and records their calls. One object exists at a time; the functions may be
/// called only while it does. A call without an answer fails the test (GoogleTest).
///
/// It also defines qz::lastHbaCall(), qz::runningHbaCall() and qz::keepRunningHbaCall(), which report the calls of the
/// double as the witness reports those of the common library. A test program therefore does not link
/// QZSensorAgent::HbaWitness. Each new object begins without a last call.
///
/// What it keeps does not come from operator new, as long as names are short and functions capture little: a test that
/// replaces operator new to make allocations fail sees only the code under test.
/// @ingroup agentkit
class FakeHbaapi
{
public:
    /// An answer of HBA_GetAdapterName: the status, and the text for the caller's buffer of 256 bytes (with a
    /// terminating NUL when it is shorter).
    struct Name
    {
        HBA_STATUS mStatus;  ///< returned
        std::string mName;   ///< copied to the caller
    };

    /// An answer of a query: the status, and an optional function that first fills the caller's structure.
    template <typename Handed>
    struct Answer
    {
        HBA_STATUS mStatus;                       ///< returned
        std::function<void(Handed&)> mFill = {};  ///< called first, if there is one
    };

    /// The blocks passed to HBA_SendReportLUNs.
    struct ReportLunsBlocks
    {
        unsigned char* mResponse;  ///< where the response goes
        HBA_UINT32 mResponseSize;  ///< its size in bytes
        unsigned char* mSense;     ///< where sense data go
        HBA_UINT32 mSenseSize;     ///< its size in bytes
    };

    FakeHbaapi();
    ~FakeHbaapi();
    FakeHbaapi(FakeHbaapi const&) = delete;
    FakeHbaapi& operator=(FakeHbaapi const&) = delete;

    /// @return the instance that the HBA_* functions use
    static FakeHbaapi& instance();

    /// Records one call and passes it to mOnCall.
    /// @param aCall the call as calls() lists it
    void record(UncountedString const& aCall);

    /// @return the calls so far with their numeric arguments: "HBA_GetAdapterName(0)",
    /// "HBA_GetFcpTargetMapping(7, 256)" with the block's NumberOfEntries, and
    /// "HBA_SendReportLUNs(7, 10000000c92a3b4c, 16, 256)" with the port and the sizes of the two blocks.
    std::vector<std::string> const& calls() const;

    /// Receives each call before it is answered.
    std::function<void(char const* aCall)> mOnCall;

    HBA_STATUS mLoadStatus = HBA_STATUS_OK;  ///< of every HBA_LoadLibrary
    HBA_STATUS mFreeStatus = HBA_STATUS_OK;  ///< of every HBA_FreeLibrary
    HBA_UINT32 mNumberOfAdapters = 0;        ///< of every HBA_GetNumberOfAdapters
    HBA_HANDLE mOpenHandle = 1;              ///< of every HBA_OpenAdapter
    std::deque<Name> mNames;                 ///< of HBA_GetAdapterName, one after the other
    std::deque<Answer<HBA_ADAPTERATTRIBUTES>> mAdapterAttributes;  ///< of HBA_GetAdapterAttributes
    std::deque<Answer<HBA_PORTATTRIBUTES>> mPortAttributes;        ///< of HBA_GetAdapterPortAttributes
    std::deque<Answer<HBA_FCPTargetMapping>> mTargetMappings;      ///< of HBA_GetFcpTargetMapping
    std::deque<Answer<ReportLunsBlocks>> mReportLuns;              ///< of HBA_SendReportLUNs

    /// Whether the 256 bytes of every name buffer so far were zero.
    bool mNameBuffersWereZero = true;

private:
    UncountedVector<UncountedString> mRecorded;
    mutable std::vector<std::string> mCalls;  ///< the start of mRecorded that calls() has converted
};
}  // namespace qz
