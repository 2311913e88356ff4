#include "tests/agentkit/FakeCommonLibrary.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "agentkit/HbaFunction.h"

CommonLibrary& commonLibrary()
{
    static CommonLibrary library;
    return library;
}

namespace
{
std::string textOf(HBA_WWN const& aName)
{
    std::string text;
    for (unsigned int const byte : aName.wwn)
    {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", byte & 0xff);
        text += digits;
    }
    return text;
}

template <typename Number>
std::string textOf(Number aNumber)
{
    return std::to_string(aNumber);
}

void record(char const* aFunction)
{
    CommonLibrary& library = commonLibrary();
    if (auto const onCall = library.mOnCall)  // a copy, since the function may replace it
    {
        onCall();
    }
    ++library.mCalls;
    library.mFunction = aFunction;
}

template <typename... Arguments>
HBA_STATUS answer(char const* aFunction, Arguments const&... aArguments)
{
    record(aFunction);
    CommonLibrary& library = commonLibrary();
    library.mArguments.clear();
    for (std::string const& argument : std::vector<std::string>{textOf(aArguments)...})
    {
        library.mArguments += (library.mArguments.empty() ? "" : ", ") + argument;
    }
    return library.mStatus;
}

template <typename Result, typename... Arguments>
Result answerBytes(char const* aFunction, std::tuple<Arguments...> const& aArguments)
{
    record(aFunction);
    commonLibrary().mArgumentBytes = bytesOfEach(aArguments);
    return static_cast<Result>(commonLibrary().mStatus);
}

void writeSense(void* aSense, std::size_t aSize)
{
    std::vector<unsigned char> const& sense = commonLibrary().mSense;
    std::copy_n(sense.begin(), std::min(aSize, sense.size()), static_cast<unsigned char*>(aSense));
}

HBA_UINT32 sizeOf(HBA_UINT32 const* aSenseSize) { return aSenseSize != nullptr ? *aSenseSize : 0; }

void writeScsi(HBA_UINT8* aScsiStatus, void* aSense, HBA_UINT32* aSenseSize)
{
    CommonLibrary const& library = commonLibrary();
    if (library.mScsiStatus >= 0)
    {
        *aScsiStatus = static_cast<HBA_UINT8>(library.mScsiStatus);
    }
    writeSense(aSense, sizeOf(aSenseSize));
    if (aSenseSize != nullptr)
    {
        *aSenseSize = std::min(*aSenseSize, static_cast<HBA_UINT32>(library.mSense.size()));
    }
}
}  // namespace

#define QZ_ANSWER(count, function)                                                                         \
    QZ_HBA_RESULT(function) function(QZ_HBA_PARAMETERS_##count(function))                                  \
    {                                                                                                      \
        return answerBytes<QZ_HBA_RESULT(function)>(#function, std::make_tuple(QZ_HBA_ARGUMENTS_##count)); \
    }

extern "C"
{
    QZ_HBA_STATUS_FUNCTIONS(QZ_ANSWER)
    QZ_HBA_OTHER_FUNCTIONS(QZ_ANSWER)

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        record("HBA_OpenAdapter");
        commonLibrary().mArgumentBytes = {bytesOf(aName)};
        return commonLibrary().mHandle;
    }

    HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE aHandle, HBA_WWN aPort, void*, HBA_UINT32 aResponseSize,
                                  void* aSense, HBA_UINT32 aSenseSize)
    {
        writeSense(aSense, aSenseSize);
        return answer("HBA_SendReportLUNs", aHandle, aPort, aResponseSize, aSenseSize);
    }

    HBA_STATUS HBA_SendScsiInquiry(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT64 aLun, HBA_UINT8 aEvpd,
                                   HBA_UINT32 aPage, void*, HBA_UINT32 aResponseSize, void* aSense,
                                   HBA_UINT32 aSenseSize)
    {
        writeSense(aSense, aSenseSize);
        return answer("HBA_SendScsiInquiry", aHandle, aPort, aLun, aEvpd, aPage, aResponseSize, aSenseSize);
    }

    HBA_STATUS HBA_SendReadCapacity(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT64 aLun, void*,
                                    HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        writeSense(aSense, aSenseSize);
        return answer("HBA_SendReadCapacity", aHandle, aPort, aLun, aResponseSize, aSenseSize);
    }

    HBA_STATUS HBA_ScsiInquiryV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, HBA_UINT64 aLun,
                                 HBA_UINT8 aCdbByte1, HBA_UINT8 aCdbByte2, void*, HBA_UINT32* aResponseSize,
                                 HBA_UINT8* aScsiStatus, void* aSense, HBA_UINT32* aSenseSize)
    {
        HBA_STATUS const status = answer("HBA_ScsiInquiryV2", aHandle, aPort, aRemotePort, aLun, aCdbByte1,
                                         aCdbByte2, *aResponseSize, sizeOf(aSenseSize));
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReportLUNsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, void*,
                                    HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                    HBA_UINT32* aSenseSize)
    {
        HBA_STATUS const status =
            answer("HBA_ScsiReportLUNsV2", aHandle, aPort, aRemotePort, *aResponseSize, sizeOf(aSenseSize));
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, HBA_UINT64 aLun,
                                      void*, HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                      HBA_UINT32* aSenseSize)
    {
        HBA_STATUS const status = answer("HBA_ScsiReadCapacityV2", aHandle, aPort, aRemotePort, aLun,
                                         *aResponseSize, sizeOf(aSenseSize));
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }
}
