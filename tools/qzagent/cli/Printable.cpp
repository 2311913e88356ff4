#include "tools/qzagent/cli/Printable.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cuchar>
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::uint32_t endOfAscii = 0x80;

struct Range
{
    std::uint32_t mFirst;
    std::uint32_t mLast;
};

/// The characters that Unicode calls default ignorable, because they have no shape of their own, and the separators of
/// lines and annotations.
constexpr Range invisible[] = {
    {0x00ad, 0x00ad},    // soft hyphen
    {0x034f, 0x034f},    // combining grapheme joiner
    {0x061c, 0x061c},    // Arabic letter mark
    {0x115f, 0x1160},    // Hangul fillers
    {0x17b4, 0x17b5},    // Khmer inherent vowels
    {0x180b, 0x180f},    // Mongolian variation selectors
    {0x200b, 0x200f},    // spaces and joiners without width, marks of the writing direction
    {0x2028, 0x202e},    // line and paragraph separator, embeddings and overrides of the writing direction
    {0x2060, 0x206f},    // word joiner, invisible operators, isolates of the writing direction
    {0x3164, 0x3164},    // Hangul filler
    {0xfe00, 0xfe0f},    // variation selectors
    {0xfeff, 0xfeff},    // byte order mark
    {0xffa0, 0xffa0},    // halfwidth Hangul filler
    {0xfff0, 0xfffb},    // unassigned, and separators of annotations
    {0x1bca0, 0x1bca3},  // shorthand format controls
    {0x1d173, 0x1d17a},  // musical format controls
    {0xe0000, 0xe0fff},  // tags, further variation selectors
};

bool isInvisible(std::uint32_t aCharacter)
{
    return std::any_of(std::begin(invisible), std::end(invisible),
                       [=](Range const& aRange)
                       { return aCharacter >= aRange.mFirst && aCharacter <= aRange.mLast; });
}

bool startsEscape(std::string_view aText)
{
    return aText.size() > 1 && aText[0] == '\\' && (aText[1] == 'x' || aText[1] == 'u');
}

/// Appends the printable form of the first character of the text, which is not empty.
/// @return number of its bytes
std::size_t appendFirst(std::string& aResult, std::string_view aText)
{
    std::mbstate_t state{};
    char32_t number = 0;
    std::size_t const length = std::mbrtoc32(&number, aText.data(), aText.size(), &state);
    // For truncated and invalid characters mbrtoc32() returns values that are larger than any length.
    bool const isValid = length <= aText.size() && number != 0;
    bool const isPrintable = isValid && std::iswprint(static_cast<std::wint_t>(number)) != 0;
    if (isPrintable && !isInvisible(number) && !startsEscape(aText))
    {
        aResult.append(aText, 0, length);
        return length;
    }
    if (isValid && number >= endOfAscii)
    {
        aResult += fmt::format("\\u{{{:x}}}", static_cast<std::uint32_t>(number));
        return length;
    }
    aResult += fmt::format("\\x{:02x}", static_cast<unsigned char>(aText.front()));
    return 1;
}
}  // namespace

std::string printable(std::string_view aText)
{
    std::string result;
    while (!aText.empty())
    {
        aText.remove_prefix(appendFirst(result, aText));
    }
    return result;
}
}  // namespace qzagent
