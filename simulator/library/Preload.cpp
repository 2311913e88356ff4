// Replaces fopen of the C library in a program that preloads this library: when the common library of the HBA API opens
// its configuration, it gets one that names this library. Every other call passes through.
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include <dlfcn.h>

#include "simulator/control/EnvironmentVariables.h"

namespace
{
constexpr std::string_view configurationPath = "/etc/hba.conf";

using Fopen = std::FILE*(char const*, char const*);

struct LibraryCloser
{
    void operator()(void* aLibrary) const { ::dlclose(aLibrary); }
};

/// @return whether the code is in the library that defines HBA_LoadLibrary. dlsym also finds functions of the library's
/// dependencies, so this checks which library the function is in.
bool isInCommonLibrary(void const* aCode)
{
    Dl_info caller{};
    if (::dladdr(aCode, &caller) == 0)
    {
        return false;
    }
    // A program may define the functions itself and forward the calls; it then reads the configuration, too.
    void const* const first = ::dlsym(RTLD_DEFAULT, "HBA_LoadLibrary");
    Dl_info forwarder{};
    if (first != nullptr && ::dladdr(first, &forwarder) != 0 && forwarder.dli_fbase == caller.dli_fbase)
    {
        return true;
    }
    std::unique_ptr<void, LibraryCloser> const library(::dlopen(caller.dli_fname, RTLD_LAZY | RTLD_NOLOAD));
    if (!library)
    {
        return false;
    }
    void const* const function = ::dlsym(library.get(), "HBA_LoadLibrary");
    Dl_info definition{};
    return function != nullptr && ::dladdr(function, &definition) != 0 &&
           definition.dli_fbase == caller.dli_fbase;
}

std::string makeConfiguration()
{
    Dl_info self{};
    ::dladdr(reinterpret_cast<void const*>(&isInCommonLibrary), &self);
    return std::string("qzsim ") + self.dli_fname + '\n';
}

std::FILE* openConfiguration() noexcept
{
    try
    {
        static std::string configuration = makeConfiguration();
        return ::fmemopen(configuration.data(), configuration.size(), "r");
    }
    catch (std::exception const&)
    {
        errno = ENOMEM;
        return nullptr;
    }
}

std::FILE* openFor(void const* aCaller, char const* aFunction, char const* aPath, char const* aMode)
{
    if (aPath != nullptr && aPath == configurationPath && qzsim::scenarioOfEnvironment() != nullptr &&
        isInCommonLibrary(aCaller))
    {
        return openConfiguration();
    }
    auto* const next = reinterpret_cast<Fopen*>(::dlsym(RTLD_NEXT, aFunction));
    if (next == nullptr)
    {
        errno = ENOSYS;
        return nullptr;
    }
    return next(aPath, aMode);
}
}  // namespace

extern "C" std::FILE* fopen(char const* aPath, char const* aMode)
{
    return openFor(__builtin_return_address(0), "fopen", aPath, aMode);
}

extern "C" std::FILE* fopen64(char const* aPath, char const* aMode)
{
    return openFor(__builtin_return_address(0), "fopen64", aPath, aMode);
}
