/// @file
/// Writes events as lines to standard output.
#pragma once

#include <functional>
#include <string>

#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/show/EventSink.h"

namespace qzagent
{
/// Writes many lines at once.
class EventPrinter : public EventSink
{
public:
    using Write = std::function<void(std::string const&)>;

    EventPrinter(EventLine::Style const& aStyle, Write const& aWrite);

    /// @throws what the function throws
    /// @{
    void take(CaptureEvent const& aEvent) override;
    void flush() override;
    /// @}

private:
    void flushLarge();

    EventLine mLine;
    Write const mWrite;
    EventLine::Relief const mRelief;
    std::string mText;
};
}  // namespace qzagent
