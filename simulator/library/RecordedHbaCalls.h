/// @file
/// The entries of an HBA library that records and replays: each lists its arguments once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <tuple>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/library/Recorded.h"
#include "simulator/library/RecordedLibraries.h"

namespace qzsim
{
using Table = HBA_ENTRYPOINTSV2;

/// The name of an entry of the table.
template <auto Member>
inline constexpr char const* nameOf = nullptr;

// clang-format off
template <> inline constexpr char const* nameOf<&Table::GetVersionHandler> = "HBA_GetVersion";
template <> inline constexpr char const* nameOf<&Table::LoadLibraryHandler> = "HBA_LoadLibrary";
template <> inline constexpr char const* nameOf<&Table::FreeLibraryHandler> = "HBA_FreeLibrary";
template <> inline constexpr char const* nameOf<&Table::GetNumberOfAdaptersHandler> = "HBA_GetNumberOfAdapters";
template <> inline constexpr char const* nameOf<&Table::GetAdapterNameHandler> = "HBA_GetAdapterName";
template <> inline constexpr char const* nameOf<&Table::OpenAdapterHandler> = "HBA_OpenAdapter";
template <> inline constexpr char const* nameOf<&Table::CloseAdapterHandler> = "HBA_CloseAdapter";
template <> inline constexpr char const* nameOf<&Table::GetAdapterAttributesHandler> = "HBA_GetAdapterAttributes";
template <> inline constexpr char const* nameOf<&Table::GetAdapterPortAttributesHandler> = "HBA_GetAdapterPortAttributes";
template <> inline constexpr char const* nameOf<&Table::GetPortStatisticsHandler> = "HBA_GetPortStatistics";
template <> inline constexpr char const* nameOf<&Table::GetDiscoveredPortAttributesHandler> = "HBA_GetDiscoveredPortAttributes";
template <> inline constexpr char const* nameOf<&Table::GetPortAttributesByWWNHandler> = "HBA_GetPortAttributesByWWN";
template <> inline constexpr char const* nameOf<&Table::SendCTPassThruHandler> = "HBA_SendCTPassThru";
template <> inline constexpr char const* nameOf<&Table::RefreshInformationHandler> = "HBA_RefreshInformation";
template <> inline constexpr char const* nameOf<&Table::ResetStatisticsHandler> = "HBA_ResetStatistics";
template <> inline constexpr char const* nameOf<&Table::GetFcpTargetMappingHandler> = "HBA_GetFcpTargetMapping";
template <> inline constexpr char const* nameOf<&Table::GetFcpPersistentBindingHandler> = "HBA_GetFcpPersistentBinding";
template <> inline constexpr char const* nameOf<&Table::GetEventBufferHandler> = "HBA_GetEventBuffer";
template <> inline constexpr char const* nameOf<&Table::SetRNIDMgmtInfoHandler> = "HBA_SetRNIDMgmtInfo";
template <> inline constexpr char const* nameOf<&Table::GetRNIDMgmtInfoHandler> = "HBA_GetRNIDMgmtInfo";
template <> inline constexpr char const* nameOf<&Table::SendRNIDHandler> = "HBA_SendRNID";
template <> inline constexpr char const* nameOf<&Table::ScsiInquiryHandler> = "HBA_SendScsiInquiry";
template <> inline constexpr char const* nameOf<&Table::ReportLUNsHandler> = "HBA_SendReportLUNs";
template <> inline constexpr char const* nameOf<&Table::ReadCapacityHandler> = "HBA_SendReadCapacity";
template <> inline constexpr char const* nameOf<&Table::OpenAdapterByWWNHandler> = "HBA_OpenAdapterByWWN";
template <> inline constexpr char const* nameOf<&Table::GetFcpTargetMappingV2Handler> = "HBA_GetFcpTargetMappingV2";
template <> inline constexpr char const* nameOf<&Table::SendCTPassThruV2Handler> = "HBA_SendCTPassThruV2";
template <> inline constexpr char const* nameOf<&Table::RefreshAdapterConfigurationHandler> = "HBA_RefreshAdapterConfiguration";
template <> inline constexpr char const* nameOf<&Table::GetBindingCapabilityHandler> = "HBA_GetBindingCapability";
template <> inline constexpr char const* nameOf<&Table::GetBindingSupportHandler> = "HBA_GetBindingSupport";
template <> inline constexpr char const* nameOf<&Table::SetBindingSupportHandler> = "HBA_SetBindingSupport";
template <> inline constexpr char const* nameOf<&Table::SetPersistentBindingV2Handler> = "HBA_SetPersistentBindingV2";
template <> inline constexpr char const* nameOf<&Table::GetPersistentBindingV2Handler> = "HBA_GetPersistentBindingV2";
template <> inline constexpr char const* nameOf<&Table::RemovePersistentBindingHandler> = "HBA_RemovePersistentBinding";
template <> inline constexpr char const* nameOf<&Table::RemoveAllPersistentBindingsHandler> = "HBA_RemoveAllPersistentBindings";
template <> inline constexpr char const* nameOf<&Table::SendRNIDV2Handler> = "HBA_SendRNIDV2";
template <> inline constexpr char const* nameOf<&Table::ScsiInquiryV2Handler> = "HBA_ScsiInquiryV2";
template <> inline constexpr char const* nameOf<&Table::ScsiReportLUNsV2Handler> = "HBA_ScsiReportLUNsV2";
template <> inline constexpr char const* nameOf<&Table::ScsiReadCapacityV2Handler> = "HBA_ScsiReadCapacityV2";
template <> inline constexpr char const* nameOf<&Table::GetVendorLibraryAttributesHandler> = "HBA_GetVendorLibraryAttributes";
template <> inline constexpr char const* nameOf<&Table::RemoveCallbackHandler> = "HBA_RemoveCallback";
template <> inline constexpr char const* nameOf<&Table::RegisterForAdapterAddEventsHandler> = "HBA_RegisterForAdapterAddEvents";
template <> inline constexpr char const* nameOf<&Table::RegisterForAdapterEventsHandler> = "HBA_RegisterForAdapterEvents";
template <> inline constexpr char const* nameOf<&Table::RegisterForAdapterPortEventsHandler> = "HBA_RegisterForAdapterPortEvents";
template <> inline constexpr char const* nameOf<&Table::RegisterForAdapterPortStatEventsHandler> = "HBA_RegisterForAdapterPortStatEvents";
template <> inline constexpr char const* nameOf<&Table::RegisterForTargetEventsHandler> = "HBA_RegisterForTargetEvents";
template <> inline constexpr char const* nameOf<&Table::RegisterForLinkEventsHandler> = "HBA_RegisterForLinkEvents";
template <> inline constexpr char const* nameOf<&Table::SendRPLHandler> = "HBA_SendRPL";
template <> inline constexpr char const* nameOf<&Table::SendRPSHandler> = "HBA_SendRPS";
template <> inline constexpr char const* nameOf<&Table::SendSRLHandler> = "HBA_SendSRL";
template <> inline constexpr char const* nameOf<&Table::SendLIRRHandler> = "HBA_SendLIRR";
template <> inline constexpr char const* nameOf<&Table::GetFC4StatisticsHandler> = "HBA_GetFC4Statistics";
template <> inline constexpr char const* nameOf<&Table::GetFCPStatisticsHandler> = "HBA_GetFCPStatistics";
template <> inline constexpr char const* nameOf<&Table::SendRLSHandler> = "HBA_SendRLS";
// clang-format on

/// Stands for an entry of the table.
template <auto Member>
struct Entry
{
    static constexpr auto member = Member;
    static constexpr char const* name = nameOf<Member>;
};

/// Libraries assume this room for the name of an adapter.
constexpr std::size_t roomOfName = 256;

/// Calls the entry of a library, or answers for it.
/// @param aFailure what a refused call returns
template <std::size_t Slot, auto Member, typename... Arguments, typename... Parts>
std::uint32_t answerEntry(std::uint32_t aFailure, bool (*aIsGood)(std::uint32_t),
                          std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    return answerOf<std::uint32_t>(
        aFailure,
        [&]
        {
            OpenHbaLibrary const& library = hbaLibrary(Slot);
            auto const forward = [&]() -> std::uint32_t
            {
                using Result = decltype(std::apply(library.mTable.*Member, aArguments));
                if constexpr (std::is_void_v<Result>)
                {
                    std::apply(library.mTable.*Member, aArguments);
                    return 0;
                }
                else
                {
                    return std::apply(library.mTable.*Member, aArguments);
                }
            };
            return session().call({library.mPath, nameOf<Member>, aFailure, aIsGood}, forward, aParts...);
        });
}

template <std::size_t Slot, auto Member, typename... Arguments, typename... Parts>
HBA_STATUS statusOf(std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    return answerEntry<Slot, Member>(HBA_STATUS_ERROR, hasHbaResults, aArguments, aParts...);
}

template <std::size_t Slot, auto Member, typename... Arguments, typename... Parts>
HBA_UINT32 numberOf(std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    return answerEntry<Slot, Member>(0, isAlwaysGood, aArguments, aParts...);
}

template <std::size_t Slot, auto Member, typename... Arguments, typename... Parts>
void perform(std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    answerEntry<Slot, Member>(0, isAlwaysGood, aArguments, aParts...);
}

/// @name The events of an HBA library
/// Each callback of the program is called in the same way by the library, while recording, and by the replay.
/// @{
using AdapterCallback = void (*)(void*, HBA_WWN, HBA_UINT32);
using PortCallback = void (*)(void*, HBA_WWN, HBA_UINT32, HBA_UINT32);
using TargetCallback = void (*)(void*, HBA_WWN, HBA_WWN, HBA_UINT32);
using LinkCallback = void (*)(void*, HBA_WWN, HBA_UINT32, void*, HBA_UINT32);

/// Records an event, and then calls the callback of the program.
template <typename Callback, typename... Arguments, typename... Parts>
void passEvent(void* aRegistration, std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    auto const& registration = *static_cast<CallbackRegistration const*>(aRegistration);
    CborWriter packet;
    Recorder::begin(packet, "event", "HBA");
    packet.text("registration");
    packet.number(std::uint64_t{registration.mNumber});
    packet.text("data");
    packet.beginMap();
    (aParts.question(packet), ...);
    packet.end();
    session().recorder().write(registration.mLibrary, packet);
    std::apply(reinterpret_cast<Callback>(registration.mCallback),
               std::tuple_cat(std::tuple(registration.mContext), aArguments));
}

inline void passAdapterEvent(void* aRegistration, HBA_WWN aName, HBA_UINT32 aType)
{
    passEvent<AdapterCallback>(aRegistration, std::tuple(aName, aType), In<HBA_WWN>{"name", aName},
                               In<HBA_UINT32>{"type", aType});
}

inline void passPortEvent(void* aRegistration, HBA_WWN aName, HBA_UINT32 aType, HBA_UINT32 aFcId)
{
    passEvent<PortCallback>(aRegistration, std::tuple(aName, aType, aFcId), In<HBA_WWN>{"name", aName},
                            In<HBA_UINT32>{"type", aType}, In<HBA_UINT32>{"fc_id", aFcId});
}

inline void passTargetEvent(void* aRegistration, HBA_WWN aName, HBA_WWN aTarget, HBA_UINT32 aType)
{
    passEvent<TargetCallback>(aRegistration, std::tuple(aName, aTarget, aType), In<HBA_WWN>{"name", aName},
                              In<HBA_WWN>{"target", aTarget}, In<HBA_UINT32>{"type", aType});
}

inline void passLinkEvent(void* aRegistration, HBA_WWN aName, HBA_UINT32 aType, void* aBuffer,
                          HBA_UINT32 aSize)
{
    passEvent<LinkCallback>(aRegistration, std::tuple(aName, aType, aBuffer, aSize),
                            In<HBA_WWN>{"name", aName}, In<HBA_UINT32>{"type", aType},
                            InBytes{"buffer", aBuffer, aSize});
}

/// Reads a value of a recorded event.
template <typename Value>
Value eventValue(Json const& aData, char const* aName)
{
    Value value{};
    Out<Value>{aName, &value}.fill(aData);
    return value;
}

inline void replayAdapterEvent(AdapterCallback aCallback, void* aContext, Json const& aData)
{
    aCallback(aContext, eventValue<HBA_WWN>(aData, "name"), eventValue<HBA_UINT32>(aData, "type"));
}

inline std::string keyOf(HBA_CALLBACKHANDLE aHandle)
{
    return std::to_string(reinterpret_cast<std::uintptr_t>(aHandle));
}

/// Registers a callback of the program with the library, or for the events of the recording.
/// @param aReplay  calls the callback of the program with a recorded event
/// @param aForward registers with the library: the registration, which it passes to its callback
template <std::size_t Slot, auto Member, typename Callback, typename Forward, typename... Parts>
HBA_STATUS registerCallback(Callback aCallback, void* aContext, HBA_CALLBACKHANDLE* aHandle,
                            std::function<void(Json const&)> const& aReplay, Forward aForward,
                            Parts... aParts)
{
    return answerOf<HBA_STATUS>(
        HBA_STATUS_ERROR,
        [&]
        {
            OpenHbaLibrary const& library = hbaLibrary(Slot);
            ProgramCall const call{library.mPath, nameOf<Member>, HBA_STATUS_ERROR, isZero};
            if (session().isRecording())
            {
                CallbackRegistration& registration = session().addRegistration(
                    library.mPath, reinterpret_cast<void (*)()>(aCallback), aContext);
                auto const forward = [&]
                {
                    HBA_STATUS const status = aForward(library.mTable.*Member, &registration);
                    registration.mHandle = status == HBA_STATUS_OK && aHandle != nullptr ? *aHandle : nullptr;
                    return status;
                };
                return session().call(call, forward, aParts..., OutRegistration{registration.mNumber});
            }
            RecordedCall const* answer = nullptr;
            HBA_STATUS const status = session().call(
                answer, call, [] { return HBA_STATUS_ERROR; }, aParts...);
            if (answer != nullptr && status == HBA_STATUS_OK && aHandle != nullptr)
            {
                auto const number = eventValue<std::uint32_t>(answer->mResults, "registration");
                // NOLINTNEXTLINE(performance-no-int-to-ptr): the program only passes it back
                *aHandle = reinterpret_cast<HBA_CALLBACKHANDLE>(std::uintptr_t{number});
                startEvents(*answer, keyOf(*aHandle), aReplay);
            }
            return status;
        });
}
/// @}

/// The functions of the library with the number.
template <std::size_t Slot>
struct Calls
{
    static HBA_UINT32 getVersion() { return numberOf<Slot, &Table::GetVersionHandler>(std::tuple()); }

    static HBA_STATUS loadLibrary() { return statusOf<Slot, &Table::LoadLibraryHandler>(std::tuple()); }

    static HBA_UINT32 getNumberOfAdapters()
    {
        return numberOf<Slot, &Table::GetNumberOfAdaptersHandler>(std::tuple());
    }

    static HBA_STATUS getAdapterName(HBA_UINT32 aIndex, char* aName)
    {
        return statusOf<Slot, &Table::GetAdapterNameHandler>(
            std::tuple(aIndex, aName), In<HBA_UINT32>{"index", aIndex}, OutText{"name", aName, roomOfName});
    }

    static HBA_UINT32 openAdapter(char* aName)
    {
        return numberOf<Slot, &Table::OpenAdapterHandler>(std::tuple(aName), InText{"name", aName});
    }

    static void closeAdapter(HBA_HANDLE aHandle)
    {
        perform<Slot, &Table::CloseAdapterHandler>(std::tuple(aHandle), In<HBA_HANDLE>{"handle", aHandle});
    }

    static HBA_STATUS getAdapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
    {
        return statusOf<Slot, &Table::GetAdapterAttributesHandler>(
            std::tuple(aHandle, aAttributes), In<HBA_HANDLE>{"handle", aHandle},
            Out<HBA_ADAPTERATTRIBUTES>{"attributes", aAttributes});
    }

    static HBA_STATUS getAdapterPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                               HBA_PORTATTRIBUTES* aAttributes)
    {
        return statusOf<Slot, &Table::GetAdapterPortAttributesHandler>(
            std::tuple(aHandle, aPort, aAttributes), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_UINT32>{"port", aPort}, Out<HBA_PORTATTRIBUTES>{"attributes", aAttributes});
    }

    static HBA_STATUS getPortStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS* aStatistics)
    {
        return statusOf<Slot, &Table::GetPortStatisticsHandler>(
            std::tuple(aHandle, aPort, aStatistics), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_UINT32>{"port", aPort}, Out<HBA_PORTSTATISTICS>{"statistics", aStatistics});
    }

    static HBA_STATUS getDiscoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                                  HBA_UINT32 aDiscoveredPort, HBA_PORTATTRIBUTES* aAttributes)
    {
        return statusOf<Slot, &Table::GetDiscoveredPortAttributesHandler>(
            std::tuple(aHandle, aPort, aDiscoveredPort, aAttributes), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_UINT32>{"port", aPort}, In<HBA_UINT32>{"discovered_port", aDiscoveredPort},
            Out<HBA_PORTATTRIBUTES>{"attributes", aAttributes});
    }

    static HBA_STATUS getPortAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN aPort,
                                             HBA_PORTATTRIBUTES* aAttributes)
    {
        return statusOf<Slot, &Table::GetPortAttributesByWWNHandler>(
            std::tuple(aHandle, aPort, aAttributes), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, Out<HBA_PORTATTRIBUTES>{"attributes", aAttributes});
    }

    static HBA_STATUS sendCtPassThru(HBA_HANDLE aHandle, void* aRequest, HBA_UINT32 aRequestSize,
                                     void* aResponse, HBA_UINT32 aResponseSize)
    {
        return statusOf<Slot, &Table::SendCTPassThruHandler>(
            std::tuple(aHandle, aRequest, aRequestSize, aResponse, aResponseSize),
            In<HBA_HANDLE>{"handle", aHandle}, InBytes{"request", aRequest, aRequestSize},
            OutBytes{"response", aResponse, aResponseSize});
    }

    static void refreshInformation(HBA_HANDLE aHandle)
    {
        perform<Slot, &Table::RefreshInformationHandler>(std::tuple(aHandle),
                                                         In<HBA_HANDLE>{"handle", aHandle});
    }

    static void resetStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort)
    {
        perform<Slot, &Table::ResetStatisticsHandler>(
            std::tuple(aHandle, aPort), In<HBA_HANDLE>{"handle", aHandle}, In<HBA_UINT32>{"port", aPort});
    }

    static HBA_STATUS getFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
    {
        return statusOf<Slot, &Table::GetFcpTargetMappingHandler>(
            std::tuple(aHandle, aMapping), In<HBA_HANDLE>{"handle", aHandle},
            OutList<HBA_FCPTARGETMAPPING>{"mappings", aMapping});
    }

    static HBA_STATUS getFcpPersistentBinding(HBA_HANDLE aHandle, HBA_FCPBINDING* aBinding)
    {
        return statusOf<Slot, &Table::GetFcpPersistentBindingHandler>(
            std::tuple(aHandle, aBinding), In<HBA_HANDLE>{"handle", aHandle},
            OutList<HBA_FCPBINDING>{"bindings", aBinding});
    }

    static HBA_STATUS getEventBuffer(HBA_HANDLE aHandle, HBA_EVENTINFO* aEvents, HBA_UINT32* aCount)
    {
        return statusOf<Slot, &Table::GetEventBufferHandler>(std::tuple(aHandle, aEvents, aCount),
                                                             In<HBA_HANDLE>{"handle", aHandle},
                                                             OutEvents{aEvents, aCount});
    }

    static HBA_STATUS setRnidMgmtInfo(HBA_HANDLE aHandle, HBA_MGMTINFO* aInfo)
    {
        return statusOf<Slot, &Table::SetRNIDMgmtInfoHandler>(std::tuple(aHandle, aInfo),
                                                              In<HBA_HANDLE>{"handle", aHandle},
                                                              InPointer<HBA_MGMTINFO>{"info", aInfo});
    }

    static HBA_STATUS getRnidMgmtInfo(HBA_HANDLE aHandle, HBA_MGMTINFO* aInfo)
    {
        return statusOf<Slot, &Table::GetRNIDMgmtInfoHandler>(
            std::tuple(aHandle, aInfo), In<HBA_HANDLE>{"handle", aHandle}, Out<HBA_MGMTINFO>{"info", aInfo});
    }

    static HBA_STATUS sendRnid(HBA_HANDLE aHandle, HBA_WWN aName, HBA_WWNTYPE aType, void* aResponse,
                               HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendRNIDHandler>(
            std::tuple(aHandle, aName, aType, aResponse, aSize), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"name", aName}, In<HBA_WWNTYPE>{"type", aType},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS sendScsiInquiry(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun,
                                      HBA_UINT8 aIsVitalProductData, HBA_UINT32 aPage, void* aResponse,
                                      HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        return statusOf<Slot, &Table::ScsiInquiryHandler>(
            std::tuple(aHandle, aTarget, aLun, aIsVitalProductData, aPage, aResponse, aResponseSize, aSense,
                       aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"target", aTarget},
            InBytes{"lun", &aLun, sizeof aLun}, In<HBA_UINT8>{"vital_product_data", aIsVitalProductData},
            In<HBA_UINT32>{"page", aPage}, OutBytes{"response", aResponse, aResponseSize},
            OutBytes{"sense", aSense, aSenseSize});
    }

    static HBA_STATUS sendReportLuns(HBA_HANDLE aHandle, HBA_WWN aTarget, void* aResponse,
                                     HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        return statusOf<Slot, &Table::ReportLUNsHandler>(
            std::tuple(aHandle, aTarget, aResponse, aResponseSize, aSense, aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"target", aTarget},
            OutBytes{"response", aResponse, aResponseSize}, OutBytes{"sense", aSense, aSenseSize});
    }

    static HBA_STATUS sendReadCapacity(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun, void* aResponse,
                                       HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
    {
        return statusOf<Slot, &Table::ReadCapacityHandler>(
            std::tuple(aHandle, aTarget, aLun, aResponse, aResponseSize, aSense, aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"target", aTarget},
            InBytes{"lun", &aLun, sizeof aLun}, OutBytes{"response", aResponse, aResponseSize},
            OutBytes{"sense", aSense, aSenseSize});
    }

    static HBA_STATUS openAdapterByWwn(HBA_HANDLE* aHandle, HBA_WWN aName)
    {
        return statusOf<Slot, &Table::OpenAdapterByWWNHandler>(
            std::tuple(aHandle, aName), In<HBA_WWN>{"name", aName}, Out<HBA_HANDLE>{"handle", aHandle});
    }

    static HBA_STATUS getFcpTargetMappingV2(HBA_HANDLE aHandle, HBA_WWN aPort,
                                            HBA_FCPTARGETMAPPINGV2* aMapping)
    {
        return statusOf<Slot, &Table::GetFcpTargetMappingV2Handler>(
            std::tuple(aHandle, aPort, aMapping), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, OutList<HBA_FCPTARGETMAPPINGV2>{"mappings", aMapping});
    }

    static HBA_STATUS sendCtPassThruV2(HBA_HANDLE aHandle, HBA_WWN aPort, void* aRequest,
                                       HBA_UINT32 aRequestSize, void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendCTPassThruV2Handler>(
            std::tuple(aHandle, aPort, aRequest, aRequestSize, aResponse, aSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort},
            InBytes{"request", aRequest, aRequestSize},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static void refreshAdapterConfiguration()
    {
        perform<Slot, &Table::RefreshAdapterConfigurationHandler>(std::tuple());
    }

    static HBA_STATUS getBindingCapability(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_BIND_CAPABILITY* aFlags)
    {
        return statusOf<Slot, &Table::GetBindingCapabilityHandler>(
            std::tuple(aHandle, aPort, aFlags), In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort},
            Out<HBA_BIND_CAPABILITY>{"flags", aFlags});
    }

    static HBA_STATUS getBindingSupport(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_BIND_CAPABILITY* aFlags)
    {
        return statusOf<Slot, &Table::GetBindingSupportHandler>(
            std::tuple(aHandle, aPort, aFlags), In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort},
            Out<HBA_BIND_CAPABILITY>{"flags", aFlags});
    }

    static HBA_STATUS setBindingSupport(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_BIND_CAPABILITY aFlags)
    {
        return statusOf<Slot, &Table::SetBindingSupportHandler>(
            std::tuple(aHandle, aPort, aFlags), In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort},
            In<HBA_BIND_CAPABILITY>{"flags", aFlags});
    }

    static HBA_STATUS setPersistentBindingV2(HBA_HANDLE aHandle, HBA_WWN aPort,
                                             HBA_FCPBINDING2 const* aBinding)
    {
        return statusOf<Slot, &Table::SetPersistentBindingV2Handler>(
            std::tuple(aHandle, aPort, aBinding), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, InList<HBA_FCPBINDING2>{"bindings", aBinding});
    }

    static HBA_STATUS getPersistentBindingV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_FCPBINDING2* aBinding)
    {
        return statusOf<Slot, &Table::GetPersistentBindingV2Handler>(
            std::tuple(aHandle, aPort, aBinding), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, OutList<HBA_FCPBINDING2>{"bindings", aBinding});
    }

    static HBA_STATUS removePersistentBinding(HBA_HANDLE aHandle, HBA_WWN aPort,
                                              HBA_FCPBINDING2 const* aBinding)
    {
        return statusOf<Slot, &Table::RemovePersistentBindingHandler>(
            std::tuple(aHandle, aPort, aBinding), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, InList<HBA_FCPBINDING2>{"bindings", aBinding});
    }

    static HBA_STATUS removeAllPersistentBindings(HBA_HANDLE aHandle, HBA_WWN aPort)
    {
        return statusOf<Slot, &Table::RemoveAllPersistentBindingsHandler>(
            std::tuple(aHandle, aPort), In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort});
    }

    static HBA_STATUS sendRnidV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT32 aFcId,
                                 HBA_UINT32 aFormat, void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendRNIDV2Handler>(
            std::tuple(aHandle, aPort, aTarget, aFcId, aFormat, aResponse, aSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            In<HBA_UINT32>{"fc_id", aFcId}, In<HBA_UINT32>{"format", aFormat},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS scsiInquiryV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                                    HBA_UINT8 aSecondByte, HBA_UINT8 aPage, void* aResponse,
                                    HBA_UINT32* aSize, HBA_UINT8* aStatus, void* aSense,
                                    HBA_UINT32* aSenseSize)
    {
        return statusOf<Slot, &Table::ScsiInquiryV2Handler>(
            std::tuple(aHandle, aPort, aTarget, aLun, aSecondByte, aPage, aResponse, aSize, aStatus, aSense,
                       aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            InBytes{"lun", &aLun, sizeof aLun}, In<HBA_UINT8>{"second_byte", aSecondByte},
            In<HBA_UINT8>{"page", aPage}, OutSizedBytes{"response", "response_size", aResponse, aSize},
            Out<HBA_UINT8>{"scsi_status", aStatus}, OutSizedBytes{"sense", "sense_size", aSense, aSenseSize});
    }

    static HBA_STATUS scsiReportLunsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, void* aResponse,
                                       HBA_UINT32* aSize, HBA_UINT8* aStatus, void* aSense,
                                       HBA_UINT32* aSenseSize)
    {
        return statusOf<Slot, &Table::ScsiReportLUNsV2Handler>(
            std::tuple(aHandle, aPort, aTarget, aResponse, aSize, aStatus, aSense, aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            OutSizedBytes{"response", "response_size", aResponse, aSize},
            Out<HBA_UINT8>{"scsi_status", aStatus}, OutSizedBytes{"sense", "sense_size", aSense, aSenseSize});
    }

    static HBA_STATUS scsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                                         void* aResponse, HBA_UINT32* aSize, HBA_UINT8* aStatus, void* aSense,
                                         HBA_UINT32* aSenseSize)
    {
        return statusOf<Slot, &Table::ScsiReadCapacityV2Handler>(
            std::tuple(aHandle, aPort, aTarget, aLun, aResponse, aSize, aStatus, aSense, aSenseSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            InBytes{"lun", &aLun, sizeof aLun}, OutSizedBytes{"response", "response_size", aResponse, aSize},
            Out<HBA_UINT8>{"scsi_status", aStatus}, OutSizedBytes{"sense", "sense_size", aSense, aSenseSize});
    }

    static HBA_UINT32 getVendorLibraryAttributes(HBA_LIBRARYATTRIBUTES* aAttributes)
    {
        return numberOf<Slot, &Table::GetVendorLibraryAttributesHandler>(
            std::tuple(aAttributes), Out<HBA_LIBRARYATTRIBUTES>{"attributes", aAttributes});
    }

    static HBA_STATUS sendRpl(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aAgent, HBA_UINT32 aDomain,
                              HBA_UINT32 aIndex, void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendRPLHandler>(
            std::tuple(aHandle, aPort, aAgent, aDomain, aIndex, aResponse, aSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"agent", aAgent},
            In<HBA_UINT32>{"domain", aDomain}, In<HBA_UINT32>{"index", aIndex},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS sendRps(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aAgent, HBA_UINT32 aDomain,
                              HBA_WWN aObject, HBA_UINT32 aObjectNumber, void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendRPSHandler>(
            std::tuple(aHandle, aPort, aAgent, aDomain, aObject, aObjectNumber, aResponse, aSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"agent", aAgent},
            In<HBA_UINT32>{"domain", aDomain}, In<HBA_WWN>{"object", aObject},
            In<HBA_UINT32>{"object_number", aObjectNumber},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS sendSrl(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aName, HBA_UINT32 aDomain,
                              void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendSRLHandler>(
            std::tuple(aHandle, aPort, aName, aDomain, aResponse, aSize), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"name", aName}, In<HBA_UINT32>{"domain", aDomain},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS sendLirr(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aDestination, HBA_UINT8 aFunction,
                               HBA_UINT8 aType, void* aResponse, HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendLIRRHandler>(
            std::tuple(aHandle, aPort, aDestination, aFunction, aType, aResponse, aSize),
            In<HBA_HANDLE>{"handle", aHandle}, In<HBA_WWN>{"port", aPort},
            In<HBA_WWN>{"destination", aDestination}, In<HBA_UINT8>{"function", aFunction},
            In<HBA_UINT8>{"type", aType}, OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS getFc4Statistics(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT8 aType,
                                       HBA_FC4STATISTICS* aStatistics)
    {
        return statusOf<Slot, &Table::GetFC4StatisticsHandler>(
            std::tuple(aHandle, aPort, aType, aStatistics), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, In<HBA_UINT8>{"type", aType},
            Out<HBA_FC4STATISTICS>{"statistics", aStatistics});
    }

    static HBA_STATUS getFcpStatistics(HBA_HANDLE aHandle, HBA_SCSIID const* aUnit,
                                       HBA_FC4STATISTICS* aStatistics)
    {
        return statusOf<Slot, &Table::GetFCPStatisticsHandler>(
            std::tuple(aHandle, aUnit, aStatistics), In<HBA_HANDLE>{"handle", aHandle},
            InPointer<HBA_SCSIID>{"unit", aUnit}, Out<HBA_FC4STATISTICS>{"statistics", aStatistics});
    }

    static HBA_STATUS sendRls(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, void* aResponse,
                              HBA_UINT32* aSize)
    {
        return statusOf<Slot, &Table::SendRLSHandler>(
            std::tuple(aHandle, aPort, aTarget, aResponse, aSize), In<HBA_HANDLE>{"handle", aHandle},
            In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            OutSizedBytes{"response", "response_size", aResponse, aSize});
    }

    static HBA_STATUS freeLibrary()
    {
        HBA_STATUS const status = statusOf<Slot, &Table::FreeLibraryHandler>(std::tuple());
        endEvents();
        return status;
    }

    static HBA_STATUS removeCallback(HBA_CALLBACKHANDLE aHandle)
    {
        std::uint32_t const number =
            session().isRecording() ? session().registrationWith(aHandle)
                                    : static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(aHandle));
        HBA_STATUS const status = statusOf<Slot, &Table::RemoveCallbackHandler>(
            std::tuple(aHandle), In<std::uint32_t>{"registration", number});
        if (status == HBA_STATUS_OK)
        {
            endEvents(keyOf(aHandle));
        }
        return status;
    }

    static HBA_STATUS registerForAdapterAddEvents(AdapterCallback aCallback, void* aContext,
                                                  HBA_CALLBACKHANDLE* aHandle)
    {
        return registerCallback<Slot, &Table::RegisterForAdapterAddEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData) { replayAdapterEvent(aCallback, aContext, aData); },
            [&](auto aRegister, void* aRegistration)
            { return aRegister(passAdapterEvent, aRegistration, aHandle); });
    }

    static HBA_STATUS registerForAdapterEvents(AdapterCallback aCallback, void* aContext, HBA_HANDLE aAdapter,
                                               HBA_CALLBACKHANDLE* aHandle)
    {
        return registerCallback<Slot, &Table::RegisterForAdapterEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData) { replayAdapterEvent(aCallback, aContext, aData); },
            [&](auto aRegister, void* aRegistration)
            { return aRegister(passAdapterEvent, aRegistration, aAdapter, aHandle); },
            In<HBA_HANDLE>{"handle", aAdapter});
    }

    static HBA_STATUS registerForAdapterPortEvents(PortCallback aCallback, void* aContext,
                                                   HBA_HANDLE aAdapter, HBA_WWN aPort,
                                                   HBA_CALLBACKHANDLE* aHandle)
    {
        return registerCallback<Slot, &Table::RegisterForAdapterPortEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData)
            {
                aCallback(aContext, eventValue<HBA_WWN>(aData, "name"), eventValue<HBA_UINT32>(aData, "type"),
                          eventValue<HBA_UINT32>(aData, "fc_id"));
            },
            [&](auto aRegister, void* aRegistration)
            { return aRegister(passPortEvent, aRegistration, aAdapter, aPort, aHandle); },
            In<HBA_HANDLE>{"handle", aAdapter}, In<HBA_WWN>{"port", aPort});
    }

    static HBA_STATUS registerForAdapterPortStatEvents(AdapterCallback aCallback, void* aContext,
                                                       HBA_HANDLE aAdapter, HBA_WWN aPort,
                                                       HBA_PORTSTATISTICS aThresholds, HBA_UINT32 aType,
                                                       HBA_CALLBACKHANDLE* aHandle)
    {
        return registerCallback<Slot, &Table::RegisterForAdapterPortStatEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData) { replayAdapterEvent(aCallback, aContext, aData); },
            [&](auto aRegister, void* aRegistration) {
                return aRegister(passAdapterEvent, aRegistration, aAdapter, aPort, aThresholds, aType,
                                 aHandle);
            },
            In<HBA_HANDLE>{"handle", aAdapter}, In<HBA_WWN>{"port", aPort},
            In<HBA_PORTSTATISTICS>{"thresholds", aThresholds}, In<HBA_UINT32>{"type", aType});
    }

    static HBA_STATUS registerForTargetEvents(TargetCallback aCallback, void* aContext, HBA_HANDLE aAdapter,
                                              HBA_WWN aPort, HBA_WWN aTarget, HBA_CALLBACKHANDLE* aHandle,
                                              HBA_UINT32 aIsForAllTargets)
    {
        return registerCallback<Slot, &Table::RegisterForTargetEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData)
            {
                aCallback(aContext, eventValue<HBA_WWN>(aData, "name"), eventValue<HBA_WWN>(aData, "target"),
                          eventValue<HBA_UINT32>(aData, "type"));
            },
            [&](auto aRegister, void* aRegistration) {
                return aRegister(passTargetEvent, aRegistration, aAdapter, aPort, aTarget, aHandle,
                                 aIsForAllTargets);
            },
            In<HBA_HANDLE>{"handle", aAdapter}, In<HBA_WWN>{"port", aPort}, In<HBA_WWN>{"target", aTarget},
            In<HBA_UINT32>{"all_targets", aIsForAllTargets});
    }

    static HBA_STATUS registerForLinkEvents(LinkCallback aCallback, void* aContext, void* aBuffer,
                                            HBA_UINT32 aSize, HBA_HANDLE aAdapter,
                                            HBA_CALLBACKHANDLE* aHandle)
    {
        return registerCallback<Slot, &Table::RegisterForLinkEventsHandler>(
            aCallback, aContext, aHandle,
            [=](Json const& aData)
            {
                auto const found = aData.find("buffer");
                if (found != aData.end() && aBuffer != nullptr)
                {
                    readBytes(*found, aBuffer, aSize);
                }
                aCallback(aContext, eventValue<HBA_WWN>(aData, "name"), eventValue<HBA_UINT32>(aData, "type"),
                          aBuffer, aSize);
            },
            [&](auto aRegister, void* aRegistration)
            { return aRegister(passLinkEvent, aRegistration, aBuffer, aSize, aAdapter, aHandle); },
            In<HBA_HANDLE>{"handle", aAdapter}, In<HBA_UINT32>{"buffer_size", aSize});
    }

private:
    static void endEvents(std::string const& aKey = {})
    {
        if (!session().isRecording())
        {
            session().events().stop(hbaLibrary(Slot).mPath, aKey);
        }
    }
};

/// Shows each entry of the table with the function of the library with the number.
template <std::size_t Slot, typename Visitor>
void visitEntries(Visitor aVisit)
{
    aVisit(Entry<&Table::GetVersionHandler>(), Calls<Slot>::getVersion);
    aVisit(Entry<&Table::LoadLibraryHandler>(), Calls<Slot>::loadLibrary);
    aVisit(Entry<&Table::FreeLibraryHandler>(), Calls<Slot>::freeLibrary);
    aVisit(Entry<&Table::GetNumberOfAdaptersHandler>(), Calls<Slot>::getNumberOfAdapters);
    aVisit(Entry<&Table::GetAdapterNameHandler>(), Calls<Slot>::getAdapterName);
    aVisit(Entry<&Table::OpenAdapterHandler>(), Calls<Slot>::openAdapter);
    aVisit(Entry<&Table::CloseAdapterHandler>(), Calls<Slot>::closeAdapter);
    aVisit(Entry<&Table::GetAdapterAttributesHandler>(), Calls<Slot>::getAdapterAttributes);
    aVisit(Entry<&Table::GetAdapterPortAttributesHandler>(), Calls<Slot>::getAdapterPortAttributes);
    aVisit(Entry<&Table::GetPortStatisticsHandler>(), Calls<Slot>::getPortStatistics);
    aVisit(Entry<&Table::GetDiscoveredPortAttributesHandler>(), Calls<Slot>::getDiscoveredPortAttributes);
    aVisit(Entry<&Table::GetPortAttributesByWWNHandler>(), Calls<Slot>::getPortAttributesByWwn);
    aVisit(Entry<&Table::SendCTPassThruHandler>(), Calls<Slot>::sendCtPassThru);
    aVisit(Entry<&Table::RefreshInformationHandler>(), Calls<Slot>::refreshInformation);
    aVisit(Entry<&Table::ResetStatisticsHandler>(), Calls<Slot>::resetStatistics);
    aVisit(Entry<&Table::GetFcpTargetMappingHandler>(), Calls<Slot>::getFcpTargetMapping);
    aVisit(Entry<&Table::GetFcpPersistentBindingHandler>(), Calls<Slot>::getFcpPersistentBinding);
    aVisit(Entry<&Table::GetEventBufferHandler>(), Calls<Slot>::getEventBuffer);
    aVisit(Entry<&Table::SetRNIDMgmtInfoHandler>(), Calls<Slot>::setRnidMgmtInfo);
    aVisit(Entry<&Table::GetRNIDMgmtInfoHandler>(), Calls<Slot>::getRnidMgmtInfo);
    aVisit(Entry<&Table::SendRNIDHandler>(), Calls<Slot>::sendRnid);
    aVisit(Entry<&Table::ScsiInquiryHandler>(), Calls<Slot>::sendScsiInquiry);
    aVisit(Entry<&Table::ReportLUNsHandler>(), Calls<Slot>::sendReportLuns);
    aVisit(Entry<&Table::ReadCapacityHandler>(), Calls<Slot>::sendReadCapacity);
    aVisit(Entry<&Table::OpenAdapterByWWNHandler>(), Calls<Slot>::openAdapterByWwn);
    aVisit(Entry<&Table::GetFcpTargetMappingV2Handler>(), Calls<Slot>::getFcpTargetMappingV2);
    aVisit(Entry<&Table::SendCTPassThruV2Handler>(), Calls<Slot>::sendCtPassThruV2);
    aVisit(Entry<&Table::RefreshAdapterConfigurationHandler>(), Calls<Slot>::refreshAdapterConfiguration);
    aVisit(Entry<&Table::GetBindingCapabilityHandler>(), Calls<Slot>::getBindingCapability);
    aVisit(Entry<&Table::GetBindingSupportHandler>(), Calls<Slot>::getBindingSupport);
    aVisit(Entry<&Table::SetBindingSupportHandler>(), Calls<Slot>::setBindingSupport);
    aVisit(Entry<&Table::SetPersistentBindingV2Handler>(), Calls<Slot>::setPersistentBindingV2);
    aVisit(Entry<&Table::GetPersistentBindingV2Handler>(), Calls<Slot>::getPersistentBindingV2);
    aVisit(Entry<&Table::RemovePersistentBindingHandler>(), Calls<Slot>::removePersistentBinding);
    aVisit(Entry<&Table::RemoveAllPersistentBindingsHandler>(), Calls<Slot>::removeAllPersistentBindings);
    aVisit(Entry<&Table::SendRNIDV2Handler>(), Calls<Slot>::sendRnidV2);
    aVisit(Entry<&Table::ScsiInquiryV2Handler>(), Calls<Slot>::scsiInquiryV2);
    aVisit(Entry<&Table::ScsiReportLUNsV2Handler>(), Calls<Slot>::scsiReportLunsV2);
    aVisit(Entry<&Table::ScsiReadCapacityV2Handler>(), Calls<Slot>::scsiReadCapacityV2);
    aVisit(Entry<&Table::GetVendorLibraryAttributesHandler>(), Calls<Slot>::getVendorLibraryAttributes);
    aVisit(Entry<&Table::RemoveCallbackHandler>(), Calls<Slot>::removeCallback);
    aVisit(Entry<&Table::RegisterForAdapterAddEventsHandler>(), Calls<Slot>::registerForAdapterAddEvents);
    aVisit(Entry<&Table::RegisterForAdapterEventsHandler>(), Calls<Slot>::registerForAdapterEvents);
    aVisit(Entry<&Table::RegisterForAdapterPortEventsHandler>(), Calls<Slot>::registerForAdapterPortEvents);
    aVisit(Entry<&Table::RegisterForAdapterPortStatEventsHandler>(),
           Calls<Slot>::registerForAdapterPortStatEvents);
    aVisit(Entry<&Table::RegisterForTargetEventsHandler>(), Calls<Slot>::registerForTargetEvents);
    aVisit(Entry<&Table::RegisterForLinkEventsHandler>(), Calls<Slot>::registerForLinkEvents);
    aVisit(Entry<&Table::SendRPLHandler>(), Calls<Slot>::sendRpl);
    aVisit(Entry<&Table::SendRPSHandler>(), Calls<Slot>::sendRps);
    aVisit(Entry<&Table::SendSRLHandler>(), Calls<Slot>::sendSrl);
    aVisit(Entry<&Table::SendLIRRHandler>(), Calls<Slot>::sendLirr);
    aVisit(Entry<&Table::GetFC4StatisticsHandler>(), Calls<Slot>::getFc4Statistics);
    aVisit(Entry<&Table::GetFCPStatisticsHandler>(), Calls<Slot>::getFcpStatistics);
    aVisit(Entry<&Table::SendRLSHandler>(), Calls<Slot>::sendRls);
}
}  // namespace qzsim
