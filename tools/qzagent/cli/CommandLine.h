/// @file
/// The command line of qzagent: its verbs, their options, and the parsed values.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Report.h"

// Only the source file includes the parser, which takes seconds to compile.
namespace CLI
{
class App;
class Option;
}  // namespace CLI

namespace qzagent
{
constexpr char const* toolName = "qzagent";

/// What a verb works with in addition to its own options.
struct Setting
{
    std::string mCommand;  ///< name of the verb
    Report& mReport;
    Output& mOutput;
    bool mIsJson;
    bool mIsTraced;
    bool mIsColoured;  ///< whether the text output uses colours
    PartialAnswer& mPartial;
};

/// Runs a verb.
/// @return the result to print; none when the verb has already written its output
using Verb = std::function<std::optional<Answer>(Setting const&)>;

/// Thrown when the arguments are invalid. The text names the help to read.
class Misuse : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The smallest and the largest valid value of a number.
struct Bounds
{
    std::uint64_t mSmallest;
    std::uint64_t mLargest;
};

/// The arguments of the tool or of a verb. Parsing sets the variables that are passed by reference.
class ArgumentList
{
public:
    explicit ArgumentList(CLI::App& aParser) : mParser(aParser) {}

    /// Adds a required positional argument.
    void addPositional(char const* aName, std::string& aText, char const* aDescription);

    /// Adds an optional positional argument.
    void addPositional(char const* aName, std::optional<std::string>& aText, char const* aDescription);

    /// Adds a positional argument that takes one or more texts.
    void addPositional(char const* aName, std::vector<std::string>& aTexts, char const* aDescription);

    /// Adds a positional argument that takes any number of texts.
    void addOptionalPositionals(char const* aName, std::vector<std::string>& aTexts,
                                char const* aDescription);

    /// Adds an option without a value.
    void addFlag(char const* aName, bool& aFlag, char const* aDescription);

    /// Adds an option that takes a text.
    /// @param aValue placeholder for the text in the help
    void addText(char const* aName, char const* aValue, std::optional<std::string>& aText,
                 char const* aDescription);

    /// Adds an option that takes a text and must be given.
    void addRequiredText(char const* aName, char const* aValue, std::string& aText, char const* aDescription);

    /// Adds an option that takes a number.
    /// @param aValue   placeholder for the number in the help
    /// @param aNumber  an integer, or an optional integer, whose type holds every number within the bounds
    template <typename Number>
    void addNumber(char const* aName, char const* aValue, Bounds const& aBounds, Number& aNumber,
                   char const* aDescription)
    {
        auto const set = [&aNumber](std::uint64_t aParsed) { aNumber = static_cast<Number>(aParsed); };
        addNumberTo(set, aName, aValue, aBounds, aDescription);
    }

    /// Adds an option whose text is parsed.
    /// @param aValue    placeholder for the text in the help
    /// @param aParse    returns the optional value of a text; none for an invalid text
    /// @param aExpected what the text must be, for the message, such as "a size"
    template <typename Parse, typename Value>
    void addParsed(char const* aName, char const* aValue, Parse aParse, char const* aExpected, Value& aParsed,
                   char const* aDescription)
    {
        auto const set = [&aParsed, aParse](std::string const& aText)
        {
            auto const parsed = aParse(aText);
            if (parsed)
            {
                aParsed = *parsed;
            }
            return parsed.has_value();
        };
        addParsedTo(set, aName, aValue, aExpected, aDescription);
    }

private:
    void addParsedTo(std::function<bool(std::string const&)> const& aSet, char const* aName,
                     char const* aValue, char const* aExpected, char const* aDescription);
    void addNumberTo(std::function<void(std::uint64_t)> const& aSet, char const* aName, char const* aValue,
                     Bounds const& aBounds, char const* aDescription);

    CLI::App& mParser;
};

class CommandLine
{
public:
    CommandLine();
    ~CommandLine();

    /// @param aExamples lines for the help, each with its line end
    /// @return the verb's argument list, to which the caller adds its arguments
    ArgumentList addVerb(char const* aName, char const* aDescription, char const* aExamples,
                         Verb const& aVerb);

    /// Adds the option --timeout of verbs that call libraries. It may also precede the verb.
    void addTimeout(ArgumentList& aArguments);

    /// @return the help or the version if the arguments request it, and then there is no verb to run; none otherwise
    /// @throws Misuse when the arguments are invalid or name no verb
    std::optional<std::string> parse(int aCount, char const* const* aArguments);

    /// @return name of the verb; name of the tool when the arguments name no verb
    std::string command() const;

    bool isTraced() const { return mIsTraced; }

    /// The longest time that the run may take; none for no limit.
    std::optional<std::chrono::seconds> timeout() const;

    /// Runs the verb that the arguments name.
    /// @return the result to print; none when the verb has already written its output
    std::optional<Answer> run(Report& aReport, Output& aOutput, PartialAnswer& aPartial) const;

private:
    std::optional<std::string> parseStrictly(std::vector<std::string> const& aArguments);
    void checkValues(std::vector<std::string> const& aArguments) const;
    std::string complaintAbout(std::string const& aUnexpected) const;
    std::string helpText() const;
    CLI::App const* verb() const;
    CLI::Option const* optionNamed(std::string const& aName) const;
    std::vector<std::string> verbNames() const;

    std::unique_ptr<CLI::App> const mParser;
    CLI::App* mHelp;
    std::optional<std::string> mHelpedVerb;  ///< argument of the verb help
    bool mIsJson = false;
    bool mIsTraced = false;
    std::optional<unsigned int> mTimeout;
    std::string mExamples;
    Verb mVerb;
};
}  // namespace qzagent
