/// @file
/// The status with which a call of the HBA API is refused.
#pragma once

#include <ctime>
#include <optional>

#include <hbaapi.h>

#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Why a call is refused.
enum class Reason
{
    handle,        ///< the handle is not open
    index,         ///< there is no port with this index
    port,          ///< the adapter has no port with this name
    name,          ///< the adapter knows no port with this name, neither of its own nor remote
    target,        ///< the port has discovered no port with this name
    notATarget,    ///< the remote port with this name is not a target
    lun,           ///< the target has no such LUN
    noStatistics,  ///< the port or the LUN has no statistics
    fc4Type        ///< the port does not support this FC-4 type
};

/// @return the status of the refused call
HBA_STATUS refusalOf(Reason aReason, Call aCall, Behaviour aBehaviour);

/// @return the status of a call that the library does not offer, as the common library reports it; nothing when the
///         library offers the call
std::optional<HBA_STATUS> absenceOf(Call aCall, Behaviour aBehaviour);
}  // namespace qzsim
