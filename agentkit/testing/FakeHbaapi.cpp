#include "agentkit/testing/FakeHbaapi.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "agentkit/HbaCallRecord.h"
#include "agentkit/include/HbaWitness.h"

using qz::FakeHbaapi;
using qz::UncountedString;

namespace
{
constexpr std::size_t nameBufferSize = 256;

FakeHbaapi* gInstance = nullptr;

template <typename T>
T nextAnswer(std::deque<T>& aAnswers, char const* aCall, T const& aFallback)
{
    if (aAnswers.empty())
    {
        ADD_FAILURE() << aCall << " was called more often than the script has answers";
        return aFallback;
    }
    T answer = std::move(aAnswers.front());
    aAnswers.pop_front();
    return answer;
}

template <typename Handed>
HBA_STATUS answerQuery(std::deque<FakeHbaapi::Answer<Handed>>& aAnswers, char const* aCall, Handed& aHanded)
{
    FakeHbaapi::Answer<Handed> const answer =
        nextAnswer(aAnswers, aCall, FakeHbaapi::Answer<Handed>{HBA_STATUS_ERROR});
    if (answer.mFill)
    {
        answer.mFill(aHanded);
    }
    return qz::keepHbaCall(aCall, answer.mStatus);
}

UncountedString textOf(HBA_UINT32 aNumber)
{
    char text[16];
    std::snprintf(text, sizeof text, "%u", aNumber);
    return text;
}

UncountedString textOf(HBA_WWN const& aName)
{
    UncountedString text;
    for (unsigned int const byte : aName.wwn)
    {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", byte & 0xff);
        text += digits;
    }
    return text;
}

template <typename... Arguments>
UncountedString callOf(char const* aFunction, Arguments const&... aArguments)
{
    UncountedString text = aFunction;
    char const* separator = "(";
    for (UncountedString const& argument : {textOf(aArguments)...})
    {
        text += separator + argument;
        separator = ", ";
    }
    return text + ')';
}
}  // namespace

FakeHbaapi::FakeHbaapi()
{
    gInstance = this;
    qz::gLastHbaCall = {};
}

FakeHbaapi::~FakeHbaapi() { gInstance = nullptr; }

FakeHbaapi& FakeHbaapi::instance() { return *gInstance; }

void FakeHbaapi::record(UncountedString const& aCall)
{
    mRecorded.push_back(aCall);
    if (mOnCall)
    {
        mOnCall(aCall.c_str());
    }
}

qz::HbaCall const& qz::lastHbaCall() noexcept { return gLastHbaCall; }

char const* qz::runningHbaCall() noexcept { return RunningHbaCall::newestName(); }

void qz::refuseUnansweredQueries(bool) noexcept {}

void qz::keepRunningHbaCall(std::atomic<char const*>& aPlace) noexcept
{
    RunningHbaCall::keepNewestName(aPlace);
}

std::vector<std::string> const& FakeHbaapi::calls() const
{
    while (mCalls.size() < mRecorded.size())
    {
        mCalls.push_back(mRecorded[mCalls.size()].c_str());
    }
    return mCalls;
}

extern "C"
{
    HBA_STATUS HBA_LoadLibrary()
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record("HBA_LoadLibrary()");
        return qz::keepHbaCall(__func__, FakeHbaapi::instance().mLoadStatus);
    }

    HBA_STATUS HBA_FreeLibrary()
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record("HBA_FreeLibrary()");
        return qz::keepHbaCall(__func__, FakeHbaapi::instance().mFreeStatus);
    }

    HBA_UINT32 HBA_GetNumberOfAdapters()
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record("HBA_GetNumberOfAdapters()");
        return FakeHbaapi::instance().mNumberOfAdapters;
    }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char* aName)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_GetAdapterName", aIndex));
        fake.mNameBuffersWereZero =
            fake.mNameBuffersWereZero &&
            std::all_of(aName, aName + nameBufferSize, [](char aByte) { return aByte == 0; });
        FakeHbaapi::Name const answer =
            nextAnswer(fake.mNames, "HBA_GetAdapterName", FakeHbaapi::Name{HBA_STATUS_ERROR, ""});
        std::memcpy(aName, answer.mName.c_str(), std::min(answer.mName.size() + 1, nameBufferSize));
        return qz::keepHbaCall(__func__, answer.mStatus);
    }

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record(UncountedString("HBA_OpenAdapter(") + aName + ")");
        return qz::keepHbaOpening(FakeHbaapi::instance().mOpenHandle);
    }

    void HBA_CloseAdapter(HBA_HANDLE aHandle)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record(callOf("HBA_CloseAdapter", aHandle));
    }

    void HBA_RefreshInformation(HBA_HANDLE aHandle)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi::instance().record(callOf("HBA_RefreshInformation", aHandle));
    }

    HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_GetAdapterAttributes", aHandle));
        return answerQuery(fake.mAdapterAttributes, __func__, *aAttributes);
    }

    HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                            HBA_PORTATTRIBUTES* aAttributes)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_GetAdapterPortAttributes", aHandle, aPort));
        return answerQuery(fake.mPortAttributes, __func__, *aAttributes);
    }

    HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_GetFcpTargetMapping", aHandle, aMapping->NumberOfEntries));
        return answerQuery(fake.mTargetMappings, __func__, *aMapping);
    }

    HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE aHandle, HBA_WWN aPort, void* aResponse,
                                  HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        qz::RunningHbaCall const running(__func__);
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_SendReportLUNs", aHandle, aPort, aResponseSize, aSenseSize));
        FakeHbaapi::ReportLunsBlocks blocks = {static_cast<unsigned char*>(aResponse), aResponseSize,
                                               static_cast<unsigned char*>(aSense), aSenseSize};
        HBA_STATUS const status = answerQuery(fake.mReportLuns, __func__, blocks);
        qz::keepScsiAnswer(std::nullopt, aSense, aSenseSize);
        return status;
    }
}
