/// @file
/// What the records of the HBA API say, in words.
#pragma once

#include <ctime>
#include <string>

#include <hbaapi.h>
#include <nlohmann/json.hpp>

namespace qzagent
{
/// The fields of a record under their names, in the order in which they are shown: each a text, a number or a
/// list. A field that the device left empty is not among them.
using Fields = nlohmann::ordered_json;

/// @return the name as 10:00:00:00:c9:2a:3b:4c
std::string wwnText(HBA_WWN const& aName);

Fields fieldsOf(HBA_ADAPTERATTRIBUTES const& aAdapter);

/// The fields of a port of the host.
Fields fieldsOfPort(HBA_PORTATTRIBUTES const& aPort);

/// The fields of a remote port, as its discovery tells them.
Fields fieldsOfRemotePort(HBA_PORTATTRIBUTES const& aPort);

/// The fields of a remote port, as a target mapping tells them.
Fields fieldsOfRemotePort(HBA_FCPID const& aPort);
}  // namespace qzagent
