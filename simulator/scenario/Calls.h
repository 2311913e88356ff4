/// @file
/// The calls of both vendor libraries that a scenario can make fail.
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
    getFcpTargetMapping,
    sendReportLuns,
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

/// The call of that name, as "HBA_OpenAdapter".
std::optional<Call> callNamed(std::string_view aName);

std::string nameOf(Call aCall);

/// All names, for messages: "HBA_LoadLibrary, HBA_FreeLibrary, ...".
std::string namesOfCalls();

/// Whether the call is one of the diagnostic library, and not of the HBA API.
bool isDiagnostic(Call aCall);

/// Whether the call is made for one adapter.
bool concernsAdapter(Call aCall);

/// Whether the call is made for one target port.
bool concernsTarget(Call aCall);

/// Whether the call is made for one board of the diagnostic library.
bool concernsBoard(Call aCall);
}  // namespace qzsim
