/// @file
/// Starts a program that uses the simulated libraries.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Reports why libqzsim.so cannot be preloaded. The message can be printed as it is.
class LaunchError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What a program is started with.
struct Injection
{
    std::filesystem::path
        mLibrary;           ///< libqzsim.so, which the program preloads; the other libraries are beside it
    std::string mScenario;  ///< path of the scenario
    std::string mStrikes;   ///< file in which the libraries count the strikes of faults; empty for none
    VendorLibrary mVendorLibrary;  ///< what the path of the vendor library leads to
    bool mIsKeptLoaded;            ///< whether the vendor library stays loaded after dlclose
    std::string mScenarioName =
        {};  ///< that messages show instead of the path of the scenario; empty for the path
    std::string mJournal = {};  ///< file of the changes that all processes share; empty for none
};

/// @return the libqzsim.so that was built or installed with this program
/// @throws LaunchError when it is not found
std::filesystem::path findLibrary();

/// Sets the environment so that programs started after this use the simulated libraries.
/// @throws LaunchError when the library cannot be preloaded: the dynamic linker would start the program without it
void inject(Injection const& aInjection);

/// Environment variables and their values.
using Variables = std::vector<std::pair<char const*, std::string>>;

/// Sets the environment so that programs started after this use the library that records and replays.
/// @param aLibrary libqzsim.so
/// @throws LaunchError when the library cannot be preloaded
void injectRecording(std::filesystem::path const& aLibrary, Variables const& aVariables);

/// Replaces this process by the program.
/// @return the error number when the program cannot be started; otherwise this does not return
int becomeProgram(std::vector<std::string> aCommand);

/// How a program ended.
struct Outcome
{
    int mError;   ///< error number when the program could not be started, otherwise 0
    int mStatus;  ///< status from waitpid
};

/// Runs the program to its end. From then on this process blocks the signals that users send to programs. It forwards those
/// that the program does not receive itself.
Outcome runProgram(std::vector<std::string> aCommand);

/// Lets signals end this process again, after runProgram(). Signals that came before are dropped: they were for the program.
void acceptSignals();

/// Ends this process with the signal that ended the program.
/// @return the exit status of the program when no signal ended it
int endLike(Outcome const& aOutcome);
}  // namespace qzsim
