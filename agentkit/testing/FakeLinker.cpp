#include "agentkit/testing/FakeLinker.h"

#include <dlfcn.h>

namespace
{
FakeLinker* gLinker = nullptr;

/// The C library's function of that name. The version is the first in which it has all four.
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

    // What RTLD_NEXT means depends on where the call comes from, so this must end in a jump: a sanitizer
    // looks for the C library's functions in this way, before it can do anything else.
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
