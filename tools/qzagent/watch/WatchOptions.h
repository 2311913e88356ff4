/// @file
/// The options of the verb watch.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/qzagent/cli/CommandLine.h"

namespace qzagent
{
struct WatchOptions
{
    std::optional<unsigned int> mCategory;     ///< none for every category
    std::optional<unsigned int> mSubcategory;  ///< none for every subcategory
    std::optional<unsigned int> mBoard;        ///< none for all boards
    bool mIsPlain = false;                  ///< true for the plain interface, false for the Quazor interface
    std::optional<std::uint64_t> mCount;    ///< number of events after which the watch stops
    std::optional<std::uint64_t> mSeconds;  ///< seconds after which the watch stops
    std::optional<std::string> mEventLayout;  ///< path of the layout of events; none for the simulator's
    std::optional<std::string> mOutput;       ///< path of the capture; none for lines on standard output
};

/// Adds the options to the arguments of the verb.
/// @param aOptions set when the arguments are parsed
void addOptions(ArgumentList& aArguments, WatchOptions& aOptions);
}  // namespace qzagent
