/// @file
/// Reads single values of a scenario. All throw ScenarioError for a value that is not what is expected.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>
#include <string_view>

#include <hbaapi.h>

#include "simulator/scenario/Named.h"
#include "simulator/scenario/TomlValue.h"

namespace qzsim
{
constexpr std::uint32_t highestNumber = std::numeric_limits<std::uint32_t>::max();

std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest,
                         std::string_view aExpected);

/// As above, and says which numbers are expected.
std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest);

/// Text without control characters for a field that holds as many bytes, a terminator among them.
void readText(TomlValue const& aValue, char* aField, std::size_t aSize);

HBA_WWN readWwn(TomlValue const& aValue);

/// What the function finds for a text.
/// @param aFind returns an optional value, nothing for a text that is not expected
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

/// As above, or any number.
template <typename Find>
std::uint32_t readFoundOrNumber(TomlValue const& aValue, Find aFind, std::string_view aExpected)
{
    return aValue.is<TomlValue::Text>() ? readFound(aValue, aFind, aExpected)
                                        : readNumber(aValue, 0, highestNumber, aExpected);
}

/// The value of one of the names.
template <typename Value, std::size_t count>
Value readNamed(TomlValue const& aValue, Named<Value> const (&aTable)[count])
{
    return readFound(
        aValue, [&aTable](std::string_view aName) { return valueNamed(aName, aTable); },
        "one of " + namesIn(aTable));
}
}  // namespace qzsim
