#include "tests/support/FakeHbaapi.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include <gtest/gtest.h>

namespace
{
constexpr std::size_t nameBufferSize = 256;

FakeHbaapi* gInstance = nullptr;

template <typename T>
T nextAnswer(std::deque<T>& arAnswers, char const* aCall, T const& acrFallback)
{
    if (arAnswers.empty())
    {
        ADD_FAILURE() << aCall << " was called more often than its script has answers";
        return acrFallback;
    }
    T answer = arAnswers.front();
    arAnswers.pop_front();
    return answer;
}

UncountedString callOf(char const* aFunction, HBA_UINT32 aArgument)
{
    char text[64];
    std::snprintf(text, sizeof text, "%s(%u)", aFunction, aArgument);
    return text;
}
}  // namespace

FakeHbaapi::FakeHbaapi() { gInstance = this; }

FakeHbaapi::~FakeHbaapi() { gInstance = nullptr; }

FakeHbaapi& FakeHbaapi::instance() { return *gInstance; }

void FakeHbaapi::record(UncountedString const& acrCall)
{
    mRecorded.push_back(acrCall);
    if (mOnCall)
    {
        mOnCall(acrCall.c_str());
    }
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
        FakeHbaapi::instance().record("HBA_LoadLibrary()");
        return FakeHbaapi::instance().mLoadStatus;
    }

    HBA_STATUS HBA_FreeLibrary()
    {
        FakeHbaapi::instance().record("HBA_FreeLibrary()");
        return FakeHbaapi::instance().mFreeStatus;
    }

    HBA_UINT32 HBA_GetNumberOfAdapters()
    {
        FakeHbaapi::instance().record("HBA_GetNumberOfAdapters()");
        return FakeHbaapi::instance().mNumberOfAdapters;
    }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char* aName)
    {
        FakeHbaapi& fake = FakeHbaapi::instance();
        fake.record(callOf("HBA_GetAdapterName", aIndex));
        fake.mNameBuffersWereZero =
            fake.mNameBuffersWereZero &&
            std::all_of(aName, aName + nameBufferSize, [](char aByte) { return aByte == 0; });
        FakeHbaapi::Name const answer =
            nextAnswer(fake.mNames, "HBA_GetAdapterName", FakeHbaapi::Name{HBA_STATUS_ERROR, ""});
        std::memcpy(aName, answer.mName.c_str(), std::min(answer.mName.size() + 1, nameBufferSize));
        return answer.mStatus;
    }

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        FakeHbaapi::instance().record(UncountedString("HBA_OpenAdapter(") + aName + ")");
        return FakeHbaapi::instance().mOpenHandle;
    }

    void HBA_CloseAdapter(HBA_HANDLE aHandle)
    {
        FakeHbaapi::instance().record(callOf("HBA_CloseAdapter", aHandle));
    }

    void HBA_RefreshInformation(HBA_HANDLE aHandle)
    {
        FakeHbaapi::instance().record(callOf("HBA_RefreshInformation", aHandle));
    }
}
