#include "tools/qzagent/WatchOptions.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "simulator/include/QzEvent.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestCategory = QZ_ANY_CATEGORY - 1;
constexpr std::uint64_t largestBoard = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t mostEvents = 1'000'000'000'000'000;
constexpr std::uint64_t mostSeconds = 1'000'000'000;

/// A number as people write it; the parser by itself would take 010 for 8.
CLI::Validator number(std::uint64_t aSmallest, std::uint64_t aLargest)
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
}  // namespace

void addOptions(CLI::App& arVerb, WatchOptions& arOptions)
{
    arVerb.add_option("--category", arOptions.mCategory, "Only events of this category")
        ->type_name("N")
        ->check(number(0, largestCategory));
    arVerb.add_option("--subcategory", arOptions.mSubcategory, "Only events of this subcategory")
        ->type_name("N")
        ->check(number(0, largestCategory));
    arVerb.add_option("--board", arOptions.mBoard, "Only events of this board")
        ->type_name("N")
        ->check(number(0, largestBoard));
    arVerb.add_flag("--plain", arOptions.mIsPlain, "Use the plain interface instead of Quazor events")
        ->disable_flag_override();
    arVerb.add_option("--count", arOptions.mCount, "End after so many events")
        ->type_name("N")
        ->check(number(1, mostEvents));
    arVerb.add_option("--seconds", arOptions.mSeconds, "End after so long")
        ->type_name("S")
        ->check(number(1, mostSeconds));
    arVerb.add_option("--output", arOptions.mOutput, "Append the events to this capture")->type_name("FILE");
}
}  // namespace qzagent
