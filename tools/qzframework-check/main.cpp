// The qzframework-check program: checks whether the common framework meets the library's requirements.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <dlfcn.h>
#include <fmt/format.h>

#include "backend/common/include/Clib.h"
#include "tools/qzframework-check/Child.h"
#include "tools/qzframework-check/Report.h"
#include "tools/qzframework-check/Requirement.h"

namespace frameworkcheck
{
namespace
{
enum ExitStatus
{
    good = 0,
    failed = 1,
    misused = 2
};

constexpr char const* description =
    "Checks whether the common framework meets the requirements of libQZSensorAgentCommon. The program is "
    "linked\n"
    "like an agent, so it checks the framework that an agent in this folder and environment would load.\n";

constexpr char const* footer = R"(
Examples:
  qzframework-check                          check all requirements
  qzframework-check Clib Logger.threads      check those of Clib and one of the logger
  qzframework-check --list                   list all requirements
  LD_LIBRARY_PATH=/opt/product/lib qzframework-check
                                             check the libQZCommonFramework.so.1 in that folder
  LD_PRELOAD=./mylogger.so qzframework-check Logger Assertion
                                             check functions that replace the framework's

Results:
  ok      the requirement is met
  FAILED  the requirement is not met; the line says what was expected and what was found
  unseen  the program cannot see whether the requirement is met; the line says where to look

Each requirement is checked in its own process, so a crash, an exit or a hang fails only one requirement.

Exit codes:
  0  no requirement failed
  1  at least one requirement failed
  2  usage error: the arguments are invalid, and nothing was checked)";

struct Options
{
    bool mIsJson = false;
    bool mIsList = false;
    std::vector<std::string> mNames;
};

void parse(CLI::App& aParser, Options& aOptions, int aCount, char const* const* aArguments)
{
    aParser.footer(footer);
    aParser.set_version_flag("--version", "qzframework-check " QZFRAMEWORK_CHECK_VERSION);
    aParser.add_flag("--json", aOptions.mIsJson, "Print a JSON document instead of text")
        ->disable_flag_override();
    CLI::Option* const list =
        aParser.add_flag("--list", aOptions.mIsList, "List the requirements without checking them");
    list->disable_flag_override();
    list->excludes("--json");
    aParser.add_option(
        "REQUIREMENT", aOptions.mNames,
        "Check only these: the name of a requirement, or of a header for all of its requirements");
    aParser.parse(aCount, aArguments);
}

/// @return whether the name is that of the requirement or of its header
bool isNamed(Requirement const& aRequirement, std::string const& aName)
{
    std::string const name = aRequirement.mName;
    return name == aName || name.substr(0, name.find('.')) == aName;
}

/// @throws CLI::ValidationError when a name is unknown
Requirements chosenBy(std::vector<std::string> const& aNames)
{
    Requirements all = allRequirements();
    if (aNames.empty())
    {
        return all;
    }
    Requirements chosen;
    for (std::string const& name : aNames)
    {
        std::size_t const before = chosen.size();
        std::copy_if(all.begin(), all.end(), std::back_inserter(chosen),
                     [&](Requirement const& aOne) { return isNamed(aOne, name); });
        if (chosen.size() == before)
        {
            throw CLI::ValidationError("REQUIREMENT",
                                       fmt::format("unknown name \"{}\"; --list shows the names", name));
        }
    }
    return chosen;
}

/// @return path of the library that provides the framework's functions
std::string frameworkInUse()
{
    Dl_info info{};
    bool const isKnown =
        ::dladdr(reinterpret_cast<void*>(&ClibNtohl), &info) != 0 && info.dli_fname != nullptr;
    return isKnown ? info.dli_fname : "unknown";
}

void write(std::string const& aText)
{
    if (std::fwrite(aText.data(), 1, aText.size(), stdout) != aText.size() || std::fflush(stdout) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "cannot write standard output");
    }
}

int list(Requirements const& aRequirements)
{
    std::string text;
    for (Requirement const& requirement : aRequirements)
    {
        text += fmt::format("{:<32}  {}\n", requirement.mName, requirement.mStatement);
    }
    write(text);
    return good;
}

int check(Requirements const& aRequirements, bool aIsJson)
{
    Report report{frameworkInUse(), {}};
    for (Requirement const& requirement : aRequirements)
    {
        report.mChecked.push_back({requirement, checkInChild(requirement)});
    }
    write(aIsJson ? report.json() : report.text());
    return report.isGood() ? good : failed;
}
}  // namespace
}  // namespace frameworkcheck

int main(int aCount, char** aArguments)
{
    using namespace frameworkcheck;
    CLI::App parser(description, "qzframework-check");
    try
    {
        Options options;
        parse(parser, options, aCount, aArguments);
        Requirements const chosen = chosenBy(options.mNames);
        return options.mIsList ? list(chosen) : check(chosen, options.mIsJson);
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return parser.exit(request);
    }
    catch (CLI::ParseError const& error)
    {
        fmt::print(stderr, "qzframework-check: {}; see qzframework-check --help\n", error.what());
        return misused;
    }
    catch (std::exception const& error)
    {
        fmt::print(stderr, "qzframework-check: {}\n", error.what());
        return failed;
    }
}
