#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/capture/DamageReport.h"
#include "tools/qzagent/capture/EventMerge.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/LinkTypes.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/cli/StoppableOutput.h"
#include "tools/qzagent/show/EventPrinter.h"
#include "tools/qzagent/show/EventSummary.h"
#include "tools/qzagent/show/LastEvents.h"
#include "tools/qzagent/show/LatencyLines.h"
#include "tools/qzagent/show/ShowOptions.h"

namespace qzagent
{
namespace
{
constexpr int millisecondsBetweenLooks = 200;
/// Number of events of one capture that are shown before the others and the signals are checked again.
constexpr std::uint64_t eventsPerLook = 4096;

EventLine::Style styleOf(Setting const& aSetting, ShowOptions const& aOptions)
{
    EventLine::Style style;
    style.mForm = aSetting.mIsJson ? EventLine::Form::json : EventLine::Form::text;
    style.mTimes = aOptions.mTimes;
    style.mNamesHosts = aOptions.mPaths.size() > 1;
    style.mHasDump = aOptions.mHasDump;
    return style;
}

class Show
{
public:
    Show(Setting const& aSetting, ShowOptions const& aOptions)
        : mSetting(aSetting),
          mOptions(aOptions),
          mDamage(aSetting.mReport, DamageReport::Severity::error),
          mPrinter(styleOf(aSetting, aOptions), [this](std::string const& aText) { write(aText); }),
          mLast(mPrinter, aOptions.mLast.value_or(1))
    {
        if (mOptions.mCapture.mIsFollowed)
        {
            mSignals.emplace();
        }
    }

    void run()
    {
        CaptureOptions options = mOptions.mCapture;
        options.mReportRefusal =
            mOptions.mFilter.mName ? "a report has no names, so --wwn selects none of its events" : nullptr;
        options.mOwnInputs = {mOptions.mPaths.begin(), mOptions.mPaths.end()};
        EventMerge merge(
            mOptions.mPaths, options,
            {[this](std::string const& aText) { addDamage(aText); }, [this] { mSummary.addSection(); },
             [this](CaptureOther const& aOther) { take(aOther); },
             [this](CaptureLatencies const& aLatencies) { show(aLatencies); }});
        try
        {
            showAll(merge);
        }
        catch (...)
        {
            mDamage.finish();
            throw;
        }
        mDamage.finish();
        // Without its reader, the verb ends quietly.
        if (!mSetting.mOutput.isAbandoned())
        {
            addNotes();
        }
    }

    /// @return the counts; none when the events were written to standard output
    std::optional<Answer> answer() const
    {
        if (!mOptions.mIsSummary)
        {
            return {};
        }
        Answer answer = mSummary.answer(mSetting.mIsColoured);
        if (!mHasRead)
        {
            answer.mText.clear();
        }
        return answer;
    }

private:
    EventSink& sink()
    {
        if (mOptions.mIsSummary)
        {
            return mSummary;
        }
        if (mOptions.mLast)
        {
            return mLast;
        }
        return mPrinter;
    }

    void showAll(EventMerge& aMerge)
    {
        EventSink& to = sink();
        do
        {
            showAvailable(aMerge, to);
            to.flush();
            mHasRead = aMerge.hasRead();
        } while (!mSetting.mOutput.isAbandoned() && !aMerge.hasEnded() && waitForMore(aMerge));
    }

    void showAvailable(EventMerge& aMerge, EventSink& aSink)
    {
        while (CaptureEvent const* const event = mSetting.mOutput.isAbandoned() ? nullptr : aMerge.next())
        {
            ++mEvents;
            take(*event, aSink);
            if (mSignals && mEvents % eventsPerLook == 0)
            {
                if (isStopped())
                {
                    return;
                }
                aMerge.refresh();
            }
        }
    }

    void take(CaptureEvent const& aEvent, EventSink& aSink)
    {
        if (mOptions.mDocument)
        {
            return;
        }
        if (!mOptions.mFilter.selectsOrigin(aEvent.mOrigin))
        {
            return;
        }
        if (!aEvent.mRecord || mOptions.mFilter.selectsRecord(*aEvent.mRecord))
        {
            ++mSelected;
            aSink.take(aEvent);
        }
        else if (aEvent.mDropped != 0)
        {
            // Nothing says which events were dropped.
            CaptureEvent drops = aEvent;
            drops.mRecord.reset();
            aSink.take(drops);
        }
    }

    /// @return false when a signal or the leaving reader ends the wait
    bool waitForMore(EventMerge& aMerge)
    {
        if (isStopped())
        {
            return false;
        }
        std::array<pollfd, 2> descriptors{
            {{mSignals->descriptor(), POLLIN, 0}, {mSetting.mOutput.descriptor(), 0, 0}}};
        ::poll(descriptors.data(), descriptors.size(), millisecondsBetweenLooks);
        if ((descriptors[1].revents & POLLERR) != 0)
        {
            mSetting.mOutput.handleMissingReader();
        }
        if (isStopped() || mSetting.mOutput.isAbandoned())
        {
            return false;
        }
        aMerge.refresh();
        return true;
    }

    bool isStopped()
    {
        mSignals->take();
        return mSignals->count() > 0;
    }

    void write(std::string const& aText)
    {
        if (mSignals)
        {
            writeStoppably(mSetting.mOutput, *mSignals, aText);
        }
        else
        {
            mSetting.mOutput.write(aText);
        }
    }

    void show(CaptureLatencies const& aLatencies)
    {
        if (mOptions.mIsSummary || mOptions.mDocument)
        {
            ++mOthers;
            return;
        }
        ++mSelected;
        mPrinter.flush();
        write(mSetting.mIsJson ? jsonOf(aLatencies) : textOf(aLatencies, mSetting.mOutput.width()));
    }

    void take(CaptureOther const& aOther)
    {
        if (aOther.mInterface->mLinkType != documentLinkType)
        {
            ++mOthers;
            return;
        }
        std::string const& name = aOther.mInterface->mName;
        mDocuments.push_back(name);
        if (mOptions.mIsSummary)
        {
            mSummary.addDocument(name, aOther.mData.mSize);
        }
        else if (mOptions.mDocument == name)
        {
            showDocument(name, aOther.mData);
        }
    }

    void showDocument(std::string const& aName, pcapng::Bytes aDocument)
    {
        try
        {
            // The capture may come from anywhere, and its bytes could control the terminal.
            write(documentText(parseForeignJson<nlohmann::ordered_json>(
                {reinterpret_cast<char const*>(aDocument.mData), aDocument.mSize})));
            ++mSelected;
        }
        catch (DeepJsonError const& error)
        {
            addDamage(fmt::format("the document {} is {}", aName, error.what()));
        }
        catch (nlohmann::json::exception const&)
        {
            addDamage(fmt::format("the document {} is not valid JSON", aName));
        }
    }

    /// Reports damage behind the events before it.
    void addDamage(std::string const& aText)
    {
        mPrinter.flush();
        mDamage.add(aText);
    }

    void addNotes()
    {
        if (mOthers != 0)
        {
            mSetting.mReport.addNote(
                fmt::format("skipped {} packets or records that are not events", mOthers));
        }
        if (mOptions.mDocument)
        {
            reportMissingDocument();
            return;
        }
        if (!mDocuments.empty() && !mOptions.mIsSummary)
        {
            mSetting.mReport.addNote(
                fmt::format("skipped {} documents, which --summary lists", mDocuments.size()));
        }
        if (mSelected == 0 && mDamage.count() == 0)
        {
            mSetting.mReport.addNote(mEvents == 0 ? "no events" : "no events that meet the conditions");
        }
    }

    void reportMissingDocument()
    {
        if (mSelected == 0 && mDamage.count() == 0)
        {
            std::string const names = fmt::format("{}", fmt::join(mDocuments, ", "));
            mSetting.mReport.addError(
                ExitCode::failed,
                fmt::format("no document '{}'{}{}", *mOptions.mDocument,
                            names.empty() ? ", and no others" : "; the documents are ", names));
        }
    }

    Setting const& mSetting;
    ShowOptions const& mOptions;
    std::optional<StopSignals> mSignals;
    DamageReport mDamage;
    EventPrinter mPrinter;
    LastEvents mLast;
    EventSummary mSummary;
    bool mHasRead = false;  ///< whether at least one capture could be read
    std::uint64_t mEvents = 0;
    std::uint64_t mSelected = 0;
    std::uint64_t mOthers = 0;
    std::vector<std::string> mDocuments;  ///< names
};

/// @return what is wrong with the combination of options; none when it is valid
std::optional<std::string> complaintAbout(ShowOptions const& aOptions)
{
    if (aOptions.mIsSummary && (aOptions.mLast || aOptions.mCapture.mIsFollowed || aOptions.mDocument))
    {
        return "--summary excludes --last, --follow and --document";
    }
    return {};
}

/// Writes lines itself: with --json each event is a separate document, without an envelope.
std::optional<Answer> show(Setting const& aSetting, ShowOptions const& aOptions)
{
    if (std::optional<std::string> const complaint = complaintAbout(aOptions))
    {
        aSetting.mReport.addError(ExitCode::misused, *complaint + "; see qzagent show --help");
        return Answer();
    }
    Show show(aSetting, aOptions);
    try
    {
        show.run();
    }
    catch (std::bad_alloc const&)
    {
        aSetting.mReport.addError(ExitCode::failed, "not enough memory; a smaller --max-record needs less");
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return show.answer();
}
}  // namespace

void addShow(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<ShowOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "show", "Show the events of captures",
        "  qzagent show events.pcapng\n"
        "                             a line for each event\n"
        "  qzagent show --summary *.pcapng\n"
        "                             how many events of each board and category there are\n"
        "  qzagent show --follow --last 10 events.pcapng\n"
        "                             the last ten events, and those that are appended\n",
        [options](Setting const& aSetting) { return show(aSetting, *options); });
    addOptions(arguments, *options);
}
}  // namespace qzagent
