#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{
/// The status line as a terminal gets it: in place of the line before, cut at the margin.
std::string const statusLine = "\r\x1b[K\x1b[?7lexample-fc-0: target mappings...\x1b[?7h";
std::string const erased = "\r\x1b[K";

/// An adapter that is busy so many times when it is asked for its target mappings.
std::string busyTimes(int aCount)
{
    return R"(
[[adapter]]
name = "example-fc-0"
  [[adapter.port]]
  port_wwn = "10:00:00:00:c9:00:00:01"
    [[adapter.port.remote]]
    port_wwn = "50:00:00:00:ab:00:00:01"
    luns = 2
[[fault]]
call = "HBA_GetFcpTargetMapping"
status = "HBA_STATUS_ERROR_BUSY"
nth = "1-)" +
           std::to_string(aCount) + "\"\n";
}

TEST(QzagentProgress, IsShownOnATerminalAndErasedBeforeTheResult)
{
    ProcessResult const result = runAgentOnTerminalOf(busyTimes(4), {"inventory"});
    // Steps that follow may be seen too, when they happen to be looked at.
    EXPECT_THAT(result.mOutput, AllOf(StartsWith(statusLine + erased), HasSubstr(erased + "ITEM ")));
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("└─luns 0-1\r\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentProgress, IsNotShownWithoutATerminal)
{
    ProcessResult const result = runAgentOn(busyTimes(5), {"inventory"});
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-0: QZCHbaapiEx: HBA_GetFcpTargetMapping method failed (code 802)\n");
    EXPECT_THAT(squeezed(result.mOutput),
                AllOf(HasSubstr("\n├─failed QZCHbaapiEx: HBA_GetFcpTargetMapping method failed (code 802)\n"),
                      HasSubstr("\n  └─remote port 50:00:00:00:ab:00:00:01\n")));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentProgress, IsNotShownWithTheTrace)
{
    std::string const output = runAgentOnTerminalOf(busyTimes(2), {"inventory", "--trace"}).mOutput;
    EXPECT_THAT(output, HasSubstr("HA_GetTargetMappings: Left"));
    EXPECT_THAT(output, Not(HasSubstr("\r\x1b[K")));
}

TEST(QzagentProgress, IsNotShownOfWorkThatIsSoonDone)
{
    EXPECT_THAT(runAgentOnTerminalOf(shippedScenario("two-adapters"), {"inventory"}).mOutput,
                Not(HasSubstr("\r\x1b[K")));
}
}  // namespace
