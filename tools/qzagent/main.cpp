/// @file
/// The command line of the tool: it chooses the verb and the form in which its answer is shown.

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/Adapters.h"
#include "tools/qzagent/ErrorStream.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Explain.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/Inventory.h"
#include "tools/qzagent/Output.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
namespace
{
constexpr char const* toolName = "qzagent";

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

/// The arguments and what they ask for.
class CommandLine
{
public:
    explicit CommandLine(bool aColoured)
    {
        mApp.set_version_flag("--version", fmt::format("{} {}", toolName, QZAGENT_VERSION));
        addFlag("--json", mIsJson, "Answer with a JSON document instead of text");
        addFlag("--trace", mIsTraced, "Show the trace of the library on standard error");
        mApp.fallthrough();
        mApp.require_subcommand(0, 1);
        mApp.get_formatter()->label("SUBCOMMAND", "VERB");

        addVerb("adapters", "Open, refresh and close each adapter, and list them",
                "  qzagent adapters           a table\n"
                "  qzagent adapters --json    a JSON document\n",
                [aColoured](Report& arReport) { return adapters(arReport, aColoured); });
        CLI::App& inventoryVerb =
            addVerb("inventory", "Show each adapter with its ports, remote ports and LUNs",
                    "  qzagent inventory --adapter example-fc-0\n"
                    "                             one adapter with all that is seen through it\n",
                    [this, aColoured](Report& arReport) {
                        return inventory(arReport, {given(mAdapterOption, mAdapter), aColoured, !mIsTraced});
                    });
        mAdapterOption =
            inventoryVerb.add_option("--adapter", mAdapter, "Show this adapter only")->type_name("NAME");
        CLI::App& explainVerb = addVerb(
            "explain", "Explain an exit code, or all of them",
            "  qzagent explain 1          what exit code 1 means and what to do\n",
            [this](Report& arReport) { return explain(arReport, given(mExitCodeOption, mExitCode)); });
        mExitCodeOption =
            explainVerb.add_option("N", mExitCode, "The exit code; all when it is left out")->type_name("");
        mApp.footer(footer(mExamples));
    }

    /// @throws CLI::Error also when only help was asked for
    void parse(int aCount, char const* const* aArguments)
    {
        mApp.parse(aCount, aArguments);
        if (!mVerb)
        {
            throw CLI::ParseError("a verb is missing: " + verbNames(), CLI::ExitCodes::RequiredError);
        }
    }

    /// The help or the version that was asked for.
    std::string helpFor(CLI::Success const& aRequest) const
    {
        std::ostringstream text;
        mApp.exit(aRequest, text, text);
        return text.str();
    }

    /// The verb, or the tool itself when the arguments name none.
    std::string command() const
    {
        std::vector<CLI::App*> const verbs = mApp.get_subcommands();
        return verbs.empty() ? toolName : verbs.front()->get_name();
    }

    bool isTraced() const { return mIsTraced; }

    Answer run(Report& arReport) const { return mVerb(arReport); }

private:
    using Verb = std::function<Answer(Report&)>;

    void addFlag(char const* aName, bool& arFlag, char const* aDescription)
    {
        mApp.add_flag(aName, arFlag, aDescription)->disable_flag_override();
    }

    /// @return the value of an option; none when it is left out
    static std::optional<std::string> given(CLI::Option const* aOption, std::string const& aValue)
    {
        return aOption->count() > 0 ? std::optional(aValue) : std::nullopt;
    }

    std::string verbNames() const
    {
        std::string names;
        for (CLI::App const* const verb : mApp.get_subcommands([](CLI::App const*) { return true; }))
        {
            names += (names.empty() ? "" : " or ") + verb->get_name();
        }
        return names;
    }

    CLI::App& addVerb(char const* aName, char const* aDescription, char const* aExamples, Verb const& aVerb)
    {
        mExamples += aExamples;
        CLI::App& verb = *mApp.add_subcommand(aName, aDescription);
        verb.footer(footer(aExamples));
        verb.group("Verbs");
        verb.callback([this, aVerb] { mVerb = aVerb; });
        return verb;
    }

    CLI::App mApp{"Reference agent over the adapters of this host.", toolName};
    bool mIsJson = false;
    bool mIsTraced = false;
    std::string mAdapter;
    CLI::Option const* mAdapterOption = nullptr;
    std::string mExitCode;
    CLI::Option const* mExitCodeOption = nullptr;
    std::string mExamples;
    Verb mVerb;
};

/// Also misuse is answered in JSON when JSON is asked for, wherever the parser gave up.
bool asksForJson(int aCount, char const* const* aArguments)
{
    return std::find(aArguments, aArguments + aCount, std::string("--json")) != aArguments + aCount;
}

Answer answer(CommandLine& arCommandLine, int aCount, char const* const* aArguments, Report& arReport)
{
    try
    {
        arCommandLine.parse(aCount, aArguments);
        SetLogLevelMask(arCommandLine.isTraced() ? ~0u : QZLL_Assertion);
        return arCommandLine.run(arReport);
    }
    catch (CLI::Success const&)
    {
        throw;
    }
    catch (CLI::ParseError const& error)
    {
        arReport.addError(ExitCode::misused, fmt::format("{}; see {} --help", error.what(), toolName));
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception));
    }
    return {};
}

void show(Output& arOutput, int aCount, char const* const* aArguments, Report& arReport)
{
    CommandLine commandLine(isColoured(arOutput));
    try
    {
        Answer const found = answer(commandLine, aCount, aArguments, arReport);
        arOutput.write(asksForJson(aCount, aArguments) ? arReport.document(commandLine.command(), found.mKeys)
                                                       : found.mText);
    }
    catch (CLI::Success const& request)
    {
        arOutput.write(commandLine.helpFor(request));
    }
}
}  // namespace
}  // namespace qzagent

int main(int aCount, char** aArguments)
{
    qzagent::Output output;
    std::setlocale(LC_CTYPE, "");
    qzagent::ErrorStream errors;
    qzagent::Report report(errors);
    try
    {
        qzagent::show(output, aCount, aArguments, report);
    }
    catch (std::exception const& error)
    {
        report.addError(qzagent::ExitCode::failed, error.what());
    }
    return static_cast<int>(report.exitCode());
}
