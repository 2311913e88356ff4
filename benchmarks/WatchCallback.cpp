// Measures how long the callback of the watch takes, beside fwrite() of the same events. A thread of its own sends the
// events at a rate, as a vendor library does, while this thread records them.
//
//   qz_watch_callback FILE [RATE [SECONDS]]    the default is 300,000 events a second for five seconds
//
// Prints the median and the 99th percentile in nanoseconds, without the time of reading the clock.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "agentkit/include/EventQueue.h"
#include "simulator/include/QzEvent.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/EventIntake.h"
#include "tools/qzagent/vqm/VqmEvent.h"
#include "tools/qzagent/vqm/VqmRegistrations.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/PcapngRecorder.h"
#include "tools/qzagent/watch/WatchClock.h"

namespace
{
using Clock = std::chrono::steady_clock;

constexpr std::size_t payloadSize = 64;
constexpr std::chrono::milliseconds pace(5);

std::int64_t nanosecondsSince(Clock::time_point aStart)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - aStart).count();
}

/// Calls the function at the rate, and returns how long each call took.
template <typename Function>
std::vector<std::int64_t> timesAtRate(unsigned int aRate, unsigned int aSeconds, Function aFunction)
{
    std::vector<std::int64_t> times(std::size_t{aRate} * aSeconds);
    auto const start = Clock::now();
    std::size_t number = 0;
    while (number < times.size())
    {
        // As many as are due, then a short sleep: as the simulated library and real drivers do.
        auto const due = static_cast<std::size_t>(nanosecondsSince(start)) * aRate / 1'000'000'000;
        for (; number < std::min(due, times.size()); ++number)
        {
            auto const before = Clock::now();
            aFunction();
            times[number] = nanosecondsSince(before);
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return times;
}

std::int64_t percentile(std::vector<std::int64_t> aTimes, unsigned int aPercent)
{
    auto const place = aTimes.begin() + static_cast<std::ptrdiff_t>(aTimes.size() * aPercent / 100);
    std::nth_element(aTimes.begin(), place, aTimes.end());
    return *place;
}

/// Prints one line without the time that reading the clock takes.
void print(char const* aName, std::vector<std::int64_t> const& aTimes, std::int64_t aClock)
{
    std::printf("%-10s median %lld ns, 99th percentile %lld ns\n", aName,
                static_cast<long long>(percentile(aTimes, 50) - aClock),
                static_cast<long long>(percentile(aTimes, 99) - aClock));
}

std::vector<std::int64_t> timesOfCallback(std::string const& aPath, unsigned int aRate, unsigned int aSeconds)
{
    qzagent::ErrorStream errors;
    qzagent::Report report(errors);
    std::vector<qzagent::Board> const boards{{0, {}, {}, qzagent::Failure{}}};
    qzagent::LibvqmVersions const versions;
    qz::EventQueue queue(65'536, std::size_t{64} << 20U);
    qzagent::EventIntake intake(queue, qzagent::EventLayout(), false);
    qzagent::DropCounts const drops(queue);
    qzagent::WatchClock const clock;
    qzagent::PcapngRecorder recorder({aPath, aPath, {}, {}, std::chrono::seconds(5)},
                                     {boards, versions, drops, clock, report});
    std::array<unsigned char, payloadSize> payload{};
    QZ_event event{static_cast<unsigned int>(payload.size()), payload.data()};
    std::vector<std::int64_t> times;
    std::atomic<bool> isDone{false};
    std::thread source(
        [&]
        {
            times = timesAtRate(aRate, aSeconds,
                                [&] { qzagent::takeQuazorEvent(0, HBA_wwn{}, 3, 7, &intake, &event); });
            isDone = true;
        });
    std::array<qz::QueuedEvent, 64> events;
    for (bool hasMore = true; hasMore;)
    {
        bool const wasDone = isDone;
        std::size_t const count = queue.peek(events.data(), events.size());
        hasMore = !wasDone || count != 0;
        std::for_each(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(count),
                      [&](qz::QueuedEvent const& aEvent) { recorder.take(aEvent, nullptr); });
        queue.remove(count);
        if (count == 0)
        {
            recorder.flush();
            std::this_thread::sleep_for(pace);
        }
    }
    source.join();
    recorder.finish();
    std::printf("recorded %llu of %zu events, dropped %llu\n",
                static_cast<unsigned long long>(recorder.written()), times.size(),
                static_cast<unsigned long long>(queue.dropped()));
    return times;
}

std::vector<std::int64_t> timesOfWriting(std::string const& aPath, unsigned int aRate, unsigned int aSeconds)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen((aPath + ".fwrite").c_str(), "wb"),
                                                               &std::fclose);
    std::array<unsigned char, payloadSize> const payload{};
    return timesAtRate(aRate, aSeconds, [&] { std::fwrite(payload.data(), payload.size(), 1, file.get()); });
}
}  // namespace

int main(int aCount, char** aArguments)
{
    if (aCount < 2)
    {
        std::fputs("usage: qz_watch_callback FILE [RATE [SECONDS]]\n", stderr);
        return 2;
    }
    std::string const path = aArguments[1];
    auto const rate = static_cast<unsigned int>(aCount > 2 ? std::atoi(aArguments[2]) : 300'000);
    auto const seconds = static_cast<unsigned int>(aCount > 3 ? std::atoi(aArguments[3]) : 5);
    std::int64_t const clock = percentile(timesAtRate(rate, 1, [] {}), 50);
    print("callback", timesOfCallback(path, rate, seconds), clock);
    print("fwrite", timesOfWriting(path, rate, seconds), clock);
    return 0;
}
