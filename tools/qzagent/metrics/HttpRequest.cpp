#include "tools/qzagent/metrics/HttpRequest.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <strings.h>

namespace qzagent
{
namespace
{
/// Removes the first line from the text.
/// @return the line without its end
std::string_view takeLine(std::string_view& aText)
{
    std::size_t const end = std::min(aText.find('\n'), aText.size());
    std::string_view line = aText.substr(0, end);
    aText.remove_prefix(std::min(end + 1, aText.size()));
    if (!line.empty() && line.back() == '\r')
    {
        line.remove_suffix(1);
    }
    return line;
}

/// @return the text after its first line if that is empty
std::string_view withoutEmptyLine(std::string_view aText)
{
    std::string_view rest = aText;
    bool const isEmpty = aText.find('\n') != std::string_view::npos && takeLine(rest).empty();
    return isEmpty ? rest : aText;
}

bool hasControls(std::string_view aLine)
{
    constexpr unsigned char lastControl = 0x1f;
    constexpr unsigned char deleted = 0x7f;
    return std::any_of(aLine.begin(), aLine.end(),
                       [](unsigned char aByte)
                       { return (aByte <= lastControl && aByte != '\t') || aByte == deleted; });
}

/// @param aTarget such as "/metrics?a=b" or "http://127.0.0.1:9912/metrics"
/// @return the path without the query; empty for another target
std::string_view pathIn(std::string_view aTarget)
{
    constexpr std::string_view scheme = "http://";
    if (aTarget.size() > scheme.size() && ::strncasecmp(aTarget.data(), scheme.data(), scheme.size()) == 0)
    {
        aTarget.remove_prefix(std::min(aTarget.find_first_of("/?", scheme.size()), aTarget.size()));
        if (aTarget.empty() || aTarget.front() == '?')
        {
            return "/";
        }
    }
    return aTarget.front() == '/' ? aTarget.substr(0, aTarget.find('?')) : std::string_view();
}

/// @param aLine such as "GET /metrics HTTP/1.1"
std::optional<HttpRequest> requestOfLine(std::string_view aLine)
{
    std::size_t const first = aLine.find(' ');
    std::size_t const last = aLine.rfind(' ');
    if (first == std::string_view::npos || first == 0 || first == last)
    {
        return {};
    }
    std::string_view const target = aLine.substr(first + 1, last - first - 1);
    std::string_view const version = aLine.substr(last + 1);
    if ((version != "HTTP/1.1" && version != "HTTP/1.0") || target.empty() ||
        target.find(' ') != std::string_view::npos || pathIn(target).empty())
    {
        return {};
    }
    return HttpRequest{std::string(aLine.substr(0, first)), std::string(pathIn(target)), {}};
}
}  // namespace

std::size_t sizeOfHead(std::string_view aText)
{
    // One empty line before a request is ignored, since some clients send one after an earlier request.
    std::string_view const request = withoutEmptyLine(aText);
    if (std::string_view const rest = withoutEmptyLine(request); rest.size() != request.size())
    {
        return aText.size() - rest.size();
    }
    for (std::size_t end = aText.find('\n', aText.size() - request.size()); end != std::string_view::npos;
         end = aText.find('\n', end + 1))
    {
        for (std::string_view const empty : {"\n", "\r\n"})
        {
            if (aText.substr(end + 1, empty.size()) == empty)
            {
                return end + 1 + empty.size();
            }
        }
    }
    return 0;
}

std::optional<HttpRequest> requestIn(std::string_view aHead)
{
    aHead = withoutEmptyLine(aHead);
    std::string_view const first = takeLine(aHead);
    if (hasControls(first))
    {
        return {};
    }
    std::optional<HttpRequest> request = requestOfLine(first);
    for (std::string_view line = takeLine(aHead); request && !line.empty(); line = takeLine(aHead))
    {
        std::size_t const colon = line.find(':');
        std::string const name(line.substr(0, colon));
        if (hasControls(line) || colon == std::string_view::npos || name.empty() ||
            name.find_first_of(" \t") != std::string::npos)
        {
            return {};
        }
        if (::strcasecmp(name.c_str(), "Accept") == 0)
        {
            request->mAccept += request->mAccept.empty() ? "" : ",";
            request->mAccept += line.substr(colon + 1);
        }
    }
    return request;
}
}  // namespace qzagent
