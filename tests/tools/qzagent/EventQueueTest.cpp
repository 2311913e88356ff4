#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "tools/qzagent/vqm/EventQueue.h"

using qzagent::EventHead;
using qzagent::EventQueue;
using qzagent::WatchedEvent;
using testing::ElementsAre;

namespace
{
void push(EventQueue& aQueue, std::string const& aPayload, unsigned int aBoard = 0)
{
    EventHead head{};
    head.mBoard = aBoard;
    aQueue.push(head, reinterpret_cast<unsigned char const*>(aPayload.data()), aPayload.size());
}

/// Takes all events out of the queue.
/// @return their payloads
std::vector<std::string> payloadsOf(EventQueue& aQueue)
{
    std::vector<std::string> payloads;
    WatchedEvent event{};
    while (aQueue.pop(event))
    {
        payloads.emplace_back(event.mPayload.begin(), event.mPayload.end());
    }
    return payloads;
}

bool canBeRead(EventQueue const& aQueue)
{
    pollfd descriptor{aQueue.descriptor(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1;
}

TEST(EventQueue, ReturnsEventsInTheOrderOfArrival)
{
    EventQueue queue(10, 100);
    push(queue, "first");
    push(queue, "");
    push(queue, "third");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("first", "", "third"));
    EXPECT_EQ(queue.received(), 3u);
}

TEST(EventQueue, ReturnsAnEventUnchanged)
{
    EventQueue queue(1, 1);
    EventHead const head{std::chrono::system_clock::now(), 1, 2, 3};
    unsigned char const payload = 4;
    queue.push(head, &payload, 1);
    WatchedEvent event{};
    ASSERT_TRUE(queue.pop(event));
    EXPECT_EQ(event.mHead.mTime, head.mTime);
    EXPECT_EQ(event.mHead.mBoard, 1u);
    EXPECT_EQ(event.mHead.mCategory, 2u);
    EXPECT_EQ(event.mHead.mSubcategory, 3u);
    EXPECT_THAT(event.mPayload, ElementsAre(4));
}

TEST(EventQueue, KeepsAPayloadThatWrapsAroundTheRingBuffer)
{
    EventQueue queue(3, 10);
    push(queue, "123456");
    push(queue, "abc");
    WatchedEvent event{};
    ASSERT_TRUE(queue.pop(event));
    push(queue, "ABCDEFG");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("abc", "ABCDEFG"));
    EXPECT_EQ(queue.dropped(), 0u);
}

TEST(EventQueue, DropsAndCountsEventsWhenTheQueueIsFull)
{
    EventQueue queue(2, 100);
    for (char const* const payload : {"a", "b", "c", "d"})
    {
        push(queue, payload);
    }
    EXPECT_EQ(queue.received(), 4u);
    EXPECT_EQ(queue.dropped(), 2u);
    EXPECT_THAT(payloadsOf(queue), ElementsAre("a", "b"));
}

TEST(EventQueue, DropsAPayloadThatDoesNotFitAndAcceptsASmallerOne)
{
    EventQueue queue(10, 5);
    push(queue, "123");
    push(queue, "456");
    push(queue, "78");
    push(queue, "");
    EXPECT_EQ(queue.dropped(), 1u);
    EXPECT_THAT(payloadsOf(queue), ElementsAre("123", "78", ""));
}

TEST(EventQueue, AcceptsEventsAgainAfterTheQueueIsEmptied)
{
    EventQueue queue(1, 5);
    push(queue, "12345");
    push(queue, "lost");
    payloadsOf(queue);
    push(queue, "54321");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("54321"));
}

TEST(EventQueue, IgnoresAndDoesNotCountEventsBeyondTheLimit)
{
    EventQueue queue(10, 100, 2);
    for (char const* const payload : {"a", "b", "c"})
    {
        push(queue, payload);
    }
    EXPECT_EQ(queue.received(), 2u);
    EXPECT_EQ(queue.dropped(), 0u);
    EXPECT_THAT(payloadsOf(queue), ElementsAre("a", "b"));
}

TEST(EventQueue, BecomesReadableWithTheNextEventAfterPopFoundItEmpty)
{
    EventQueue queue(10, 100);
    WatchedEvent event{};
    ASSERT_FALSE(queue.pop(event));
    EXPECT_FALSE(canBeRead(queue));
    push(queue, "a");
    EXPECT_TRUE(canBeRead(queue));
}

TEST(EventQueue, IsNotReadableAfterTheLastEventIsTaken)
{
    EventQueue queue(10, 100);
    payloadsOf(queue);
    push(queue, "a");
    payloadsOf(queue);
    EXPECT_FALSE(canBeRead(queue));
}

TEST(EventQueue, KeepsTheOrderOfEachThreadAndCountsDroppedEvents)
{
    constexpr unsigned int threads = 4;
    constexpr std::uint32_t eventsOfEach = 20000;
    EventQueue queue(64, 1000);
    std::vector<std::thread> sources;
    for (unsigned int source = 0; source < threads; ++source)
    {
        sources.emplace_back(
            [&queue, source]
            {
                for (std::uint32_t number = 1; number <= eventsOfEach; ++number)
                {
                    push(queue, std::to_string(number), source);
                }
            });
    }
    std::array<unsigned long, threads> last{};
    std::uint64_t taken = 0;
    WatchedEvent event{};
    while (taken + queue.dropped() < threads * eventsOfEach)
    {
        if (queue.pop(event))
        {
            ++taken;
            unsigned long const number =
                std::stoul(std::string(event.mPayload.begin(), event.mPayload.end()));
            ASSERT_GT(number, last.at(event.mHead.mBoard)) << "from thread " << event.mHead.mBoard;
            last.at(event.mHead.mBoard) = number;
        }
    }
    for (std::thread& source : sources)
    {
        source.join();
    }
    EXPECT_EQ(queue.received(), threads * eventsOfEach);
    EXPECT_THAT(payloadsOf(queue), testing::IsEmpty());
}
}  // namespace
