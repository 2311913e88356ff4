// Event sources when memory runs out.
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/diagnostic/EventSource.h"
#include "simulator/diagnostic/Registrations.h"
#include "simulator/scenario/Diagnostics.h"
#include "tests/support/AllocationFailure.h"

namespace
{
/// The callback of the first event makes the allocations of its thread fail until the callback of a later event ends
/// that, or nothing does.
class EventSourceWithoutMemory : public testing::Test
{
protected:
    /// Sends all events.
    /// @param aFirst the first failing allocation after the first callback
    /// @param aLast  the last one
    /// @return what the source reports
    std::string send(unsigned int aFirst, unsigned int aLast)
    {
        qzsim::EventSeries series{};
        series.mRate = 100000;
        series.mCount = count;
        qzsim::Registrations registrations;
        std::unique_ptr<AllocationFailure> failure;
        auto const callback = [&](qzsim::EventSeries const&, QZ_event*)
        {
            if (++mReceived == 1)
            {
                failure = std::make_unique<AllocationFailure>(aFirst, aLast);
            }
        };
        registrations.add({0, std::nullopt, QZ_ANY_CATEGORY, QZ_ANY_CATEGORY, callback}, nullptr);
        qzsim::EventSource source(series, registrations);
        testing::internal::CaptureStderr();
        source.start();
        while (!source.hasEnded())
        {
        }
        source.join();
        failure.reset();
        return testing::internal::GetCapturedStderr();
    }

    static constexpr std::uint32_t count = 5;
    std::uint32_t mReceived = 0;
};

TEST_F(EventSourceWithoutMemory, DropsAnEventAndSendsTheNext)
{
    EXPECT_EQ(send(1, 1), "libqzsim: out of memory, an event source drops an event\n");
    EXPECT_EQ(mReceived, count - 1);
}

TEST_F(EventSourceWithoutMemory, ReportsTheFirstDroppedEventAndTheirNumber)
{
    EXPECT_EQ(send(1, 1000),
              "libqzsim: out of memory, an event source drops an event\n"
              "libqzsim: an event source dropped 4 events in total\n");
    EXPECT_EQ(mReceived, 1U);
}

TEST(EventSourceWithAFeed, SurvivesAFeedWithoutMemory)
{
    std::atomic<std::uint32_t> received = 0;
    std::uint32_t calls = 0;
    auto const feed = [&]() -> std::vector<qzsim::EventSeries>
    {
        if (++calls <= 2)
        {
            throw std::bad_alloc();
        }
        qzsim::EventSeries series{};
        series.mRate = 1;
        series.mCount = calls == 3 ? 1 : 0;
        return {series};
    };
    qzsim::Registrations registrations;
    auto const callback = [&](qzsim::EventSeries const&, QZ_event*) { ++received; };
    registrations.add({0, std::nullopt, QZ_ANY_CATEGORY, QZ_ANY_CATEGORY, callback}, nullptr);
    qzsim::EventSource source(feed, registrations);
    testing::internal::CaptureStderr();
    source.start();
    while (received == 0 && !source.hasEnded())
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    source.stop();
    source.join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "libqzsim: out of memory, an event source drops an event\n"
              "libqzsim: an event source dropped 2 events in total\n");
}
}  // namespace
