// Runs a program with simulated adapters instead of the adapters of the host.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "simulator/control/ControlSocket.h"
#include "simulator/control/EnvironmentVariables.h"
#include "simulator/control/MemoryFile.h"
#include "simulator/control/Strikes.h"
#include "simulator/runner/CommandLine.h"
#include "simulator/runner/Launch.h"
#include "simulator/runner/Recordings.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/world/Commands.h"
#include "simulator/world/Journal.h"
#include "simulator/world/World.h"
#include "toml/TomlValue.h"

namespace fs = std::filesystem;

namespace
{
using qzsim::commandIn;
using qzsim::good;
using qzsim::refuseEmpty;
using qzsim::refuseProgram;
using qzsim::unfinishedStatus;

constexpr char const* description =
    "Runs PROGRAM with simulated Fibre Channel adapters instead of the adapters of the host. PROGRAM needs "
    "no\n"
    "change: the common library of the HBA API finds the adapters that the scenario FILE describes, and a\n"
    "program that opens /usr/lib/libvqm.so finds the boards of the scenario and their events.\n";

constexpr char const* footer = R"(Example:
  $ cat two.toml
  [[adapter]]
  name = "example-fc-0"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:01"
  [[adapter.port.remote]]    # a target with the LUNs 0 to 7
  port_wwn = "50:00:00:00:ab:00:00:01"
  luns = 8
  [[adapter]]
  name = "example-fc-1"
  [[fault]]                  # the second HBA_OpenAdapter fails
  call = "HBA_OpenAdapter"
  nth = 2
  status = "HBA_STATUS_ERROR_BUSY"
  $ qzsim --check --scenario two.toml
  $ qzsim --scenario two.toml qzagent adapters
  $ qzsim --verify --scenario two.toml qzagent adapters
  $ qzsim --control /run/user/1000/sim --scenario two.toml qzagent watch &
  $ qzsimctl /run/user/1000/sim set 'adapter[0].port[0].state' LINKDOWN

The exit status is PROGRAM's; or 2 when the scenario or the command line is invalid, 3 when --verify reports
something and PROGRAM's is 0, 126 when PROGRAM cannot be executed, 127 when it does not exist.)";

class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_usage(CLI::App const*, std::string) const override
    {
        return "Usage: qzsim --scenario FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]\n"
               "       qzsim --scenario FILE --check\n"
               "       qzsim record --output FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]\n"
               "       qzsim replay FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]\n"
               "       qzsim convert FILE\n";
    }
};

struct Options
{
    std::string mScenario;
    std::optional<std::string> mLibrary;
    std::optional<std::string> mControl;
    bool mCheckOnly = false;
    bool mVerify = false;
    bool mKeepLoaded = false;
    std::vector<std::string> mCommand;
};

void parse(CLI::App& aParser, Options& aOptions, int aCount, char** aArguments)
{
    aParser.formatter(std::make_shared<HelpFormatter>());
    aParser.footer(footer);
    aParser.prefix_command();
    aParser.set_version_flag("--version", "qzsim " QZSIM_VERSION);
    aParser.add_option("--scenario", aOptions.mScenario, "Describes the adapters")
        ->type_name("FILE")
        ->check(refuseEmpty)
        ->required();
    aParser.add_flag("--check", aOptions.mCheckOnly, "Only check the scenario and print its contents");
    aParser.add_flag("--verify", aOptions.mVerify,
                     "Report at the end each fault that did not strike and each change that did not happen");
    aParser.add_flag("--keep-loaded", aOptions.mKeepLoaded,
                     "Keep the vendor library loaded after dlclose, and report calls of it");
    aParser
        .add_option("--control", aOptions.mControl,
                    "Create this socket, through which qzsimctl changes the simulation")
        ->type_name("SOCKET")
        ->check(refuseEmpty);
    aParser
        .add_option("--library", aOptions.mLibrary,
                    "Use this libqzsim.so instead of the one installed with qzsim")
        ->type_name("PATH")
        ->check(refuseEmpty);
    aParser.parse(aCount, aArguments);

    aOptions.mCommand = commandIn(aParser);
    if (aOptions.mCheckOnly && !aOptions.mCommand.empty())
    {
        throw CLI::ValidationError(
            "--check", fmt::format("runs no program, but \"{}\" is given", aOptions.mCommand.front()));
    }
    if (aOptions.mCheckOnly && aOptions.mVerify)
    {
        throw CLI::ValidationError("--verify", "needs a program to run, and --check runs none");
    }
    if (aOptions.mCheckOnly && aOptions.mControl)
    {
        throw CLI::ValidationError("--control", "needs a program to run, and --check runs none");
    }
    if (!aOptions.mCheckOnly && aOptions.mCommand.empty())
    {
        throw CLI::RequiredError("PROGRAM");
    }
}

int run(Options const& aOptions, qzsim::Injection const& aInjection)
{
    qzsim::inject(aInjection);
    return refuseProgram(aOptions.mCommand.front(), qzsim::becomeProgram(aOptions.mCommand));
}

/// Reports the faults that have not struck as often as they should, and the changes that have not happened.
/// @return whether there are any
bool reportUnfinished(qzsim::World& aWorld, qzsim::Strikes const& aStrikes)
{
    std::vector<std::string> const lines = qzsim::unfinished(aWorld, aStrikes, qzsim::timeSinceStart());
    for (std::string const& line : lines)
    {
        fmt::print(stderr, "qzsim: {}\n", line);
    }
    return !lines.empty();
}

/// Runs the program as a child process. Its simulated libraries share the journal and the strikes.
/// @param aContent of the scenario
int runAsChild(Options const& aOptions, qzsim::Injection aInjection, std::string const& aContent)
{
    // Libraries that are loaded later must read the same scenario as the world below, even if the file has changed.
    qzsim::MemoryFile const copy(aContent);
    aInjection.mScenario = copy.path();
    aInjection.mScenarioName = aOptions.mScenario;
    qzsim::JournalFile const journalFile;
    qzsim::World world(tomlfile::readToml(aOptions.mScenario, aContent), qzsim::Journal(journalFile.path()));
    std::size_t const faults = world.original().mFaults.size();
    qzsim::StrikesFile const strikesFile(faults);
    qzsim::Strikes const strikes(strikesFile.path(), faults);
    aInjection.mStrikes = strikesFile.path();
    aInjection.mJournal = journalFile.path();
    qzsim::inject(aInjection);
    qzsim::Commands commands(world, strikes);
    std::optional<qzsim::ControlSocket> control;
    if (aOptions.mControl)
    {
        control.emplace(*aOptions.mControl, [&](std::string const& aCommand)
                        { return commands.answer(aCommand, qzsim::timeSinceStart()); });
    }
    qzsim::Outcome const outcome = qzsim::runProgram(aOptions.mCommand);
    // Now, because a signal may end this process below.
    control.reset();
    bool const isUnfinished = aOptions.mVerify && outcome.mError == 0 && reportUnfinished(world, strikes);
    if (outcome.mError != 0)
    {
        return refuseProgram(aOptions.mCommand.front(), outcome.mError);
    }
    int const status = endLike(outcome);
    return isUnfinished && status == good ? unfinishedStatus : status;
}

/// @return whether processes must share what happens: a change after a call of one process concerns all
bool hasSharedChanges(qzsim::Scenario const& aScenario)
{
    return std::any_of(aScenario.mTimeline.begin(), aScenario.mTimeline.end(),
                       [](qzsim::TimelineEntry const& aEntry) { return aEntry.mCall.has_value(); });
}

int checkAndRun(Options const& aOptions)
{
    std::string const content = tomlfile::contentOf(aOptions.mScenario);
    qzsim::Scenario const scenario = qzsim::readScenario(aOptions.mScenario, content);
    if (aOptions.mCheckOnly)
    {
        fmt::print("{}", summaryOf(scenario));
        return good;
    }
    qzsim::Injection const injection{aOptions.mLibrary ? fs::path(*aOptions.mLibrary) : qzsim::findLibrary(),
                                     fs::absolute(aOptions.mScenario), "", scenario.mDiagnostics.mLibrary,
                                     aOptions.mKeepLoaded};
    // Something else than a file, such as a pipe, can be read only once, and this process keeps the content.
    bool const isChild = aOptions.mVerify || aOptions.mControl || hasSharedChanges(scenario) ||
                         !fs::is_regular_file(aOptions.mScenario);
    return isChild ? runAsChild(aOptions, injection, content) : run(aOptions, injection);
}
}  // namespace

int main(int aCount, char** aArguments)
{
    if (aCount > 1 && qzsim::isRecordingCommand(aArguments[1]))
    {
        return qzsim::performRecordingCommand(aCount, aArguments);
    }
    CLI::App parser(description, "qzsim");
    return qzsim::statusOf(parser,
                           [&]
                           {
                               Options options;
                               parse(parser, options, aCount, aArguments);
                               return checkAndRun(options);
                           });
}
