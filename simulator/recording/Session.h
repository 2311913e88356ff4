/// @file
/// What is recorded or replayed in this process.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulator/recording/CborReader.h"
#include "simulator/recording/CborWriter.h"
#include "simulator/recording/EventPlayer.h"
#include "simulator/recording/Player.h"
#include "simulator/recording/Recorder.h"

namespace qzsim
{
/// @name Environment variables through which the runner controls the recording library
/// @{
constexpr char const* ringVariable = "QZSIM_RING";            ///< file of the ring of a recording
constexpr char const* recordingVariable = "QZSIM_RECORDING";  ///< file of the recording that is replayed
constexpr char const* countsVariable = "QZSIM_COUNTS";        ///< file of the counts of the replay
constexpr char const* speedVariable = "QZSIM_SPEED";
constexpr char const* strictVariable = "QZSIM_STRICT";
/// @}

/// A registration of the program for events. It lasts as long as the process: a library may call a callback until then.
struct CallbackRegistration
{
    std::uint32_t mNumber;  ///< in the recording
    std::string mLibrary;
    void (*mCallback)();
    void* mContext;
    void* mHandle;  ///< that the library has returned
};

/// A call of the program.
struct ProgramCall
{
    std::string const& mLibrary;
    char const* mFunction;
    std::uint32_t mFailure;          ///< what a refused call returns
    bool (*mIsGood)(std::uint32_t);  ///< whether a call that returned this has results
};

/// Records the calls of this process, or answers them from a recording.
/// Thread-safety: all functions from any thread.
class Session
{
public:
    /// Reads the environment at the first use.
    Session() = default;

    /// @throws std::runtime_error when the recording cannot be used
    bool isRecording()
    {
        prepare();
        return mRecorder.has_value();
    }

    /// Only when recording.
    Recorder& recorder() { return *mRecorder; }

    /// Only when replaying.
    /// @{
    Player& player() { return *mPlayer; }
    EventPlayer& events() { return *mEvents; }
    /// @}

    /// Performs a call and records it, or answers it from the recording.
    /// @param aForward calls the library
    /// @return what the library returns
    template <typename Forward, typename... Parts>
    std::uint32_t call(ProgramCall const& aCall, Forward aForward, Parts... aParts);

    /// @param aAnswer receives the recorded call; null when recording, or when the call is refused
    template <typename Forward, typename... Parts>
    std::uint32_t call(RecordedCall const*& aAnswer, ProgramCall const& aCall, Forward aForward,
                       Parts... aParts);

    /// @name Registrations, when recording
    /// @{
    CallbackRegistration& addRegistration(std::string const& aLibrary, void (*aCallback)(), void* aContext);

    /// @return the number of the registration with this handle; 0 for none
    std::uint32_t registrationWith(void const* aHandle);
    /// @}

    /// @name Around a fork
    /// @{
    void end() noexcept {}
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    void prepare();

    std::once_flag mOnce;
    std::mutex mMutex;
    std::optional<Recorder> mRecorder;
    std::unique_ptr<Player> mPlayer;
    std::unique_ptr<EventPlayer> mEvents;
    std::deque<CallbackRegistration> mRegistrations;
};

template <typename Forward, typename... Parts>
std::uint32_t Session::call(ProgramCall const& aCall, Forward aForward, Parts... aParts)
{
    RecordedCall const* answer = nullptr;
    return call(answer, aCall, aForward, aParts...);
}

template <typename Forward, typename... Parts>
std::uint32_t Session::call(RecordedCall const*& aAnswer, ProgramCall const& aCall, Forward aForward,
                            Parts... aParts)
{
    CborWriter packet;
    auto const writeArguments = [&]
    {
        packet.beginMap();
        (aParts.question(packet), ...);
        packet.end();
    };
    if (!isRecording())
    {
        writeArguments();
        aAnswer = mPlayer->answer(aCall.mLibrary, aCall.mFunction, *readCbor(packet.content()));
        if (aAnswer == nullptr)
        {
            return aCall.mFailure;
        }
        (aParts.fill(aAnswer->mResults), ...);
        return aAnswer->mReturned.value_or(aCall.mFailure);
    }
    Recorder::begin(packet, "call", aCall.mFunction);
    packet.text("arguments");
    writeArguments();
    auto const start = Recorder::Clock::now();
    std::uint32_t const returned = aForward();
    std::chrono::nanoseconds const duration = Recorder::Clock::now() - start;
    int const error = errno;
    packet.text("duration");
    packet.number(static_cast<std::uint64_t>(duration.count()));
    packet.text("returns");
    packet.number(std::uint64_t{returned});
    packet.text("results");
    packet.beginMap();
    (aParts.answer(packet, aCall.mIsGood(returned)), ...);
    packet.end();
    mRecorder->write(aCall.mLibrary, packet);
    errno = error;
    return returned;
}
}  // namespace qzsim
