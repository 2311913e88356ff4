#include "tools/qzagent/hba/HbaConfiguration.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <dlfcn.h>
#include <fmt/format.h>
#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "tools/qzagent/cli/LoadError.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStatus.h"

namespace qzagent
{
namespace
{
constexpr char const* configurationPath = "/etc/hba.conf";

struct HbaLibrary
{
    std::string mName;
    std::string mPath;
};

/// Reads a line as the common library does: a name, blanks and a path, or a comment.
std::optional<HbaLibrary> libraryIn(std::string const& aLine)
{
    HbaLibrary library;
    std::istringstream words(aLine);
    bool const isLibrary = words >> library.mName >> library.mPath && library.mName.front() != '#' &&
                           library.mPath.front() != '#' && library.mName != "debuglevel";
    return isLibrary ? std::optional(library) : std::nullopt;
}

/// @return none when the file cannot be read; errno is then set
std::optional<std::vector<HbaLibrary>> configuredLibraries()
{
    // The common library opens the file in this way, and a program that replaces fopen() shows both the same file.
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const file(std::fopen(configurationPath, "r"),
                                                               &std::fclose);
    if (file == nullptr)
    {
        return std::nullopt;
    }
    std::vector<HbaLibrary> libraries;
    std::array<char, 512> line{};  // the common library splits longer lines, too
    while (std::fgets(line.data(), line.size(), file.get()) != nullptr)
    {
        if (std::optional<HbaLibrary> const library = libraryIn(line.data()))
        {
            libraries.push_back(*library);
        }
    }
    return libraries;
}

struct LibraryCloser
{
    void operator()(void* aLibrary) const { ::dlclose(aLibrary); }
};

using OpenLibrary = std::unique_ptr<void, LibraryCloser>;

/// Does not load the library.
/// @return null when it is not loaded
OpenLibrary loadedLibrary(std::string const& aPath)
{
    return OpenLibrary(::dlopen(aPath.c_str(), RTLD_LAZY | RTLD_NOLOAD));
}

/// @return number of adapters that the library reports; 0 when it cannot be asked
HBA_UINT32 adaptersOf(HbaLibrary const& aLibrary)
{
    OpenLibrary const library = loadedLibrary(aLibrary.mPath);
    auto* const registerLibrary = reinterpret_cast<HBARegisterLibraryFunc>(
        library ? ::dlsym(library.get(), "HBA_RegisterLibrary") : nullptr);
    HBA_ENTRYPOINTS table{};
    bool const isRegistered = registerLibrary != nullptr && registerLibrary(&table) == HBA_STATUS_OK &&
                              table.GetNumberOfAdaptersHandler != nullptr;
    return isRegistered ? table.GetNumberOfAdaptersHandler() : 0;
}

/// Unloads a library that its users have not released.
/// @return whether it is no longer loaded
bool unload(std::string const& aPath)
{
    constexpr unsigned int mostUsers = 16;
    for (unsigned int i = 0; i < mostUsers; ++i)
    {
        void* const library = ::dlopen(aPath.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (library == nullptr)
        {
            return true;
        }
        ::dlclose(library);
        ::dlclose(library);  // for the user
    }
    return false;
}

/// Initialises a library as the common library does.
/// @tparam Table    the functions of the library, in one of the versions of the interface
/// @param aFunction the function of the library that fills the table
/// @return the reason why the common library does not accept the library; empty if it does
template <typename Table, typename Register>
std::string refusalBy(void* aFunction, char const* aName)
{
    Table table{};
    HBA_STATUS const registered = reinterpret_cast<Register>(aFunction)(&table);
    if (registered != HBA_STATUS_OK)
    {
        return fmt::format("{} returns {}", aName, statusText(statusOf(aName, registered)));
    }
    if (table.GetVersionHandler == nullptr || table.LoadLibraryHandler == nullptr)
    {
        return fmt::format("the library registers no {} function",
                           table.GetVersionHandler == nullptr ? "GetVersion" : "LoadLibrary");
    }
    HBA_STATUS const loaded = table.LoadLibraryHandler();
    return loaded == HBA_STATUS_OK ? ""
                                   : fmt::format("its LoadLibrary function returns {}",
                                                 statusText(statusOf("HBA_LoadLibrary", loaded)));
}

/// Loads and initialises a library as the common library does.
/// @return the reason why the common library does not accept it; empty if it does
std::string refusalOf(std::string const& aPath)
{
    void* const library = ::dlopen(aPath.c_str(), RTLD_LAZY);
    if (library == nullptr)
    {
        return ::dlerror();
    }
    if (void* const second = ::dlsym(library, "HBA_RegisterLibraryV2"))
    {
        return refusalBy<HBA_ENTRYPOINTSV2, HBARegisterLibraryV2Func>(second, "HBA_RegisterLibraryV2");
    }
    if (void* const first = ::dlsym(library, "HBA_RegisterLibrary"))
    {
        return refusalBy<HBA_ENTRYPOINTS, HBARegisterLibraryFunc>(first, "HBA_RegisterLibrary");
    }
    return "the library has no function HBA_RegisterLibrary";
}

/// The common library keeps a library loaded that it does not accept, and does not say which ones it accepted. Only those
/// are unloaded when the common library is freed. This happens in a child process, so this process keeps its libraries.
/// @param aIsRefused whether it is known that the common library did not accept the library
/// @return the reason why the common library did not accept the library; empty if it did, or if that is unknown
std::string refusalOfLoaded(std::string const& aPath, bool aIsRefused)
{
    return textFromChild(
               [&aPath, aIsRefused]
               {
                   HBA_FreeLibrary();
                   // A statement of its own, because it closes the library that it finds at its end.
                   bool const isLoaded = loadedLibrary(aPath) != nullptr;
                   bool const isUnloaded = isLoaded && unload(aPath);
                   return aIsRefused || isUnloaded ? refusalOf(aPath) : std::string();
               })
        .value_or("");
}

/// @param aHasLoaded whether the common library has loaded, so that it has accepted a library
void reportUnused(std::vector<HbaLibrary> const& aLibraries, bool aHasLoaded, Report& aReport)
{
    bool const isAccepted = aHasLoaded && aLibraries.size() == 1;
    for (HbaLibrary const& library : aLibraries)
    {
        Subject subject;
        subject.mLibrary = library.mPath;
        if (!loadedLibrary(library.mPath))
        {
            std::string const error = loadErrorOf(library.mPath);
            aReport.addNote(fmt::format("HBA library {} ({}) is not loaded: {}", library.mName, library.mPath,
                                        error.empty() ? "the common library did not accept it" : error),
                            subject);
        }
        else if (std::string const refusal = isAccepted ? "" : refusalOfLoaded(library.mPath, !aHasLoaded);
                 !refusal.empty())
        {
            aReport.addNote(fmt::format("the common library does not use HBA library {} ({}): {}",
                                        library.mName, library.mPath, refusal),
                            subject);
        }
    }
}
}  // namespace

void reportUnusedLibraries(Report& aReport)
{
    reportUnused(configuredLibraries().value_or(std::vector<HbaLibrary>()), true, aReport);
}

void reportFailedLoad(Report& aReport)
{
    std::optional<std::vector<HbaLibrary>> const libraries = configuredLibraries();
    if (!libraries)
    {
        aReport.addNote(
            fmt::format("cannot read {}: {}", configurationPath, std::generic_category().message(errno)));
    }
    else if (libraries->empty())
    {
        aReport.addNote(fmt::format("{} names no HBA library", configurationPath));
    }
    else
    {
        reportUnused(*libraries, false, aReport);
    }
}

void expectPlausibleLibraries()
{
    for (HbaLibrary const& library : configuredLibraries().value_or(std::vector<HbaLibrary>()))
    {
        expectAtMost(mostAdapters, adaptersOf(library), adaptersOfLibrary);
    }
}
}  // namespace qzagent
