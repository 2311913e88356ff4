#include "tests/agentkit/FakeCommonLibrary.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

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

std::string textOf(char* aText) { return aText; }

template <typename Number>
std::string textOf(Number aNumber)
{
    return std::to_string(aNumber);
}

template <typename... Arguments>
HBA_STATUS answer(char const* aFunction, Arguments const&... aArguments)
{
    CommonLibrary& library = commonLibrary();
    ++library.mCalls;
    library.mFunction = aFunction;
    library.mArguments.clear();
    for (std::string const& argument : std::vector<std::string>{textOf(aArguments)...})
    {
        library.mArguments += (library.mArguments.empty() ? "" : ", ") + argument;
    }
    return library.mStatus;
}

void writeSense(void* aSense, std::size_t aSize)
{
    std::vector<unsigned char> const& sense = commonLibrary().mSense;
    std::copy_n(sense.begin(), std::min(aSize, sense.size()), static_cast<unsigned char*>(aSense));
}

void writeScsi(HBA_UINT8* aScsiStatus, void* aSense, HBA_UINT32* aSenseSize)
{
    CommonLibrary const& library = commonLibrary();
    if (library.mScsiStatus >= 0)
    {
        *aScsiStatus = static_cast<HBA_UINT8>(library.mScsiStatus);
    }
    writeSense(aSense, *aSenseSize);
    *aSenseSize = std::min(*aSenseSize, static_cast<HBA_UINT32>(library.mSense.size()));
}
}  // namespace

extern "C"
{
    HBA_STATUS HBA_LoadLibrary() { return answer("HBA_LoadLibrary"); }

    HBA_STATUS HBA_FreeLibrary() { return answer("HBA_FreeLibrary"); }

    HBA_UINT32 HBA_GetNumberOfAdapters() { return 0; }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char*) { return answer("HBA_GetAdapterName", aIndex); }

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        answer("HBA_OpenAdapter", aName);
        return commonLibrary().mHandle;
    }

    void HBA_CloseAdapter(HBA_HANDLE) {}

    void HBA_RefreshInformation(HBA_HANDLE) {}

    HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES*)
    {
        return answer("HBA_GetAdapterAttributes", aHandle);
    }

    HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTATTRIBUTES*)
    {
        return answer("HBA_GetAdapterPortAttributes", aHandle, aPort);
    }

    HBA_STATUS HBA_GetDiscoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aRemotePort,
                                               HBA_PORTATTRIBUTES*)
    {
        return answer("HBA_GetDiscoveredPortAttributes", aHandle, aPort, aRemotePort);
    }

    HBA_STATUS HBA_GetPortStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS*)
    {
        return answer("HBA_GetPortStatistics", aHandle, aPort);
    }

    HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING*)
    {
        return answer("HBA_GetFcpTargetMapping", aHandle);
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
                                         aCdbByte2, *aResponseSize, *aSenseSize);
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReportLUNsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, void*,
                                    HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                    HBA_UINT32* aSenseSize)
    {
        HBA_STATUS const status =
            answer("HBA_ScsiReportLUNsV2", aHandle, aPort, aRemotePort, *aResponseSize, *aSenseSize);
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, HBA_UINT64 aLun,
                                      void*, HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                      HBA_UINT32* aSenseSize)
    {
        HBA_STATUS const status =
            answer("HBA_ScsiReadCapacityV2", aHandle, aPort, aRemotePort, aLun, *aResponseSize, *aSenseSize);
        writeScsi(aScsiStatus, aSense, aSenseSize);
        return status;
    }
}
