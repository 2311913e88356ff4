/// @file
/// Answers calls from a recording.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/control/MemoryFile.h"
#include "simulator/control/SharedCounts.h"
#include "simulator/recording/Recording.h"

namespace qzsim
{
/// How a recording is replayed.
struct ReplayOptions
{
    double mSpeed = 1;       ///< 2 halves the delays; 0 for none
    bool mIsStrict = false;  ///< whether calls must come in the order of the recording
};

/// @param aTime nanoseconds
/// @return how long this takes at a speed, at most about 30 years
inline std::chrono::nanoseconds scaledTime(std::uint64_t aTime, double aSpeed)
{
    constexpr double longest = 1e18;
    return std::chrono::nanoseconds(
        aSpeed <= 0 ? 0 : static_cast<std::int64_t>(std::min(static_cast<double>(aTime) / aSpeed, longest)));
}

/// Finds the answer to each call. All processes share how often each question was asked.
/// Thread-safety: any number of threads may use an object at the same time.
class Player
{
public:
    /// @param aCounts path of a file made by countsFor()
    /// @throws std::runtime_error when the file cannot be mapped
    Player(Recording aRecording, std::string const& aCounts, ReplayOptions const& aOptions);

    /// @return the file in which the processes share their counts
    static MemoryFile countsFor(Recording const& aRecording);

    /// Waits as long as the recorded call took. With the order of the recording, it first waits for the calls before.
    /// @return the recorded call whose answer is the answer now; none if the call is refused, which is reported on
    ///         standard error
    RecordedCall const* answer(std::string const& aLibrary, std::string const& aFunction,
                               Json const& aArguments);

    Recording const& recording() const { return mRecording; }

    double speed() const { return mOptions.mSpeed; }

    /// @return a line for each question that was asked more often than was recorded
    std::vector<std::string> notes() const;

private:
    RecordedCall const* nextOf(std::uint32_t aQuestion);
    RecordedCall const* inOrder(std::uint32_t aQuestion, std::string const& aDescription);
    bool isTurnOf(std::uint32_t aThread, std::size_t aPosition) const;

    Recording const mRecording;
    /// One for each question, the position in the order of the recording, and for each thread of the recording the thread
    /// that makes its calls now, or 0.
    SharedCounts const mCounts;
    ReplayOptions const mOptions;
};
}  // namespace qzsim
