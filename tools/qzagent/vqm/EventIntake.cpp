#include "tools/qzagent/vqm/EventIntake.h"

#include <string>

#include <fmt/format.h>

#include "tools/qzagent/cli/ExitCodes.h"

namespace qzagent
{
EventIntake::EventIntake(qz::EventQueue& aQueue, EventLayout const& aLayout, bool aIsChecked)
    : mQueue(aQueue), mLayout(aLayout)
{
    if (aIsChecked)
    {
        mCheck.emplace();
    }
}

void EventIntake::take(qz::EventHead const& aHead, QZ_event const* aEvent) noexcept
{
    if (aEvent == nullptr)
    {
        mQueue.push(aHead, nullptr, 0);
        return;
    }
    auto const* const record = reinterpret_cast<unsigned char const*>(aEvent);
    if (mCheck && !mCheck->isReadable(record, mLayout.size()))
    {
        discard({aHead.mBoard, Defect::record, record, 0});
        return;
    }
    VqmPayload const payload = mLayout.payloadIn(record);
    if (mCheck && payload.mLength > mostPayloadBytes)
    {
        discard({aHead.mBoard, Defect::length, payload.mBytes, payload.mLength});
        return;
    }
    auto const length = static_cast<std::size_t>(payload.mLength);
    if (mCheck && !mCheck->isReadable(payload.mBytes, length))
    {
        discard({aHead.mBoard, Defect::payload, payload.mBytes, payload.mLength});
        return;
    }
    mQueue.push(aHead, payload.mBytes, length);
}

void EventIntake::reportDiscarded(Report& aReport)
{
    collect();
    if (mSampleState.load(std::memory_order_acquire) != SampleState::full || Clock::now() < mNextReport)
    {
        return;
    }
    Discarded const event = mSample;
    mSampleState.store(SampleState::empty, std::memory_order_release);
    aReport.addError(ExitCode::failed,
                     fmt::format("board {}: the event's {}; events discarded so far: {} (see --event-layout)",
                                 event.mBoard, defectOf(event), mTotal));
    mNextReport = Clock::now() + mInterval;
    mInterval *= 2;
}

void EventIntake::reportTotal(Report& aReport)
{
    collect();
    if (mTotal != 0)
    {
        aReport.addError(ExitCode::failed, fmt::format("events discarded: {} (see --event-layout)", mTotal));
    }
}

std::string EventIntake::defectOf(Discarded const& aEvent)
{
    auto const* const address = static_cast<void const*>(aEvent.mAddress);
    if (aEvent.mDefect == Defect::record)
    {
        return fmt::format("record at {} is not readable", address);
    }
    return fmt::format("payload of {} bytes at {} is {}", aEvent.mLength, address,
                       aEvent.mDefect == Defect::length ? "larger than 64 MiB" : "not readable");
}

void EventIntake::collect() { mTotal += mUncollected.exchange(0); }

void EventIntake::discard(Discarded const& aEvent) noexcept
{
    mUncollected.fetch_add(1, std::memory_order_relaxed);
    SampleState empty = SampleState::empty;
    if (mSampleState.compare_exchange_strong(empty, SampleState::written, std::memory_order_acquire))
    {
        mSample = aEvent;
        mSampleState.store(SampleState::full, std::memory_order_release);
    }
}
}  // namespace qzagent
