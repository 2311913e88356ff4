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

void reportUnloaded(std::vector<HbaLibrary> const& aLibraries, Report& aReport)
{
    for (HbaLibrary const& library : aLibraries)
    {
        if (!loadedLibrary(library.mPath))
        {
            std::string const error = loadErrorOf(library.mPath);
            aReport.addNote(fmt::format("HBA library {} ({}) is not loaded: {}", library.mName, library.mPath,
                                        error.empty() ? "the common library did not accept it" : error));
        }
    }
}
}  // namespace

void reportMissingLibraries(Report& aReport)
{
    reportUnloaded(configuredLibraries().value_or(std::vector<HbaLibrary>()), aReport);
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
        reportUnloaded(*libraries, aReport);
    }
}

void expectPlausibleLibraries()
{
    for (HbaLibrary const& library : configuredLibraries().value_or(std::vector<HbaLibrary>()))
    {
        expectAtMost(mostAdapters, adaptersOf(library), "adapters");
    }
}
}  // namespace qzagent
