#include "tools/qzagent/metrics/Exposition.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>

namespace qzagent
{
namespace
{
std::string_view trimmed(std::string_view aText)
{
    constexpr std::string_view blanks = " \t";
    std::size_t const first = std::min(aText.find_first_not_of(blanks), aText.size());
    aText.remove_prefix(first);
    return aText.substr(0, aText.find_last_not_of(blanks) + 1);
}

/// Removes the first element of a list from it.
/// @return the element without blanks around it
std::string_view takeElement(std::string_view& aList, char aSeparator)
{
    std::size_t const end = std::min(aList.find(aSeparator), aList.size());
    std::string_view const element = trimmed(aList.substr(0, end));
    aList.remove_prefix(std::min(end + 1, aList.size()));
    return element;
}

/// @param aText such as "0.75"
/// @return thousandths; 0 for a text that is no quality
unsigned int qualityIn(std::string_view aText)
{
    constexpr unsigned int whole = 1000;
    constexpr std::size_t longest = 5;
    if (aText.empty() || aText.size() > longest || (aText[0] != '0' && aText[0] != '1') ||
        (aText.size() > 1 && aText[1] != '.'))
    {
        return 0;
    }
    unsigned int quality = aText[0] == '1' ? whole : 0;
    unsigned int place = whole;
    for (char const digit : aText.substr(std::min<std::size_t>(2, aText.size())))
    {
        if (digit < '0' || digit > '9')
        {
            return 0;
        }
        place /= 10;
        quality += place * static_cast<unsigned int>(digit - '0');
    }
    return std::min(quality, whole);
}

struct MediaRange
{
    std::string mType;
    std::string mVersion;
    unsigned int mQuality = qualityIn("1");
};

/// @param aText such as "text/plain; version=0.0.4; q=0.5"
MediaRange mediaRangeIn(std::string_view aText)
{
    std::string lower(aText);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char aByte) { return static_cast<char>(std::tolower(aByte)); });
    std::string_view rest = lower;
    MediaRange range;
    range.mType = takeElement(rest, ';');
    while (!rest.empty())
    {
        std::string_view value = takeElement(rest, ';');
        std::string_view const name = takeElement(value, '=');
        if (name == "q")
        {
            range.mQuality = qualityIn(trimmed(value));
        }
        else if (name == "version")
        {
            range.mVersion = trimmed(value);
            range.mVersion.erase(std::remove(range.mVersion.begin(), range.mVersion.end(), '"'),
                                 range.mVersion.end());
        }
    }
    return range;
}
}  // namespace

char const* contentTypeOf(Exposition aExposition)
{
    return aExposition == Exposition::text ? "text/plain; version=0.0.4; charset=utf-8"
                                           : "application/openmetrics-text; version=1.0.0; charset=utf-8";
}

char const* lastLineOf(Exposition aExposition) { return aExposition == Exposition::text ? "" : "# EOF\n"; }

Exposition expositionFor(std::string const& aAccept)
{
    unsigned int openMetrics = 0;
    unsigned int text = 0;
    std::string_view rest = aAccept;
    while (!rest.empty())
    {
        MediaRange const range = mediaRangeIn(takeElement(rest, ','));
        bool const hasVersion = !range.mVersion.empty();
        if (range.mType == "application/openmetrics-text" && (!hasVersion || range.mVersion == "1.0.0"))
        {
            openMetrics = std::max(openMetrics, range.mQuality);
        }
        else if (range.mType == "text/plain" && (!hasVersion || range.mVersion == "0.0.4"))
        {
            text = std::max(text, range.mQuality);
        }
    }
    return openMetrics > 0 && openMetrics >= text ? Exposition::openMetrics : Exposition::text;
}
}  // namespace qzagent
