#include "simulator/runner/Launch.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <initializer_list>

#include <dlfcn.h>
#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/library/Redirection.h"
#include "toml/TomlValue.h"

namespace fs = std::filesystem;

namespace qzsim
{
namespace
{
using tomlfile::escaped;
using tomlfile::inQuotes;

constexpr char const* libraryName = "libqzsim.so";
constexpr char const* preloadVariable = "LD_PRELOAD";
constexpr char const* sanitizerVariable = "ASAN_OPTIONS";
// The address sanitizer refuses to start a program in which another library is loaded before its own.
constexpr char const* sanitizerOption = "verify_asan_link_order=0";

// The dynamic linker splits LD_PRELOAD at spaces and colons and expands names after a dollar sign. The common library
// splits the lines of its configuration at white space.
constexpr char const* unfitForPreload = " \t\n:$";

constexpr char const* hbaLibraryName = "libqzsim-hba.so";
constexpr char const* vendorLibraryName = "libqzsim-vqm.so";
constexpr char const* keptLibraryName = "libqzsim-vqm-kept.so";
constexpr char const* recordingLibraryName = "libqzsim-recording.so";

// The common library rejects longer paths.
constexpr std::size_t longestHbaLibraryPath = 255;

// An empty file is a broken library.
constexpr char const* brokenLibrary = "/dev/null";

// Shells add the signal number to this for a program that a signal ended.
constexpr int shellStatusOfSignals = 128;

void setVariable(char const* aName, std::string const& aValue) { ::setenv(aName, aValue.c_str(), 1); }

/// Puts an element before those that the variable has.
void putFirst(char const* aName, std::string const& aElement)
{
    char const* const present = environment(aName);
    setVariable(aName, present == nullptr ? aElement : aElement + ':' + present);
}

[[noreturn]] void refuseLibrary(std::string const& aLibrary, std::string const& aReason)
{
    throw LaunchError(
        fmt::format("the library {} cannot be preloaded: {}", inQuotes(aLibrary), escaped(aReason)));
}

void checkPath(std::string const& aLibrary)
{
    if (aLibrary.find_first_of(unfitForPreload) != std::string::npos)
    {
        refuseLibrary(aLibrary, "its path must not contain white space, colons or dollar signs");
    }
}

void checkKind(std::string const& aLibrary)
{
    void* const library = ::dlopen(aLibrary.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr)
    {
        refuseLibrary(aLibrary, ::dlerror());
    }
    // The lookup also finds the function of the C library.
    Dl_info origin{};
    bool const isPreload = ::dladdr(::dlsym(library, "dlopen"), &origin) != 0 && aLibrary == origin.dli_fname;
    ::dlclose(library);
    if (!isPreload)
    {
        refuseLibrary(aLibrary, "it does not replace dlopen");
    }
}

void checkCompanion(std::string const& aLibrary, char const* aName)
{
    if (!fs::is_regular_file(fs::path(aLibrary).parent_path() / aName))
    {
        refuseLibrary(aLibrary, fmt::format("its folder has no {}", aName));
    }
}

void checkCompanions(std::string const& aLibrary)
{
    fs::path const folder = fs::path(aLibrary).parent_path();
    for (char const* const name : {hbaLibraryName, vendorLibraryName, keptLibraryName})
    {
        checkCompanion(aLibrary, name);
    }
    if ((folder / hbaLibraryName).native().size() > longestHbaLibraryPath)
    {
        refuseLibrary(aLibrary, fmt::format("the path of {} in its folder must not be longer than {} bytes",
                                            hbaLibraryName, longestHbaLibraryPath));
    }
}

void preload(std::string const& aLibrary)
{
    putFirst(preloadVariable, aLibrary);
    putFirst(sanitizerVariable, sanitizerOption);
}

/// @return the path that replaces the path of the vendor library
std::string vendorLibraryFor(Injection const& aInjection, fs::path const& aFolder)
{
    switch (aInjection.mVendorLibrary)
    {
        case VendorLibrary::absent:
            // The error message of the dynamic linker then has the path that the program opens, if possible.
            return fs::exists(vendorLibraryPath) ? aFolder / "absent" / "libvqm.so" : vendorLibraryPath;
        case VendorLibrary::broken:
            return brokenLibrary;
        default:
            return aFolder / (aInjection.mIsKeptLoaded ? keptLibraryName : vendorLibraryName);
    }
}

std::vector<char*> argumentsOf(std::vector<std::string>& aCommand)
{
    std::vector<char*> arguments;
    for (std::string& argument : aCommand)
    {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    return arguments;
}

sigset_t setOf(std::initializer_list<int> aSignals)
{
    sigset_t set;
    ::sigemptyset(&set);
    for (int const signal : aSignals)
    {
        ::sigaddset(&set, signal);
    }
    return set;
}

/// The signals that are for the program, and the one that reports its end.
sigset_t const awaitedSignals = setOf({SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGCHLD});

/// Blocks the signals, so that awaitEnd() receives them.
/// @return the previous mask
sigset_t blockAwaitedSignals()
{
    // If the signal were ignored, the system would not keep the status of the program.
    ::signal(SIGCHLD, SIG_DFL);
    sigset_t formerMask;
    ::sigprocmask(SIG_BLOCK, &awaitedSignals, &formerMask);
    return formerMask;
}

/// @return whether the program has not received the signal itself. A terminal, that is the kernel, sends it to the whole
///         process group, and so does a program that signals its own group.
bool isForOneProcess(siginfo_t const& aSignal, pid_t aProcess)
{
    return aSignal.si_signo != SIGCHLD && aSignal.si_code <= 0 && aSignal.si_pid != aProcess;
}

/// Waits for the end of the program and forwards signals to it.
/// @return its status from waitpid
int awaitEnd(pid_t aProcess)
{
    sigset_t const end = setOf({SIGCHLD});
    constexpr timespec patience{0, 100'000'000};
    int status = 0;
    while (::waitpid(aProcess, &status, WNOHANG) == 0)
    {
        siginfo_t signal{};
        ::sigwaitinfo(&awaitedSignals, &signal);
        if (isForOneProcess(signal, aProcess))
        {
            // Another process may have sent it to the whole group. A program that ends now does not get it twice.
            ::sigtimedwait(&end, nullptr, &patience);
            if (::waitpid(aProcess, &status, WNOHANG) == 0)
            {
                ::kill(aProcess, signal.si_signo);
            }
        }
    }
    return status;
}
}  // namespace

fs::path findLibrary()
{
    fs::path const directory = fs::read_symlink("/proc/self/exe").parent_path();
    std::string tried;
    for (char const* const candidate : {".", "../lib", QZSIM_INSTALLED_LIBRARY_DIR})
    {
        fs::path library = (directory / candidate / libraryName).lexically_normal();
        if (fs::is_regular_file(library))
        {
            return library;
        }
        tried += "\n  " + escaped(library.string());
    }
    throw LaunchError(
        fmt::format("cannot find {}; specify its path with --library. Searched:{}", libraryName, tried));
}

void inject(Injection const& aInjection)
{
    std::string const library = fs::absolute(aInjection.mLibrary);
    fs::path const folder = fs::path(library).parent_path();
    checkPath(library);
    checkKind(library);
    checkCompanions(library);
    preload(library);
    setVariable(hbaLibraryVariable, folder / hbaLibraryName);
    setVariable(vendorLibraryVariable, vendorLibraryFor(aInjection, folder));
    setVariable(scenarioVariable, aInjection.mScenario);
    setVariable(scenarioNameVariable, aInjection.mScenarioName);
    setVariable(strikesVariable, aInjection.mStrikes);
    setVariable(journalVariable, aInjection.mJournal);
    setVariable(startVariable, startTime());
}

void injectRecording(fs::path const& aLibrary, Variables const& aVariables)
{
    std::string const library = fs::absolute(aLibrary);
    checkPath(library);
    checkKind(library);
    checkCompanion(library, recordingLibraryName);
    preload(library);
    setVariable(recordingLibraryVariable, fs::path(library).parent_path() / recordingLibraryName);
    for (auto const& [name, value] : aVariables)
    {
        setVariable(name, value);
    }
}

int becomeProgram(std::vector<std::string> aCommand)
{
    std::vector<char*> const arguments = argumentsOf(aCommand);
    ::execvp(arguments.front(), arguments.data());
    return errno;
}

Outcome runProgram(std::vector<std::string> aCommand)
{
    sigset_t const formerMask = blockAwaitedSignals();
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &formerMask);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    std::vector<char*> const arguments = argumentsOf(aCommand);
    pid_t process = 0;
    Outcome outcome{0, 0};
    outcome.mError =
        ::posix_spawnp(&process, arguments.front(), nullptr, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    if (outcome.mError == 0)
    {
        outcome.mStatus = awaitEnd(process);
    }
    return outcome;
}

void acceptSignals()
{
    constexpr timespec noTime{0, 0};
    while (::sigtimedwait(&awaitedSignals, nullptr, &noTime) > 0)
    {
    }
    ::sigprocmask(SIG_UNBLOCK, &awaitedSignals, nullptr);
}

int endLike(Outcome const& aOutcome)
{
    if (WIFEXITED(aOutcome.mStatus))
    {
        return WEXITSTATUS(aOutcome.mStatus);
    }
    // Our core dump must not overwrite that of the program.
    rlimit const nothing{0, 0};
    ::setrlimit(RLIMIT_CORE, &nothing);
    int const signal = WTERMSIG(aOutcome.mStatus);
    ::signal(signal, SIG_DFL);
    sigset_t const set = setOf({signal});
    ::sigprocmask(SIG_UNBLOCK, &set, nullptr);
    ::raise(signal);
    return shellStatusOfSignals + signal;
}
}  // namespace qzsim
