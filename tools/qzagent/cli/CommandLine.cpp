#include "tools/qzagent/cli/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Suggestion.h"
#include "tools/qzagent/cli/Terminal.h"

namespace qzagent
{
namespace
{
constexpr char const* helpName = "help";
constexpr char const* timeoutName = "--timeout";

bool isColoured(Output const& aOutput)
{
    char const* const noColour = std::getenv("NO_COLOR");
    return aOutput.isTerminal() && understandsEscapes() && (noColour == nullptr || *noColour == '\0');
}

/// @param aParser the tool or a verb
std::string footer(std::string const& aExamples, CLI::App const& aParser)
{
    bool const hasTimeout = aParser.get_option_no_throw(timeoutName) != nullptr;
    std::string text = "Examples:\n" + aExamples + "\n" +
                       (hasTimeout ? "--json, --trace and --timeout" : "--json and --trace") +
                       " can be given before or after the verb.\n"
                       "qzagent help VERB is the same as qzagent VERB --help.\n\nExit codes:";
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

std::string listOf(std::vector<std::string> const& aVerbs)
{
    return fmt::format("; the verbs are {}", fmt::join(aVerbs, ", "));
}

std::string noVerb(std::string const& aName, std::vector<std::string> const& aVerbs)
{
    std::vector<std::string> candidates = aVerbs;
    candidates.emplace_back(helpName);
    std::string const suggestion = suggestionFor(aName, candidates);
    return fmt::format("no verb '{}'{}", aName, suggestion.empty() ? listOf(aVerbs) : suggestion);
}

/// Negative numbers and "-", which stands for standard input, are values.
bool isOption(std::string const& aArgument)
{
    return aArgument.size() > 1 && aArgument[0] == '-' && (aArgument[1] < '0' || aArgument[1] > '9');
}

/// @return the argument without the value that follows "="
std::string nameIn(std::string const& aArgument) { return aArgument.substr(0, aArgument.find('=')); }

bool takesValue(CLI::Option const& aOption) { return aOption.get_items_expected_max() > 0; }

void addOptionNames(CLI::App const& aParser, std::vector<std::string>& aNames)
{
    for (CLI::Option const* const option : aParser.get_options())
    {
        for (std::string const& name : option->get_lnames())
        {
            aNames.push_back("--" + name);
        }
    }
}

/// @param aFollowing the argument after the option; none at the end
void checkValue(std::string const& aArgument, CLI::Option const& aOption,
                std::optional<std::string> const& aFollowing)
{
    std::string const name = nameIn(aArgument);
    bool const isInline = name != aArgument;
    std::string const placeholder = aOption.get_type_name();
    if (!takesValue(aOption))
    {
        if (isInline)
        {
            throw Misuse(name + " takes no value");
        }
    }
    else if (isInline ? name + "=" == aArgument : !aFollowing || aFollowing->empty())
    {
        throw Misuse(fmt::format("{} requires {}", name, placeholder));
    }
    else if (!isInline && isOption(*aFollowing))
    {
        throw Misuse(fmt::format("{} requires {}; write {}={} if {} is the value", name, placeholder, name,
                                 *aFollowing, *aFollowing));
    }
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

void ArgumentList::addOptionalPositionals(char const* aName, std::vector<std::string>& aTexts,
                                          char const* aDescription)
{
    mParser.add_option(aName, aTexts, aDescription)->type_name("");
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
    addTimeout(ofAllVerbs);
    mParser->footer([this] { return footer(mExamples, *mParser); });
    mParser->fallthrough();
    mParser->require_subcommand(0, 1);
    mParser->formatter(std::make_shared<HelpFormatter>());
    // In no group, so that the help does not list it among the verbs, which do something else.
    mHelp = mParser->add_subcommand(helpName)->group("");
    mHelp->add_option("VERB", mHelpedVerb);
}

CommandLine::~CommandLine() = default;

ArgumentList CommandLine::addVerb(char const* aName, char const* aDescription, char const* aExamples,
                                  Verb const& aVerb)
{
    mExamples += aExamples;
    CLI::App& verb = *mParser->add_subcommand(aName, aDescription);
    verb.footer([&verb, examples = std::string(aExamples)] { return footer(examples, verb); });
    verb.group("Verbs");
    verb.callback([this, aVerb] { mVerb = aVerb; });
    return ArgumentList(verb);
}

std::optional<std::string> CommandLine::parse(int aCount, char const* const* aArguments)
{
    try
    {
        return parseStrictly({aArguments + 1, aArguments + aCount});
    }
    catch (Misuse const& misuse)
    {
        std::string const text = misuse.what();
        bool const isQuestion = text.back() == '?';
        std::string const help =
            verb() == nullptr ? toolName : fmt::format("{} {}", toolName, verb()->get_name());
        throw Misuse(fmt::format("{}{} see {} --help", text, isQuestion ? "" : ";", help));
    }
}

std::optional<std::string> CommandLine::parseStrictly(std::vector<std::string> const& aArguments)
{
    std::optional<std::string> complaint;
    try
    {
        mParser->parse(std::vector<std::string>(aArguments.rbegin(), aArguments.rend()));
    }
    catch (CLI::Success const& request)  // --help and --version
    {
        return mHelp->parsed() ? helpText() : answerTo(request, *mParser);
    }
    catch (CLI::ParseError const& error)
    {
        std::vector<std::string> const unexpected = mParser->remaining(true);
        complaint = unexpected.empty() ? error.what() : complaintAbout(unexpected.front());
    }
    checkValues(aArguments);
    if (complaint)
    {
        throw Misuse(*complaint);
    }
    if (mHelp->parsed())
    {
        return helpText();
    }
    if (!mVerb)
    {
        throw Misuse("no verb given" + listOf(verbNames()));
    }
    if (mTimeout && verb()->get_option_no_throw(timeoutName) == nullptr)
    {
        throw Misuse(fmt::format("{} takes no {}", verb()->get_name(), timeoutName));
    }
    return {};
}

/// The parser would accept an option as the value of the option before it.
void CommandLine::checkValues(std::vector<std::string> const& aArguments) const
{
    std::set<std::string> seen;
    for (std::size_t i = 0; i < aArguments.size() && aArguments[i] != "--"; ++i)
    {
        std::string const& argument = aArguments[i];
        CLI::Option const* const option = optionNamed(nameIn(argument));
        if (option == nullptr)
        {
            continue;
        }
        bool const isLast = i + 1 == aArguments.size();
        checkValue(argument, *option, isLast ? std::nullopt : std::optional(aArguments[i + 1]));
        if (takesValue(*option))
        {
            if (!seen.insert(nameIn(argument)).second)
            {
                throw Misuse(nameIn(argument) + " is given more than once");
            }
            i += nameIn(argument) == argument ? 1 : 0;
        }
    }
}

std::string CommandLine::complaintAbout(std::string const& aUnexpected) const
{
    if (!isOption(aUnexpected))
    {
        return mParser->get_subcommands().empty() ? noVerb(aUnexpected, verbNames())
                                                  : fmt::format("unexpected argument '{}'", aUnexpected);
    }
    std::string const name = nameIn(aUnexpected);
    if (optionNamed(name) != nullptr)
    {
        return fmt::format("{} is an option of the verb and must follow it", name);
    }
    std::vector<std::string> names;
    addOptionNames(*mParser, names);
    if (verb() != nullptr)
    {
        addOptionNames(*verb(), names);
    }
    return fmt::format("no option '{}'{}", name, suggestionFor(name, names));
}

/// @return the help that the verb help requests
std::string CommandLine::helpText() const
{
    // Otherwise the parser would return the help of the verb help.
    mParser->clear();
    std::string const name = mHelpedVerb.value_or(helpName);
    if (name == helpName)
    {
        return mParser->help();
    }
    std::vector<std::string> const names = verbNames();
    if (std::find(names.begin(), names.end(), name) == names.end())
    {
        throw Misuse(noVerb(name, names));
    }
    return mParser->get_subcommand(name)->help(toolName);
}

/// @return the verb that the arguments name; null when they name none
CLI::App const* CommandLine::verb() const
{
    std::vector<CLI::App*> const verbs = mParser->get_subcommands();
    return verbs.empty() || verbs.front() == mHelp ? nullptr : verbs.front();
}

/// @return the option of the tool or of the verb; null when there is none
CLI::Option const* CommandLine::optionNamed(std::string const& aName) const
{
    CLI::Option const* const own = verb() == nullptr ? nullptr : verb()->get_option_no_throw(aName);
    return own == nullptr ? mParser->get_option_no_throw(aName) : own;
}

std::string CommandLine::command() const { return verb() == nullptr ? toolName : verb()->get_name(); }

void CommandLine::addTimeout(ArgumentList& aArguments)
{
    constexpr unsigned int day = 86400;
    aArguments.addNumber(timeoutName, "S", {1, day}, mTimeout,
                         "Fail when the verb takes longer than S seconds, 1 to 86400; no limit by default");
}

std::optional<std::chrono::seconds> CommandLine::timeout() const
{
    return mTimeout ? std::optional(std::chrono::seconds(*mTimeout)) : std::nullopt;
}

std::optional<Answer> CommandLine::run(Report& aReport, Output& aOutput, PartialAnswer& aPartial) const
{
    return mVerb({command(), aReport, aOutput, mIsJson, mIsTraced, isColoured(aOutput), aPartial});
}

std::vector<std::string> CommandLine::verbNames() const
{
    std::vector<std::string> names;
    for (CLI::App const* const verb :
         mParser->get_subcommands([this](CLI::App const* aVerb) { return aVerb != mHelp; }))
    {
        names.push_back(verb->get_name());
    }
    return names;
}
}  // namespace qzagent
