/// @file
/// A library to preload. It hides /etc/hba.conf, so that the common library prints an error message.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>

namespace
{
using Function = std::FILE* (*)(char const*, char const*);

std::FILE* openUnlessHidden(char const* aPath, char const* aMode, char const* aFunction)
{
    if (std::strcmp(aPath, "/etc/hba.conf") == 0)
    {
        errno = ENOENT;
        return nullptr;
    }
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, aFunction))(aPath, aMode);
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
