/// @file
/// World Wide Names in texts, in any of their usual spellings.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "anonymise/Name.h"

namespace anonymise
{
/// Sixteen hexadecimal digits in either letter case: in a row, or in groups of two, four or eight with the same
/// separator between them.
struct SpelledName
{
    Name mName;
    std::size_t mLength;  ///< number of characters
    bool mIsCertain;      ///< whether it is a name although nothing else is known about it
};

/// @return the name that begins at the position; none if no name does
std::optional<SpelledName> spelledNameAt(std::string_view aText, std::size_t aPosition);

/// @param aSpelled the text of a name
/// @return the other name in the same spelling
std::string spelledLike(std::string_view aSpelled, Name const& aName);

/// @return number of hexadecimal digits in a row from the position
std::size_t digitsFrom(std::string_view aText, std::size_t aPosition);

/// @return whether a digit precedes the position
bool isWithinDigits(std::string_view aText, std::size_t aPosition);
}  // namespace anonymise
