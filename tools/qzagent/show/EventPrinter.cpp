#include "tools/qzagent/show/EventPrinter.h"

#include <cstddef>

namespace qzagent
{
namespace
{
constexpr std::size_t enough = 65'536;
}  // namespace

EventPrinter::EventPrinter(EventLine::Style const& aStyle, Write const& aWrite)
    : mLine(aStyle), mWrite(aWrite), mRelief([this] { flushLarge(); })
{
    mText.reserve(2 * enough);
}

void EventPrinter::take(CaptureEvent const& aEvent)
{
    if (aEvent.mDropped != 0)
    {
        mLine.appendDropped(mText, aEvent.mOrigin, aEvent.mDropped);
    }
    if (aEvent.mRecord)
    {
        mLine.append(mText, valuesOf(aEvent), mRelief);
    }
    flushLarge();
}

void EventPrinter::flush()
{
    if (!mText.empty())
    {
        mWrite(mText);
        mText.clear();
    }
}

void EventPrinter::flushLarge()
{
    if (mText.size() >= enough)
    {
        flush();
    }
}
}  // namespace qzagent
