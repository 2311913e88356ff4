/// @file
/// The command line of the tool: its verbs, their options, and what they ask for.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"

// Only the source knows the parser: it takes seconds to compile.
namespace CLI
{
class App;
}

namespace qzagent
{
constexpr char const* toolName = "qzagent";

/// What a verb works with, beside its own options.
struct Setting
{
    Report& mReport;
    Output& mOutput;
    bool mIsJson;
    bool mIsTraced;
    bool mIsColoured;  ///< whether text may be coloured
};

/// Does what a verb is there for.
/// @return what is to be shown; none when the verb has written its output itself, as it went
using Verb = std::function<std::optional<Answer>(Setting const&)>;

/// The arguments were not understood.
class Misuse : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Of a number, both included.
struct Bounds
{
    std::uint64_t mSmallest;
    std::uint64_t mLargest;
};

/// What the tool or a verb takes. What is given by reference is set when the arguments are parsed.
class ArgumentList
{
public:
    explicit ArgumentList(CLI::App& aParser) : mParser(aParser) {}

    /// An argument that is known by its place, and must be there.
    void addPositional(char const* aName, std::string& aText, char const* aDescription);

    /// One that may be left out.
    void addPositional(char const* aName, std::optional<std::string>& aText, char const* aDescription);

    void addFlag(char const* aName, bool& aFlag, char const* aDescription);

    /// @param aValue what the help calls the text
    void addText(char const* aName, char const* aValue, std::optional<std::string>& aText,
                 char const* aDescription);

    /// @param aValue   what the help calls the number
    /// @param aNumber of any type that holds what is within the bounds, also an optional one
    template <typename Number>
    void addNumber(char const* aName, char const* aValue, Bounds const& aBounds, Number& aNumber,
                   char const* aDescription)
    {
        auto const set = [&aNumber](std::uint64_t aParsed) { aNumber = static_cast<Number>(aParsed); };
        addNumberTo(set, aName, aValue, aBounds, aDescription);
    }

private:
    void addNumberTo(std::function<void(std::uint64_t)> const& aSet, char const* aName, char const* aValue,
                     Bounds const& aBounds, char const* aDescription);

    CLI::App& mParser;
};

class CommandLine
{
public:
    CommandLine();
    ~CommandLine();

    /// @param aExamples lines of the help, each with its line end
    /// @return the verb's arguments, to be added to
    ArgumentList addVerb(char const* aName, char const* aDescription, char const* aExamples,
                         Verb const& aVerb);

    /// @return the help or the version, when that was asked for: then there is no verb to be run
    /// @throws Misuse
    std::optional<std::string> parse(int aCount, char const* const* aArguments);

    /// The verb, or the tool itself when the arguments name none.
    std::string command() const;

    bool isTraced() const { return mIsTraced; }

    /// Runs the verb that the arguments named.
    std::optional<Answer> run(Report& aReport, Output& aOutput) const;

private:
    std::string verbNames() const;

    std::unique_ptr<CLI::App> const mParser;
    bool mIsJson = false;
    bool mIsTraced = false;
    std::string mExamples;
    Verb mVerb;
};
}  // namespace qzagent
