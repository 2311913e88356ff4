#include "tools/qzagent/bundle/VerbProcess.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <poll.h>

#include "tools/qzagent/cli/ChildProcess.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/PartialAnswer.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
constexpr std::size_t largestDocument = std::size_t{256} << 20U;

/// @return the exit code, and the document
ChildProcess::Bytes runInChild(Setting const& aSetting, AddVerb const& aAdd,
                               std::vector<std::string> const& aArguments)
{
    std::vector<char const*> arguments{toolName, "--json"};
    if (aSetting.mIsTraced)
    {
        arguments.push_back("--trace");
    }
    std::transform(aArguments.begin(), aArguments.end(), std::back_inserter(arguments),
                   [](std::string const& aArgument) { return aArgument.c_str(); });
    Report report(aSetting.mReport.errors(), aSetting.mReport.shown());
    CommandLine commandLine;
    aAdd(commandLine);
    PartialAnswer partial;
    std::optional<Answer> answer;
    try
    {
        commandLine.parse(static_cast<int>(arguments.size()), arguments.data());
        answer = commandLine.run(report, aSetting.mOutput, partial);
    }
    catch (std::exception const& exception)
    {
        report.addFailure(failureOf(exception));
    }
    std::string const document =
        report.document(commandLine.command(), std::move(answer.value_or(Answer()).mKeys));
    ChildProcess::Bytes bytes(1 + document.size(), static_cast<unsigned char>(report.exitCode()));
    std::copy(document.begin(), document.end(), bytes.begin() + 1);
    return bytes;
}
}  // namespace

std::optional<VerbDocument> runVerbInProcess(Setting const& aSetting, StopSignals& aSignals,
                                             std::chrono::seconds aLimit, AddVerb const& aAdd,
                                             std::vector<std::string> const& aArguments,
                                             std::chrono::seconds aTimeToStop)
{
    using Clock = std::chrono::steady_clock;
    auto end = Clock::now() + aLimit;
    // The message about a process that hangs names its call.
    shareCurrentStep();
    ChildProcess child([&] { return runInChild(aSetting, aAdd, aArguments); }, largestDocument);
    std::array<pollfd, 2> descriptors{{{child.descriptor(), POLLIN, 0}, {aSignals.descriptor(), POLLIN, 0}}};
    bool isStopped = false;
    do
    {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (::poll(descriptors.data(), descriptors.size(),
                   static_cast<int>(std::max<std::int64_t>(left.count(), 0))) == 0)
        {
            if (isStopped)
            {
                return {};
            }
            throw std::runtime_error(
                fmt::format("did not answer within {} s and was killed: {}", aLimit.count(), currentPlace()));
        }
        aSignals.take();
        if (!isStopped && aSignals.hasArrived())
        {
            isStopped = true;
            child.terminate();
            end = std::min(end, Clock::now() + aTimeToStop);
        }
    } while (descriptors.front().revents == 0 || child.read());
    ChildProcess::Bytes const bytes = child.takeAnswer();
    return VerbDocument{std::string(bytes.begin() + 1, bytes.end()), static_cast<ExitCode>(bytes.front())};
}
}  // namespace qzagent
