#include "simulator/Launch.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <dlfcn.h>
#include <fmt/format.h>
#include <unistd.h>

#include "simulator/Environment.h"

namespace fs = std::filesystem;

namespace qzsim
{
namespace
{
constexpr char const* libraryName = "libqzsim.so";
constexpr char const* preloadVariable = "LD_PRELOAD";

// The dynamic linker splits its list at blanks and colons and replaces what follows a dollar sign, and the
// common library splits its lines at white space.
constexpr char const* unfitForPreload = " \t\n:$";

// The common library complains of longer ones.
constexpr std::size_t longestLibraryPath = 255;

void setVariable(char const* aName, std::string const& aValue) { ::setenv(aName, aValue.c_str(), 1); }

[[noreturn]] void refuseLibrary(std::string const& aLibrary, std::string const& aReason)
{
    throw LaunchError(fmt::format("the library \"{}\" cannot be preloaded: {}", aLibrary, aReason));
}

void checkPath(std::string const& aLibrary)
{
    if (aLibrary.find_first_of(unfitForPreload) != std::string::npos)
    {
        refuseLibrary(aLibrary, "its path must not contain white space, colons or dollar signs");
    }
    if (aLibrary.size() > longestLibraryPath)
    {
        refuseLibrary(aLibrary, fmt::format("its path must not be longer than {} bytes", longestLibraryPath));
    }
}

void checkKind(std::string const& aLibrary)
{
    void* const library = ::dlopen(aLibrary.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr)
    {
        refuseLibrary(aLibrary, ::dlerror());
    }
    bool const isVendorLibrary = ::dlsym(library, "HBA_RegisterLibrary") != nullptr;
    ::dlclose(library);
    if (!isVendorLibrary)
    {
        refuseLibrary(aLibrary, "it has no HBA_RegisterLibrary");
    }
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
        tried += "\n  " + library.string();
    }
    throw LaunchError(
        fmt::format("cannot find {}; name it with --library. Looked for{}", libraryName, tried));
}

void injectLibrary(fs::path const& aLibrary, fs::path const& aScenario)
{
    std::string const library = fs::absolute(aLibrary);
    checkPath(library);
    checkKind(library);
    char const* const present = std::getenv(preloadVariable);
    bool const isAlone = present == nullptr || *present == '\0';
    setVariable(preloadVariable, isAlone ? library : library + ':' + present);
    setVariable(scenarioVariable, fs::absolute(aScenario));
}

int becomeProgram(std::vector<std::string> aCommand)
{
    std::vector<char*> arguments;
    for (std::string& argument : aCommand)
    {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
    return errno;
}
}  // namespace qzsim
