/// @file
/// The inventory of an adapter.
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
/// A LUN in a target mapping.
struct MappedLun
{
    Lun mLun;
    HBA_UINT64 mFcpLun;   ///< as the HBA library wrote it
    std::string mDevice;  ///< its device in the operating system; empty if it is unknown
    Fields
        mUnit;  ///< what it answered to INQUIRY and READ CAPACITY; null if it was not asked or did not answer
    std::vector<Failure> mFailures;
};

/// The LUNs of a target.
struct TargetLuns
{
    std::vector<MappedLun> mMapped;  ///< in the order of their LUNs; several for a LUN with several devices
    std::optional<Luns> mReported;   ///< none when the target did not answer
    bool mAreMappedRaw = false;  ///< whether the mapped LUNs are digits that cannot be compared with others
};

/// @return each LUN once
Luns lunsOf(std::vector<MappedLun> const& aMapped);

struct RemotePort
{
    qz::Wwn mName;
    Fields mFields;
    std::shared_ptr<TargetLuns>
        mLuns;  ///< null when the port is not known to be a target; ports may share a target
    std::vector<Failure> mFailures;
};

/// Remote ports in the order in which they were found; none when they are unavailable.
using RemotePorts = std::optional<std::vector<RemotePort>>;

/// A port of the host. Its index is its position in the list.
struct Port
{
    Fields mFields = Fields::object();  ///< empty when the attributes are unavailable
    RemotePorts mRemotePorts;
    std::vector<Failure> mFailures;
};

struct FoundAdapter
{
    std::size_t mIndex;
    std::string mName;
    std::optional<Fields> mFields;
    std::vector<Port> mPorts;  ///< empty when the ports are unavailable
    RemotePorts mRemotePorts;  ///< targets that no port discovered
    std::vector<Failure> mFailures;
};
}  // namespace qzagent
