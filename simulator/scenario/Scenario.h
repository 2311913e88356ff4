/// @file
/// What a scenario describes: the simulated adapters and boards, and the calls that fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
enum class Role
{
    target,
    initiator
};

/// How a target writes its LUNs in the eight bytes that SCSI has for one.
enum class LunAddressing
{
    automatic,  ///< peripheral device addressing as far as it goes, beyond it flat space addressing
    flat        ///< flat space addressing for all
};

/// How the HBA library of an adapter writes a LUN into FcpLun.
enum class LunStyle
{
    scsi,    ///< the eight bytes of the SCSI standard
    integer  ///< the integer that Linux makes of these bytes, as in ScsiOSLun
};

/// A port that the adapter's port has discovered.
struct RemotePort
{
    HBA_PORTATTRIBUTES mAttributes;
    Role mRole;
    LunAddressing mLunAddressing;
    std::vector<std::uint16_t> mLuns;
};

struct Port
{
    HBA_PORTATTRIBUTES mAttributes;
    std::vector<RemotePort> mRemotePorts;
};

/// The attributes of adapters and ports are the standard's records, complete, as the calls answer them.
struct Adapter
{
    std::string mName;
    HBA_ADAPTERATTRIBUTES mAttributes;
    LunStyle mLunStyle;
    std::vector<Port> mPorts;
};

/// As the last call of a fault: it fails from its first call on without end.
constexpr std::uint32_t endless = std::numeric_limits<std::uint32_t>::max();

/// Calls that answer what the scenario chooses.
struct Fault
{
    Call mCall;
    std::string
        mDevice;  ///< counts the calls for the adapter of this name, or the board of this number, alone;
                  ///< empty: all calls
    std::string mPort;     ///< counts the calls for the remote port of this name alone; empty: all calls
    std::uint32_t mFirst;  ///< counted from 1
    std::uint32_t mLast;
    std::uint32_t mAnswer;  ///< the status of the HBA API, the result of the diagnostic library
    std::string mPlace;     ///< where it stands, "file:line:column"
};

struct Scenario
{
    std::vector<Adapter> mAdapters;
    Diagnostics mDiagnostics;
    std::vector<Fault> mFaults;
};

/// The target mappings that an adapter has: one for each LUN of each target.
std::size_t numberOfMappings(Adapter const& aAdapter);

/// How often a fault must strike so that nothing of it is left.
std::uint32_t strikesIn(Fault const& aFault);

/// The fault in words: "call 2 of HBA_OpenAdapter answers HBA_STATUS_ERROR_BUSY".
std::string summaryOf(Fault const& aFault);

/// The scenario in words, one line for each adapter, board, event source and fault.
std::string summaryOf(Scenario const& aScenario);
}  // namespace qzsim
