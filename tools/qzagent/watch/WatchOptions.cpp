#include "tools/qzagent/watch/WatchOptions.h"

#include <cstdint>
#include <limits>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
namespace
{
constexpr std::uint64_t largestSingleCategory = anyCategory - 1;
constexpr std::uint64_t largestBoard = std::numeric_limits<unsigned int>::max();
constexpr std::uint64_t mostEvents = 1'000'000'000'000'000;
constexpr std::uint64_t mostSeconds = 1'000'000'000;
}  // namespace

void addOptions(ArgumentList& aArguments, WatchOptions& aOptions)
{
    aArguments.addNumber("--category", "N", {0, largestSingleCategory}, aOptions.mCategory,
                         "Only events of this category, 0 to 254; every category by default");
    aArguments.addNumber("--subcategory", "N", {0, largestSingleCategory}, aOptions.mSubcategory,
                         "Only events of this subcategory, 0 to 254; every subcategory by default");
    aArguments.addNumber("--board", "N", {0, largestBoard}, aOptions.mBoard,
                         "Only events of this board; all boards by default");
    aArguments.addFlag("--plain", aOptions.mIsPlain, "Use the plain interface instead of Quazor events");
    aArguments.addNumber("--count", "N", {1, mostEvents}, aOptions.mCount, "Stop after N events");
    aArguments.addNumber("--seconds", "S", {1, mostSeconds}, aOptions.mSeconds, "Stop after S seconds");
    aArguments.addText("--event-layout", "FILE", aOptions.mEventLayout,
                       "Read the vendor library's event records as this file describes them");
    aArguments.addText("--output", "FILE", aOptions.mOutput, "Append the events to this capture");
}
}  // namespace qzagent
