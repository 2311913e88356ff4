/// @file
/// What the sections that are recorded on this host say.
#pragma once

#include "pcapng/Blocks.h"
#include "tools/qzagent/vqm/VqmVersions.h"

namespace qzagent
{
/// @return a new section of this host, with its own UUID
pcapng::Section makeSectionOfHost(LibvqmVersions const& aVersions);
}  // namespace qzagent
