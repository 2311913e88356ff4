#include "toml/ValueReader.h"

#include <cstring>

#include <fmt/format.h>

namespace tomlfile
{
std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest,
                         std::string_view aExpected)
{
    auto const number = aValue.as<TomlValue::Number>(aExpected);
    if (number < aLowest || number > aHighest)
    {
        aValue.refuse(aExpected);
    }
    return static_cast<std::uint32_t>(number);
}

std::uint32_t readNumber(TomlValue const& aValue, std::uint32_t aLowest, std::uint32_t aHighest)
{
    return readNumber(aValue, aLowest, aHighest, fmt::format("a number from {} to {}", aLowest, aHighest));
}

std::string const& readText(TomlValue const& aValue, std::size_t aLongest)
{
    std::string const expected =
        fmt::format("a string of at most {} bytes without control characters", aLongest);
    auto const& text = aValue.as<TomlValue::Text>(expected);
    if (text.size() > aLongest || hasControlCharacter(text))
    {
        aValue.refuse(expected);
    }
    return text;
}

void readText(TomlValue const& aValue, char* aField, std::size_t aSize)
{
    std::string const& text = readText(aValue, aSize - 1);
    std::memcpy(aField, text.c_str(), text.size() + 1);
}
}  // namespace tomlfile
