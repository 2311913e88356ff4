#include "simulator/recording/Player.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
/// How long a call waits for the calls of other threads that come before it.
constexpr std::chrono::seconds patience{2};

std::size_t numberOfCounts(Recording const& aRecording)
{
    return aRecording.questions().size() + 1 + aRecording.lastCalls().size();
}

void refuseCall(std::string const& aLibrary, std::string const& aDescription, std::string const& aReason)
{
    std::fputs(
        fmt::format("qzsim: refused: {} of {}: {}\n", aDescription, tomlfile::escaped(aLibrary), aReason)
            .c_str(),
        stderr);
}
}  // namespace

Player::Player(Recording aRecording, std::string const& aCounts, ReplayOptions const& aOptions)
    : mRecording(std::move(aRecording)), mCounts(aCounts, numberOfCounts(mRecording)), mOptions(aOptions)
{
}

MemoryFile Player::countsFor(Recording const& aRecording)
{
    return MemoryFile(numberOfCounts(aRecording) * sizeof(SharedCount));
}

RecordedCall const* Player::answer(std::string const& aLibrary, std::string const& aFunction,
                                   Json const& aArguments)
{
    std::optional<std::uint32_t> const question = mRecording.question(aLibrary, aFunction, aArguments);
    if (!question)
    {
        refuseCall(aLibrary, describeCall(aFunction, aArguments), "the recording has no such call");
        return nullptr;
    }
    RecordedCall const* const call =
        mOptions.mIsStrict ? inOrder(*question, describeCall(aFunction, aArguments)) : nextOf(*question);
    if (call != nullptr)
    {
        std::this_thread::sleep_for(scaledTime(call->mDuration, mOptions.mSpeed));
    }
    return call;
}

RecordedCall const* Player::nextOf(std::uint32_t aQuestion)
{
    std::vector<std::size_t> const& answers = mRecording.questions()[aQuestion];
    std::size_t const position = mCounts[aQuestion]++;
    return &mRecording.calls()[answers[std::min(position, answers.size() - 1)]];
}

RecordedCall const* Player::inOrder(std::uint32_t aQuestion, std::string const& aDescription)
{
    std::vector<RecordedCall> const& calls = mRecording.calls();
    SharedCount& position = mCounts[mRecording.questions().size()];
    auto const thread = static_cast<std::uint32_t>(::gettid());
    std::uint32_t waitedFor = position;
    auto end = std::chrono::steady_clock::now() + patience;
    for (;;)
    {
        std::uint32_t next = position;
        bool const isNext =
            next < calls.size() && calls[next].mQuestion == aQuestion && isTurnOf(thread, next);
        if (next != waitedFor)
        {
            // The call before takes its time.
            end = std::chrono::steady_clock::now() + patience +
                  scaledTime(calls[next - 1].mDuration, mOptions.mSpeed);
            waitedFor = next;
        }
        if (isNext && position.compare_exchange_strong(next, next + 1))
        {
            return &calls[next];
        }
        if (next >= calls.size() || std::chrono::steady_clock::now() > end)
        {
            std::string const library =
                mRecording.calls()[mRecording.questions()[aQuestion].front()].mLibrary;
            refuseCall(library, aDescription,
                       next >= calls.size()
                           ? "the recording ends before this call"
                           : fmt::format("the next call of the recording is {}",
                                         describeCall(calls[next].mFunction, calls[next].mArguments)));
            return nullptr;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(isNext ? 0 : 1));
    }
}

/// Threads that make equal calls must not make each other's, or the next call of the recording might be one that no
/// thread is going to make. Each takes over the calls of a recorded thread with its first call, and those of another
/// when these have ended.
bool Player::isTurnOf(std::uint32_t aThread, std::size_t aPosition) const
{
    std::size_t const firstThread = mRecording.questions().size() + 1;
    SharedCount& player = mCounts[firstThread + mRecording.calls()[aPosition].mThread];
    std::uint32_t present = player;
    if (present != 0)
    {
        return present == aThread;
    }
    for (std::size_t i = 0; i < mRecording.lastCalls().size(); ++i)
    {
        if (mCounts[firstThread + i] == aThread && mRecording.lastCalls()[i] > aPosition)
        {
            return false;
        }
    }
    return player.compare_exchange_strong(present, aThread);
}

std::vector<std::string> Player::notes() const
{
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < mRecording.questions().size() && !mOptions.mIsStrict; ++i)
    {
        std::vector<std::size_t> const& answers = mRecording.questions()[i];
        std::uint32_t const asked = mCounts[i];
        RecordedCall const& call = mRecording.calls()[answers.back()];
        if (asked > answers.size())
        {
            lines.push_back(
                fmt::format("{} of {} was recorded {} and called {} times; the last answer was repeated",
                            describeCall(call.mFunction, call.mArguments), tomlfile::escaped(call.mLibrary),
                            answers.size(), asked));
        }
    }
    return lines;
}
}  // namespace qzsim
