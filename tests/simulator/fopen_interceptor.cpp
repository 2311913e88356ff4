// Replaces fopen in a program, as a sanitizer does that is linked into it.
#include <cstdio>

#include <dlfcn.h>

extern "C" std::FILE* fopen(char const* aPath, char const* aMode)
{
    static auto const next =
        reinterpret_cast<std::FILE* (*)(char const*, char const*)>(::dlsym(RTLD_NEXT, "fopen"));
    return next(aPath, aMode);
}
