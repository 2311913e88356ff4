#include "tools/qzagent/WatchOptions.h"

#include <cstdint>
#include <limits>

#include <CLI/CLI.hpp>

#include "simulator/include/QzEvent.h"
#include "tools/qzagent/Number.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestSingleCategory = QZ_ANY_CATEGORY - 1;
constexpr std::uint64_t largestBoard = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t mostEvents = 1'000'000'000'000'000;
constexpr std::uint64_t mostSeconds = 1'000'000'000;
}  // namespace

void addOptions(CLI::App& arVerb, WatchOptions& arOptions)
{
    arVerb.add_option("--category", arOptions.mCategory, "Only events of this category, 0 to 254")
        ->type_name("N")
        ->check(numberFrom(0, largestSingleCategory));
    arVerb.add_option("--subcategory", arOptions.mSubcategory, "Only events of this subcategory, 0 to 254")
        ->type_name("N")
        ->check(numberFrom(0, largestSingleCategory));
    arVerb.add_option("--board", arOptions.mBoard, "Only events of this board")
        ->type_name("N")
        ->check(numberFrom(0, largestBoard));
    arVerb.add_flag("--plain", arOptions.mIsPlain, "Use the plain interface instead of Quazor events")
        ->disable_flag_override();
    arVerb.add_option("--count", arOptions.mCount, "End after so many events")
        ->type_name("N")
        ->check(numberFrom(1, mostEvents));
    arVerb.add_option("--seconds", arOptions.mSeconds, "End after so long")
        ->type_name("S")
        ->check(numberFrom(1, mostSeconds));
    arVerb.add_option("--output", arOptions.mOutput, "Append the events to this capture")->type_name("FILE");
}
}  // namespace qzagent
