/// @file
/// Converts records of the HBA API to named fields.
#pragma once

#include <ctime>
#include <string>

#include <hbaapi.h>
#include <nlohmann/json.hpp>

namespace qzagent
{
/// The fields of a record by name, in the order in which they are shown. Each value is a text, a number or a list.
/// Fields that the device left empty are absent.
using Fields = nlohmann::ordered_json;

Fields fieldsOf(HBA_ADAPTERATTRIBUTES const& aAdapter);

/// The fields of a port of the host.
Fields fieldsOfPort(HBA_PORTATTRIBUTES const& aPort);

/// The fields of a remote port that a port of the host discovered.
Fields fieldsOfRemotePort(HBA_PORTATTRIBUTES const& aPort);

/// The fields of a remote port in a target mapping.
Fields fieldsOfRemotePort(HBA_FCPID const& aPort);

/// Whether a text of an HBA library says something. HBA libraries write "Unknown" for a text that they do not know.
bool isKnownText(std::string const& aText);

/// @return the value as text; a list has commas between its values
std::string valueText(Fields const& aValue);

/// @return the value of the field as text; "-" if the field is absent
std::string valueText(Fields const& aFields, char const* aName);
}  // namespace qzagent
