// Compares QZCPointer with std::shared_ptr.
#include <memory>
#include <thread>

#include <benchmark/benchmark.h>

#include "backend/common/include/Pointer.h"

namespace
{
struct Payload
{
    unsigned int mValue = 1;
};

/// After its first thread has started, a process counts references with locked instructions.
void startThread(benchmark::State const&)
{
    std::thread([] {}).join();
}

QZCPointer<Payload> makeHandle() { return QZCPointer<Payload>(new Payload, QZPST_Individual, QZPAT_New); }

std::shared_ptr<Payload> makeSharedPtr() { return std::shared_ptr<Payload>(new Payload); }

template <typename Handle>
void shareAndRelease(benchmark::State& aState, Handle const& aHandle)
{
    for (auto _ : aState)
    {
        Handle copy(aHandle);
        benchmark::DoNotOptimize(copy);
    }
}

template <typename Make>
void createAndDestroy(benchmark::State& aState, Make aMake)
{
    for (auto _ : aState)
    {
        auto handle = aMake();
        benchmark::DoNotOptimize(handle);
    }
}

template <typename Handle>
void dereference(benchmark::State& aState, Handle const& aHandle)
{
    Handle handle(aHandle);
    for (auto _ : aState)
    {
        unsigned int sum = 0;
        for (int i = 0; i < 256; ++i)
        {
            sum += handle->mValue;
            benchmark::ClobberMemory();
        }
        benchmark::DoNotOptimize(sum);
        benchmark::DoNotOptimize(handle);
    }
}

void QZCPointerShareAndRelease(benchmark::State& aState) { shareAndRelease(aState, makeHandle()); }
void SharedPtrShareAndRelease(benchmark::State& aState) { shareAndRelease(aState, makeSharedPtr()); }
void QZCPointerCreateAndDestroy(benchmark::State& aState) { createAndDestroy(aState, makeHandle); }
void SharedPtrCreateAndDestroy(benchmark::State& aState) { createAndDestroy(aState, makeSharedPtr); }
void QZCPointerDereference256(benchmark::State& aState) { dereference(aState, makeHandle()); }
void SharedPtrDereference256(benchmark::State& aState) { dereference(aState, makeSharedPtr()); }

BENCHMARK(QZCPointerShareAndRelease);
BENCHMARK(SharedPtrShareAndRelease);
BENCHMARK(QZCPointerCreateAndDestroy);
BENCHMARK(SharedPtrCreateAndDestroy);
BENCHMARK(QZCPointerDereference256);
BENCHMARK(SharedPtrDereference256);
BENCHMARK(QZCPointerShareAndRelease)->Name("QZCPointerShareAndReleaseThreaded")->Setup(startThread);
BENCHMARK(SharedPtrShareAndRelease)->Name("SharedPtrShareAndReleaseThreaded")->Setup(startThread);
BENCHMARK(QZCPointerCreateAndDestroy)->Name("QZCPointerCreateAndDestroyThreaded")->Setup(startThread);
BENCHMARK(SharedPtrCreateAndDestroy)->Name("SharedPtrCreateAndDestroyThreaded")->Setup(startThread);
}  // namespace
