// The qzagent program: runs the verb that the arguments name, and prints its result.

#include <algorithm>
#include <clocale>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
/// Adds the verbs in the order in which the help lists them.
void addVerbs(CommandLine& aCommandLine)
{
    addAdapters(aCommandLine);
    addInventory(aCommandLine);
    addPorts(aCommandLine);
    addLatency(aCommandLine);
    addShow(aCommandLine);
    addVendor(aCommandLine);
    addWatch(aCommandLine);
    addExplain(aCommandLine);
}

/// Looks for --json in the arguments themselves, because the parser can fail before it reaches the option.
bool asksForJson(int aCount, char const* const* aArguments)
{
    return std::find(aArguments, aArguments + aCount, std::string("--json")) != aArguments + aCount;
}

std::optional<Answer> runVerb(CommandLine const& aCommandLine, Report& aReport, Output& aOutput)
{
    try
    {
        SetLogLevelMask(aCommandLine.isTraced() ? ~0u : QZLL_Assertion);
        return aCommandLine.run(aReport, aOutput);
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
    return Answer();
}

std::optional<Answer> answer(CommandLine& aCommandLine, int aCount, char const* const* aArguments,
                             Report& aReport, Output& aOutput)
{
    try
    {
        if (std::optional<std::string> const help = aCommandLine.parse(aCount, aArguments))
        {
            aOutput.write(*help);
            return {};
        }
        return runVerb(aCommandLine, aReport, aOutput);
    }
    catch (Misuse const& misuse)
    {
        aReport.addError(ExitCode::misused, fmt::format("{}; see {} --help", misuse.what(), toolName));
    }
    return Answer();
}

void show(Output& aOutput, int aCount, char const* const* aArguments, Report& aReport)
{
    CommandLine commandLine;
    addVerbs(commandLine);
    std::optional<Answer> found = answer(commandLine, aCount, aArguments, aReport, aOutput);
    if (found)
    {
        aOutput.write(asksForJson(aCount, aArguments)
                          ? aReport.document(commandLine.command(), std::move(found->mKeys))
                          : found->mText);
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
