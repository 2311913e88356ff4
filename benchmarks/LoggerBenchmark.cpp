// Compares a masked trace call with an out-of-line variadic function that tests one relaxed atomic and returns.
#include <benchmark/benchmark.h>

#include "backend/common/include/Logger.h"
#include "benchmarks/LoggerPeer.h"

#define QZ_LOG_FILE "LoggerBenchmark"

namespace
{
void MaskedTrace(benchmark::State& aState)
{
    for (auto _ : aState)
    {
        QZ_LOG_TRACE("%s", "Entered");
    }
}

void MaskedPeer(benchmark::State& aState)
{
    for (auto _ : aState)
    {
        peerLog(QZLL_Trace, "-T-", __LINE__, __func__, QZ_LOG_FILE, "%s", "Entered");
    }
}

BENCHMARK(MaskedTrace);
BENCHMARK(MaskedPeer);
}  // namespace
