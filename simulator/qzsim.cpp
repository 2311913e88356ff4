// Runs a program with simulated adapters in the place of the host's.
#include <cerrno>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "simulator/Launch.h"
#include "simulator/Scenario.h"
#include "simulator/ScenarioReader.h"

namespace fs = std::filesystem;

namespace
{
enum ExitStatus
{
    good = 0,
    misused = 2,
    notExecutable = 126,
    notFound = 127
};

constexpr char const* description =
    "Runs PROGRAM with simulated Fibre Channel adapters in the place of the host's. PROGRAM needs no "
    "change:\n"
    "the HBA API's common library finds the adapters that the scenario FILE describes.\n";

constexpr char const* footer = R"(
Example:
  $ cat two.toml
  [[adapter]]
  name = "example-fc-0"
  [[adapter]]
  name = "example-fc-1"
  [[fault]]                  # the second adapter that is opened cannot be
  call = "HBA_OpenAdapter"
  nth = 2
  status = "HBA_STATUS_ERROR_BUSY"
  $ qzsim --check --scenario two.toml
  $ qzsim --scenario two.toml qzagent adapters

The exit status is PROGRAM's; or 2 when the scenario or the command line is wrong, 126 when PROGRAM cannot be
executed, 127 when it does not exist.)";

class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_usage(CLI::App const*, std::string) const override
    {
        return "Usage: qzsim --scenario FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]\n"
               "       qzsim --scenario FILE --check\n";
    }
};

struct Options
{
    std::string mScenario;
    std::optional<std::string> mLibrary;
    bool mCheckOnly = false;
    std::vector<std::string> mCommand;
};

std::string refuseEmpty(std::string const& aPath) { return aPath.empty() ? "a path is expected" : ""; }

/// PROGRAM and its arguments: what remains from the first argument on that is no option.
std::vector<std::string> commandIn(CLI::App const& aParser)
{
    std::vector<std::string> command = aParser.remaining();
    if (!command.empty() && command.front() == "--")
    {
        command.erase(command.begin());
    }
    else if (!command.empty() && command.front().rfind('-', 0) == 0)
    {
        throw CLI::ExtrasError({command.front()});
    }
    return command;
}

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
    aParser.add_flag("--check", aOptions.mCheckOnly, "Only check the scenario and print what is in it");
    aParser
        .add_option("--library", aOptions.mLibrary,
                    "Use this libqzsim.so instead of the one that belongs to qzsim")
        ->type_name("PATH")
        ->check(refuseEmpty);
    aParser.parse(aCount, aArguments);

    aOptions.mCommand = commandIn(aParser);
    if (aOptions.mCheckOnly && !aOptions.mCommand.empty())
    {
        throw CLI::ValidationError(
            "--check", fmt::format("runs no program, but \"{}\" is given", aOptions.mCommand.front()));
    }
    if (!aOptions.mCheckOnly && aOptions.mCommand.empty())
    {
        throw CLI::RequiredError("PROGRAM");
    }
}

int run(Options const& aOptions)
{
    fs::path const library = aOptions.mLibrary ? fs::path(*aOptions.mLibrary) : qzsim::findLibrary();
    qzsim::injectLibrary(library, aOptions.mScenario);
    int const error = qzsim::becomeProgram(aOptions.mCommand);
    fmt::print(stderr, "qzsim: cannot run \"{}\": {}\n", aOptions.mCommand.front(),
               std::generic_category().message(error));
    return error == ENOENT ? notFound : notExecutable;
}

int checkAndRun(Options const& aOptions)
{
    qzsim::Scenario const scenario = qzsim::readScenario(aOptions.mScenario);
    if (aOptions.mCheckOnly)
    {
        fmt::print("{}", summaryOf(scenario));
        return good;
    }
    return run(aOptions);
}
}  // namespace

int main(int aCount, char** aArguments)
{
    CLI::App parser(description, "qzsim");
    try
    {
        Options options;
        parse(parser, options, aCount, aArguments);
        return checkAndRun(options);
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return parser.exit(request);
    }
    catch (CLI::ParseError const& error)
    {
        fmt::print(stderr, "qzsim: {}; see qzsim --help\n", error.what());
    }
    catch (std::exception const& error)
    {
        fmt::print(stderr, "qzsim: {}\n", error.what());
    }
    return misused;
}
