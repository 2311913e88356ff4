#include "tools/qzagent/cli/ByteSize.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>

namespace qzagent
{
namespace
{
constexpr unsigned int bitsOfUnit = 10;
}  // namespace

std::optional<std::uint64_t> byteSizeOf(std::string_view aText)
{
    constexpr std::string_view units = "KMGT";
    std::uint64_t number = 0;
    char const* const end = aText.data() + aText.size();
    auto const [last, error] = std::from_chars(aText.data(), end, number);
    if (error != std::errc() || end - last > 1)
    {
        return {};
    }
    if (last == end)
    {
        return number;
    }
    std::size_t const unit = units.find(*last);
    if (unit == std::string_view::npos)
    {
        return {};
    }
    auto const shift = bitsOfUnit * (static_cast<unsigned int>(unit) + 1);
    if (number > std::numeric_limits<std::uint64_t>::max() >> shift)
    {
        return {};
    }
    return number << shift;
}
}  // namespace qzagent
