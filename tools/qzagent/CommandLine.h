/// @file
/// The command line of the tool: its verbs, their options, and what they ask for.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/qzagent/Output.h"
#include "tools/qzagent/Report.h"

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

class CommandLine
{
public:
    CommandLine();

    /// @param aExamples lines of the help, each with its line end
    /// @return the verb's parser, for its options to be added
    CLI::App& addVerb(char const* aName, char const* aDescription, char const* aExamples, Verb const& aVerb);

    /// @return the help or the version, when that was asked for: then there is no verb to be run
    /// @throws Misuse
    std::optional<std::string> parse(int aCount, char const* const* aArguments);

    /// The verb, or the tool itself when the arguments name none.
    std::string command() const;

    bool isTraced() const { return mIsTraced; }

    /// Runs the verb that the arguments named.
    std::optional<Answer> run(Report& arReport, Output& arOutput) const;

private:
    void addFlag(char const* aName, bool& arFlag, char const* aDescription);
    std::string verbNames() const;

    CLI::App mApp{"Reference agent over the adapters of this host.", toolName};
    bool mIsJson = false;
    bool mIsTraced = false;
    std::string mExamples;
    Verb mVerb;
};
}  // namespace qzagent
