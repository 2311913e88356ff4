#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace
{
/// The status line with its escape sequences: it replaces the previous line and is cut at the margin.
std::string const statusLine = "\r\x1b[K\x1b[?7lexample-fc-0: target mappings...\x1b[?7h";
std::string const erased = "\r\x1b[K";

/// An adapter that is busy for the first aCount queries of its target mappings.
std::string busyTimes(int aCount)
{
    return adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
           fault("HBA_GetFcpTargetMapping", "\"1-" + std::to_string(aCount) + "\"", "HBA_STATUS_ERROR_BUSY");
}

TEST(QzagentProgress, ProgressOnATerminalIsErasedBeforeTheResult)
{
    ProcessResult const result = runAgentOnTerminalOf(busyTimes(20), {"inventory"});
    // Whether later steps are shown too depends on timing.
    EXPECT_THAT(result.mOutput, AllOf(StartsWith(statusLine + erased), HasSubstr(erased + "ITEM ")));
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("├─luns 0-1\r\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentProgress, NoProgressIsShownWithoutATerminal)
{
    ProcessResult const result = runAgentOn(busyTimes(1000), {"inventory"});
    EXPECT_THAT(
        result.mErrors,
        StartsWith("qzagent: example-fc-0: QZCHbaapiEx: HBA_GetFcpTargetMapping method failed (code 802): "
                   "HBA_STATUS_ERROR_BUSY (10) in call "));
    EXPECT_THAT(linesOf(result.mErrors), SizeIs(1));
    EXPECT_THAT(squeezed(result.mOutput),
                AllOf(HasSubstr("\n├─failed QZCHbaapiEx: HBA_GetFcpTargetMapping method failed (code 802)\n"),
                      HasSubstr("\n  └─remote port 50:00:00:00:ab:00:00:01\n")));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentProgress, TraceReplacesTheProgress)
{
    std::string const output = runAgentOnTerminalOf(busyTimes(15), {"inventory", "--trace"}).mOutput;
    EXPECT_THAT(output, HasSubstr("HA_CloseAdapter: Left"));
    EXPECT_THAT(output, Not(HasSubstr("\r\x1b[K")));
}

TEST(QzagentProgress, ShortTaskShowsNoProgress)
{
    EXPECT_THAT(runAgentOnTerminalOf(shippedScenario("two-adapters"), {"inventory"}).mOutput,
                Not(HasSubstr("\r\x1b[K")));
}
}  // namespace
