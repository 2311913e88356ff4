// The shared-ownership handle beside std::shared_ptr.
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

/// From its first thread on a process counts with locked instructions.
void startThread(benchmark::State const&)
{
    std::thread([] {}).join();
}

QZCPointer<Payload> makeHandle() { return QZCPointer<Payload>(new Payload, QZPST_Individual, QZPAT_New); }

std::shared_ptr<Payload> makeSharedPtr() { return std::shared_ptr<Payload>(new Payload); }

template <typename Handle>
void shareAndRelease(benchmark::State& arState, Handle const& acrHandle)
{
    for (auto _ : arState)
    {
        Handle copy(acrHandle);
        benchmark::DoNotOptimize(copy);
    }
}

template <typename Make>
void createAndDestroy(benchmark::State& arState, Make aMake)
{
    for (auto _ : arState)
    {
        auto handle = aMake();
        benchmark::DoNotOptimize(handle);
    }
}

template <typename Handle>
void dereference(benchmark::State& arState, Handle const& acrHandle)
{
    Handle handle(acrHandle);
    for (auto _ : arState)
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

void QZCPointerShareAndRelease(benchmark::State& arState) { shareAndRelease(arState, makeHandle()); }
void SharedPtrShareAndRelease(benchmark::State& arState) { shareAndRelease(arState, makeSharedPtr()); }
void QZCPointerCreateAndDestroy(benchmark::State& arState) { createAndDestroy(arState, makeHandle); }
void SharedPtrCreateAndDestroy(benchmark::State& arState) { createAndDestroy(arState, makeSharedPtr); }
void QZCPointerDereference256(benchmark::State& arState) { dereference(arState, makeHandle()); }
void SharedPtrDereference256(benchmark::State& arState) { dereference(arState, makeSharedPtr()); }

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
