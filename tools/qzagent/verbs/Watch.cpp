#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Exception.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/vqm/EventIntake.h"
#include "tools/qzagent/vqm/EventLayoutFile.h"
#include "tools/qzagent/vqm/QuazorSupport.h"
#include "tools/qzagent/vqm/ReportedEnvironment.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmEvent.h"
#include "tools/qzagent/vqm/VqmLoad.h"
#include "tools/qzagent/vqm/VqmRegistrations.h"
#include "tools/qzagent/watch/WatchCapture.h"
#include "tools/qzagent/watch/WatchLines.h"
#include "tools/qzagent/watch/WatchOptions.h"
#include "tools/qzagent/watch/WatchSink.h"
#include "tools/qzagent/watch/WatchTally.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;

constexpr std::size_t mostWaitingEvents = 65'536;
constexpr std::size_t mostWaitingBytes = std::size_t{64} << 20U;
/// Number of events that are processed before the clock and the signals are checked again.
constexpr unsigned int eventsPerRound = 256;

/// Longest wait in milliseconds. An event that is discarded wakes nobody, but it is reported.
constexpr int longestWait = 1000;

nlohmann::ordered_json keysOf(std::uint64_t aReceived, std::uint64_t aWritten, std::uint64_t aDropped,
                              WatchTally const& aTally)
{
    return {{"received", aReceived}, {"written", aWritten}, {"dropped", aDropped}, {"events", aTally.json()}};
}

class Watch
{
public:
    Watch(Setting const& aSetting, WatchOptions const& aOptions)
        : mSetting(aSetting),
          mOptions(aOptions),
          mQueue(mostWaitingEvents, mostWaitingBytes,
                 aOptions.mCount.value_or(std::numeric_limits<std::uint64_t>::max()))
    {
    }

    /// Watches until the end condition holds, and reports failures.
    void run()
    {
        try
        {
            watch();
        }
        catch (QZCException const& exception)
        {
            mSetting.mReport.addFailure(failureOf(exception));
        }
        catch (std::exception const& exception)
        {
            mSetting.mReport.addError(ExitCode::failed, exception.what());
        }
        // Without its reader, the verb ends quietly.
        if (mHasBegun && !mSetting.mOutput.isAbandoned())
        {
            reportCounts();
        }
    }

    /// @return the counts; none when the events were written to standard output
    std::optional<Answer> answer() const
    {
        if (!mOptions.mOutput)
        {
            return {};
        }
        return Answer{keysOf(mQueue.received(), written(), dropped(), mTally),
                      mTally.table(mSetting.mIsColoured)};
    }

private:
    void watch()
    {
        std::optional<EventLayout> const layout = givenLayout();
        std::unique_ptr<qz::VqmLibrary> const library = loadVqm(mSetting.mReport);
        ReportedEnvironment environment(*library, mSetting.mReport);
        findBoards(*environment);
        if (!mOptions.mIsPlain && !supportsQuazorEvents(*environment))
        {
            throw std::runtime_error(
                "the driver does not support Quazor events; use --plain for plain events");
        }
        openSink();
        makeIntake(layout);
        watchRegistered(*library);
        // Nothing is registered any more; the events still in the queue are processed.
        while (!hasAll() && takeSome())
        {
        }
        mSink->finish();
    }

    std::optional<EventLayout> givenLayout() const
    {
        return mOptions.mEventLayout ? std::optional(readEventLayout(*mOptions.mEventLayout)) : std::nullopt;
    }

    void makeIntake(std::optional<EventLayout> const& aGivenLayout)
    {
        EventLayout const layout = aGivenLayout.value_or(EventLayout());
        bool const isKnown = !aGivenLayout && isSimulator();
        if (!aGivenLayout && !isKnown)
        {
            mSetting.mReport.addNote(fmt::format(
                "the diagnostic library is not the simulator; assuming the simulator's event records: {}; "
                "--event-layout describes others",
                layout.description()));
        }
        mIntake.emplace(mQueue, layout, !isKnown);
    }

    void findBoards(qz::VqmEnvironment& aEnvironment)
    {
        unsigned int const count = numberOfBoards(aEnvironment);
        if (count == 0)
        {
            throw std::runtime_error("no boards to watch");
        }
        if (!mOptions.mBoard)
        {
            mBoards = boardsOf(aEnvironment, mSetting.mReport);
            return;
        }
        if (*mOptions.mBoard >= count)
        {
            throw std::runtime_error(
                fmt::format("no board {}; run qzagent vendor to list them", *mOptions.mBoard));
        }
        mBoards.push_back(boardOf(aEnvironment, *mOptions.mBoard, mSetting.mReport));
    }

    void openSink()
    {
        if (mOptions.mOutput)
        {
            mSink = std::make_unique<WatchCapture>(*mOptions.mOutput);
        }
        else
        {
            mSink = std::make_unique<WatchLines>(mSetting.mOutput, mSignals, mSetting.mIsJson);
        }
    }

    void watchRegistered(qz::VqmLibrary& aLibrary)
    {
        auto const numberOr = [](std::optional<unsigned int> const& aNumber)
        { return static_cast<unsigned char>(aNumber.value_or(anyCategory)); };
        EventKind const kind{numberOr(mOptions.mCategory), numberOr(mOptions.mSubcategory),
                             mOptions.mIsPlain};
        VqmRegistrations registrations(aLibrary, kind, *mIntake, mSetting.mReport);
        for (Board const& board : mBoards)
        {
            if (!board.mFailure)
            {
                registrations.add(board);
            }
        }
        if (registrations.isEmpty())
        {
            throw std::runtime_error("nothing to watch: no board is registered");
        }
        mHasBegun = true;
        watchUntilEnd();
    }

    void watchUntilEnd()
    {
        setCurrentStep("waiting for events");
        if (mOptions.mSeconds)
        {
            mEnd = Clock::now() + std::chrono::seconds(*mOptions.mSeconds);
        }
        while (!mustStop())
        {
            bool const hasMore = takeSome();
            if (!hasMore)
            {
                mSink->flush();
            }
            mIntake->reportDiscarded(mSetting.mReport);
            // A signal may have arrived while flush() waited for the reader.
            wait(hasMore || mustStop() ? 0 : millisecondsLeft());
        }
    }

    bool mustStop() const
    {
        return mSignals.count() > 0 || hasAll() || (mEnd && Clock::now() >= *mEnd) ||
               mSetting.mOutput.isAbandoned();
    }

    /// @return whether the queue may have more events
    bool takeSome()
    {
        for (unsigned int i = 0; i < eventsPerRound && !hasAll(); ++i)
        {
            if (!mQueue.pop(mEvent))
            {
                return false;
            }
            ++mTaken;
            if (mSink->take(mEvent, boardNumbered(mEvent.mHead.mBoard)))
            {
                mTally.add(mEvent.mHead);
            }
        }
        return true;
    }

    bool hasAll() const { return mTaken == mOptions.mCount; }

    Board const* boardNumbered(unsigned int aNumber) const
    {
        auto const found =
            std::find_if(mBoards.begin(), mBoards.end(),
                         [=](Board const& aBoard) { return aBoard.mNumber == aNumber && !aBoard.mFailure; });
        return found == mBoards.end() ? nullptr : &*found;
    }

    /// @return the timeout for poll()
    int millisecondsLeft() const
    {
        if (!mEnd)
        {
            return longestWait;
        }
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(*mEnd - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, longestWait));
    }

    /// Waits for an event or a signal, or until the reader of the lines leaves.
    void wait(int aMilliseconds)
    {
        int const lines = mOptions.mOutput ? -1 : mSetting.mOutput.descriptor();
        std::array<pollfd, 3> descriptors{
            {{mSignals.descriptor(), POLLIN, 0}, {mQueue.descriptor(), POLLIN, 0}, {lines, 0, 0}}};
        ::poll(descriptors.data(), descriptors.size(), aMilliseconds);
        mSignals.take();
        if ((descriptors[2].revents & POLLERR) != 0)
        {
            mSetting.mOutput.handleMissingReader();
        }
    }

    void reportCounts()
    {
        mIntake->reportDiscarded(mSetting.mReport);
        mIntake->reportTotal(mSetting.mReport);
        mSetting.mReport.addNote(fmt::format("received {} events, wrote {}, dropped {}", mQueue.received(),
                                             mSink->written(), dropped()));
        if (dropped() > 0)
        {
            mSetting.mReport.addError(
                ExitCode::failed, fmt::format("{} of {} events were dropped", dropped(), mQueue.received()));
        }
    }

    std::uint64_t written() const { return mSink ? mSink->written() : 0; }

    /// Number of events that did not fit in the queue or could not be written.
    std::uint64_t dropped() const { return mQueue.received() - written(); }

    Setting const& mSetting;
    WatchOptions const& mOptions;
    // Created before the vendor library is loaded, so that its threads block the signals too.
    StopSignals mSignals;
    qz::EventQueue mQueue;
    std::optional<EventIntake> mIntake;
    std::vector<Board> mBoards;
    std::unique_ptr<WatchSink> mSink;
    std::optional<Clock::time_point> mEnd;
    qz::Event mEvent{};
    std::uint64_t mTaken = 0;
    bool mHasBegun = false;  ///< whether a board was registered
    WatchTally mTally;
};

std::optional<Answer> watch(Setting const& aSetting, WatchOptions const& aOptions)
{
    aSetting.mPartial.provide(
        [&aOptions]() -> std::optional<Answer>
        {
            if (!aOptions.mOutput)
            {
                return {};
            }
            return Answer{keysOf(0, 0, 0, WatchTally()), ""};
        });
    Watch watch(aSetting, aOptions);
    watch.run();
    return watch.answer();
}
}  // namespace

void addWatch(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<WatchOptions>();
    ArgumentList arguments =
        aCommandLine.addVerb("watch", "Show or record diagnostic events as they arrive",
                             "  qzagent watch --seconds 10\n"
                             "                             a line for each event of the next ten seconds\n"
                             "  qzagent watch --category 3 --output events.capture\n"
                             "                             append the events of one category to a capture "
                             "until SIGINT or SIGTERM\n",
                             [options](Setting const& aSetting) { return watch(aSetting, *options); });
    addOptions(arguments, *options);
    aCommandLine.addTimeout(arguments);
}
}  // namespace qzagent
