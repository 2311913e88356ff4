/// @file
/// The name of this host.
#pragma once

#include <string>

namespace qzagent
{
/// @return the name of this host; empty when it is unavailable
std::string hostName();
}  // namespace qzagent
