/// @file
/// The calls of the HBA library and the diagnostic library that a scenario can make fail.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qzsim
{
enum class Call
{
    loadLibrary,
    freeLibrary,
    getNumberOfAdapters,
    getAdapterName,
    openAdapter,
    closeAdapter,
    refreshInformation,
    getAdapterAttributes,
    getAdapterPortAttributes,
    getDiscoveredPortAttributes,
    getPortAttributesByWwn,
    getPortStatistics,
    getFcpTargetMapping,
    sendReportLuns,
    sendScsiInquiry,
    sendReadCapacity,
    openAdapterByWwn,
    getFcpTargetMappingV2,
    scsiReportLunsV2,
    scsiInquiryV2,
    scsiReadCapacityV2,
    getFc4Statistics,
    getFcpStatistics,
    registerForAdapterAddEvents,
    registerForAdapterEvents,
    registerForAdapterPortEvents,
    registerForAdapterPortStatEvents,
    registerForTargetEvents,
    registerForLinkEvents,
    removeCallback,
    getLibVer,
    initDiagEnv,
    freeDiagEnv,
    getDrvInfo,
    getLinkInfo,
    registerForEvent,
    unregisterForEvent,
    quazorRegisterForEvent,
    quazorUnregisterForEvent
};

constexpr std::size_t numberOfCalls = static_cast<std::size_t>(Call::quazorUnregisterForEvent) + 1;

/// What a call answers besides its status.
enum class Content
{
    nothing,   ///< nothing, or only a handle
    number,    ///< the number of adapters
    text,      ///< the name of an adapter, or the version of the vendor library
    record,    ///< a record of the HBA API with a text, or a record of the vendor library
    counters,  ///< a record of counters
    mappings,  ///< a block of target mappings
    luns,      ///< the response to REPORT LUNS
    response,  ///< the response to another SCSI command
    boards     ///< the table of boards, and their number
};

/// @param aName such as "HBA_OpenAdapter"
/// @return the call; nothing for an unknown name
std::optional<Call> callNamed(std::string_view aName);

std::string nameOf(Call aCall);

/// @return all names, for messages: "HBA_LoadLibrary, HBA_FreeLibrary, ..."
std::string namesOfCalls();

/// @return whether the call belongs to the diagnostic library, and not to the HBA API
bool isDiagnostic(Call aCall);

/// @return whether the call concerns one adapter
bool concernsAdapter(Call aCall);

/// @return whether the call concerns one target port
bool concernsTarget(Call aCall);

Content contentOf(Call aCall);

/// @return whether the call gives back what another call has given
bool isRelease(Call aCall);

/// @return whether the call concerns one board of the diagnostic library
bool concernsBoard(Call aCall);
}  // namespace qzsim
