#include "anonymise/SpelledName.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace anonymise
{
namespace
{
constexpr std::size_t digitsOfName = 2 * sizeOfName;
constexpr std::string_view separators = ":-._ ";
constexpr std::string_view certainSeparators = ":-";

/// Two groups of eight digits are often two numbers.
constexpr std::size_t longestCertainGroup = 4;

/// The standard's locale-independent digits.
bool isDigit(char aCharacter)
{
    return (aCharacter >= '0' && aCharacter <= '9') || (aCharacter >= 'a' && aCharacter <= 'f') ||
           (aCharacter >= 'A' && aCharacter <= 'F');
}

unsigned int valueOf(char aDigit)
{
    unsigned int const letterA = 10;
    return aDigit <= '9' ? static_cast<unsigned int>(aDigit - '0')
                         : static_cast<unsigned int>((aDigit | 0x20) - 'a') + letterA;
}

/// @return sixteen digits, of which aGroup are in a row; empty if the text does not begin with them
std::string digitsIn(std::string_view aText, std::size_t aGroup)
{
    std::size_t const length = digitsOfName + digitsOfName / aGroup - 1;
    if (aText.size() < length || separators.find(aText[aGroup]) == std::string_view::npos)
    {
        return {};
    }
    std::string digits;
    for (std::size_t i = 0; i < length; ++i)
    {
        bool const isSeparator = i % (aGroup + 1) == aGroup;
        if (isSeparator ? aText[i] != aText[aGroup] : !isDigit(aText[i]))
        {
            return {};
        }
        digits += isSeparator ? std::string() : std::string(1, aText[i]);
    }
    return digits;
}

Name nameWith(std::string_view aDigits)
{
    Name bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = static_cast<unsigned char>(valueOf(aDigits[2 * i]) * 16 + valueOf(aDigits[2 * i + 1]));
    }
    return bytes;
}

/// @return whether the first digit is that of a format which names of ports, nodes and units have
bool hasUsualFormat(char aDigit)
{
    return std::string_view("1256cdefCDEF").find(aDigit) != std::string_view::npos;
}
}  // namespace

std::size_t digitsFrom(std::string_view aText, std::size_t aPosition)
{
    auto const* const first = aText.begin() + aPosition;
    return static_cast<std::size_t>(std::find_if_not(first, aText.end(), isDigit) - first);
}

bool isWithinDigits(std::string_view aText, std::size_t aPosition)
{
    // The 0 of 0x is no digit of the number.
    return aPosition > 0 && isDigit(aText[aPosition - 1]);
}

std::optional<SpelledName> spelledNameAt(std::string_view aText, std::size_t aPosition)
{
    if (aPosition >= aText.size() || !isDigit(aText[aPosition]))
    {
        return {};
    }
    std::string_view const rest = aText.substr(aPosition);
    bool const isWithin = isWithinDigits(aText, aPosition);
    std::size_t const inRow = digitsFrom(rest.substr(0, digitsOfName + 1), 0);
    if (inRow >= digitsOfName)
    {
        bool const isCertain = !isWithin && inRow == digitsOfName && hasUsualFormat(rest[0]);
        return SpelledName{nameWith(rest), digitsOfName, isCertain};
    }
    for (std::size_t const group : {2U, 4U, 8U})
    {
        if (std::string const digits = digitsIn(rest, group); !digits.empty())
        {
            std::size_t const length = digitsOfName + digitsOfName / group - 1;
            bool const isCertain = !isWithin && digitsFrom(rest, length) == 0 &&
                                   group <= longestCertainGroup &&
                                   certainSeparators.find(rest[group]) != std::string_view::npos;
            return SpelledName{nameWith(digits), length, isCertain};
        }
    }
    return {};
}

std::string spelledLike(std::string_view aSpelled, Name const& aName)
{
    bool const isUpper = std::any_of(aSpelled.begin(), aSpelled.end(),
                                     [](char aCharacter) { return aCharacter >= 'A' && aCharacter <= 'F'; });
    std::string_view const digits = isUpper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string spelled(aSpelled);
    std::size_t count = 0;
    for (char& character : spelled)
    {
        if (isDigit(character))
        {
            unsigned char const byte = aName[count / 2];
            character = digits[count % 2 == 0 ? byte / 16U : byte % 16U];
            ++count;
        }
    }
    return spelled;
}
}  // namespace anonymise
