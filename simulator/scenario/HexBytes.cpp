#include "simulator/scenario/HexBytes.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "simulator/scenario/Wwn.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
void skipBlanks(std::string_view& aText)
{
    aText.remove_prefix(std::min(aText.find_first_not_of(' '), aText.size()));
}

/// Parses bytes such as "01 02 ff". The blanks are optional.
std::optional<std::vector<std::uint8_t>> bytesIn(std::string_view aText, std::size_t aMost)
{
    constexpr std::size_t lengthOfPair = 2;
    std::vector<std::uint8_t> bytes;
    for (skipBlanks(aText); !aText.empty(); skipBlanks(aText))
    {
        std::string_view const pair = aText.substr(0, lengthOfPair);
        std::uint8_t byte = 0;
        if (std::from_chars(pair.data(), pair.data() + pair.size(), byte, hexadecimal).ptr !=
                pair.data() + lengthOfPair ||
            bytes.size() == aMost)
        {
            return std::nullopt;
        }
        bytes.push_back(byte);
        aText.remove_prefix(lengthOfPair);
    }
    return bytes;
}
}  // namespace

std::vector<std::uint8_t> readHexBytes(tomlfile::TomlValue const& aValue, std::size_t aMost)
{
    return tomlfile::readFound(
        aValue, [aMost](std::string_view aText) { return bytesIn(aText, aMost); },
        fmt::format("at most {} bytes in hexadecimal such as \"01 02 ff\"", aMost));
}
}  // namespace qzsim
