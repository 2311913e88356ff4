/// @file
/// A library to preload. In place of /etc/hba.conf it opens the file that HBA_CONFIGURATION names. Without that variable
/// it hides /etc/hba.conf, so that the common library prints an error message.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

namespace
{
using Function = std::FILE* (*)(char const*, char const*);

std::FILE* openUnlessHidden(char const* aPath, char const* aMode, char const* aFunction)
{
    auto const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, aFunction));
    if (std::strcmp(aPath, "/etc/hba.conf") != 0)
    {
        return next(aPath, aMode);
    }
    char const* const configuration = std::getenv("HBA_CONFIGURATION");
    if (configuration == nullptr)
    {
        errno = ENOENT;
        return nullptr;
    }
    return next(configuration, aMode);
}
}  // namespace

extern "C" std::FILE* fopen(char const* aPath, char const* aMode)
{
    return openUnlessHidden(aPath, aMode, "fopen");
}

/// Programs with 64-bit file offsets call this function instead.
extern "C" std::FILE* fopen64(char const* aPath, char const* aMode)
{
    return openUnlessHidden(aPath, aMode, "fopen64");
}
