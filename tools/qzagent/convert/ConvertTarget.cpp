#include "tools/qzagent/convert/ConvertTarget.h"

#include <cstdint>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/convert/PcapngTarget.h"

namespace qzagent
{
namespace
{
/// Records have no place for anything except events.
class RecordTarget : public ConvertTarget
{
public:
    using ConvertTarget::ConvertTarget;

    void addSection(pcapng::Section const&) override { lose(Loss::sections); }

    void add(CaptureEvent const& aEvent) override
    {
        loseDrops(aEvent);
        if (!aEvent.mRecord)
        {
            return;
        }
        write(aEvent.mEncoded);
        if (aEvent.mOrigin.mTime)
        {
            lose(Loss::times);
        }
        if (aEvent.mOrigin.mBoard)
        {
            lose(Loss::boards);
        }
    }

    void add(CaptureCounts const& aCounts) override
    {
        loseDrops(aCounts.mDrops);
        lose(Loss::statistics);
    }

    void add(CaptureOther const&) override { lose(Loss::others); }

private:
    void loseDrops(CaptureEvent const& aEvent)
    {
        if (aEvent.mDropped != 0)
        {
            lose(Loss::drops);
        }
    }
};

/// Lines keep everything about events, and the name of the host.
class JsonTarget : public ConvertTarget
{
public:
    explicit JsonTarget(Write const& aWrite) : ConvertTarget(aWrite), mLine(style()) {}

    void addSection(pcapng::Section const& aSection) override
    {
        if (!aSection.mSystem.empty() || !aSection.mApplication.empty() || !aSection.mComment.empty())
        {
            lose(Loss::systems);
        }
    }

    void add(CaptureEvent const& aEvent) override
    {
        addDrops(aEvent);
        if (aEvent.mRecord)
        {
            mLine.append(mText, valuesOf(aEvent), [this] { flush(); });
        }
        flush();
    }

    void add(CaptureCounts const& aCounts) override
    {
        addDrops(aCounts.mDrops);
        flush();
        lose(Loss::statistics);
    }

    void add(CaptureOther const&) override { lose(Loss::others); }

private:
    static EventLine::Style style()
    {
        EventLine::Style style;
        style.mForm = EventLine::Form::json;
        return style;
    }

    void addDrops(CaptureEvent const& aEvent)
    {
        if (aEvent.mDropped != 0)
        {
            mLine.appendDropped(mText, aEvent.mOrigin, aEvent.mDropped);
        }
    }

    void flush()
    {
        write({reinterpret_cast<unsigned char const*>(mText.data()), mText.size()});
        mText.clear();
    }

    EventLine mLine;
    std::string mText;
};
}  // namespace

std::string ConvertTarget::losses() const
{
    static std::map<Loss, char const*> const names{
        {Loss::boards, "board numbers"},
        {Loss::drops, "reports of dropped events"},
        {Loss::others, "packets that are not events"},
        {Loss::sections, "sections with their hosts"},
        {Loss::statistics, "statistics"},
        {Loss::systems, "descriptions of systems"},
        {Loss::times, "times"},
        {Loss::unknownTimes, "unknown times, written as 1970-01-01"},
    };
    std::string text;
    for (auto const& [loss, count] : mLosses)
    {
        text += fmt::format("{}{} ({})", text.empty() ? "" : ", ", names.at(loss), count);
    }
    return text;
}

std::unique_ptr<ConvertTarget> makeTarget(CaptureForm aForm, ConvertTarget::Write const& aWrite)
{
    switch (aForm)
    {
        case CaptureForm::records:
            return std::make_unique<RecordTarget>(aWrite);
        case CaptureForm::json:
            return std::make_unique<JsonTarget>(aWrite);
        default:
            return std::make_unique<PcapngTarget>(aWrite);
    }
}
}  // namespace qzagent
