#include "tools/qzagent/Number.h"

#include <charconv>
#include <string>
#include <system_error>

#include <fmt/format.h>

namespace qzagent
{
CLI::Validator numberFrom(std::uint64_t aSmallest, std::uint64_t aLargest)
{
    auto const complaint = [=](std::string const& aText)
    {
        std::uint64_t value = 0;
        char const* const end = aText.data() + aText.size();
        auto const [last, error] = std::from_chars(aText.data(), end, value);
        bool const isNumber = error == std::errc() && last == end && std::to_string(value) == aText;
        return isNumber && value >= aSmallest && value <= aLargest
                   ? std::string()
                   : fmt::format("'{}' is not a number from {} to {}", aText, aSmallest, aLargest);
    };
    return {complaint, ""};
}
}  // namespace qzagent
