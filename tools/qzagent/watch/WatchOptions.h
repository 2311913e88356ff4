/// @file
/// What the verb watch is asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/qzagent/cli/CommandLine.h"

namespace qzagent
{
struct WatchOptions
{
    std::optional<unsigned int> mCategory;     ///< none for any
    std::optional<unsigned int> mSubcategory;  ///< none for any
    std::optional<unsigned int> mBoard;        ///< none for all
    bool mIsPlain = false;                     ///< by the plain interface, not by the Quazor one
    std::optional<std::uint64_t> mCount;       ///< ends after so many events
    std::optional<std::uint64_t> mSeconds;     ///< ends after so long
    std::optional<std::string> mOutput;        ///< the capture; none for lines on standard output
};

/// @param aOptions set when the arguments are parsed
void addOptions(ArgumentList& aArguments, WatchOptions& aOptions);
}  // namespace qzagent
