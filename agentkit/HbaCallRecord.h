/// @file
/// The record of the calls of the HBA API, which the witness and the double for tests keep. Both define HBA_* functions,
/// so a program has one of them.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <mutex>
#include <optional>

#include <hbaapi.h>

#include "agentkit/include/HbaWitness.h"

namespace qz
{
/// The last call of this thread.
inline thread_local HbaCall gLastHbaCall;

/// A call that has started and not yet returned. Calls of several threads end in any order.
class RunningHbaCall
{
public:
    explicit RunningHbaCall(char const* aName) : mName(aName)
    {
        std::lock_guard<std::mutex> const lock(sMutex);
        mOlder = sNewest;
        setNewest(this);
    }

    ~RunningHbaCall()
    {
        std::lock_guard<std::mutex> const lock(sMutex);
        RunningHbaCall** place = &sNewest;
        while (*place != this)
        {
            place = &(*place)->mOlder;
        }
        *place = mOlder;
        setNewest(sNewest);
    }

    RunningHbaCall(RunningHbaCall const&) = delete;
    RunningHbaCall& operator=(RunningHbaCall const&) = delete;

    /// Reads without a lock, so that a signal handler may ask.
    static char const* newestName() noexcept { return *sNewestName.load(); }

    /// Sets where the name of the newest call is.
    static void keepNewestName(std::atomic<char const*>& aPlace) noexcept
    {
        std::lock_guard<std::mutex> const lock(sMutex);
        aPlace = newestName();
        sNewestName = &aPlace;
    }

private:
    static void setNewest(RunningHbaCall* aCall)
    {
        sNewest = aCall;
        *sNewestName.load() = aCall == nullptr ? nullptr : aCall->mName;
    }

    static inline std::mutex sMutex;
    static inline RunningHbaCall* sNewest = nullptr;
    static inline std::atomic<char const*> sOwnPlace = nullptr;
    static inline std::atomic<std::atomic<char const*>*> sNewestName = &sOwnPlace;

    char const* mName;
    RunningHbaCall* mOlder = nullptr;
};

/// Stores the answer of a call.
/// @param aFunction its name, which is not copied
/// @return the answer
inline HBA_STATUS keepHbaCall(char const* aFunction, HBA_STATUS aStatus)
{
    gLastHbaCall.mFunction = aFunction;
    ++gLastHbaCall.mNumber;
    gLastHbaCall.mStatus = aStatus;
    gLastHbaCall.mScsiStatus.reset();
    gLastHbaCall.mSenseSize = 0;
    gLastHbaCall.mIsUnanswered = false;
    return aStatus;
}

/// Stores whether HBA_OpenAdapter gave a handle.
/// @return the handle
inline HBA_HANDLE keepHbaOpening(HBA_HANDLE aHandle)
{
    keepHbaCall("HBA_OpenAdapter", aHandle == 0 ? HBA_STATUS_ERROR : HBA_STATUS_OK);
    return aHandle;
}

/// Adds what a SCSI command answered to the last call.
inline void keepScsiAnswer(std::optional<HBA_UINT8> aScsiStatus, void const* aSense, std::size_t aSenseSize)
{
    constexpr HBA_UINT8 checkCondition = 0x02;
    bool const hasSense =
        gLastHbaCall.mStatus == HBA_STATUS_SCSI_CHECK_CONDITION || aScsiStatus == checkCondition;
    gLastHbaCall.mScsiStatus = hasSense && !aScsiStatus ? checkCondition : aScsiStatus;
    if (hasSense && aSense != nullptr)
    {
        gLastHbaCall.mSenseSize = std::min(aSenseSize, gLastHbaCall.mSense.size());
        std::memcpy(gLastHbaCall.mSense.data(), aSense, gLastHbaCall.mSenseSize);
    }
}
}  // namespace qz
