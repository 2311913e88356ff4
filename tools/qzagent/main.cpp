// Runs the verb that the arguments name, and shows what it answers.

#include <algorithm>
#include <clocale>
#include <exception>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/Adapters.h"
#include "tools/qzagent/CommandLine.h"
#include "tools/qzagent/ErrorStream.h"
#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Explain.h"
#include "tools/qzagent/Failure.h"
#include "tools/qzagent/Inventory.h"
#include "tools/qzagent/Latency.h"
#include "tools/qzagent/Output.h"
#include "tools/qzagent/Report.h"
#include "tools/qzagent/Show.h"
#include "tools/qzagent/Vendor.h"
#include "tools/qzagent/Watch.h"

namespace qzagent
{
namespace
{
/// In the order in which the help shows them.
void addVerbs(CommandLine& arCommandLine)
{
    addAdapters(arCommandLine);
    addInventory(arCommandLine);
    addLatency(arCommandLine);
    addShow(arCommandLine);
    addVendor(arCommandLine);
    addWatch(arCommandLine);
    addExplain(arCommandLine);
}

/// Also misuse is answered in JSON when JSON is asked for, wherever the parser gave up.
bool asksForJson(int aCount, char const* const* aArguments)
{
    return std::find(aArguments, aArguments + aCount, std::string("--json")) != aArguments + aCount;
}

std::optional<Answer> runVerb(CommandLine const& aCommandLine, Report& arReport, Output& arOutput)
{
    try
    {
        SetLogLevelMask(aCommandLine.isTraced() ? ~0u : QZLL_Assertion);
        return aCommandLine.run(arReport, arOutput);
    }
    catch (std::exception const& exception)
    {
        arReport.addFailure(failureOf(exception));
    }
    return Answer();
}

std::optional<Answer> answer(CommandLine& arCommandLine, int aCount, char const* const* aArguments,
                             Report& arReport, Output& arOutput)
{
    try
    {
        if (std::optional<std::string> const help = arCommandLine.parse(aCount, aArguments))
        {
            arOutput.write(*help);
            return {};
        }
        return runVerb(arCommandLine, arReport, arOutput);
    }
    catch (Misuse const& misuse)
    {
        arReport.addError(ExitCode::misused, fmt::format("{}; see {} --help", misuse.what(), toolName));
    }
    return Answer();
}

void show(Output& arOutput, int aCount, char const* const* aArguments, Report& arReport)
{
    CommandLine commandLine;
    addVerbs(commandLine);
    std::optional<Answer> const found = answer(commandLine, aCount, aArguments, arReport, arOutput);
    if (found)
    {
        arOutput.write(asksForJson(aCount, aArguments)
                           ? arReport.document(commandLine.command(), found->mKeys)
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
