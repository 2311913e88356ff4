#include "tools/qzagent/cli/CommandLine.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"

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
    std::string text = "Examples:\n" + aExamples +
                       "\n--json and --trace can be given before or after the verb.\n\nExit codes:";
    for (ExitCodeEntry const& entry : exitCodes)
    {
        text += fmt::format("\n  {}  {}", static_cast<int>(entry.mCode), entry.mMeaning);
    }
    return text;
}

/// Shows the verb as required. For the parser it is optional, so that qzagent reports a missing verb in its own words.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_usage(CLI::App const* aApp, std::string aName) const override
    {
        return aApp->get_parent() == nullptr ? "Usage: qzagent [OPTIONS] VERB [ARGUMENTS]\n"
                                             : CLI::Formatter::make_usage(aApp, aName);
    }
};

/// Accepts decimal numbers without leading zeros. The parser itself would read 010 as 8.
CLI::Validator numberWithin(Bounds const& aBounds)
{
    auto const complaint = [aBounds](std::string const& aText)
    {
        std::uint64_t value = 0;
        char const* const end = aText.data() + aText.size();
        auto const [last, error] = std::from_chars(aText.data(), end, value);
        bool const isNumber = error == std::errc() && last == end && std::to_string(value) == aText;
        return isNumber && value >= aBounds.mSmallest && value <= aBounds.mLargest
                   ? std::string()
                   : fmt::format("'{}' is not a number from {} to {}", aText, aBounds.mSmallest,
                                 aBounds.mLargest);
    };
    return {complaint, ""};
}

/// @return the text of the help or of the version, whichever the arguments request
std::string answerTo(CLI::Success const& aRequest, CLI::App const& aParser)
{
    std::ostringstream text;
    aParser.exit(aRequest, text, text);
    return text.str();
}
}  // namespace

void ArgumentList::addPositional(char const* aName, std::string& aText, char const* aDescription)
{
    mParser.add_option(aName, aText, aDescription)->type_name("")->required();
}

void ArgumentList::addPositional(char const* aName, std::optional<std::string>& aText,
                                 char const* aDescription)
{
    mParser.add_option(aName, aText, aDescription)->type_name("");
}

void ArgumentList::addPositional(char const* aName, std::vector<std::string>& aTexts,
                                 char const* aDescription)
{
    mParser.add_option(aName, aTexts, aDescription)->type_name("")->required();
}

void ArgumentList::addFlag(char const* aName, bool& aFlag, char const* aDescription)
{
    mParser.add_flag(aName, aFlag, aDescription)->disable_flag_override();
}

void ArgumentList::addText(char const* aName, char const* aValue, std::optional<std::string>& aText,
                           char const* aDescription)
{
    mParser.add_option(aName, aText, aDescription)->type_name(aValue);
}

void ArgumentList::addRequiredText(char const* aName, char const* aValue, std::string& aText,
                                   char const* aDescription)
{
    mParser.add_option(aName, aText, aDescription)->type_name(aValue)->required();
}

void ArgumentList::addNumberTo(std::function<void(std::uint64_t)> const& aSet, char const* aName,
                               char const* aValue, Bounds const& aBounds, char const* aDescription)
{
    mParser.add_option_function<std::uint64_t>(aName, aSet, aDescription)
        ->type_name(aValue)
        ->check(numberWithin(aBounds));
}

void ArgumentList::addParsedTo(std::function<bool(std::string const&)> const& aSet, char const* aName,
                               char const* aValue, char const* aExpected, char const* aDescription)
{
    auto const complaint = [aSet, aExpected](std::string const& aText)
    { return aSet(aText) ? std::string() : fmt::format("'{}' is not {}", aText, aExpected); };
    mParser
        .add_option_function<std::string>(
            aName, [](std::string const&) {}, aDescription)
        ->type_name(aValue)
        ->check(CLI::Validator(complaint, ""));
}

CommandLine::CommandLine()
    : mParser(std::make_unique<CLI::App>("Reference agent for the Fibre Channel adapters of this host.",
                                         toolName))
{
    mParser->set_version_flag("--version", fmt::format("{} {}", toolName, QZAGENT_VERSION));
    ArgumentList ofAllVerbs(*mParser);
    ofAllVerbs.addFlag("--json", mIsJson, "Print a JSON document instead of text");
    ofAllVerbs.addFlag("--trace", mIsTraced, "Print the library's trace on standard error");
    mParser->fallthrough();
    mParser->require_subcommand(0, 1);
    mParser->formatter(std::make_shared<HelpFormatter>());
}

CommandLine::~CommandLine() = default;

ArgumentList CommandLine::addVerb(char const* aName, char const* aDescription, char const* aExamples,
                                  Verb const& aVerb)
{
    mExamples += aExamples;
    mParser->footer(footer(mExamples));
    CLI::App& verb = *mParser->add_subcommand(aName, aDescription);
    verb.footer(footer(aExamples));
    verb.group("Verbs");
    verb.callback([this, aVerb] { mVerb = aVerb; });
    return ArgumentList(verb);
}

std::optional<std::string> CommandLine::parse(int aCount, char const* const* aArguments)
{
    try
    {
        mParser->parse(aCount, aArguments);
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return answerTo(request, *mParser);
    }
    catch (CLI::ParseError const& error)
    {
        throw Misuse(error.what());
    }
    if (!mVerb)
    {
        throw Misuse("no verb given; the verbs are " + verbNames());
    }
    return {};
}

std::string CommandLine::command() const
{
    std::vector<CLI::App*> const verbs = mParser->get_subcommands();
    return verbs.empty() ? toolName : verbs.front()->get_name();
}

std::optional<Answer> CommandLine::run(Report& aReport, Output& aOutput) const
{
    return mVerb({aReport, aOutput, mIsJson, mIsTraced, isColoured(aOutput)});
}

std::string CommandLine::verbNames() const
{
    std::string names;
    for (CLI::App const* const verb : mParser->get_subcommands([](CLI::App const*) { return true; }))
    {
        names += (names.empty() ? "" : ", ") + verb->get_name();
    }
    return names;
}
}  // namespace qzagent
