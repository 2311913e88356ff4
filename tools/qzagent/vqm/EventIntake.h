/// @file
/// Takes events from the vendor library.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "agentkit/include/EventQueue.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/MemoryCheck.h"
#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
/// Finds the payloads of events and puts the events into a queue.
///
/// An event whose memory is unreadable is discarded and counted.
/// Thread-safety: take() from any thread, everything else from one.
class EventIntake
{
public:
    /// @param aQueue  receives the events; must outlive this object
    /// @param aLayout of the vendor library's records
    /// @param aIsChecked whether to check that memory is readable: true unless the library is known to have this layout
    /// @throws std::system_error when no pipe is available
    EventIntake(qz::EventQueue& aQueue, EventLayout const& aLayout, bool aIsChecked);

    /// Takes an event. Throws nothing, allocates nothing, and locks nothing beyond what the queue does.
    /// @param aEvent may be null, which stands for an event without payload
    void take(qz::EventHead const& aHead, QZ_event const* aEvent) noexcept;

    /// Reports that events were discarded, unless the previous report is too recent. The time between reports doubles,
    /// from one second, so their number stays small however long the agent runs.
    void reportDiscarded(Report& aReport);

    /// Reports how many events were discarded, if any were.
    void reportTotal(Report& aReport);

private:
    using Clock = std::chrono::steady_clock;

    enum class Defect
    {
        record,   ///< the record is unreadable
        length,   ///< the payload is larger than any payload that is accepted
        payload,  ///< the payload is unreadable
    };

    struct Discarded
    {
        unsigned int mBoard;
        Defect mDefect;
        unsigned char const* mAddress;  ///< of the record or the payload
        std::uint64_t mLength;          ///< of the payload
    };

    enum class SampleState
    {
        empty,
        written,  ///< a callback writes it
        full
    };

    static std::string defectOf(Discarded const& aEvent);
    void discard(Discarded const& aEvent) noexcept;
    void collect();

    qz::EventQueue& mQueue;
    EventLayout const mLayout;
    std::optional<MemoryCheck> mCheck;  ///< none when nothing is checked
    // Not 64 bits, which would need a lock on 32-bit machines.
    std::atomic<std::size_t> mUncollected{0};
    std::atomic<SampleState> mSampleState{SampleState::empty};
    Discarded mSample{};  ///< one of the events that were discarded since the previous report
    std::uint64_t mTotal = 0;
    Clock::time_point mNextReport;
    std::chrono::seconds mInterval{1};
};
}  // namespace qzagent
