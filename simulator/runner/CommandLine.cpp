#include "simulator/runner/CommandLine.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include <fmt/format.h>

#include "simulator/control/StandardOutput.h"
#include "simulator/recording/Recording.h"
#include "simulator/recording/RecordingFile.h"
#include "simulator/runner/Launch.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
/// @param aStatus the exit status if the output was written
int statusAfterOutput(int aStatus) { return finishOutput("qzsim") ? aStatus : misused; }
}  // namespace

std::string refuseEmpty(std::string const& aPath) { return aPath.empty() ? "a path is expected" : ""; }

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

int refuseProgram(std::string const& aProgram, int aError)
{
    fmt::print(stderr, "qzsim: cannot run {}: {}\n", tomlfile::inQuotes(aProgram),
               std::generic_category().message(aError));
    return aError == ENOENT ? notFound : notExecutable;
}

int statusOf(CLI::App const& aParser, std::function<int()> const& aAction)
{
    try
    {
        return statusAfterOutput(aAction());
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return statusAfterOutput(aParser.exit(request));
    }
    catch (CLI::ParseError const& error)
    {
        fmt::print(stderr, "qzsim: {}; see {} --help\n", tomlfile::escaped(error.what()), aParser.get_name());
    }
    catch (LaunchError const& error)
    {
        fmt::print(stderr, "qzsim: {}\n", error.what());
    }
    catch (RecordingError const& error)
    {
        fmt::print(stderr, "qzsim: {}\n", error.what());
    }
    catch (RecordingWriteError const& error)
    {
        fmt::print(stderr, "qzsim: {}\n", error.what());
    }
    catch (std::exception const& error)
    {
        fmt::print(stderr, "qzsim: {}\n", tomlfile::escaped(error.what()));
    }
    return misused;
}
}  // namespace qzsim
