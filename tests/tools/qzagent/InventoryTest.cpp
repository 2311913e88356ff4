#include <cstddef>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::HasSubstr;
using testing::Le;
using testing::Not;
using testing::SizeIs;

namespace
{
TEST(QzagentInventory, ShowsATreeOfAdaptersPortsRemotePortsAndLuns)
{
    ProcessResult const result = runAgentOn(shippedScenario("two-adapters"), {"inventory"});
    EXPECT_EQ(result.mOutput, R"(ITEM                    VALUE
adapter 0               example-fc-0
├─manufacturer          Example Adapters
├─serial number         EX0001
├─model                 EX-2200
├─model description     Example dual-port 2 Gbit Fibre Channel adapter
├─node wwn              20:00:00:00:c9:00:00:00
├─node symbolic name    EX-2200 EX0001
├─hardware version      1.0
├─driver version        2.4.1
├─option rom version    1.12
├─firmware version      3.90
├─vendor specific id    0x22001234
├─number of ports       2
├─driver name           examplefc
├─port 0                10:00:00:00:c9:00:00:01
│ ├─node wwn            20:00:00:00:c9:00:00:00
│ ├─fc id               0x010100
│ ├─type                NPORT
│ ├─state               ONLINE
│ ├─speed               2GBIT
│ ├─supported speeds    1GBIT, 2GBIT
│ ├─supported classes   3
│ ├─supported fc4 types 0x08
│ ├─active fc4 types    0x08
│ ├─max frame size      2112
│ ├─symbolic name       EX-2200 port 0
│ ├─os device name      /sys/class/fc_host/host0
│ ├─fabric name         10:00:00:60:69:00:00:01
│ ├─remote port         50:00:00:00:ab:00:00:01
│ │ ├─node wwn          50:00:00:00:ab:00:00:00
│ │ ├─fc id             0x010200
│ │ ├─type              NPORT
│ │ ├─state             ONLINE
│ │ ├─luns              0-2, 300
│ │ └─os devices        0-2: /dev/disk/by-path/fc-0x50000000ab000001-lun-0 to
│ │                     /dev/disk/by-path/fc-0x50000000ab000001-lun-2,
│ │                     300: /dev/disk/by-path/fc-0x50000000ab000001-lun-300
│ └─remote port         10:00:00:00:c9:00:00:71
│   ├─node wwn          20:00:00:00:c9:00:00:70
│   ├─fc id             0x010300
│   ├─type              NPORT
│   └─state             ONLINE
└─port 1                10:00:00:00:c9:00:00:02
  ├─node wwn            20:00:00:00:c9:00:00:00
  ├─fc id               0x020100
  ├─type                NPORT
  ├─state               ONLINE
  ├─speed               1GBIT
  ├─supported speeds    1GBIT, 2GBIT
  ├─supported classes   3
  ├─supported fc4 types 0x08
  ├─active fc4 types    0x08
  ├─max frame size      2112
  ├─symbolic name       EX-2200 port 1
  ├─os device name      /sys/class/fc_host/host1
  ├─fabric name         10:00:00:60:69:00:00:02
  └─remote port         50:00:00:00:ab:00:00:02
    ├─node wwn          50:00:00:00:ab:00:00:00
    ├─fc id             0x020200
    ├─type              NPORT
    ├─state             ONLINE
    ├─luns              0-2, 300
    └─os devices        0-2: /dev/disk/by-path/fc-0x50000000ab000002-lun-0 to
                        /dev/disk/by-path/fc-0x50000000ab000002-lun-2,
                        300: /dev/disk/by-path/fc-0x50000000ab000002-lun-300
adapter 1               example-fc-1
├─manufacturer          Example Adapters
├─serial number         EX0002
├─model                 EX-2100
├─model description     Example single-port 2 Gbit Fibre Channel adapter
├─node wwn              20:00:00:00:c9:00:00:10
├─driver version        2.4.1
├─firmware version      3.90
├─number of ports       1
├─driver name           examplefc
└─port 0                10:00:00:00:c9:00:00:11
  ├─node wwn            20:00:00:00:c9:00:00:10
  ├─type                UNKNOWN
  ├─state               LINKDOWN
  ├─speed               NOT_NEGOTIATED
  ├─supported speeds    1GBIT, 2GBIT
  ├─supported classes   3
  ├─supported fc4 types 0x08
  ├─active fc4 types    0x08
  ├─max frame size      2112
  └─os device name      /sys/class/fc_host/host2
)");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventory, ShowsOnlyTheSelectedAdapter)
{
    ProcessResult const result =
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--adapter", "example-fc-1"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("\nadapter 1 example-fc-1\n"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("example-fc-0")));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventory, OpensOnlyTheSelectedAdapter)
{
    std::string const trace =
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--adapter", "example-fc-1", "--trace"})
            .mErrors;
    EXPECT_THAT(trace, HasSubstr("adapter name = <example-fc-1>"));
    EXPECT_THAT(trace, Not(HasSubstr("adapter name = <example-fc-0>")));
}

TEST(QzagentInventory, ReportsAnUnknownAdapterAsAnError)
{
    ProcessResult const result =
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--adapter", "example\x1b"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: no adapter 'example\\x1b'; run qzagent adapters to list them\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventory, PrintsANoteAndNoTreeWithoutAdapters)
{
    ProcessResult const result = runAgentOn("", {"inventory"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no adapters\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventory, ShowsATargetThatNoPortDiscoveredUnderTheAdapter)
{
    std::string const output = squeezed(runAgent({"inventory"}, hostileHbaapi()).mOutput);
    EXPECT_THAT(output, HasSubstr("\n└─remote port 50:00:00:00:ab:00:00:01\n"));
}

TEST(QzagentInventory, DoesNotCompareMappedLunsWithoutAKnownFormWithReportedLuns)
{
    ProcessResult const result = runAgent({"inventory"}, hostileHbaapi());
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("  ├─luns d200000100000009\n"
                                                    "  └─mapped luns (FcpLun) 4005000000000000\n"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("not mapped")));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("not reported")));
}

TEST(QzagentInventory, NotesThatMappedLunsHaveNoKnownForm)
{
    EXPECT_THAT(
        runAgent({"inventory"}, hostileHbaapi()).mErrors,
        HasSubstr(
            ": the LUNs of the target mappings have no known form; they are shown as the digits of FcpLun "
            "and cannot be compared with the LUNs that the targets report\n"));
}

TEST(QzagentInventory, ShowsValuesWithoutAStandardNameAsNumbers)
{
    std::string const output = squeezed(runAgent({"inventory"}, hostileHbaapi()).mOutput);
    EXPECT_THAT(output, HasSubstr("├─type 99\n"));
    EXPECT_THAT(output, HasSubstr("├─state 77\n"));
    EXPECT_THAT(output, HasSubstr("├─speed 1073741824\n"));
    EXPECT_THAT(output, HasSubstr("├─supported speeds 1GBIT, 1073741824, 2147483648\n"));
}

TEST(QzagentInventory, EndsATextWithoutTerminatorAtTheEndOfItsField)
{
    std::string const output = squeezed(runAgent({"inventory"}, hostileHbaapi()).mOutput);
    EXPECT_THAT(output, HasSubstr("├─manufacturer " + std::string(64, 'm') + "\n"));
    EXPECT_THAT(output, HasSubstr("├─serial number " + std::string(64, 's') + "\n"));
}

TEST(QzagentInventory, EscapesTextThatWouldMoveTheCursor)
{
    std::string const output = squeezed(runAgent({"inventory"}, hostileHbaapi()).mOutput);
    EXPECT_THAT(output, HasSubstr(R"(driver\x1b[2J\x0a)"));
    EXPECT_THAT(output, Not(HasSubstr("\x1b")));
}

TEST(QzagentInventory, FitsInto100ColumnsWithHostileTexts)
{
    // In this locale each byte is a character.
    Environment environment = hostileHbaapi();
    environment["LC_ALL"] = "C";
    std::istringstream lines(runAgent({"inventory"}, environment).mOutput);
    for (std::string line; std::getline(lines, line);)
    {
        EXPECT_THAT(line, SizeIs(Le(100u)));
    }
}

TEST(QzagentInventory, FitsALongLunListInto100Columns)
{
    std::string luns;
    for (int lun = 0; lun < 1000; lun += 2)
    {
        luns += std::to_string(lun) + ", ";
    }
    std::string const output =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) +
                       "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:00:01\"\nluns = [" + luns +
                       "]\n",
                   {"inventory"})
            .mOutput;
    EXPECT_THAT(output,
                HasSubstr(" 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30, and 484 more\n"));
}

TEST(QzagentInventory, ReadsTheLongestLunListWithoutRepeatingTheRequest)
{
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 512) +
                       fault("HBA_SendReportLUNs", R"("2+")", "HBA_STATUS_ERROR"),
                   {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("─luns 0-511\n"));
    EXPECT_EQ(result.mErrors, "");
}
}  // namespace
