// Measures what the layer adds to a call of the HBA API. A fake HBA API answers immediately. The peer makes the same
// allocations and calls without the layer.
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <benchmark/benchmark.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

namespace
{
HBA_UINT32 gNumMappings = 0;

std::size_t blockSize(HBA_UINT32 aNumEntries)
{
    return offsetof(HBA_FCPTARGETMAPPING, entry) + aNumEntries * sizeof(HBA_FCPSCSIENTRY);
}

HBA_FCPTARGETMAPPING* allocateMapping(HBA_UINT32 aNumEntries)
{
    void* const block = std::malloc(blockSize(aNumEntries));
    std::memset(block, 0, blockSize(aNumEntries));
    auto* const mapping = static_cast<HBA_FCPTARGETMAPPING*>(block);
    mapping->NumberOfEntries = aNumEntries;
    return mapping;
}
}  // namespace

extern "C" HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE, HBA_FCPTARGETMAPPING* aMapping)
{
    bool const fits = aMapping->NumberOfEntries >= gNumMappings;
    aMapping->NumberOfEntries = gNumMappings;
    return fits ? HBA_STATUS_OK : HBA_STATUS_ERROR_MORE_DATA;
}

namespace
{
void QZCGetTargetMappings(benchmark::State& aState)
{
    gNumMappings = static_cast<HBA_UINT32>(aState.range(0));
    QZCHbaapiAbs hbaapi;
    for (auto _ : aState)
    {
        HBA_FCPTargetMapping* mapping = nullptr;
        hbaapi.HA_GetTargetMappings(1, mapping);
        std::free(mapping);
    }
}

void PlainGetTargetMappings(benchmark::State& aState)
{
    gNumMappings = static_cast<HBA_UINT32>(aState.range(0));
    for (auto _ : aState)
    {
        HBA_FCPTARGETMAPPING* mapping = allocateMapping(256);
        if (HBA_GetFcpTargetMapping(1, mapping) == HBA_STATUS_ERROR_MORE_DATA)
        {
            HBA_UINT32 const needed = mapping->NumberOfEntries;
            std::free(mapping);
            mapping = allocateMapping(needed);
            HBA_GetFcpTargetMapping(1, mapping);
        }
        benchmark::DoNotOptimize(mapping);
        std::free(mapping);
    }
}

BENCHMARK(QZCGetTargetMappings)->Arg(256)->Arg(60000);
BENCHMARK(PlainGetTargetMappings)->Arg(256)->Arg(60000);
}  // namespace
