#include "agentkit/testing/FakeVqm.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

using qz::FakeVqm;

namespace
{
FakeVqm* gInstance = nullptr;

template <typename... Values>
void tell(char const* aFormat, Values... aValues)
{
    FakeVqm const& vqm = FakeVqm::instance();
    if (vqm.mOnCall)
    {
        char text[200];
        std::snprintf(text, sizeof text, aFormat, aValues...);
        vqm.mOnCall(text);
    }
}

/// A name in hexadecimal digits.
struct Digits
{
    explicit Digits(HBA_wwn const& aName)
    {
        for (std::size_t i = 0; i < sizeof aName.wwn; ++i)
        {
            std::snprintf(mText + 2 * i, 3, "%02x", static_cast<unsigned int>(aName.wwn[i]) & 0xff);
        }
    }

    char mText[2 * sizeof(HBA_wwn) + 1];
};

void place(void* aArea, std::size_t aSize, std::string const& aText)
{
    std::memcpy(aArea, aText.c_str(), std::min(aSize, aText.size() + 1));
}

void getLibVer(char* aText)
{
    tell("%s", "VQM_GetLibVer()");
    FakeVqm& vqm = FakeVqm::instance();
    vqm.mAreas.push_back(aText);
    std::memcpy(vqm.mVersionTextOnEntry.data(), aText, vqm.mVersionTextOnEntry.size());
    place(aText, FakeVqm::versionTextSize, vqm.mLibraryVersion);
}

unsigned int initDiagEnv(void* aTable, unsigned int aCapacity)
{
    tell("VQM_InitDiagEnv(%u)", aCapacity);
    FakeVqm& vqm = FakeVqm::instance();
    vqm.mAreas.push_back(aTable);
    std::memcpy(vqm.mTableOnEntry.data(), aTable, vqm.mTableOnEntry.size());
    // Fields that the layer does not read have all bits set, here and in the records.
    std::memset(aTable, 0xff, FakeVqm::tableSize);
    place(static_cast<unsigned char*>(aTable) + FakeVqm::driverTextPosition,
          FakeVqm::tableSize - FakeVqm::driverTextPosition, vqm.mDriverVersion);
    return vqm.mNumAdapters;
}

void freeDiagEnv() { tell("%s", "VQM_FreeDiagEnv()"); }

unsigned int getDrvInfo(unsigned int aBoard, void* aRecord)
{
    tell("VQM_GetDrvInfo(%u)", aBoard);
    FakeVqm& vqm = FakeVqm::instance();
    vqm.mAreas.push_back(aRecord);
    std::memcpy(vqm.mDriverRecordOnEntry.data(), aRecord, vqm.mDriverRecordOnEntry.size());
    unsigned char* const record = static_cast<unsigned char*>(aRecord);
    std::memset(record, 0xff, FakeVqm::driverRecordSize);
    record[0] = vqm.mDriverRecordVersion;
    std::memcpy(record + 144, &vqm.mFeatureList, sizeof vqm.mFeatureList);
    return vqm.mDriverResult;
}

unsigned int getLinkInfo(unsigned int aBoard, void* aRecord)
{
    tell("VQM_GetLinkInfo(%u)", aBoard);
    FakeVqm& vqm = FakeVqm::instance();
    vqm.mAreas.push_back(aRecord);
    std::memcpy(vqm.mLinkRecordOnEntry.data(), aRecord, vqm.mLinkRecordOnEntry.size());
    unsigned char* const record = static_cast<unsigned char*>(aRecord);
    std::memset(record, 0xff, FakeVqm::linkRecordSize);
    std::memcpy(record + 152, vqm.mSecondName.data(), vqm.mSecondName.size());
    std::memcpy(record + 160, vqm.mFirstName.data(), vqm.mFirstName.size());
    return vqm.mLinkResult;
}

unsigned int registerForEvent(unsigned int aBoard, unsigned int aSecond, void* aThird, unsigned int aFourth,
                              QZVqmCallback aCallback, void* aSixth)
{
    tell("RegisterForEvent(%u, %u, %p, %u, %zu)", aBoard, aSecond, aThird, aFourth,
         reinterpret_cast<std::uintptr_t>(aSixth));
    FakeVqm::instance().mVqmCallback = aCallback;
    return FakeVqm::instance().mEventResult;
}

unsigned int unregisterForEvent(unsigned int aBoard, unsigned int aSecond)
{
    tell("unRegisterForEvent(%u, %u)", aBoard, aSecond);
    return FakeVqm::instance().mEventResult;
}

unsigned int qzRegisterForEvent(unsigned int aBoard, HBA_wwn aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, unsigned int* aRegistrationId,
                                QZQzapiCallback aCallback)
{
    tell("VQM_QZ_RegisterForEvent(%u, %s, %u, %u)", aBoard, Digits(aPort).mText, aCategory, aSubcategory);
    FakeVqm& vqm = FakeVqm::instance();
    vqm.mQzapiPort = aPort;
    vqm.mQzapiContext = aContext;
    vqm.mRegistrationIdPlace = aRegistrationId;
    vqm.mQzapiCallback = aCallback;
    if (aRegistrationId != nullptr && vqm.mRegistrationId)
    {
        *aRegistrationId = *vqm.mRegistrationId;
    }
    return vqm.mEventResult;
}

unsigned int qzUnregisterForEvent(unsigned int aBoard, HBA_wwn aPort, unsigned int aRegistrationId)
{
    tell("VQM_QZ_unRegisterForEvent(%u, %s, %u)", aBoard, Digits(aPort).mText, aRegistrationId);
    return FakeVqm::instance().mEventResult;
}

/// The same function at another address.
template <auto function>
struct Moved;

template <typename Result, typename... Arguments, Result (*function)(Arguments...)>
struct Moved<function>
{
    static Result call(Arguments... aArguments)
    {
        tell("%s", "moved");
        return function(aArguments...);
    }
};

/// Where a function of the library is found.
struct Place
{
    char const* mSymbol;
    void* mAddress;
    void* mMovedAddress;
};

template <auto function>
Place placeOf(char const* aSymbol)
{
    return {aSymbol, reinterpret_cast<void*>(function), reinterpret_cast<void*>(&Moved<function>::call)};
}

void* functionOf(char const* aSymbol)
{
    Place const places[] = {
        placeOf<getLibVer>("VQM_GetLibVer"),
        placeOf<initDiagEnv>("VQM_InitDiagEnv"),
        placeOf<freeDiagEnv>("VQM_FreeDiagEnv"),
        placeOf<getDrvInfo>("VQM_GetDrvInfo"),
        placeOf<getLinkInfo>("VQM_GetLinkInfo"),
        placeOf<registerForEvent>("RegisterForEvent"),
        placeOf<unregisterForEvent>("unRegisterForEvent"),
        placeOf<qzRegisterForEvent>("VQM_QZ_RegisterForEvent"),
        placeOf<qzUnregisterForEvent>("VQM_QZ_unRegisterForEvent"),
    };
    auto const* const found =
        std::find_if(std::begin(places), std::end(places),
                     [&](Place const& aPlace) { return std::strcmp(aPlace.mSymbol, aSymbol) == 0; });
    if (found == std::end(places))
    {
        return nullptr;
    }
    return FakeVqm::instance().mMoved == aSymbol ? found->mMovedAddress : found->mAddress;
}
}  // namespace

FakeVqm::FakeVqm() { gInstance = this; }

FakeVqm::~FakeVqm() { gInstance = nullptr; }

FakeVqm& FakeVqm::instance() { return *gInstance; }

void* FakeVqm::open(char const* aPath, int aMode) noexcept
{
    tell("dlopen(%s, %d)", aPath, aMode);
    if (mHandle == 0)
    {
        mError = mOpenError;
    }
    // A handle is a number that nobody dereferences.
    return reinterpret_cast<void*>(mHandle);  // NOLINT(performance-no-int-to-ptr)
}

void* FakeVqm::find(void* aHandle, char const* aSymbol) noexcept
{
    tell("dlsym(%zu, %s)", reinterpret_cast<std::uintptr_t>(aHandle), aSymbol);
    void* const found = mMissing != aSymbol && aHandle != nullptr ? functionOf(aSymbol) : nullptr;
    if (found == nullptr)
    {
        mError = mFindError;
    }
    return found;
}

char* FakeVqm::takeError() noexcept
{
    tell("%s", "dlerror()");
    return const_cast<char*>(std::exchange(mError, nullptr));
}

int FakeVqm::close(void* aHandle) noexcept
{
    tell("dlclose(%zu)", reinterpret_cast<std::uintptr_t>(aHandle));
    return 0;
}
