/// @file
/// A library to preload. It hides /etc/hba.conf, so that the common library prints an error message.

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <dlfcn.h>

extern "C" std::FILE* fopen(char const* aPath, char const* aMode)
{
    if (std::strcmp(aPath, "/etc/hba.conf") == 0)
    {
        errno = ENOENT;
        return nullptr;
    }
    using Function = std::FILE* (*)(char const*, char const*);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, "fopen"))(aPath, aMode);
}
