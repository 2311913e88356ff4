/// @file
/// Formats events as lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "agentkit/include/Bytes.h"
#include "agentkit/include/Wwn.h"
#include "pcapng/Blocks.h"
#include "tools/qzagent/cli/TimeText.h"

namespace qzagent
{
/// Where and when something happened. Bare records say neither.
struct EventOrigin
{
    std::optional<pcapng::Time> mTime;
    std::string_view mHost;  ///< empty when unknown
    std::optional<std::uint32_t> mBoard;
};

/// The values of an event.
struct EventValues
{
    EventOrigin mOrigin;
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::optional<qz::Wwn> mFirst;
    std::optional<qz::Wwn> mSecond;
    qz::Bytes mPayload;  ///< empty without payload
    std::optional<std::uint32_t> mOmitted =
        {};  ///< length in bytes of a payload that the capture does not have

    /// Length of the payload in bytes.
    std::size_t length() const { return mOmitted.value_or(mPayload.mSize); }
};

/// Formats events and losses of events, as text or as JSON objects, one on each line. The verbs that show events share
/// this format. Formatting allocates nothing once the text that it appends to is large enough.
class EventLine
{
public:
    enum class Form
    {
        text,
        json  ///< its times are always in UTC
    };

    struct Style
    {
        Form mForm = Form::text;
        TimeText::Style mTimes = TimeText::Style::utc;
        bool mNamesHosts = false;  ///< whether text names the host
        bool mHasDump = false;     ///< whether a hexadecimal dump of the payload follows in text
    };

    /// Called while a long payload is formatted. May clear the text.
    using Relief = std::function<void()>;

    explicit EventLine(Style const& aStyle);

    /// Appends an event.
    void append(std::string& aText, EventValues const& aEvent, Relief const& aRelief = {});

    /// Appends that events of a board were dropped.
    void appendDropped(std::string& aText, EventOrigin const& aOrigin, std::uint64_t aCount);

private:
    void appendText(std::string& aText, EventValues const& aEvent, Relief const& aRelief);
    void appendJson(std::string& aText, EventValues const& aEvent, Relief const& aRelief);
    void appendTextOrigin(std::string& aText, EventOrigin const& aOrigin);
    void appendJsonOrigin(std::string& aText, EventOrigin const& aOrigin);
    std::string const& shown(std::string_view aHost);

    Style mStyle;
    TimeText mTimes;
    std::string mHost;
    std::string mShownHost;  ///< mHost in the form of the line
};
}  // namespace qzagent
