#include "simulator/scenario/Wwn.h"

#include <charconv>
#include <climits>
#include <cstddef>
#include <iterator>

#include <fmt/format.h>

namespace qzsim
{
namespace
{
constexpr std::size_t lengthOfPair = 2;
constexpr std::size_t distanceOfPairs = lengthOfPair + 1;
constexpr std::size_t numberOfPairs = sizeof(HBA_WWN::wwn);
constexpr std::size_t lengthOfText = numberOfPairs * distanceOfPairs - 1;
}  // namespace

std::optional<HBA_WWN> wwnIn(std::string_view aText)
{
    if (aText.size() != lengthOfText)
    {
        return std::nullopt;
    }
    HBA_WWN name{};
    for (std::size_t index = 0; index < numberOfPairs; ++index)
    {
        char const* const pair = aText.data() + index * distanceOfPairs;
        char const* const end = pair + lengthOfPair;
        bool const isLast = index + 1 == numberOfPairs;
        if (std::from_chars(pair, end, name.wwn[index], hexadecimal).ptr != end || (!isLast && *end != ':'))
        {
            return std::nullopt;
        }
    }
    return name;
}

std::string textOf(HBA_WWN const& aName)
{
    return fmt::format("{:02x}", fmt::join(std::begin(aName.wwn), std::end(aName.wwn), ":"));
}

std::uint64_t numberOf(HBA_WWN const& aName)
{
    std::uint64_t number = 0;
    for (HBA_UINT8 const byte : aName.wwn)
    {
        number = number << CHAR_BIT | byte;
    }
    return number;
}
}  // namespace qzsim
