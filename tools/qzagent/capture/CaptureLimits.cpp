#include "tools/qzagent/capture/CaptureLimits.h"

#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace qzagent
{
namespace
{
/// The largest size of a file, and more seconds than any host runs.
constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t mostSeconds = 1'000'000'000;

struct Unit
{
    char mLetter;
    std::uint64_t mFactor;
};

constexpr Unit sizes[] = {{'K', std::uint64_t{1} << 10U},
                          {'M', std::uint64_t{1} << 20U},
                          {'G', std::uint64_t{1} << 30U},
                          {'T', std::uint64_t{1} << 40U}};
constexpr Unit times[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};

/// @return the number, from 1; none for any other text
std::optional<std::uint64_t> numberOf(std::string_view aText)
{
    std::uint64_t number = 0;
    char const* const end = aText.data() + aText.size();
    auto const [last, error] = std::from_chars(aText.data(), end, number);
    bool const isNumber = error == std::errc() && last == end && aText.front() != '0';
    return isNumber ? std::optional(number) : std::nullopt;
}

template <std::size_t count>
std::optional<std::uint64_t> amountOf(std::string_view aText, Unit const (&aUnits)[count],
                                      std::uint64_t aLargest)
{
    for (Unit const& unit : aUnits)
    {
        if (aText.size() > 1 && aText.back() == unit.mLetter)
        {
            std::optional<std::uint64_t> const number = numberOf(aText.substr(0, aText.size() - 1));
            bool const fits = number && *number <= aLargest / unit.mFactor;
            return fits ? std::optional(*number * unit.mFactor) : std::nullopt;
        }
    }
    return {};
}
}  // namespace

std::optional<RotateLimit> parseRotateLimit(std::string const& aText)
{
    if (std::optional<std::uint64_t> const size = amountOf(aText, sizes, largest))
    {
        return RotateLimit{size, {}};
    }
    if (std::optional<std::uint64_t> const time = amountOf(aText, times, mostSeconds))
    {
        return RotateLimit{{}, std::chrono::seconds(*time)};
    }
    return {};
}

std::optional<KeepLimit> parseKeepLimit(std::string const& aText)
{
    if (std::optional<std::uint64_t> const size = amountOf(aText, sizes, largest))
    {
        return KeepLimit{{}, size};
    }
    std::optional<std::uint64_t> const files = aText.empty() ? std::nullopt : numberOf(aText);
    return files ? std::optional(KeepLimit{files, {}}) : std::nullopt;
}
}  // namespace qzagent
