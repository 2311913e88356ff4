// The library that is preloaded into the program. It replaces four functions of the C library, each for one purpose:
// - dlopen: the path of the vendor library leads to the simulated one.
// - fopen and fopen64: the common library of the HBA API reads a configuration that names the simulated HBA library.
// - dlerror: in a replay, a library that did not load on the recorded host has the reason of that host.
// While a program is recorded, or a recording replayed, libqzsim-recording.so decides about both.
// Every other call passes through. The program never notices this library: it looks up the next functions once, at load,
// and so leaves a pending dlerror alone. It is compiled without instrumentation and uses only the C library, because it
// comes before the runtimes of sanitizers and of C++.
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

#include "simulator/library/Dlopen.h"
#include "simulator/library/RecordedEntryPoints.h"
#include "simulator/library/Redirection.h"

namespace
{
using qzsim::Dlopen;
using Fopen = std::FILE*(char const*, char const*);
using Dlerror = char*();

/// What the runner has chosen, and what is looked up at load.
struct Redirections
{
    char const* mVendorLibrary;
    char const* mHbaLibrary;
    char const* mRecordingLibrary;
    char mConfiguration[512];
    void const* mForwarder;  ///< start of the object that defines the functions of the common library at load
    void const*
        mInterceptor;  ///< start of the object whose fopen the common library calls: this one, or the program
                       ///< if a sanitizer is linked into it
    Dlopen* mDlopen;   ///< the function that comes after that of this library
    Fopen* mFopen;
    Fopen* mFopen64;
    Dlerror* mDlerror;
    decltype(&QZSIM_PathToOpen) mPathToOpen;  ///< null until the program opens one of the libraries
    decltype(&QZSIM_Configuration) mRecordedConfiguration;
    decltype(&QZSIM_Error) mRecordedError;
};

Redirections gRedirections;

/// @return the start of the object that has the code; null for none
void const* objectOf(void const* aCode)
{
    Dl_info object{};
    return ::dladdr(aCode, &object) == 0 ? nullptr : object.dli_fbase;
}

/// Initializers of other libraries may open files and libraries before this library is initialized.
[[gnu::constructor]] void prepare()
{
    Redirections& all = gRedirections;
    all.mVendorLibrary = std::getenv(qzsim::vendorLibraryVariable);
    all.mHbaLibrary = std::getenv(qzsim::hbaLibraryVariable);
    all.mRecordingLibrary = std::getenv(qzsim::recordingLibraryVariable);
    if (all.mHbaLibrary != nullptr)
    {
        std::snprintf(all.mConfiguration, sizeof all.mConfiguration, "qzsim %s\n", all.mHbaLibrary);
    }
    all.mDlerror = reinterpret_cast<Dlerror*>(::dlsym(RTLD_NEXT, "dlerror"));
    all.mForwarder = objectOf(::dlsym(RTLD_DEFAULT, "HBA_LoadLibrary"));
    all.mInterceptor = objectOf(::dlsym(RTLD_DEFAULT, "fopen"));
    all.mDlerror();  // most programs have no such function at load
    all.mFopen = reinterpret_cast<Fopen*>(::dlsym(RTLD_NEXT, "fopen"));
    all.mFopen64 = reinterpret_cast<Fopen*>(::dlsym(RTLD_NEXT, "fopen64"));
    all.mDlopen = reinterpret_cast<Dlopen*>(::dlsym(RTLD_NEXT, "dlopen"));
}

Redirections& redirections()
{
    if (gRedirections.mDlopen == nullptr)
    {
        prepare();
    }
    return gRedirections;
}

/// A program may define the functions of the common library itself and forward the calls; it then reads the configuration,
/// too. The common library that is loaded later is recognised by the name of its file, because a lookup of its functions
/// would disturb a pending dlerror.
bool isInCommonLibrary(void const* aCode)
{
    constexpr char name[] = "libHBAAPI.so";
    Dl_info caller{};
    if (::dladdr(aCode, &caller) == 0)
    {
        return false;
    }
    if (caller.dli_fbase == gRedirections.mForwarder || caller.dli_fbase == gRedirections.mInterceptor)
    {
        return true;
    }
    char const* const slash = std::strrchr(caller.dli_fname, '/');
    return std::strncmp(slash == nullptr ? caller.dli_fname : slash + 1, name, sizeof name - 1) == 0;
}

/// The library stays loaded: the program may close the libraries that it has the place of.
bool loadRecordingLibrary()
{
    Redirections& all = gRedirections;
    if (all.mRecordingLibrary != nullptr && all.mPathToOpen == nullptr)
    {
        void* const library = all.mDlopen(all.mRecordingLibrary, RTLD_LAZY | RTLD_NODELETE);
        if (library == nullptr)
        {
            std::fprintf(stderr, "qzsim: %s\n", all.mDlerror());
            all.mRecordingLibrary = nullptr;
            return false;
        }
        all.mRecordedConfiguration =
            reinterpret_cast<decltype(&QZSIM_Configuration)>(::dlsym(library, "QZSIM_Configuration"));
        all.mRecordedError = reinterpret_cast<decltype(&QZSIM_Error)>(::dlsym(library, "QZSIM_Error"));
        all.mPathToOpen = reinterpret_cast<decltype(&QZSIM_PathToOpen)>(::dlsym(library, "QZSIM_PathToOpen"));
    }
    return all.mPathToOpen != nullptr;
}

std::FILE* openText(char const* aText)
{
    // It is only read.
    return ::fmemopen(const_cast<char*>(aText), std::strlen(aText), "r");
}

/// @return what the common library reads, unless it is recorded or replayed
std::FILE* openConfiguration(Fopen* aNext, char const* aPath, char const* aMode)
{
    char const* const configuration = gRedirections.mConfiguration;
    return *configuration == '\0' ? aNext(aPath, aMode) : openText(configuration);
}

std::FILE* openFor(void const* aCaller, Fopen* aNext, char const* aPath, char const* aMode)
{
    bool const isReplaced =
        gRedirections.mHbaLibrary != nullptr || gRedirections.mRecordingLibrary != nullptr;
    if (!isReplaced || aPath == nullptr || std::strcmp(aPath, "/etc/hba.conf") != 0 ||
        !isInCommonLibrary(aCaller))
    {
        return aNext(aPath, aMode);
    }
    std::FILE* const file = openConfiguration(aNext, aPath, aMode);
    if (!loadRecordingLibrary())
    {
        return file;
    }
    char const* const recorded = gRedirections.mRecordedConfiguration(file);
    if (file != nullptr)
    {
        std::fclose(file);
    }
    errno = ENOENT;
    return recorded == nullptr ? nullptr : openText(recorded);
}

char const* simulatedPath(char const* aPath)
{
    char const* const vendorLibrary = gRedirections.mVendorLibrary;
    bool const isVendorLibrary =
        aPath != nullptr && vendorLibrary != nullptr && std::strcmp(aPath, qzsim::vendorLibraryPath) == 0;
    return isVendorLibrary ? vendorLibrary : aPath;
}

void* openUnrecorded(char const* aPath, int aMode)
{
    return gRedirections.mDlopen(simulatedPath(aPath), qzsim::redirectedMode(aPath, aMode));
}
}  // namespace

namespace qzsim
{
Dlopen* nextDlopen() { return redirections().mDlopen; }

char const* redirectedPath(char const* aPath, int aMode)
{
    Redirections const& all = redirections();
    // The other libraries are known once the configuration has been read.
    bool const mayBeRecorded = aPath != nullptr && all.mRecordingLibrary != nullptr &&
                               (all.mPathToOpen != nullptr || std::strcmp(aPath, vendorLibraryPath) == 0) &&
                               loadRecordingLibrary();
    char const* const recorded = mayBeRecorded ? all.mPathToOpen(aPath, aMode, openUnrecorded) : aPath;
    return recorded == aPath ? simulatedPath(aPath) : recorded;
}

int redirectedMode(char const* aPath, int aMode)
{
    // The common library closes the HBA library on each HBA_FreeLibrary. Its counts of calls must stay.
    char const* const hbaLibrary = redirections().mHbaLibrary;
    bool const isHbaLibrary =
        aPath != nullptr && hbaLibrary != nullptr && std::strcmp(aPath, hbaLibrary) == 0;
    return isHbaLibrary ? aMode | RTLD_NODELETE : aMode;
}
}  // namespace qzsim

extern "C" std::FILE* fopen(char const* aPath, char const* aMode)
{
    return openFor(__builtin_return_address(0), redirections().mFopen, aPath, aMode);
}

extern "C" std::FILE* fopen64(char const* aPath, char const* aMode)
{
    return openFor(__builtin_return_address(0), redirections().mFopen64, aPath, aMode);
}

extern "C" char* dlerror()
{
    Redirections const& all = redirections();
    char* const error = all.mDlerror();
    bool const mayBeRecorded =
        error != nullptr && all.mRecordedError != nullptr &&
        std::strncmp(error, qzsim::absentFolder, std::strlen(qzsim::absentFolder)) == 0;
    return mayBeRecorded ? all.mRecordedError(error) : error;
}
