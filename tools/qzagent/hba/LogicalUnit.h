/// @file
/// What a LUN answers to SCSI commands.
#pragma once

#include <ctime>
#include <string>

#include <hbaapi.h>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
/// A LUN of a target port, as calls of the HBA library name it.
struct LunAddress
{
    HBA_HANDLE mAdapter;  ///< an open adapter
    qz::Wwn mPort;
    HBA_UINT64 mFcpLun;  ///< as the HBA library wrote it in a target mapping
};

// A command that ends with CHECK CONDITION or that the HBA library answers with "busy" is sent once more.

/// Sends INQUIRY.
/// @return the fields device_type, vendor, product and revision
/// @throws QZCHbaapiEx, code 802
Fields inquire(LunAddress const& aLun);

/// Sends READ CAPACITY.
/// @param aDevice the device of the LUN in the operating system. The answer has no room for 2^32 blocks; the size of the
///                device replaces it if the device is known
/// @return the fields block_size_bytes, and capacity_bytes or capacity_at_least_bytes
/// @throws QZCHbaapiEx, code 802
Fields readCapacity(LunAddress const& aLun, std::string const& aDevice);

/// @param aUnit the fields of inquire()
/// @return whether the LUN has blocks, so that it answers READ CAPACITY; true if its type is unknown
bool hasBlocks(Fields const& aUnit);

/// @param aUnit the fields of inquire() and readCapacity()
/// @return "VENDOR PRODUCT REVISION, 10.00 GiB, 512-byte blocks"; parts that are unknown are omitted
std::string textOfUnit(Fields const& aUnit);
}  // namespace qzagent
