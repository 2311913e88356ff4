/// @file
/// Shows the fabrics of a host as a tree.
#pragma once

#include <string>

#include "tools/qzagent/documents/HostTree.h"

namespace qzagent
{
/// @return each fabric with the ports of the host and the remote ports in it, then what is in no known fabric; empty for
///         a host without adapters
std::string fabricTreeOf(HostPart const& aHost, bool aColoured);
}  // namespace qzagent
