/// @file
/// Pseudonyms of World Wide Names.
#pragma once

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/anonymise/KeyedHash.h"

namespace qzagent
{
/// Keeps the format of the name (NAA) and its vendor (OUI), and replaces everything else. Different names have different
/// pseudonyms. The name of eight zero bytes, which stands for no name, remains.
qz::Wwn pseudonymOf(qz::Wwn const& aName, KeyedHash const& aHash);
}  // namespace qzagent
