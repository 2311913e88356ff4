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
/// @param aStrikes where the library counts the strikes of faults; empty: nowhere
void injectLibrary(std::filesystem::path const& aLibrary, std::filesystem::path const& aScenario,
                   std::string const& aStrikes = {});

/// Becomes the program, and so leaves its exit status and its signals to it. Returns only when it cannot be
/// started, with the error number.
int becomeProgram(std::vector<std::string> aCommand);

/// What came of a program.
struct Outcome
{
    int mError;   ///< why it could not be started; 0 when it was
    int mStatus;  ///< as waitpid gives it
};

/// Runs the program to its end. Signals by which terminals and shells end what they run are from then on for
/// the program alone.
Outcome runProgram(std::vector<std::string> aCommand);

/// Ends this process by the signal that ended the program; returns the exit status if there was none.
int endLike(Outcome const& aOutcome);
}  // namespace qzsim
