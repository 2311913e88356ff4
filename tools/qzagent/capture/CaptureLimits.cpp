#include "tools/qzagent/capture/CaptureLimits.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "tools/qzagent/cli/ByteSize.h"

namespace qzagent
{
namespace
{
/// The largest size of a file, and more seconds than any host runs.
constexpr std::uint64_t largestSize = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t mostSeconds = 1'000'000'000;

struct Unit
{
    char mLetter;
    std::uint64_t mSeconds;
};

constexpr Unit times[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};

bool startsWithZero(std::string_view aText) { return aText.substr(0, 1) == "0"; }

/// @return the number, from 1; none for any other text
std::optional<std::uint64_t> numberOf(std::string_view aText)
{
    std::uint64_t number = 0;
    char const* const end = aText.data() + aText.size();
    auto const [last, error] = std::from_chars(aText.data(), end, number);
    bool const isNumber = error == std::errc() && last == end && !startsWithZero(aText);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// @return the number of bytes of a number from 1 with a unit; none for any other text
std::optional<std::uint64_t> sizeOf(std::string_view aText)
{
    bool const hasUnit = !aText.empty() && (aText.back() < '0' || aText.back() > '9');
    std::optional<std::uint64_t> const size =
        hasUnit && !startsWithZero(aText) ? byteSizeOf(aText) : std::nullopt;
    return size && *size <= largestSize ? size : std::nullopt;
}

std::optional<std::uint64_t> secondsOf(std::string_view aText)
{
    for (Unit const& unit : times)
    {
        if (!aText.empty() && aText.back() == unit.mLetter)
        {
            std::optional<std::uint64_t> const number = numberOf(aText.substr(0, aText.size() - 1));
            bool const fits = number && *number <= mostSeconds / unit.mSeconds;
            return fits ? std::optional(*number * unit.mSeconds) : std::nullopt;
        }
    }
    return {};
}
}  // namespace

std::optional<RotateLimit> parseRotateLimit(std::string const& aText)
{
    if (std::optional<std::uint64_t> const size = sizeOf(aText))
    {
        return RotateLimit{size, {}};
    }
    if (std::optional<std::uint64_t> const time = secondsOf(aText))
    {
        return RotateLimit{{}, std::chrono::seconds(*time)};
    }
    return {};
}

std::optional<KeepLimit> parseKeepLimit(std::string const& aText)
{
    if (std::optional<std::uint64_t> const size = sizeOf(aText))
    {
        return KeepLimit{{}, size};
    }
    std::optional<std::uint64_t> const files = numberOf(aText);
    return files ? std::optional(KeepLimit{files, {}}) : std::nullopt;
}
}  // namespace qzagent
