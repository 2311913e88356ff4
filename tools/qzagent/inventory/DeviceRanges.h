/// @file
/// The devices of LUNs in the operating system, in few words.
#pragma once

#include <string>
#include <vector>

#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// @param aMapped the LUNs of a target, in their order
/// @return such as "0-199: /dev/sda to /dev/sdgr, 300: /dev/sdgs": each LUN with its devices. LUNs and devices that both
///         count up are a range. LUNs without a known device are omitted
std::string textOfDevices(std::vector<MappedLun> const& aMapped);
}  // namespace qzagent
