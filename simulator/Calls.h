/// @file
/// The calls of the HBA API that a scenario can make fail.
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
    sendReportLuns
};

/// The call of that name, as "HBA_OpenAdapter".
std::optional<Call> callNamed(std::string_view aName);

std::string nameOf(Call aCall);

/// All names, for messages: "HBA_LoadLibrary, HBA_FreeLibrary, ...".
std::string namesOfCalls();

/// Whether the call is made for one adapter.
bool concernsAdapter(Call aCall);

/// Whether the call is made for one target port.
bool concernsTarget(Call aCall);
}  // namespace qzsim
