/// @file
/// The inventory of an adapter.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
/// The LUNs of a target.
struct TargetLuns
{
    Luns mMapped;
    std::optional<Luns> mReported;  ///< none when the target did not answer
};

struct RemotePort
{
    qz::Wwn mName;
    Fields mFields;
    std::optional<TargetLuns> mLuns;  ///< none when the port is not known to be a target
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
