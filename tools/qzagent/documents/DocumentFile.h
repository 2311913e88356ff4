/// @file
/// Reads documents that were kept as files.
#pragma once

#include <map>
#include <string>

#include <nlohmann/json.hpp>

namespace qzagent
{
/// JSON documents by name. A document of a bundle or report has the name that it has there, any other document the verb
/// that printed it.
using Documents = std::map<std::string, nlohmann::ordered_json>;

/// @param aPath path of a JSON document, of a bundle or of a report; "-" for a JSON document from standard input
/// @throws DocumentError when the file cannot be read, or is none of these
Documents readDocuments(std::string const& aPath);

/// @return the document, whose absence is an error
/// @throws DocumentError
nlohmann::ordered_json const& documentNamed(char const* aName, Documents const& aDocuments,
                                            std::string const& aPath);
}  // namespace qzagent
