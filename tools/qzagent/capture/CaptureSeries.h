/// @file
/// The numbered files of a recording.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>

#include "tools/qzagent/capture/CaptureLimits.h"

namespace qzagent
{
/// The files NAME-00001.pcapng, NAME-00002.pcapng and so on. Continues after the files that exist.
class CaptureSeries
{
public:
    /// @param aPath path of the files without number; ".pcapng" at its end is ignored
    CaptureSeries(std::string const& aPath, KeepLimit const& aKeep);

    /// Creates the next file. Skips the numbers of files that others have created in the meantime.
    /// @return its path
    std::string next();

    /// Removes the oldest files until the rest is within the limit. Keeps the current file.
    /// @param aCurrentSize size of the current file in bytes
    void removeOldest(std::uint64_t aCurrentSize);

private:
    std::string pathOf(std::uint64_t aNumber) const;
    bool isWithinLimit(std::uint64_t aCurrentSize) const;

    std::string const mName;
    KeepLimit const mKeep;
    std::deque<std::uint64_t> mNumbers;  ///< of the files, oldest first; the current one is the last
};

/// Skips empty files: a recorder creates the next file before it completes the current one.
/// @param aPath any path
/// @param aEnds paths of files before which the series ends
/// @return path of the file that follows it in its series; none when it is the last one, or in no series
std::optional<std::string> nextInSeries(std::string const& aPath, std::set<std::string> const& aEnds);
}  // namespace qzagent
