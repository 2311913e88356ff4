/// @file
/// Starts a program with the simulated libraries preloaded.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace qzsim
{
/// Reports why libqzsim.so cannot be preloaded.
class LaunchError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// @return the libqzsim.so that was built or installed with this program
/// @throws LaunchError when it is not found
std::filesystem::path findLibrary();

/// Sets the environment so that programs started after this preload the library and use the scenario.
/// @param aStrikes file in which the library counts the strikes of faults; empty for none
/// @param aJournal file of the changes that all processes share; empty for none
/// @throws LaunchError when the library cannot be preloaded: the dynamic linker would start the program without it
void injectLibrary(std::filesystem::path const& aLibrary, std::filesystem::path const& aScenario,
                   std::string const& aStrikes = {}, std::string const& aJournal = {});

/// Replaces this process by the program.
/// @return the error number when the program cannot be started; otherwise this does not return
int becomeProgram(std::vector<std::string> aCommand);

/// How a program ended.
struct Outcome
{
    int mError;   ///< error number when the program could not be started, otherwise 0
    int mStatus;  ///< status from waitpid
};

/// Runs the program to its end. From then on this process blocks the signals with which terminals and shells end
/// programs, so that only the program receives them.
Outcome runProgram(std::vector<std::string> aCommand);

/// Ends this process with the signal that ended the program.
/// @return the exit status of the program when no signal ended it
int endLike(Outcome const& aOutcome);
}  // namespace qzsim
