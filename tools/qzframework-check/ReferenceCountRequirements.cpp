// Counting, also by several threads at once.
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

void expectLeft(QZCReferenceCount& aCount, unsigned int aExpected)
{
    unsigned int const found = aCount.decrement();
    expect(found == aExpected, fmt::format("expected decrement() to leave {}, found {}", aExpected, found));
}

void checkInitialCount()
{
    QZCReferenceCount count(3);
    expectLeft(count, 2);
    expectLeft(count, 1);
    expectLeft(count, 0);
}

void checkIncrementing()
{
    QZCReferenceCount count(1);
    count.increment();
    count.increment();
    expectLeft(count, 2);
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
                // All begin at once, so that they meet.
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

/// A count that is not atomic takes threads that run side by side for a while to show it.
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
    expectLeft(count, 1);
}

void checkLastHolder()
{
    for (int round = 0; round < 200; ++round)
    {
        QZCReferenceCount count(threads);
        std::atomic<unsigned int> last{0};
        inThreads([&] { last += count.decrement() == 0 ? 1 : 0; });
        expect(last == 1, fmt::format("of {} holders {} were told to be the last", threads, last.load()));
    }
}
}  // namespace

Requirements referenceCountRequirements()
{
    return {
        {"ReferenceCount.initial", "decrement() tells what is left of the initial count", checkInitialCount},
        {"ReferenceCount.increment", "increment() adds one", checkIncrementing},
        {"ReferenceCount.threads", "several threads count without losing a holder", checkSharing},
        {"ReferenceCount.last", "of several threads exactly one is told to be the last", checkLastHolder},
    };
}
}  // namespace frameworkcheck
