// What qzsim record adds to a call of an HBA library. The peer is the bare call.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <hbaapi.h>

#include "simulator/recording/Parts.h"
#include "simulator/recording/Ring.h"
#include "simulator/recording/Session.h"

namespace
{
/// Reads the ring as the runner does.
class Reader
{
public:
    Reader() : mRing(mFile.path())
    {
        ::setenv(qzsim::ringVariable, mFile.path().c_str(), 1);
        mThread = std::thread(
            [this]
            {
                while (!mIsEnding)
                {
                    mRing.read([this](qzsim::Ring::Record const& aRecord)
                               { mBytes += aRecord.mContent.mSize; });
                    std::this_thread::sleep_for(std::chrono::milliseconds(5));
                }
            });
    }
    ~Reader()
    {
        mIsEnding = true;
        mThread.join();
    }
    Reader(Reader const&) = delete;
    Reader& operator=(Reader const&) = delete;

private:
    qzsim::RingFile const mFile;
    qzsim::Ring mRing;
    std::atomic<bool> mIsEnding = false;
    std::size_t mBytes = 0;
    std::thread mThread;
};

/// An HBA library that takes some time.
HBA_STATUS getPortAttributes(std::chrono::nanoseconds aTime, HBA_PORTATTRIBUTES& aAttributes)
{
    auto const end = std::chrono::steady_clock::now() + aTime;
    std::memset(&aAttributes, 0, sizeof aAttributes);
    std::strcpy(aAttributes.PortSymbolicName, "example port of a host with a name");
    std::strcpy(aAttributes.OSDeviceName, "/sys/class/fc_host/host7");
    while (std::chrono::steady_clock::now() < end)
    {
    }
    return HBA_STATUS_OK;
}

std::chrono::nanoseconds timeOf(benchmark::State const& aState)
{
    return std::chrono::microseconds(aState.range(0));
}

void bareCall(benchmark::State& aState)
{
    HBA_PORTATTRIBUTES attributes{};
    for ([[maybe_unused]] auto _ : aState)
    {
        benchmark::DoNotOptimize(getPortAttributes(timeOf(aState), attributes));
    }
}

void recordedCall(benchmark::State& aState)
{
    static Reader reader;
    static qzsim::Session session;
    static std::string const library = "/usr/lib/libexample.so";
    HBA_PORTATTRIBUTES attributes{};
    for ([[maybe_unused]] auto _ : aState)
    {
        benchmark::DoNotOptimize(session.call(
            {library, "HBA_GetAdapterPortAttributes", HBA_STATUS_ERROR, [](std::uint32_t) { return true; }},
            [&] { return getPortAttributes(timeOf(aState), attributes); }, qzsim::In<HBA_HANDLE>{"handle", 1},
            qzsim::In<HBA_UINT32>{"port", 0}, qzsim::Out<HBA_PORTATTRIBUTES>{"attributes", &attributes}));
    }
}

/// The argument is the time of the call in microseconds.
BENCHMARK(bareCall)->Arg(0)->Arg(100)->UseRealTime();
BENCHMARK(recordedCall)->Arg(0)->Arg(100)->UseRealTime();
}  // namespace
