#include "tools/qzagent/CommandLine.h"

#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Output.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
namespace
{
bool isColoured(Output const& aOutput)
{
    char const* const noColour = std::getenv("NO_COLOR");
    return aOutput.isTerminal() && (noColour == nullptr || *noColour == '\0');
}

std::string footer(std::string const& aExamples)
{
    std::string text =
        "Examples:\n" + aExamples + "\n--json and --trace may stand before or after the verb.\n\nExit codes:";
    for (ExitCodeEntry const& entry : exitCodes)
    {
        text += fmt::format("\n  {}  {}", static_cast<int>(entry.mCode), entry.mMeaning);
    }
    return text;
}

/// To the parser a verb is optional, so that a missing one is told of in words of our own.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_usage(CLI::App const* apApp, std::string aName) const override
    {
        return apApp->get_parent() == nullptr ? "Usage: qzagent [OPTIONS] VERB [ARGUMENTS]\n"
                                              : CLI::Formatter::make_usage(apApp, aName);
    }
};

/// @param aRequest for the help or the version
std::string answerTo(CLI::Success const& aRequest, CLI::App const& aParser)
{
    std::ostringstream text;
    aParser.exit(aRequest, text, text);
    return text.str();
}
}  // namespace

CommandLine::CommandLine()
{
    mApp.set_version_flag("--version", fmt::format("{} {}", toolName, QZAGENT_VERSION));
    addFlag("--json", mIsJson, "Answer with a JSON document instead of text");
    addFlag("--trace", mIsTraced, "Show the trace of the library on standard error");
    mApp.fallthrough();
    mApp.require_subcommand(0, 1);
    mApp.formatter(std::make_shared<HelpFormatter>());
}

CLI::App& CommandLine::addVerb(char const* aName, char const* aDescription, char const* aExamples,
                               Verb const& aVerb)
{
    mExamples += aExamples;
    mApp.footer(footer(mExamples));
    CLI::App& verb = *mApp.add_subcommand(aName, aDescription);
    verb.footer(footer(aExamples));
    verb.group("Verbs");
    verb.callback([this, aVerb] { mVerb = aVerb; });
    return verb;
}

std::optional<std::string> CommandLine::parse(int aCount, char const* const* aArguments)
{
    try
    {
        mApp.parse(aCount, aArguments);
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return answerTo(request, mApp);
    }
    catch (CLI::ParseError const& error)
    {
        throw Misuse(error.what());
    }
    if (!mVerb)
    {
        throw Misuse("a verb is missing: " + verbNames());
    }
    return {};
}

std::string CommandLine::command() const
{
    std::vector<CLI::App*> const verbs = mApp.get_subcommands();
    return verbs.empty() ? toolName : verbs.front()->get_name();
}

std::optional<Answer> CommandLine::run(Report& arReport, Output& arOutput) const
{
    return mVerb({arReport, arOutput, mIsJson, mIsTraced, isColoured(arOutput)});
}

void CommandLine::addFlag(char const* aName, bool& arFlag, char const* aDescription)
{
    mApp.add_flag(aName, arFlag, aDescription)->disable_flag_override();
}

std::string CommandLine::verbNames() const
{
    std::string names;
    for (CLI::App const* const verb : mApp.get_subcommands([](CLI::App const*) { return true; }))
    {
        names += (names.empty() ? "" : " or ") + verb->get_name();
    }
    return names;
}
}  // namespace qzagent
