/// @file
/// Requests of HTTP clients.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qzagent
{
/// What a server needs to know of a request.
struct HttpRequest
{
    std::string mMethod;
    std::string mPath;    ///< without the query
    std::string mAccept;  ///< the values of all fields Accept, with commas between them
};

/// @return number of bytes up to the end of the empty line that ends the head of a request; 0 without one
std::size_t sizeOfHead(std::string_view aText);

/// @param aHead a request line and header fields, up to the empty line; may be any text
/// @return none for a head that is not of HTTP 1.0 or 1.1
std::optional<HttpRequest> requestIn(std::string_view aHead);
}  // namespace qzagent
