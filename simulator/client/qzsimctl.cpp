// Changes a simulation that qzsim --control runs.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "simulator/control/Descriptor.h"
#include "simulator/control/SocketAddress.h"
#include "simulator/control/StandardOutput.h"
#include "toml/TomlValue.h"

namespace
{
enum ExitStatus
{
    done = 0,
    refused = 1,
    misused = 2,
    unfinished = 3
};

constexpr char const* description =
    "Changes a simulation that runs with qzsim --control SOCKET. Everything in one command happens at once,\n"
    "and every later call of the simulated libraries sees it.\n";

constexpr char const* footer = R"(Commands:
  get PATH                  print a value that the scenario states, as TOML; with --json as JSON
  set PATH VALUE            set a value; VALUE is TOML, or a word such as LINKDOWN
  remove PATH               remove an element of a list, or a key, whose default then applies
  change TABLE              several changes at once: {set = {"PATH" = VALUE, ...}, remove = [...], ...}
  event TABLE               send a vendor event: {board = 0, category = 3, subcategory = 7, payload = "01"}
                            or an event of the HBA API: {adapter = "example-fc-0", type = "PORT_OFFLINE"}
  fault start NAME          start a fault of the scenario
  fault start TABLE         add a fault and start it: {name = "busy", call = "HBA_OpenAdapter", nth = "1+", ...}
  fault end NAME            end a fault
  pause                     let all calls of the simulated libraries wait
  resume                    end the pause
  verify                    print what has not happened: faults that did not strike, changes of the timeline

A PATH consists of the keys of the scenario: adapter[0].port[1].state. Elements are selected by their position,
or by their name: adapter[example-fc-0].port[10:00:00:00:c9:00:00:01].state. [+] stands for a new element.
qzsim-scenario(5) describes the keys.

Examples:
  $ qzsim --control sim --scenario two.toml qzagent watch &
  $ qzsimctl sim set 'adapter[0].port[0].state' LINKDOWN
  $ qzsimctl sim get 'adapter[0].port[0].state'
  "LINKDOWN"
  $ qzsimctl sim set 'adapter[0].port[0].remote[0].luns' '[0, 1, 300]'
  $ qzsimctl sim event '{board = 0, category = 3, subcategory = 7, payload = "01 02"}'
  $ qzsimctl sim fault start '{name = "slow", call = "HBA_GetPortStatistics", nth = "1+", delay_ms = 500}'
  $ qzsimctl sim fault end slow

The exit status is 0; 1 when the simulation refuses the command, 2 when the command line is invalid or no
simulation answers, 3 when verify prints something.)";

constexpr std::string_view commands[] = {"get",   "set",   "remove", "change", "event",
                                         "fault", "pause", "resume", "verify"};

/// The parameters of the commands, except fault. The last one may consist of several words.
std::map<std::string, std::vector<char const*>> const parametersOf = {
    {"get", {"PATH"}},    {"set", {"PATH", "VALUE"}},
    {"remove", {"PATH"}}, {"change", {"TABLE"}},
    {"event", {"TABLE"}}, {"pause", {}},
    {"resume", {}},       {"verify", {}}};

class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_usage(CLI::App const*, std::string) const override
    {
        return "Usage: qzsimctl [--json] SOCKET COMMAND [ARGUMENTS...]\n";
    }
};

struct Options
{
    bool mIsJson = false;
    std::vector<std::string> mWords;  ///< the socket, the command and its arguments
};

void checkFault(std::vector<std::string> const& aArguments)
{
    if (aArguments.empty() || (aArguments[0] != "start" && aArguments[0] != "end"))
    {
        throw CLI::ValidationError(
            "fault", "expected start or end" +
                         (aArguments.empty() ? "" : fmt::format(", found \"{}\"", aArguments[0])));
    }
    if (aArguments.size() < 2)
    {
        throw CLI::ValidationError("fault " + aArguments[0], "NAME is required");
    }
}

/// Checks the number of arguments. The simulation checks the arguments themselves.
void checkArguments(std::string const& aCommand, std::vector<std::string> const& aArguments)
{
    if (aCommand == "fault")
    {
        checkFault(aArguments);
        return;
    }
    std::vector<char const*> const& names = parametersOf.at(aCommand);
    if (aArguments.size() < names.size())
    {
        throw CLI::ValidationError(aCommand, fmt::format("{} is required", names[aArguments.size()]));
    }
    if (names.empty() && !aArguments.empty())
    {
        throw CLI::ValidationError(aCommand, fmt::format("takes no arguments, found \"{}\"", aArguments[0]));
    }
}

void parse(CLI::App& aParser, Options& aOptions, int aCount, char** aArguments)
{
    aParser.formatter(std::make_shared<HelpFormatter>());
    aParser.footer(footer);
    aParser.prefix_command();
    aParser.set_version_flag("--version", "qzsimctl " QZSIM_VERSION);
    aParser.add_flag("--json", aOptions.mIsJson, "Print the value as JSON");
    aParser.parse(aCount, aArguments);
    aOptions.mWords = aParser.remaining();
    if (!aOptions.mWords.empty() && aOptions.mWords.front() != "--" && aOptions.mWords.front()[0] == '-')
    {
        throw CLI::ExtrasError({aOptions.mWords.front()});
    }
    if (!aOptions.mWords.empty() && aOptions.mWords.front() == "--")
    {
        aOptions.mWords.erase(aOptions.mWords.begin());
    }
    if (aOptions.mWords.size() < 2)
    {
        throw CLI::RequiredError(aOptions.mWords.empty() ? "SOCKET" : "COMMAND");
    }
    std::string const command = aOptions.mWords[1];
    if (std::find(std::begin(commands), std::end(commands), command) == std::end(commands))
    {
        throw CLI::ValidationError("COMMAND",
                                   fmt::format("\"{}\" is none of {}", command, fmt::join(commands, ", ")));
    }
    constexpr std::size_t afterCommand = 2;
    if (aOptions.mWords.size() > afterCommand && aOptions.mWords[afterCommand] == "--json")
    {
        aOptions.mIsJson = true;
        aOptions.mWords.erase(aOptions.mWords.begin() + afterCommand);
    }
    if (aOptions.mIsJson && command != "get")
    {
        throw CLI::ValidationError("--json", "applies only to get");
    }
    checkArguments(command, {aOptions.mWords.begin() + afterCommand, aOptions.mWords.end()});
}

/// @return the line that the simulation receives
std::string lineOf(Options const& aOptions)
{
    std::string const line =
        fmt::format("{}", fmt::join(aOptions.mWords.begin() + 1, aOptions.mWords.end(), " "));
    if (line.find('\n') != std::string::npos)
    {
        throw CLI::ValidationError("ARGUMENTS", "must not contain line ends");
    }
    constexpr std::string_view get = "get";
    return (aOptions.mIsJson ? "get-json" + line.substr(get.size()) : line) + '\n';
}

[[noreturn]] void fail(std::string const& aWhat)
{
    throw std::runtime_error(fmt::format("{}: {}", aWhat, std::generic_category().message(errno)));
}

/// Sends the line, and ends the sending half of the connection.
/// @return everything that the simulation sends
std::string answerTo(std::string const& aLine, std::string const& aPath)
{
    qzsim::SocketAddress const address(aPath);
    qzsim::Descriptor const socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(socket.number(), address.get(), qzsim::SocketAddress::size()) != 0)
    {
        fail(fmt::format("cannot open \"{}\"", aPath));
    }
    timeval const patience{10, 0};
    ::setsockopt(socket.number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(socket.number(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    for (std::size_t sent = 0; sent < aLine.size();)
    {
        ssize_t const length =
            ::send(socket.number(), aLine.data() + sent, aLine.size() - sent, MSG_NOSIGNAL);
        if (length < 0)
        {
            fail("cannot send the command");
        }
        sent += static_cast<std::size_t>(length);
    }
    ::shutdown(socket.number(), SHUT_WR);
    std::string answer;
    std::array<char, 4096> buffer;
    for (;;)
    {
        ssize_t const length = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
        if (length < 0)
        {
            fail("the simulation does not answer");
        }
        if (length == 0)
        {
            return answer;
        }
        answer.append(buffer.data(), static_cast<std::size_t>(length));
    }
}

/// Prints the lines of the answer.
int report(std::string_view aAnswer)
{
    while (!aAnswer.empty())
    {
        std::size_t const length = std::min(aAnswer.find('\n'), aAnswer.size());
        std::string_view const line = aAnswer.substr(0, length);
        aAnswer.remove_prefix(std::min(length + 1, aAnswer.size()));
        constexpr std::string_view error = "error ";
        if (line.substr(0, 1) == " ")
        {
            fmt::print("{}\n", line.substr(1));
        }
        else if (line.substr(0, error.size()) == error)
        {
            fmt::print(stderr, "qzsimctl: {}\n", line.substr(error.size()));
            return refused;
        }
        else
        {
            return line == "left" ? unfinished : done;
        }
    }
    throw std::runtime_error("the simulation ended without an answer");
}

int run(Options const& aOptions)
{
    int const status = report(answerTo(lineOf(aOptions), aOptions.mWords.front()));
    return qzsim::finishOutput("qzsimctl") ? status : misused;
}
}  // namespace

int main(int aCount, char** aArguments)
{
    CLI::App parser(description, "qzsimctl");
    try
    {
        Options options;
        parse(parser, options, aCount, aArguments);
        return run(options);
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        int const status = parser.exit(request);
        return qzsim::finishOutput("qzsimctl") ? status : misused;
    }
    catch (CLI::ParseError const& error)
    {
        fmt::print(stderr, "qzsimctl: {}; see qzsimctl --help\n", tomlfile::escaped(error.what()));
    }
    catch (std::exception const& error)
    {
        fmt::print(stderr, "qzsimctl: {}\n", tomlfile::escaped(error.what()));
    }
    return misused;
}
