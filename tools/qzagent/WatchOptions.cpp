#include "tools/qzagent/WatchOptions.h"

#include <cstdint>
#include <limits>

#include "simulator/include/QzEvent.h"
#include "tools/qzagent/CommandLine.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestSingleCategory = QZ_ANY_CATEGORY - 1;
constexpr std::uint64_t largestBoard = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t mostEvents = 1'000'000'000'000'000;
constexpr std::uint64_t mostSeconds = 1'000'000'000;
}  // namespace

void addOptions(ArgumentList& arArguments, WatchOptions& arOptions)
{
    arArguments.addNumber("--category", "N", {0, largestSingleCategory}, arOptions.mCategory,
                          "Only events of this category, 0 to 254");
    arArguments.addNumber("--subcategory", "N", {0, largestSingleCategory}, arOptions.mSubcategory,
                          "Only events of this subcategory, 0 to 254");
    arArguments.addNumber("--board", "N", {0, largestBoard}, arOptions.mBoard, "Only events of this board");
    arArguments.addFlag("--plain", arOptions.mIsPlain, "Use the plain interface instead of Quazor events");
    arArguments.addNumber("--count", "N", {1, mostEvents}, arOptions.mCount, "End after so many events");
    arArguments.addNumber("--seconds", "S", {1, mostSeconds}, arOptions.mSeconds, "End after so long");
    arArguments.addText("--output", "FILE", arOptions.mOutput, "Append the events to this capture");
}
}  // namespace qzagent
