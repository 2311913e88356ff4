// Measures what the layer adds to a call of the vendor library. A stub of the vendor library answers immediately. Each
// call is measured in three ways: through the layer; directly, through a known pointer; and directly, after a lookup of
// the symbol, which every call of the layer needs. The difference between the last two is the cost of the lookup.
#include <cstring>
#include <ctime>
#include <new>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace
{
using Name = QZCPointer<QZCWorldWideName>;

constexpr unsigned char nameBytes[] = {0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};

Name makeName(unsigned char const* aBytes)
{
    return Name(new (std::nothrow) QZCWorldWideName(aBytes), QZPST_Individual, QZPAT_New);
}

/// Opens the stub. Its soname is the path of the vendor library, so the layer then loads the stub too.
void* stub()
{
    static void* const handle = dlopen(QZ_VQM_STUB, RTLD_LAZY);
    return handle;
}

template <typename Function>
Function* find(char const* aSymbol)
{
    return reinterpret_cast<Function*>(dlsym(stub(), aSymbol));
}

/// A function of the stub that is looked up once.
template <typename Function>
class Known
{
public:
    explicit Known(char const* aSymbol) : mFunction(find<Function>(aSymbol)) {}
    Function* get() const { return mFunction; }

private:
    Function* mFunction;
};

/// A function of the stub that is looked up for each call.
template <typename Function>
class LookedUp
{
public:
    explicit LookedUp(char const* aSymbol) : mSymbol(aSymbol) {}
    Function* get() const { return find<Function>(mSymbol); }

private:
    char const* mSymbol;
};

void loadLayer(benchmark::State const&)
{
    if (stub() != nullptr)
    {
        QZCLibvqmAbs().LIBVQM_LoadLibrary();
    }
}

void freeLayer(benchmark::State const&) { QZCLibvqmAbs().LIBVQM_FreeLibrary(); }

void QZCVqmUnregEvent(benchmark::State& aState)
{
    QZCLibvqmAbs libvqm;
    for (auto _ : aState)
    {
        benchmark::DoNotOptimize(libvqm.LIBVQM_VqmUnregEvent(1, 2));
    }
}

template <template <typename> class Access>
void directVqmUnregEvent(benchmark::State& aState)
{
    Access<unsigned int(unsigned int, unsigned int)> const unregister("unRegisterForEvent");
    for (auto _ : aState)
    {
        benchmark::DoNotOptimize(unregister.get()(1, 2));
    }
}

void QZCQzapiUnregEvent(benchmark::State& aState)
{
    QZCLibvqmAbs libvqm;
    Name const name = makeName(nameBytes);
    for (auto _ : aState)
    {
        benchmark::DoNotOptimize(libvqm.LIBVQM_QzapiUnregEvent(1, name, 2));
    }
}

template <template <typename> class Access>
void directQzapiUnregEvent(benchmark::State& aState)
{
    Access<unsigned int(unsigned int, HBA_wwn, unsigned int)> const unregister("VQM_QZ_unRegisterForEvent");
    Name const name = makeName(nameBytes);
    for (auto _ : aState)
    {
        HBA_wwn wwn;
        std::memcpy(wwn.wwn, name->getBinaryForm(), sizeof wwn.wwn);
        benchmark::DoNotOptimize(unregister.get()(1, wwn, 2));
    }
}

void QZCGetAdapterInfo(benchmark::State& aState)
{
    QZCLibvqmAbs libvqm;
    Name first = makeName(nameBytes);
    Name second = makeName(nameBytes);
    for (auto _ : aState)
    {
        libvqm.LIBVQM_GetAdapterInfo(1, first, second);
    }
}

/// Makes the same two names as the layer, because they are its result.
template <template <typename> class Access>
void directGetAdapterInfo(benchmark::State& aState)
{
    Access<unsigned int(unsigned int, void*)> const getLinkInfo("VQM_GetLinkInfo");
    Name first = makeName(nameBytes);
    Name second = makeName(nameBytes);
    for (auto _ : aState)
    {
        unsigned char record[QZCLibvqmRecords::sgLinkInfoSize];
        std::memset(record, 0, sizeof record);
        benchmark::DoNotOptimize(getLinkInfo.get()(1, record));
        Name const newFirst = makeName(record + QZCLibvqmRecords::sgFirstWwnPosition);
        Name const newSecond = makeName(record + QZCLibvqmRecords::sgSecondWwnPosition);
        first = newFirst;
        second = newSecond;
    }
}

BENCHMARK(QZCVqmUnregEvent)->Setup(loadLayer)->Teardown(freeLayer);
BENCHMARK(directVqmUnregEvent<Known>)->Name("DirectVqmUnregEvent");
BENCHMARK(directVqmUnregEvent<LookedUp>)->Name("LookedUpVqmUnregEvent");
BENCHMARK(QZCQzapiUnregEvent)->Setup(loadLayer)->Teardown(freeLayer);
BENCHMARK(directQzapiUnregEvent<Known>)->Name("DirectQzapiUnregEvent");
BENCHMARK(directQzapiUnregEvent<LookedUp>)->Name("LookedUpQzapiUnregEvent");
BENCHMARK(QZCGetAdapterInfo)->Setup(loadLayer)->Teardown(freeLayer);
BENCHMARK(directGetAdapterInfo<Known>)->Name("DirectGetAdapterInfo");
BENCHMARK(directGetAdapterInfo<LookedUp>)->Name("LookedUpGetAdapterInfo");
}  // namespace
