// Reference counting by one thread and by several threads.
#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "backend/common/include/ReferenceCount.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
constexpr unsigned int threads = 4;

void expectAfterDecrement(QZCReferenceCount& aCount, unsigned int aExpected)
{
    unsigned int const found = aCount.decrement();
    expect(found == aExpected, fmt::format("expected decrement() to return {}, found {}", aExpected, found));
}

void checkInitialCount()
{
    QZCReferenceCount count(3);
    expectAfterDecrement(count, 2);
    expectAfterDecrement(count, 1);
    expectAfterDecrement(count, 0);
}

void checkIncrementing()
{
    QZCReferenceCount count(1);
    count.increment();
    count.increment();
    expectAfterDecrement(count, 2);
}

void inThreads(std::function<void()> const& aBody)
{
    std::atomic<unsigned int> waiting{threads};
    std::vector<std::thread> running;
    for (unsigned int i = 0; i < threads; ++i)
    {
        running.emplace_back(
            [&]
            {
                // All threads begin at the same time, so that they compete.
                --waiting;
                while (waiting != 0)
                {
                    std::this_thread::yield();
                }
                aBody();
            });
    }
    for (std::thread& thread : running)
    {
        thread.join();
    }
}

/// Runs for half a second: a count that is not atomic fails only when threads collide.
void shareAndLetGo(QZCReferenceCount& aCount)
{
    auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
    while (std::chrono::steady_clock::now() < end)
    {
        for (int i = 0; i < 1000; ++i)
        {
            aCount.increment();
            aCount.decrement();
        }
    }
}

void checkSharing()
{
    QZCReferenceCount count(2);
    inThreads([&] { shareAndLetGo(count); });
    expectAfterDecrement(count, 1);
}

void checkLastHolder()
{
    for (int round = 0; round < 200; ++round)
    {
        QZCReferenceCount count(threads);
        std::atomic<unsigned int> last{0};
        inThreads([&] { last += count.decrement() == 0 ? 1 : 0; });
        expect(last == 1, fmt::format("{} threads: expected decrement() to return 0 once, found {} times",
                                      threads, last.load()));
    }
}
}  // namespace

Requirements referenceCountRequirements()
{
    return {
        {"ReferenceCount.initial", "decrement() returns the remaining count", checkInitialCount},
        {"ReferenceCount.increment", "increment() adds one", checkIncrementing},
        {"ReferenceCount.threads", "the count stays exact when several threads change it", checkSharing},
        {"ReferenceCount.last", "decrement() returns 0 to exactly one of several threads", checkLastHolder},
    };
}
}  // namespace frameworkcheck
