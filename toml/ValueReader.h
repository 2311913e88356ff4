/// @file
/// Reads single values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "toml/Named.h"
#include "toml/TomlValue.h"

namespace tomlfile
{
constexpr std::uint32_t highestNumber = std::numeric_limits<std::uint32_t>::max();

/// @throws TomlError when the value is not such a number
std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest,
                         std::string_view aExpected);

/// Same as above, with a generated description of the expected numbers.
std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest);

/// @param aLongest highest number of bytes
/// @throws TomlError when the value is not a text of this length without control characters
std::string const& readText(TomlValue const& aValue, std::size_t aLongest);

/// Reads text without control characters into a field.
/// @param aSize size of the field, including the terminator
/// @throws TomlError when the value is not such a text
void readText(TomlValue const& aValue, char* aField, std::size_t aSize);

/// Reads a text and converts it.
/// @param aFind returns the converted value; nothing for an unexpected text
/// @throws TomlError when the value is not an expected text
template <typename Find>
auto readFound(TomlValue const& aValue, Find aFind, std::string_view aExpected)
{
    auto const found = aFind(aValue.as<TomlValue::Text>(aExpected));
    if (!found)
    {
        aValue.refuse(aExpected);
    }
    return *found;
}

/// Same as above, but also accepts any number.
template <typename Find>
std::uint32_t readFoundOrNumber(TomlValue const& aValue, Find aFind, std::string_view aExpected)
{
    return aValue.is<TomlValue::Text>() ? readFound(aValue, aFind, aExpected)
                                        : readNumber(aValue, 0, highestNumber, aExpected);
}

/// Reads one of the names of a table.
/// @throws TomlError when the value is not one of them
template <typename Value, std::size_t count>
Value readNamed(TomlValue const& aValue, Named<Value> const (&aTable)[count])
{
    return readFound(
        aValue, [&aTable](std::string_view aName) { return valueNamed(aName, aTable); },
        "one of " + namesIn(aTable));
}
}  // namespace tomlfile
