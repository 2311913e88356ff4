#include "agentkit/testing/FakeLinker.h"

#include <dlfcn.h>

using qz::FakeLinker;

namespace
{
FakeLinker* gLinker = nullptr;

/// The C library's function of that name. The version is the first that has all four functions.
template <typename Function>
Function realFunction(char const* aName) noexcept
{
    return reinterpret_cast<Function>(dlvsym(RTLD_NEXT, aName, "GLIBC_2.34"));
}
}  // namespace

FakeLinker::FakeLinker() { gLinker = this; }

FakeLinker::~FakeLinker() { gLinker = nullptr; }

extern "C"
{
    void* dlopen(char const* aPath, int aMode) noexcept
    {
        return gLinker != nullptr ? gLinker->open(aPath, aMode)
                                  : realFunction<decltype(&dlopen)>("dlopen")(aPath, aMode);
    }

    // The meaning of RTLD_NEXT depends on the calling library, so this call must be compiled to a jump. The
    // sanitizers look up the C library's functions this way when they start.
    void* dlsym(void* aHandle, char const* aSymbol) noexcept
    {
        return gLinker != nullptr ? gLinker->find(aHandle, aSymbol)
                                  : realFunction<decltype(&dlsym)>("dlsym")(aHandle, aSymbol);
    }

    char* dlerror() noexcept
    {
        return gLinker != nullptr ? gLinker->takeError() : realFunction<decltype(&dlerror)>("dlerror")();
    }

    int dlclose(void* aHandle) noexcept
    {
        return gLinker != nullptr ? gLinker->close(aHandle)
                                  : realFunction<decltype(&dlclose)>("dlclose")(aHandle);
    }
}
