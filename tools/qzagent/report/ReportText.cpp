#include "tools/qzagent/report/ReportText.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "tools/qzagent/documents/DocumentValue.h"

namespace qzagent
{
namespace
{
constexpr std::string_view startOfPage = "<!DOCTYPE html>";
}  // namespace

bool isReportStart(std::string_view aHead)
{
    constexpr std::size_t least = 4;
    std::size_t const compared = std::min(aHead.size(), startOfPage.size());
    return compared >= least && aHead.substr(0, compared) == startOfPage.substr(0, compared);
}

bool isReport(std::string_view aHead)
{
    return isReportStart(aHead) && aHead.find(startOfReportData) != std::string_view::npos;
}

std::string jsonForPage(std::string const& aJson)
{
    std::string text;
    text.reserve(aJson.size());
    for (char const character : aJson)
    {
        // Only strings can contain them.
        if (character == '<' || character == '>' || character == '&')
        {
            text += fmt::format("\\u{:04x}", static_cast<unsigned char>(character));
        }
        else
        {
            text += character;
        }
    }
    return text;
}

std::string_view dataIn(std::string_view aPage)
{
    std::string_view const data = aPage.substr(aPage.find(startOfReportData) + startOfReportData.size());
    std::size_t const end = data.find(endOfReportData);
    if (end == std::string_view::npos)
    {
        throw DocumentError("the data is cut off");
    }
    return data.substr(0, end);
}
}  // namespace qzagent
