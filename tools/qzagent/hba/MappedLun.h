/// @file
/// The LUNs of target mappings. HBA libraries do not agree on how to write them.
#pragma once

#include <ctime>
#include <string>

#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
/// How an HBA library writes FcpLun.
enum class LunStyle
{
    scsi,     ///< the eight bytes of the SCSI standard, as the HBA API prescribes
    integer,  ///< the LUN number of the operating system, as in ScsiOSLun
    unknown,
};

/// @return the style that fits all mappings. The style scsi fits a mapping if ScsiOSLun is the number of the LUN, or
///         the integer that Linux forms from its bytes. If both styles fit, they give the same LUNs.
LunStyle lunStyleOf(qz::TargetMappings const& aMappings);

/// @return name of the LUN's device in the operating system; empty if it is unknown
std::string deviceOf(HBA_FCPSCSIENTRY const& aEntry);

/// @return the LUN of the mapping; in an unknown style, the 16 hexadecimal digits of FcpLun in memory
Lun lunOf(HBA_FCPSCSIENTRY const& aEntry, LunStyle aStyle);
}  // namespace qzagent
