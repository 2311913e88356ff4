/// @file
/// The LUNs of target mappings. HBA libraries do not agree on how to write them.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
/// How an HBA library writes FcpLun.
enum class LunStyle
{
    scsi,     ///< the eight bytes of the SCSI standard, as the HBA API prescribes
    integer,  ///< the integer that the operating system numbers the unit by, which is also in ScsiOSLun
    unknown,
};

/// @return the style that fits all mappings. The eight bytes fit a mapping if ScsiOSLun is the number of their LUN, or the
/// integer that Linux makes of them. Where both styles fit, they mean the same LUNs.
LunStyle lunStyleOf(HBA_FCPTargetMapping const& aMapping);

/// @return the LUN of the mapping; in an unknown style, the 16 hexadecimal digits of FcpLun as it is in memory
Lun lunOf(HBA_FCPSCSIENTRY const& aEntry, LunStyle aStyle);
}  // namespace qzagent
