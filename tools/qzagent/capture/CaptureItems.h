/// @file
/// What captures contain, whatever their form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "agentkit/include/ScopeDataView.h"
#include "pcapng/Blocks.h"
#include "tools/qzagent/capture/EventLine.h"
#include "tools/qzagent/capture/LatencyRecord.h"

namespace qzagent
{
/// An event, or only that events were dropped. What it refers to is valid until the next call of the source.
struct CaptureEvent
{
    std::uint64_t mPosition = 0;  ///< of the record or block in its capture
    EventOrigin mOrigin;
    std::uint64_t mDropped = 0;  ///< events of the board that were dropped, and that no earlier item reports
    std::optional<qz::ScopeDataView> mRecord;    ///< none when it only reports dropped events
    pcapng::Bytes mEncoded{};                    ///< the bytes of the record
    std::optional<std::uint32_t> mOmitted = {};  ///< length of a payload that the record does not have
    std::optional<std::uint64_t> mId;
    pcapng::Interface const* mInterface = nullptr;  ///< null when unknown
};

/// @param aEvent must have a record
EventValues valuesOf(CaptureEvent const& aEvent);

/// A section begins.
struct CaptureSectionStart
{
    pcapng::Section const* mSection;
};

/// Counts of an interface.
struct CaptureCounts
{
    pcapng::Statistics mStatistics;
    pcapng::Interface const* mInterface;  ///< null when unknown
    CaptureEvent mDrops;                  ///< the dropped events that no earlier item reports
};

/// A packet that is not an event.
struct CaptureOther
{
    pcapng::PacketHead mHead;
    pcapng::Interface const* mInterface;
    pcapng::Bytes mData;
};

/// A record of latency data, in a file that has only those.
struct CaptureLatencies
{
    std::uint64_t mNumber;    ///< from 0
    std::uint64_t mPosition;  ///< encoded bytes before the record
    LatencyRecord mRecord;
    pcapng::Bytes mEncoded;
};

/// Something that could not be read. The text names the capture and the position.
struct CaptureDamage
{
    std::string mText;
};

using CaptureItem = std::variant<CaptureEvent, CaptureSectionStart, CaptureCounts, CaptureOther,
                                 CaptureLatencies, CaptureDamage>;

/// Reads the items of a capture.
class CaptureSource
{
public:
    virtual ~CaptureSource() = default;

    /// @param aMayGrow whether a part at the end may still be completed; otherwise it is damage
    /// @return the next item; none when there is none now
    /// @throws CaptureError when the file cannot be read
    /// @throws std::bad_alloc
    virtual std::optional<CaptureItem> next(bool aMayGrow) = 0;
};
}  // namespace qzagent
