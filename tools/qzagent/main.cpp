// The qzagent program: runs the verb that the arguments name, and prints its result.

#include <algorithm>
#include <chrono>
#include <clocale>
#include <csignal>
#include <exception>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "backend/common/include/Logger.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Output.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Reason.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Timeout.h"

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
    addTopology(aCommandLine);
    addDiff(aCommandLine);
    addCheck(aCommandLine);
    addReport(aCommandLine);
    addLatency(aCommandLine);
    addShow(aCommandLine);
    addRepair(aCommandLine);
    addConvert(aCommandLine);
    addStatistics(aCommandLine);
    addMetrics(aCommandLine);
    addVendor(aCommandLine);
    addWatch(aCommandLine);
    addBundle(aCommandLine);
    addExplain(aCommandLine);
}

/// Looks for --json in the arguments themselves, because the parser can fail before it reaches the option.
bool asksForJson(int aCount, char const* const* aArguments)
{
    return std::find(aArguments, aArguments + aCount, std::string("--json")) != aArguments + aCount;
}

/// Ends the process although a library does not return.
class Expiry
{
public:
    Expiry(CommandLine const& aCommandLine, bool aIsJson, PartialAnswer const& aPartial, Report& aReport,
           Output& aOutput)
        : mCommandLine(aCommandLine), mIsJson(aIsJson), mPartial(aPartial), mReport(aReport), mOutput(aOutput)
    {
    }

    [[noreturn]] void end(bool aIsWriting) const
    {
        constexpr std::chrono::milliseconds longestOutput(500);
        // Standard output or standard error may not accept text.
        std::thread(
            [longestOutput]
            {
                std::this_thread::sleep_for(longestOutput);
                ::_exit(static_cast<int>(ExitCode::failed));
            })
            .detach();
        mReport.addError(ExitCode::failed, fmt::format("timeout after {} s: {}",
                                                       mCommandLine.timeout()->count(), place(aIsWriting)));
        if (!aIsWriting)
        {
            writePartialAnswer();
        }
        ::_exit(static_cast<int>(ExitCode::failed));
    }

private:
    static std::string place(bool aIsWriting)
    {
        if (aIsWriting)
        {
            return "standard output does not accept the result";
        }
        return currentPlace();
    }

    void writePartialAnswer() const
    {
        try
        {
            if (std::optional<Answer> found = mPartial.get())
            {
                mOutput.write(mIsJson ? mReport.document(mCommandLine.command(), std::move(found->mKeys))
                                      : found->mText);
            }
        }
        catch (std::exception const& error)
        {
            mReport.addError(ExitCode::failed, reasonOf(error));
        }
    }

    CommandLine const& mCommandLine;
    bool const mIsJson;
    PartialAnswer const& mPartial;
    Report& mReport;
    Output& mOutput;
};

std::optional<Answer> runVerb(CommandLine const& aCommandLine, Report& aReport, Output& aOutput,
                              PartialAnswer& aPartial, Timeout& aTimeout)
{
    try
    {
        if (aCommandLine.timeout())
        {
            aTimeout.start(*aCommandLine.timeout());
        }
        SetLogLevelMask(aCommandLine.isTraced() ? ~0u : QZLL_Assertion);
        return aCommandLine.run(aReport, aOutput, aPartial);
    }
    catch (std::bad_alloc const& exception)
    {
        aReport.addError(ExitCode::failed, reasonOf(exception));
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(failureOf(exception));
    }
    return Answer();
}

std::optional<Answer> answer(CommandLine& aCommandLine, int aCount, char const* const* aArguments,
                             Report& aReport, Output& aOutput, PartialAnswer& aPartial, Timeout& aTimeout)
{
    try
    {
        if (std::optional<std::string> const help = aCommandLine.parse(aCount, aArguments))
        {
            aOutput.write(*help);
            return {};
        }
        return runVerb(aCommandLine, aReport, aOutput, aPartial, aTimeout);
    }
    catch (Misuse const& misuse)
    {
        aReport.addError(ExitCode::misused, misuse.what());
    }
    return Answer();
}

void show(Output& aOutput, int aCount, char const* const* aArguments, Report& aReport)
{
    CommandLine commandLine;
    addVerbs(commandLine);
    bool const isJson = asksForJson(aCount, aArguments);
    PartialAnswer partial;
    Expiry const expiry(commandLine, isJson, partial, aReport, aOutput);
    Timeout timeout([&expiry](bool aIsWriting) { expiry.end(aIsWriting); });
    std::optional<Answer> found = answer(commandLine, aCount, aArguments, aReport, aOutput, partial, timeout);
    timeout.beginOutput();
    if (!found)
    {
        return;
    }
    if (isJson)
    {
        aOutput.writeWhole(aReport.document(commandLine.command(), std::move(found->mKeys)));
    }
    else
    {
        aOutput.write(found->mText);
    }
}
}  // namespace
}  // namespace qzagent

int main(int aCount, char** aArguments)
{
    // Exceeding the file size limit must be a write error, not a signal.
    std::signal(SIGXFSZ, SIG_IGN);
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
        report.addError(qzagent::ExitCode::failed, qzagent::reasonOf(error));
    }
    return static_cast<int>(report.exitCode());
}
