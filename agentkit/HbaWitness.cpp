#include "agentkit/include/HbaWitness.h"

#include <algorithm>
#include <cstring>

#include <dlfcn.h>

namespace
{
thread_local qz::HbaCall gLast;

/// The common library's function of that name; null when the program is linked without one.
template <typename Function>
Function* nextFunction(char const* aName)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, aName));
}

HBA_STATUS keep(char const* aFunction, HBA_STATUS aStatus)
{
    gLast.mFunction = aFunction;
    ++gLast.mNumber;
    gLast.mStatus = aStatus;
    gLast.mScsiStatus.reset();
    gLast.mSenseSize = 0;
    return aStatus;
}

/// Forwards a call of the HBA API and stores its status.
template <typename Function, typename... Arguments>
HBA_STATUS forward(char const* aName, Arguments... aArguments)
{
    auto* const next = nextFunction<Function>(aName);
    return keep(aName, next == nullptr ? HBA_STATUS_ERROR_UNAVAILABLE : next(aArguments...));
}

/// The SCSI status of a call, which the library writes only if the target answered.
class ScsiStatus
{
public:
    explicit ScsiStatus(HBA_UINT8* aDestination) : mDestination(aDestination) {}

    /// Where the library writes.
    HBA_UINT8* place() { return &mWritten; }

    /// Copies the status to the caller of the HBA API.
    /// @return the status; none when the library wrote none
    std::optional<HBA_UINT8> handOver() const
    {
        if (mWritten == reserved)
        {
            return std::nullopt;
        }
        *mDestination = mWritten;
        return mWritten;
    }

private:
    static constexpr HBA_UINT8 reserved = 0xff;  // no SCSI status has this value

    HBA_UINT8* mDestination;
    HBA_UINT8 mWritten = reserved;
};

/// Stores the answer of a SCSI command.
void keepScsi(std::optional<HBA_UINT8> aScsiStatus, void const* aSense, std::size_t aSenseSize)
{
    constexpr HBA_UINT8 checkCondition = 0x02;
    bool const hasSense = gLast.mStatus == HBA_STATUS_SCSI_CHECK_CONDITION || aScsiStatus == checkCondition;
    gLast.mScsiStatus = hasSense && !aScsiStatus ? checkCondition : aScsiStatus;
    if (hasSense && aSense != nullptr)
    {
        gLast.mSenseSize = std::min(aSenseSize, gLast.mSense.size());
        std::memcpy(gLast.mSense.data(), aSense, gLast.mSenseSize);
    }
}
}  // namespace

qz::HbaCall const& qz::lastHbaCall() noexcept { return gLast; }

extern "C"
{
    HBA_STATUS HBA_LoadLibrary() { return forward<decltype(HBA_LoadLibrary)>("HBA_LoadLibrary"); }

    HBA_STATUS HBA_FreeLibrary() { return forward<decltype(HBA_FreeLibrary)>("HBA_FreeLibrary"); }

    HBA_STATUS HBA_GetAdapterName(HBA_UINT32 aIndex, char* aName)
    {
        return forward<decltype(HBA_GetAdapterName)>("HBA_GetAdapterName", aIndex, aName);
    }

    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        auto* const next = nextFunction<HBA_HANDLE(char*)>("HBA_OpenAdapter");
        HBA_HANDLE const handle = next == nullptr ? 0 : next(aName);
        keep("HBA_OpenAdapter", handle == 0 ? HBA_STATUS_ERROR : HBA_STATUS_OK);
        return handle;
    }

    HBA_STATUS HBA_GetAdapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
    {
        return forward<decltype(HBA_GetAdapterAttributes)>("HBA_GetAdapterAttributes", aHandle, aAttributes);
    }

    HBA_STATUS HBA_GetAdapterPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                            HBA_PORTATTRIBUTES* aAttributes)
    {
        return forward<decltype(HBA_GetAdapterPortAttributes)>("HBA_GetAdapterPortAttributes", aHandle, aPort,
                                                               aAttributes);
    }

    HBA_STATUS HBA_GetDiscoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aRemotePort,
                                               HBA_PORTATTRIBUTES* aAttributes)
    {
        return forward<decltype(HBA_GetDiscoveredPortAttributes)>("HBA_GetDiscoveredPortAttributes", aHandle,
                                                                  aPort, aRemotePort, aAttributes);
    }

    HBA_STATUS HBA_GetPortStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS* aStatistics)
    {
        return forward<decltype(HBA_GetPortStatistics)>("HBA_GetPortStatistics", aHandle, aPort, aStatistics);
    }

    HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
    {
        return forward<decltype(HBA_GetFcpTargetMapping)>("HBA_GetFcpTargetMapping", aHandle, aMapping);
    }

    HBA_STATUS HBA_SendReportLUNs(HBA_HANDLE aHandle, HBA_WWN aPort, void* aResponse,
                                  HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        HBA_STATUS const status = forward<decltype(HBA_SendReportLUNs)>(
            "HBA_SendReportLUNs", aHandle, aPort, aResponse, aResponseSize, aSense, aSenseSize);
        keepScsi(std::nullopt, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_SendScsiInquiry(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT64 aLun, HBA_UINT8 aEvpd,
                                   HBA_UINT32 aPage, void* aResponse, HBA_UINT32 aResponseSize, void* aSense,
                                   HBA_UINT32 aSenseSize)
    {
        HBA_STATUS const status =
            forward<decltype(HBA_SendScsiInquiry)>("HBA_SendScsiInquiry", aHandle, aPort, aLun, aEvpd, aPage,
                                                   aResponse, aResponseSize, aSense, aSenseSize);
        keepScsi(std::nullopt, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_SendReadCapacity(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT64 aLun, void* aResponse,
                                    HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        HBA_STATUS const status = forward<decltype(HBA_SendReadCapacity)>(
            "HBA_SendReadCapacity", aHandle, aPort, aLun, aResponse, aResponseSize, aSense, aSenseSize);
        keepScsi(std::nullopt, aSense, aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiInquiryV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, HBA_UINT64 aLun,
                                 HBA_UINT8 aCdbByte1, HBA_UINT8 aCdbByte2, void* aResponse,
                                 HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                 HBA_UINT32* aSenseSize)
    {
        ScsiStatus scsiStatus(aScsiStatus);
        HBA_STATUS const status = forward<decltype(HBA_ScsiInquiryV2)>(
            "HBA_ScsiInquiryV2", aHandle, aPort, aRemotePort, aLun, aCdbByte1, aCdbByte2, aResponse,
            aResponseSize, scsiStatus.place(), aSense, aSenseSize);
        keepScsi(scsiStatus.handOver(), aSense, *aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReportLUNsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, void* aResponse,
                                    HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus, void* aSense,
                                    HBA_UINT32* aSenseSize)
    {
        ScsiStatus scsiStatus(aScsiStatus);
        HBA_STATUS const status = forward<decltype(HBA_ScsiReportLUNsV2)>(
            "HBA_ScsiReportLUNsV2", aHandle, aPort, aRemotePort, aResponse, aResponseSize, scsiStatus.place(),
            aSense, aSenseSize);
        keepScsi(scsiStatus.handOver(), aSense, *aSenseSize);
        return status;
    }

    HBA_STATUS HBA_ScsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aRemotePort, HBA_UINT64 aLun,
                                      void* aResponse, HBA_UINT32* aResponseSize, HBA_UINT8* aScsiStatus,
                                      void* aSense, HBA_UINT32* aSenseSize)
    {
        ScsiStatus scsiStatus(aScsiStatus);
        HBA_STATUS const status = forward<decltype(HBA_ScsiReadCapacityV2)>(
            "HBA_ScsiReadCapacityV2", aHandle, aPort, aRemotePort, aLun, aResponse, aResponseSize,
            scsiStatus.place(), aSense, aSenseSize);
        keepScsi(scsiStatus.handOver(), aSense, *aSenseSize);
        return status;
    }
}
