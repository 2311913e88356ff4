/// @file
/// The largest numbers that the agent accepts from an HBA library. A larger number is an error of the library: using it
/// would take the agent hours or all memory of the host.
#pragma once

#include <cstddef>
#include <ctime>

#include <hbaapi.h>

namespace qzagent
{
constexpr HBA_UINT32 mostAdapters = 4096;
constexpr HBA_UINT32 mostPorts = 1024;                          ///< of an adapter
constexpr HBA_UINT32 mostDiscoveredPorts = 65536;               ///< of a port
constexpr std::size_t largestLunList = std::size_t{16} << 20U;  ///< in bytes

/// What expectAtMost() limits to mostAdapters. The function has no status, so no cause names it.
constexpr char const* adaptersOfLibrary = "adapters from HBA_GetNumberOfAdapters";

/// @param aWhat such as "ports"
/// @throws QZCHbaapiEx "implausible number of ports: 4294967295 (at most 1024)", code 802
void expectAtMost(HBA_UINT32 aLimit, HBA_UINT32 aNumber, char const* aWhat);
}  // namespace qzagent
