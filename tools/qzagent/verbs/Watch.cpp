#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/VqmLibrary.h"
#include "backend/common/include/Exception.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/AppendedFile.h"
#include "tools/qzagent/capture/CaptureForm.h"
#include "tools/qzagent/capture/CaptureLimits.h"
#include "tools/qzagent/capture/RecordEncoder.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Reason.h"
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
#include "tools/qzagent/vqm/VqmVersions.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/EventCounts.h"
#include "tools/qzagent/watch/PcapngRecorder.h"
#include "tools/qzagent/watch/RecordsRecorder.h"
#include "tools/qzagent/watch/WatchClock.h"
#include "tools/qzagent/watch/WatchLines.h"
#include "tools/qzagent/watch/WatchOptions.h"
#include "tools/qzagent/watch/WatchSink.h"
#include "tools/qzagent/watch/WatchStatus.h"
#include "tools/qzagent/watch/WatchTally.h"

namespace qzagent
{
namespace
{
using Clock = std::chrono::steady_clock;

constexpr std::size_t mostWaitingEvents = 65'536;
constexpr std::size_t mostWaitingBytes = std::size_t{64} << 20U;
/// Number of events that are taken from the queue together. The queue is locked while they are listed.
constexpr std::size_t eventsTogether = 64;
/// Number of events that are processed before the clock and the signals are checked again.
constexpr std::size_t eventsPerRound = 1024;
/// Time between two looks into the queue while events keep arriving.
constexpr std::chrono::milliseconds pace(5);
/// Longest time between two rounds, in which files and drops are checked.
constexpr std::chrono::milliseconds longestWait(1000);
constexpr std::chrono::seconds betweenDropNotes(1);
constexpr unsigned int defaultSync = 5;

nlohmann::ordered_json keysOf(std::uint64_t aReceived, std::uint64_t aWritten, std::uint64_t aDropped,
                              nlohmann::ordered_json const& aDrops, WatchTally const& aTally)
{
    return {{"received", aReceived},
            {"written", aWritten},
            {"dropped", aDropped},
            {"drops", aDrops},
            {"events", aTally.json()}};
}

class Watch
{
public:
    Watch(Setting const& aSetting, WatchOptions const& aOptions)
        : mSetting(aSetting),
          mOptions(aOptions),
          mSignals(aOptions.mOutput.has_value()),
          mQueue(mostWaitingEvents, mostWaitingBytes,
                 aOptions.mCount.value_or(std::numeric_limits<std::uint64_t>::max())),
          mDrops(mQueue)
    {
        if (aOptions.mIsQuiet)
        {
            aSetting.mReport.hideNotes();
        }
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
            mSetting.mReport.addError(ExitCode::failed, reasonOf(exception));
        }
        mStatus.reset();
        // Without its reader, a verb that only prints ends quietly.
        if (mHasBegun && !isAbandoned())
        {
            countUnwritten();
            reportCounts();
        }
    }

    /// @return the counts; none when the events were written to standard output
    std::optional<Answer> answer() const
    {
        if (prints())
        {
            return {};
        }
        return Answer{keysOf(mQueue.received(), written(), dropped(), dropsJson(), mTally),
                      mTally.table(mSetting.mIsColoured)};
    }

private:
    bool prints() const { return !mOptions.mPublish && (!mOptions.mOutput || mOptions.mIsPrinted); }

    void watch()
    {
        std::optional<EventLayout> const layout = givenLayout();
        std::unique_ptr<qz::VqmLibrary> const library = loadVqm(mSetting.mReport);
        LibvqmVersions versions;
        ReportedEnvironment environment = openEnvironment(*library, mSetting.mReport, versions);
        findBoards(*environment);
        if (!mOptions.mIsPlain && !supportsQuazorEvents(*environment))
        {
            throw std::runtime_error(
                "the driver does not support Quazor events; use --plain for plain events");
        }
        openSinks(versions);
        makeIntake(layout);
        watchRegistered(*library);
        // Nothing is registered any more; the events still in the queue are processed.
        while (takeSome() != 0)
        {
        }
        reportDrops();
        for (WatchSink* const sink : sinks())
        {
            sink->finish();
        }
        printWith([](WatchLines& aLines) { aLines.finish(); });
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
            mAssumption = fmt::format(
                "the diagnostic library is not the simulator; assuming the simulator's event records: {}; "
                "--event-layout describes others",
                layout.description());
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

    void openSinks(LibvqmVersions const& aVersions)
    {
        if (mOptions.mOutput)
        {
            mRecorder = recorder(aVersions);
        }
        if (mOptions.mPublish)
        {
            mEventCounts.emplace(mOptions.mPublish, mBoards, mDrops);
        }
        if (prints())
        {
            mLines.emplace(mSetting.mOutput, mSignals, mSetting.mIsJson,
                           mRecorder ? WatchLines::Reading::mayLag : WatchLines::Reading::isAwaited,
                           [this] { return mustStop() || mQueue.received() == mOptions.mCount; });
        }
        else if (mRecorder && !mOptions.mIsQuiet && !mSetting.mIsTraced && ErrorStream::canShowStatus())
        {
            mStatus.emplace(mSetting.mReport.errors());
        }
    }

    std::unique_ptr<WatchRecorder> recorder(LibvqmVersions const& aVersions)
    {
        std::string const& path = *mOptions.mOutput;
        std::optional<CaptureForm> const present = mOptions.mRotate ? std::nullopt : formOfFile(path);
        bool const isPcapng = present == CaptureForm::pcapng;
        if (present && mOptions.mForm && isPcapng != (mOptions.mForm == CaptureForm::pcapng))
        {
            throw CaptureWriteError(fmt::format("cannot write {}: it is {}, which --format excludes", path,
                                                isPcapng ? "a pcapng file" : "not a pcapng file"));
        }
        // Files of other forms are refused because they contain no records.
        if (mOptions.mForm.value_or(present.value_or(CaptureForm::pcapng)) != CaptureForm::pcapng)
        {
            if (mOptions.mSync)
            {
                throw CaptureWriteError(
                    fmt::format("cannot write {}: it is not a pcapng file, which --sync requires", path));
            }
            return std::make_unique<RecordsRecorder>(path, mSetting.mReport, [this] { return isStopped(); });
        }
        RecorderOptions const options{path, mOptions.mOutputName.value_or(path), mOptions.mRotate,
                                      mOptions.mKeep.value_or(KeepLimit{}),
                                      std::chrono::seconds(mOptions.mSync.value_or(defaultSync))};
        mVersions = aVersions;
        return std::make_unique<PcapngRecorder>(
            options, RecorderSources{mBoards, mVersions, mDrops, mClock, mSetting.mReport});
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
        reportBeginning(registrations.size());
        watchUntilEnd();
    }

    void reportBeginning(std::size_t aBoards)
    {
        std::string const boards =
            mOptions.mBoard ? fmt::format("board {}", *mOptions.mBoard) : counted(aBoards, "board");
        auto const part =
            [](char const* aSingle, char const* aAll, std::optional<unsigned int> const& aNumber)
        { return aNumber ? fmt::format("{} {}", aSingle, *aNumber) : std::string(aAll); };
        mSetting.mReport.addNote(fmt::format(
            "watching {}, {}, {}{}", boards, part("category", "all categories", mOptions.mCategory),
            part("subcategory", "all subcategories", mOptions.mSubcategory),
            mRecorder ? fmt::format("; recording in {}", mRecorder->name()) : ""));
        if (mAssumption)
        {
            mSetting.mReport.addNote(*mAssumption);
        }
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
            std::size_t const taken = takeSome();
            flush();
            tick();
            wait(taken);
        }
    }

    /// Takes a signal that may have arrived during a long step.
    bool isStopped()
    {
        mSignals.take();
        return mSignals.count() > 0;
    }

    bool mustStop() const
    {
        return mSignals.count() > 0 || hasAll() || (mEnd && Clock::now() >= *mEnd) || isAbandoned();
    }

    /// Whether nobody reads the events any more, and nothing records them.
    bool isAbandoned() const { return !mRecorder && mSetting.mOutput.isAbandoned(); }

    bool hasAll() const { return mTaken + mQueue.dropped() == mOptions.mCount; }

    /// @return number of events that were taken from the queue
    std::size_t takeSome()
    {
        std::array<qz::QueuedEvent, eventsTogether> events;
        std::size_t taken = 0;
        while (taken < eventsPerRound)
        {
            std::size_t const count = mQueue.peek(events.data(), events.size());
            if (count == 0)
            {
                break;
            }
            for (std::size_t i = 0; i < count; ++i)
            {
                events[i].mHead.mTime = mClock.wallTimeOf(events[i].mHead.mTime);
            }
            record(events.data(), count);
            print(events.data(), count);
            mQueue.remove(count);
            mInHand = 0;
            taken += count;
            mTaken += count;
        }
        return taken;
    }

    void record(qz::QueuedEvent const* aEvents, std::size_t aCount)
    {
        for (std::size_t i = 0; mRecorder && i < aCount; ++i)
        {
            qz::EventHead const& head = aEvents[i].mHead;
            ++mInHand;
            if (!RecordEncoder::canEncode(head))
            {
                mDrops.addLost(head.mBoard);
                continue;
            }
            mUnwritten.push_back(head);
            mRecorder->take(aEvents[i], boardNumbered(head.mBoard));
        }
        settle();
        if (mRecorder && mLines)
        {
            mRecorder->flush();  // printing can wait for the reader
        }
    }

    void print(qz::QueuedEvent const* aEvents, std::size_t aCount)
    {
        for (std::size_t i = 0; mEventCounts && i < aCount; ++i)
        {
            ++mInHand;
            mUnwritten.push_back(aEvents[i].mHead);
            mEventCounts->take(aEvents[i], boardNumbered(aEvents[i].mHead.mBoard));
        }
        for (std::size_t i = 0; mLines && i < aCount; ++i)
        {
            if (!mRecorder)
            {
                ++mInHand;
                mUnwritten.push_back(aEvents[i].mHead);
            }
            Board const* const board = boardNumbered(aEvents[i].mHead.mBoard);
            printWith([&](WatchLines& aLines) { aLines.take(aEvents[i], board); });
        }
    }

    /// Performs a step of printing, if events are printed. A recording continues when they can no longer be printed.
    template <typename Step>
    void printWith(Step const& aStep)
    {
        if (!mLines)
        {
            return;
        }
        try
        {
            aStep(*mLines);
        }
        catch (std::system_error const& error)
        {
            if (!mRecorder)
            {
                throw;
            }
            mSetting.mReport.addError(ExitCode::failed, fmt::format("printing ended: {}", reasonOf(error)));
            mLines.reset();
        }
        if (mRecorder && mLines && mSetting.mOutput.isAbandoned())
        {
            mSetting.mReport.addNote("printing ended: the reader of standard output left");
            mLines.reset();
        }
    }

    Board const* boardNumbered(unsigned int aNumber) const
    {
        auto const found =
            std::find_if(mBoards.begin(), mBoards.end(),
                         [=](Board const& aBoard) { return aBoard.mNumber == aNumber && !aBoard.mFailure; });
        return found == mBoards.end() ? nullptr : &*found;
    }

    void flush()
    {
        for (WatchSink* const sink : sinks())
        {
            sink->flush();
        }
        printWith([](WatchLines& aLines) { aLines.flush(); });
        settle();
    }

    /// Counts the events that have been written since the previous call.
    void settle()
    {
        for (; mSettled < written(); ++mSettled)
        {
            mTally.add(mUnwritten.front());
            mUnwritten.pop_front();
        }
    }

    /// Counts what a failure left unwritten, so that the counts of the boards and the total agree.
    void countUnwritten()
    {
        settle();
        mQueue.remove(mInHand);
        qz::QueuedEvent event;
        for (; mQueue.peek(&event, 1) != 0; mQueue.remove(1))
        {
            mUnwritten.push_back(event.mHead);
        }
        for (qz::EventHead const& head : mUnwritten)
        {
            mDrops.addLost(head.mBoard);
        }
        mUnwritten.clear();
    }

    /// The sinks besides the lines, which come last because printing can wait for the reader.
    std::vector<WatchSink*> sinks()
    {
        std::vector<WatchSink*> sinks;
        if (mRecorder)
        {
            sinks.push_back(mRecorder.get());
        }
        if (mEventCounts)
        {
            sinks.push_back(&*mEventCounts);
        }
        return sinks;
    }

    /// Does what is due besides events.
    void tick()
    {
        if (mClock.follow() && mRecorder)
        {
            mRecorder->startSection();
        }
        if (mRecorder)
        {
            mRecorder->tick();
            if (mSignals.takeHangup())
            {
                mRecorder->continueInNextFile();
            }
        }
        mIntake->reportDiscarded(mSetting.mReport);
        if (Clock::now() >= mNextDropNote)
        {
            reportDrops();
            mNextDropNote = Clock::now() + betweenDropNotes;
        }
        if (mStatus)
        {
            mStatus->show({mTaken, numberOfDrops(), mRecorder->size()});
        }
    }

    /// Reports the events that were dropped since the previous call.
    void reportDrops()
    {
        std::string text;
        for (Board const& board : mBoards)
        {
            std::uint64_t& reported = mReportedDrops[board.mNumber];
            std::uint64_t const fresh = mDrops.total(board.mNumber) - reported;
            reported += fresh;
            if (fresh != 0)
            {
                text += fmt::format("{}{} of board {}", text.empty() ? "" : ", ", fresh, board.mNumber);
                printWith([&](WatchLines& aLines) { aLines.takeDrops(mClock.now(), board.mNumber, fresh); });
            }
        }
        if (!text.empty())
        {
            mSetting.mReport.showNote("dropped events: " + text);
        }
    }

    /// Waits for an event or a signal, until the reader of the lines leaves, or until something else is due.
    /// @param aTaken number of events in this round
    void wait(std::size_t aTaken)
    {
        // While events keep arriving, the callbacks do not have to wake this thread.
        bool const isAwaited = aTaken == 0 && mQueue.await();
        bool const hasMore = aTaken >= eventsPerRound || (aTaken == 0 && !isAwaited);
        // A signal may have arrived while a sink waited for its reader.
        bool const isUrgent = hasMore || mustStop();
        std::chrono::milliseconds const wait = isUrgent ? pace * 0 : atMost(isAwaited ? longestWait : pace);
        std::array<pollfd, 3> descriptors{{{mSignals.descriptor(), POLLIN, 0},
                                           {isAwaited ? mQueue.descriptor() : -1, POLLIN, 0},
                                           {mLines ? mSetting.mOutput.descriptor() : -1, 0, 0}}};
        ::poll(descriptors.data(), descriptors.size(), static_cast<int>(wait.count()));
        mSignals.take();
        if ((descriptors[2].revents & POLLERR) != 0)
        {
            printWith([this](WatchLines&) { mSetting.mOutput.handleMissingReader(); });
        }
    }

    std::chrono::milliseconds atMost(std::chrono::milliseconds aTime) const
    {
        if (!mEnd)
        {
            return aTime;
        }
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(*mEnd - Clock::now());
        return std::clamp(left, std::chrono::milliseconds(0), aTime);
    }

    void reportCounts()
    {
        mIntake->reportDiscarded(mSetting.mReport);
        mIntake->reportTotal(mSetting.mReport);
        mSetting.mReport.addNote(
            fmt::format("received {} events, wrote {}, dropped {}", mQueue.received(), written(), dropped()));
        if (mRecorder && mLines && mLines->skipped() != 0)
        {
            mSetting.mReport.addNote(
                fmt::format("{} were not printed because the reader of standard output did not read them",
                            counted(mLines->skipped(), "event")));
        }
        if (dropped() > 0)
        {
            std::string text;
            for (auto const& drops : dropsJson())
            {
                text +=
                    fmt::format("{}{} of board {}", text.empty() ? ": " : ", ",
                                drops["dropped"].get<std::uint64_t>(), drops["board"].get<unsigned int>());
            }
            mSetting.mReport.addError(ExitCode::failed, fmt::format("{} of {} events were dropped{}",
                                                                    dropped(), mQueue.received(), text));
        }
    }

    /// @return the boards that dropped events
    nlohmann::ordered_json dropsJson() const
    {
        auto list = nlohmann::ordered_json::array();
        for (Board const& board : mBoards)
        {
            if (std::uint64_t const count = mDrops.total(board.mNumber))
            {
                list.push_back({{"board", board.mNumber}, {"dropped", count}});
            }
        }
        return list;
    }

    std::uint64_t numberOfDrops() const
    {
        return std::accumulate(mBoards.begin(), mBoards.end(), std::uint64_t{0},
                               [this](std::uint64_t aSum, Board const& aBoard)
                               { return aSum + mDrops.total(aBoard.mNumber); });
    }

    std::uint64_t written() const
    {
        return mRecorder      ? mRecorder->written()
               : mLines       ? mLines->written()
               : mEventCounts ? mEventCounts->written()
                              : 0;
    }

    /// Number of events that did not fit in the queue or could not be written.
    std::uint64_t dropped() const { return mQueue.received() - written(); }

    Setting const& mSetting;
    WatchOptions const& mOptions;
    // Created before the vendor library is loaded, so that its threads block the signals too.
    StopSignals mSignals;
    qz::EventQueue mQueue;
    std::optional<EventIntake> mIntake;
    std::optional<std::string> mAssumption;  ///< about the layout of the events
    DropCounts mDrops;
    std::map<unsigned int, std::uint64_t> mReportedDrops;  ///< by the boards' numbers
    WatchClock mClock;
    LibvqmVersions mVersions;
    std::vector<Board> mBoards;
    std::unique_ptr<WatchRecorder> mRecorder;
    std::optional<WatchLines> mLines;
    std::optional<EventCounts> mEventCounts;
    std::optional<WatchStatus> mStatus;
    std::optional<Clock::time_point> mEnd;
    Clock::time_point mNextDropNote;
    std::uint64_t mTaken = 0;
    std::deque<qz::EventHead> mUnwritten;  ///< of events that the sink has taken but not written
    std::uint64_t mSettled = 0;            ///< number of events that mTally has
    std::size_t mInHand = 0;               ///< number of events that are taken but still in the queue
    bool mHasBegun = false;                ///< whether a board was registered
    WatchTally mTally;
};

std::optional<Answer> watch(Setting const& aSetting, WatchOptions const& aOptions)
{
    if (std::optional<std::string> const complaint = complaintAbout(aOptions))
    {
        aSetting.mReport.addError(ExitCode::misused, *complaint + "; see qzagent watch --help");
        return Answer();
    }
    aSetting.mPartial.provide(
        [&aOptions]() -> std::optional<Answer>
        {
            if (!aOptions.mOutput || aOptions.mIsPrinted)
            {
                return {};
            }
            return Answer{keysOf(0, 0, 0, nlohmann::ordered_json::array(), WatchTally()), ""};
        });
    Watch watch(aSetting, aOptions);
    watch.run();
    return watch.answer();
}

void addWatchWith(std::shared_ptr<WatchOptions> const& aOptions, CommandLine& aCommandLine)
{
    ArgumentList arguments =
        aCommandLine.addVerb("watch", "Show or record diagnostic events as they arrive",
                             "  qzagent watch --seconds 10\n"
                             "                             a line for each event of the next ten seconds\n"
                             "  qzagent watch --category 3 --output events.pcapng\n"
                             "                             append the events of one category to a capture "
                             "until SIGINT or SIGTERM\n"
                             "  qzagent watch --output events.pcapng --rotate 100M --keep 10\n"
                             "                             record in numbered files and keep the last ten\n",
                             [aOptions](Setting const& aSetting) { return watch(aSetting, *aOptions); });
    addOptions(arguments, *aOptions);
    aCommandLine.addTimeout(arguments);
}
}  // namespace

void addWatch(CommandLine& aCommandLine) { addWatchWith(std::make_shared<WatchOptions>(), aCommandLine); }

void addWatchInto(std::optional<std::string> const& aOutputName, CommandLine& aCommandLine)
{
    auto const options = std::make_shared<WatchOptions>();
    options->mOutputName = aOutputName;
    addWatchWith(options, aCommandLine);
}

void addCountingWatch(PublishEventCounts const& aPublish, CommandLine& aCommandLine)
{
    auto const options = std::make_shared<WatchOptions>();
    options->mPublish = aPublish;
    addWatchWith(options, aCommandLine);
}
}  // namespace qzagent
