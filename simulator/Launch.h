/// @file
/// Starts a program that meets the simulated vendor library.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace qzsim
{
/// Why the library cannot be put before a program.
class LaunchError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The library that was built or installed with this program. Throws LaunchError.
std::filesystem::path findLibrary();

/// Makes programs that are started from now on meet the library and the scenario. Throws LaunchError for a
/// library that cannot be preloaded, as the dynamic linker would start the programs without it.
void injectLibrary(std::filesystem::path const& aLibrary, std::filesystem::path const& aScenario);

/// Becomes the program, and so leaves its exit status and its signals to it. Returns only when it cannot be
/// started, with the error number.
int becomeProgram(std::vector<std::string> aCommand);
}  // namespace qzsim
