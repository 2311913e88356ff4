/// @file
/// Reads documents that were kept as files.
#pragma once

#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// JSON documents by name. A document of a bundle or report has the name that it has there, any other document the verb
/// that printed it.
using Documents = std::map<std::string, nlohmann::ordered_json>;

/// Reads what is whole in a bundle. A note names the damage.
/// @param aPath path of a JSON document, of a bundle or of a report; "-" for standard input
/// @throws DocumentError when the file cannot be read, is larger than 256 MiB, is a damaged report, or is none of these
Documents readDocuments(std::string const& aPath, Report& aReport);

/// @return the document, whose absence is an error
/// @throws DocumentError
nlohmann::ordered_json const& documentNamed(char const* aName, Documents const& aDocuments,
                                            std::string const& aPath);
}  // namespace qzagent
