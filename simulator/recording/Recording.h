/// @file
/// Reads recordings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "pcapng/Window.h"

namespace qzsim
{
using Json = nlohmann::json;

/// Thrown when a file is no recording. The text can be printed as it is.
class RecordingError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A call of a library, with the answer that it got.
struct RecordedCall
{
    std::string mLibrary;
    std::string mFunction;
    Json mArguments;
    std::optional<std::uint32_t> mReturned;  ///< none if the function returns nothing
    Json mResults;
    std::uint64_t mStart;     ///< nanoseconds since 1970-01-01 UTC
    std::uint64_t mDuration;  ///< nanoseconds
    std::uint32_t mQuestion;  ///< the same number for calls with the same library, function and arguments
    std::uint32_t mThread;  ///< the system's number of the thread; from 0 without gaps in Recording::calls()
};

/// A call of a callback of the program.
struct RecordedEvent
{
    std::uint32_t mRegistration;
    std::uint64_t mTime;  ///< nanoseconds since 1970-01-01 UTC
    Json mData;
};

/// A library that the program has opened.
struct RecordedLibrary
{
    std::optional<std::string> mError;  ///< why it could not be loaded
    std::set<std::string> mFunctions;   ///< that it has
};

/// What a file says about the libraries of a host.
class Recording
{
public:
    /// @throws RecordingError when the file cannot be read or is no recording
    static Recording ofFile(std::string const& aPath);

    /// @throws RecordingError when the input is no recording
    explicit Recording(pcapng::Input& aInput);

    /// The calls in the order of their starts.
    std::vector<RecordedCall> const& calls() const { return mCalls; }

    /// For each number of a question, the calls that ask it.
    std::vector<std::vector<std::size_t>> const& questions() const { return mQuestions; }

    /// @return the number of the question; none if it was not recorded
    std::optional<std::uint32_t> question(std::string const& aLibrary, std::string const& aFunction,
                                          Json const& aArguments) const;

    /// For each thread, the position of its last call.
    std::vector<std::size_t> const& lastCalls() const { return mLastCalls; }

    /// The events in the order of their times.
    std::vector<RecordedEvent> const& events() const { return mEvents; }

    std::map<std::string, RecordedLibrary> const& libraries() const { return mLibraries; }

    /// The content of /etc/hba.conf; none if the file was not read.
    std::optional<std::string> const& configuration() const { return mConfiguration; }

    /// Number of packets and pieces that cannot be read.
    std::size_t damaged() const { return mDamaged; }

private:
    void readItems(pcapng::Input& aInput);
    void take(std::string const& aLibrary, std::uint64_t aTime, Json const& aPacket);
    void takeCall(std::string const& aLibrary, std::uint64_t aTime, Json const& aPacket);
    void arrange();

    std::vector<RecordedCall> mCalls;
    std::vector<RecordedEvent> mEvents;
    std::map<std::string, RecordedLibrary> mLibraries;
    std::optional<std::string> mConfiguration;
    std::map<std::string, std::uint32_t> mNumbers;  ///< of the questions
    std::vector<std::vector<std::size_t>> mQuestions;
    std::vector<std::size_t> mLastCalls;
    std::size_t mDamaged = 0;
    std::optional<std::uint64_t> mBegin;  ///< time of the first packet
};

/// @return the call in words, such as "HBA_OpenAdapter(adapter "example-0")"
std::string describeCall(std::string const& aFunction, Json const& aArguments);
}  // namespace qzsim
