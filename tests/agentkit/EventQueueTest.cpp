#include <algorithm>
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
#include <sys/resource.h>

#include "agentkit/include/EventQueue.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Outcome.h"

using qz::Event;
using qz::EventHead;
using qz::EventQueue;
using qz::QueuedEvent;
using testing::ElementsAre;

namespace
{
void push(EventQueue& aQueue, std::string const& aPayload, unsigned int aBoard = 0)
{
    EventHead head{};
    head.mBoard = aBoard;
    aQueue.push(head, reinterpret_cast<unsigned char const*>(aPayload.data()), aPayload.size());
}

/// The payloads in the queue.
std::vector<std::string> payloadsOf(EventQueue& aQueue)
{
    std::vector<std::string> payloads;
    Event event{};
    while (aQueue.pop(event))
    {
        payloads.emplace_back(event.mPayload.begin(), event.mPayload.end());
    }
    return payloads;
}

std::string payloadOf(QueuedEvent const& aEvent)
{
    std::string payload(aEvent.mPayload.begin(), aEvent.mPayload.end());
    return payload.append(aEvent.mRest.begin(), aEvent.mRest.end());
}

/// The payloads of at most so many events, which stay in the queue.
std::vector<std::string> peekAt(EventQueue& aQueue, std::size_t aMost)
{
    std::vector<QueuedEvent> events(aMost);
    events.resize(aQueue.peek(events.data(), aMost));
    std::vector<std::string> payloads(events.size());
    std::transform(events.begin(), events.end(), payloads.begin(), &payloadOf);
    return payloads;
}

/// For each event in the queue, the number of events of its board that were dropped before it.
std::vector<std::uint64_t> dropsBeforeEach(EventQueue& aQueue)
{
    std::vector<QueuedEvent> events(10);
    events.resize(aQueue.peek(events.data(), events.size()));
    std::vector<std::uint64_t> drops(events.size());
    std::transform(events.begin(), events.end(), drops.begin(),
                   [](QueuedEvent const& aEvent) { return aEvent.mDropped; });
    return drops;
}

bool canBeRead(EventQueue const& aQueue)
{
    pollfd descriptor{aQueue.descriptor(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1;
}

TEST(EventQueue, GivesEventsInTheirOrder)
{
    EventQueue queue(10, 100);
    push(queue, "first");
    push(queue, "");
    push(queue, "third");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("first", "", "third"));
    EXPECT_EQ(queue.received(), 3u);
}

TEST(EventQueue, HasRoomForAtLeastOneByte)
{
    EventQueue queue(10, 0);
    push(queue, "");
    push(queue, "x");
    push(queue, "y");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("", "x"));
    EXPECT_EQ(queue.dropped(), 1u);
}

TEST(EventQueue, WithoutRoomForEventsDropsAll)
{
    EventQueue queue(0, 10);
    push(queue, "");
    push(queue, "x");
    EXPECT_THAT(payloadsOf(queue), ElementsAre());
    EXPECT_EQ(queue.dropped(), 2u);
}

TEST(EventQueue, GivesAnEventAsItWasPushed)
{
    EventQueue queue(1, 1);
    EventHead const head{std::chrono::system_clock::now(), 1, 2, 3};
    unsigned char const payload = 4;
    queue.push(head, &payload, 1);
    Event event{};
    ASSERT_TRUE(queue.pop(event));
    EXPECT_EQ(event.mHead.mTime, head.mTime);
    EXPECT_EQ(event.mHead.mBoard, 1u);
    EXPECT_EQ(event.mHead.mCategory, 2u);
    EXPECT_EQ(event.mHead.mSubcategory, 3u);
    EXPECT_THAT(event.mPayload, ElementsAre(4));
}

TEST(EventQueue, KeepsPayloadTogetherAcrossTheEndOfItsRoom)
{
    EventQueue queue(3, 10);
    push(queue, "123456");
    push(queue, "abc");
    Event event{};
    ASSERT_TRUE(queue.pop(event));
    push(queue, "ABCDEFG");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("abc", "ABCDEFG"));
    EXPECT_EQ(queue.dropped(), 0u);
}

TEST(EventQueue, DropsAndCountsEventsBeyondItsNumber)
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

TEST(EventQueue, DropsWhatItHasNoBytesForAndTakesWhatItHas)
{
    EventQueue queue(10, 5);
    push(queue, "123");
    push(queue, "456");
    push(queue, "78");
    push(queue, "");
    EXPECT_EQ(queue.dropped(), 1u);
    EXPECT_THAT(payloadsOf(queue), ElementsAre("123", "78", ""));
}

TEST(EventQueue, TakesEventsAgainOnceThereIsRoom)
{
    EventQueue queue(1, 5);
    push(queue, "12345");
    push(queue, "lost");
    payloadsOf(queue);
    push(queue, "54321");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("54321"));
}

TEST(EventQueue, IgnoresEventsBeyondItsLimit)
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

TEST(EventQueue, CountsDroppedEventsTowardsItsLimit)
{
    EventQueue queue(10, 1, 2);
    for (char const* const payload : {"too long", "a", "b"})
    {
        push(queue, payload);
    }
    EXPECT_EQ(queue.received(), 2u);
    EXPECT_EQ(queue.dropped(), 1u);
    EXPECT_THAT(payloadsOf(queue), ElementsAre("a"));
}

TEST(EventQueue, ShowsEventsInPlaceUntilTheyAreRemoved)
{
    EventQueue queue(3, 10);
    push(queue, "123");
    push(queue, "");
    push(queue, "45");
    EXPECT_THAT(peekAt(queue, 2), ElementsAre("123", ""));
    EXPECT_THAT(peekAt(queue, 9), ElementsAre("123", "", "45"));
    queue.remove(2);
    EXPECT_THAT(peekAt(queue, 9), ElementsAre("45"));
    queue.remove(1);
    EXPECT_THAT(peekAt(queue, 9), testing::IsEmpty());
}

TEST(EventQueue, ShowsPayloadAcrossTheEndOfItsRoomInTwoParts)
{
    EventQueue queue(3, 10);
    push(queue, "123456");
    push(queue, "abc");
    queue.remove(1);
    push(queue, "ABCDEFG");
    QueuedEvent events[2];
    ASSERT_EQ(queue.peek(events, 2), 2u);
    EXPECT_EQ(payloadOf(events[0]), "abc");
    EXPECT_EQ(events[1].mPayload.mSize, 1u);
    EXPECT_EQ(events[1].mRest.mSize, 6u);
    EXPECT_EQ(payloadOf(events[1]), "ABCDEFG");
}

TEST(EventQueue, ShowsAnEventAsItWasPushed)
{
    EventQueue queue(1, 1);
    EventHead const head{std::chrono::system_clock::now(), 1, 2, 3};
    queue.push(head, nullptr, 0);
    QueuedEvent event;
    ASSERT_EQ(queue.peek(&event, 1), 1u);
    EXPECT_EQ(event.mHead.mTime, head.mTime);
    EXPECT_EQ(event.mHead.mBoard, 1u);
    EXPECT_EQ(event.mHead.mCategory, 2u);
    EXPECT_EQ(event.mHead.mSubcategory, 3u);
}

TEST(EventQueue, RoomOfRemovedEventsIsUsedAgain)
{
    EventQueue queue(1, 5);
    push(queue, "12345");
    queue.remove(1);
    push(queue, "54321");
    EXPECT_THAT(peekAt(queue, 1), ElementsAre("54321"));
}

TEST(EventQueue, CountsTheDropsOfEachBoard)
{
    EventQueue queue(1, 100);
    for (unsigned int const board : {0U, 0U, 7U, 255U, 256U, 4000000000U})
    {
        push(queue, "a", board);
    }
    EXPECT_EQ(queue.dropped(0), 1u);
    EXPECT_EQ(queue.dropped(7), 1u);
    EXPECT_EQ(queue.dropped(255), 1u);
    EXPECT_EQ(queue.dropped(256), 2u) << "boards from 256 are counted together";
    EXPECT_EQ(queue.dropped(4000000000U), 2u);
    EXPECT_EQ(queue.dropped(1), 0u);
    EXPECT_EQ(queue.dropped(), 5u);
}

TEST(EventQueue, EachEventHasTheDropsOfItsBoardSinceThePreviousOne)
{
    EventQueue queue(10, 1);
    push(queue, "too long", 1);
    push(queue, "too long", 1);
    push(queue, "", 2);
    push(queue, "", 1);
    push(queue, "too long", 2);
    push(queue, "", 1);
    push(queue, "", 2);
    EXPECT_THAT(dropsBeforeEach(queue), ElementsAre(0u, 2u, 0u, 1u));
}

TEST(EventQueue, FirstEventMakesTheQueueReadable)
{
    EventQueue queue(10, 100);
    EXPECT_FALSE(canBeRead(queue));
    push(queue, "a");
    EXPECT_TRUE(canBeRead(queue)) << "a reader that polls before its first pop waits forever";
}

TEST(EventQueue, NextEventMakesAnEmptiedQueueReadableAgain)
{
    EventQueue queue(10, 100);
    for (int round = 0; round < 3; ++round)
    {
        Event event{};
        ASSERT_FALSE(queue.pop(event));
        EXPECT_FALSE(canBeRead(queue));
        push(queue, "a");
        EXPECT_TRUE(canBeRead(queue));
        ASSERT_TRUE(queue.pop(event));
    }
}

TEST(EventQueue, StaysReadableUntilItIsFoundEmpty)
{
    EventQueue queue(10, 100);
    push(queue, "a");
    push(queue, "b");
    Event event{};
    for (int events = 0; events < 2; ++events)
    {
        EXPECT_TRUE(canBeRead(queue));
        ASSERT_TRUE(queue.pop(event));
    }
    ASSERT_FALSE(queue.pop(event));
    EXPECT_FALSE(canBeRead(queue));
}

TEST(EventQueue, OnlyAwaitingMakesADrainedQueueReadableAtTheNextEvent)
{
    EventQueue queue(10, 100);
    push(queue, "a");
    queue.remove(1);
    EXPECT_TRUE(queue.await());
    EXPECT_FALSE(canBeRead(queue));
    push(queue, "b");
    EXPECT_TRUE(canBeRead(queue));
}

TEST(EventQueue, IsNotAwaitedWhileItHasEvents)
{
    EventQueue queue(10, 100);
    EXPECT_TRUE(queue.await());
    push(queue, "a");
    EXPECT_FALSE(queue.await());
    EXPECT_TRUE(canBeRead(queue)) << "the event that made it readable is still there";
}

TEST(EventQueue, DroppedEventDoesNotMakeTheQueueReadable)
{
    EventQueue queue(10, 1);
    push(queue, "too long");
    EXPECT_FALSE(canBeRead(queue));
    EXPECT_EQ(queue.dropped(), 1u);
}

TEST(EventQueue, PushesWithoutAllocating)
{
    EventQueue queue(2, 100);
    std::string const payload(60, 'x');
    EXPECT_EQ(allocationsOf(
                  [&]
                  {
                      push(queue, payload);
                      push(queue, payload);
                      push(queue, "");
                      push(queue, "");
                  }),
              0u);
    EXPECT_EQ(queue.dropped(), 2u) << "one exceeds the bytes, one the number of events";
}

TEST(EventQueue, TakesAnEmptyPayloadAtNoAddress)
{
    EventQueue queue(2, 1);
    queue.push(EventHead{}, nullptr, 0);
    EXPECT_THAT(payloadsOf(queue), ElementsAre(""));
}

TEST(EventQueue, KeepsAnEventThatThereIsNoMemoryFor)
{
    EventQueue queue(2, 100);
    push(queue, "kept", 1);
    push(queue, "next", 2);
    Event event{};
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { queue.pop(event); }), badAlloc);
    EXPECT_TRUE(event.mPayload.empty());
    ASSERT_TRUE(queue.pop(event));
    EXPECT_EQ(event.mHead.mBoard, 1u);
    EXPECT_EQ(std::string(event.mPayload.begin(), event.mPayload.end()), "kept");
    EXPECT_THAT(payloadsOf(queue), ElementsAre("next"));
}

TEST(EventQueue, ReusesTheMemoryOfTheEventThatItFills)
{
    EventQueue queue(2, 100);
    push(queue, "a long payload");
    push(queue, "short");
    Event event{};
    ASSERT_TRUE(queue.pop(event));
    EXPECT_EQ(allocationsOf([&] { queue.pop(event); }), 0u);
    EXPECT_EQ(std::string(event.mPayload.begin(), event.mPayload.end()), "short");
}

TEST(EventQueue, ConstructionWithoutMemoryThrowsAndLeavesNothing)
{
    long const before = liveBlocks();
    unsigned int const allocations = allocationsOf([] { EventQueue(2, 100); });
    ASSERT_GT(allocations, 0u);
    for (unsigned int failing = 1; failing <= allocations; ++failing)
    {
        EXPECT_EQ(outcomeWithoutMemory(failing, [] { EventQueue(2, 100); }), badAlloc) << failing;
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(EventQueue, ReportsThatNoDescriptorIsLeft)
{
    if (IS_SANITIZED)
    {
        GTEST_SKIP() << "the undefined-behaviour sanitizer needs descriptors to inspect an exception";
    }
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    rlimit const none{0, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string const outcome = outcomeOf([] { EventQueue(2, 100); });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_THAT(outcome, testing::StartsWith("std::system_error: cannot make a queue: "));
}

TEST(EventQueue, ClosesItsDescriptor)
{
    int descriptor = -1;
    {
        EventQueue const queue(1, 1);
        descriptor = queue.descriptor();
    }
    EventQueue const again(1, 1);
    EXPECT_EQ(again.descriptor(), descriptor) << "the lowest free number is used first";
}

TEST(EventQueue, KeepsTheOrderOfEachThreadAndCountsWhatItDrops)
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
    Event event{};
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
