/// @file
/// The calls of the HBA library and the diagnostic library that a scenario can make fail.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qzsim
{
enum class Call
{
    loadLibrary,
    freeLibrary,
    getAdapterName,
    openAdapter,
    getAdapterAttributes,
    getAdapterPortAttributes,
    getDiscoveredPortAttributes,
    getPortAttributesByWwn,
    getPortStatistics,
    getFcpTargetMapping,
    sendReportLuns,
    sendScsiInquiry,
    sendReadCapacity,
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

/// @return whether the call writes into the memory of its caller, among the calls of the HBA API
bool writesMemory(Call aCall);

/// @return whether the call concerns one board of the diagnostic library
bool concernsBoard(Call aCall);
}  // namespace qzsim
