#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace
{
/// A port with counters, and one that offers none.
std::string const oneOfTwoPortsCounts = adapterNamed("example-fc-0") + portNumbered(1) + R"(
[adapter.port.statistics]
seconds_since_last_reset = 3600
tx_frames = 1000000
tx_words = 5120000000
rx_frames = 2000000
rx_words = 0
lip_count = 2
loss_of_sync_count = 0
invalid_crc_count = 17
)" + portNumbered(2);

/// The first counter grows, the second overflows at once and grows again, the third stays, the others are not offered.
std::string const growingPort = adapterNamed("example-fc-0") + portNumbered(1) + R"(
[adapter.port.statistics]
tx_frames = 1000
rx_frames = 0x7fffffffffffffff
invalid_crc_count = 5
[adapter.port.statistics_per_second]
tx_frames = 1000
rx_frames = 1000
)";

char const* const withoutStatistics = "qzagent: note: example-fc-0: port 1 does not offer port statistics\n";

/// The same ports; the second has counters, but they cannot be read.
std::string const oneOfTwoPortsFails = oneOfTwoPortsCounts + "[adapter.port.statistics]\ntx_frames = 1\n" +
                                       fault("HBA_GetPortStatistics", "2", "HBA_STATUS_ERROR");

TEST(QzagentStatistics, PrintsTheCountersAndTheErrorsThatAreNotZero)
{
    ProcessResult const result = runAgentOn(oneOfTwoPortsCounts, {"statistics"});
    EXPECT_EQ(withSingleBlanks(result.mOutput),
              "PORT SECONDS TX FRAMES TX WORDS RX FRAMES RX WORDS ERRORS\n"
              "adapter 0 example-fc-0\n"
              "├─10:00:00:00:c9:00:00:01 3600 1000000 5120000000 2000000 0 17\n"
              "│ ├─lip count 2\n"
              "│ └─invalid crc count 17\n"
              "└─10:00:00:00:c9:00:00:02 -\n");
    EXPECT_EQ(result.mErrors, withoutStatistics);
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, PrintsAPortWhoseCountersCannotBeReadAsFailed)
{
    ProcessResult const result = runAgentOn(oneOfTwoPortsFails, {"statistics"});
    EXPECT_THAT(withSingleBlanks(result.mOutput), HasSubstr("\n└─10:00:00:00:c9:00:00:02 failed\n"));
    EXPECT_THAT(
        result.mErrors,
        MatchesRegex(
            "qzagent: example-fc-0: port 1: QZCHbaapiEx: HBA_GetPortStatistics method failed for port "
            "10:00:00:00:c9:00:00:02 \\(code 802\\): HBA_STATUS_ERROR \\(1\\) in call [0-9]+, "
            "HBA_GetPortStatistics\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, ReadsTheOtherPortsIfTheAttributesOfOneFail)
{
    std::string const counts = "[adapter.port.statistics]\ntx_frames = 7\n";
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + counts + portNumbered(2) + counts +
                       fault("HBA_GetAdapterPortAttributes", "1", "HBA_STATUS_ERROR"),
                   {"statistics", "--json"});
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["adapters"][0]["ports"], (nlohmann::json{{{"index", 1},
                                                                 {"port_wwn", "10:00:00:00:c9:00:00:02"},
                                                                 {"counters", {{"tx_frames", 7}}}}}));
    EXPECT_EQ(document["messages"].size(), 1u);
    EXPECT_EQ(document["messages"][0]["cause"]["function"], "HBA_GetAdapterPortAttributes");
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: example-fc-0: port 0: "));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, FailWhenTheLibraryAnswersOkWithoutData)
{
    ProcessResult const result = runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) +
                                                "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\n"
                                                "untouched = true\n",
                                            {"statistics"});
    EXPECT_THAT(withSingleBlanks(result.mOutput), HasSubstr("\n└─10:00:00:00:c9:00:00:01 failed\n"));
    EXPECT_THAT(
        result.mErrors,
        MatchesRegex(
            "qzagent: example-fc-0: port 0: QZCHbaapiEx: HBA_GetPortStatistics method failed for port "
            "10:00:00:00:c9:00:00:01 \\(code 802\\): HBA_STATUS_OK \\(0\\) without data in call [0-9]+, "
            "HBA_GetPortStatistics\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, NotesOncePerAdapterThatNoPortOffersCounters)
{
    ProcessResult const result = runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + portNumbered(2) +
                                                adapterNamed("example-fc-1") + portNumbered(3),
                                            {"statistics", "--json"});
    EXPECT_EQ(result.mErrors,
              "qzagent: note: example-fc-0: the adapter does not offer port statistics\n"
              "qzagent: note: example-fc-1: the adapter does not offer port statistics\n");
    EXPECT_EQ(documentOf(result)["messages"][0],
              (nlohmann::json{{"severity", "note"},
                              {"text", "example-fc-0: the adapter does not offer port statistics"},
                              {"code", 0}}));
    EXPECT_TRUE(satisfies(result.mOutput, "statistics"));
    EXPECT_EQ(result.mExitStatus, 0);
}

/// Each counter from the events of the loop on has another digit.
std::string const portWithAllErrors = adapterNamed("example-fc-0") + portNumbered(1) + R"(
[adapter.port.statistics]
lip_count = 1000000000
nos_count = 200000000
error_frames = 30000000
dumped_frames = 4000000
link_failure_count = 500000
loss_of_sync_count = 60000
loss_of_signal_count = 7000
primitive_seq_protocol_err_count = 800
invalid_tx_word_count = 90
invalid_crc_count = 1
)";

TEST(QzagentStatistics, SumsTheErrorsWithoutTheEventsOfTheLoopAndTheLink)
{
    std::vector<std::string> const lines =
        linesOf(withSingleBlanks(runAgentOn(portWithAllErrors, {"statistics"}).mOutput));
    ASSERT_EQ(lines.size(), 13u);
    EXPECT_THAT(lines[2], HasSubstr(" 34567891"));
    EXPECT_EQ(lines[3], " ├─lip count 1000000000");
    EXPECT_EQ(lines[4], " ├─nos count 200000000");
}

TEST(QzagentStatistics, ColoursErrorsRedAndEventsYellow)
{
    std::string const output = runAgentOnTerminalOf(portWithAllErrors, {"statistics"}).mOutput;
    EXPECT_THAT(output,
                AllOf(ContainsRegex("\x1b\\[1;33m *200000000"), ContainsRegex("\x1b\\[31m *30000000")));
}

TEST(QzagentStatistics, PrintsNoBlanksAtTheEndsOfLines)
{
    EXPECT_THAT(runAgentOn(oneOfTwoPortsCounts, {"statistics"}).mOutput,
                AllOf(HasSubstr("\nadapter 0 example-fc-0\n"), Not(HasSubstr(" \n"))));
}

TEST(QzagentStatistics, PrintsADashForACounterThatThePortDoesNotOffer)
{
    ProcessResult const result = runAgentOn(growingPort, {"statistics"});
    EXPECT_THAT(withSingleBlanks(result.mOutput), ContainsRegex(":01 - 1[0-9]+ - [0-9]+ - 5\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, PrintsTheCountersInJson)
{
    ProcessResult const result = runAgentOn(oneOfTwoPortsCounts, {"statistics", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "statistics"));
    nlohmann::json const ports = documentOf(result)["adapters"][0]["ports"];
    nlohmann::json const expected{{"seconds_since_last_reset", 3600},
                                  {"tx_frames", 1000000},
                                  {"tx_words", 5120000000},
                                  {"rx_frames", 2000000},
                                  {"rx_words", 0},
                                  {"lip_count", 2},
                                  {"loss_of_sync_count", 0},
                                  {"invalid_crc_count", 17}};
    EXPECT_EQ(ports[0]["counters"], expected);
    EXPECT_EQ(ports[1], (nlohmann::json{{"index", 1}, {"port_wwn", "10:00:00:00:c9:00:00:02"}}));
}

TEST(QzagentStatistics, ListsAnAdapterThatCannotBeOpenedWithoutPorts)
{
    ProcessResult const result = runAgentOn(secondAdapterFails(), {"statistics", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "statistics"));
    EXPECT_EQ(documentOf(result)["adapters"][1], (nlohmann::json{{"index", 1}, {"name", "example-fc-1"}}));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, PrintsOnlyTheSelectedAdapter)
{
    std::string const output =
        runAgentOn(growingPort + adapterNamed("example-fc-1"), {"statistics", "--adapter", "example-fc-1"})
            .mOutput;
    EXPECT_THAT(output, AllOf(HasSubstr("adapter 1 example-fc-1"), Not(HasSubstr("example-fc-0"))));
}

TEST(QzagentStatistics, PrintsANoteWithoutAdapters)
{
    for (Arguments const& arguments : {Arguments{"statistics"}, Arguments{"statistics", "--interval", "9"}})
    {
        ProcessResult const result = runAgentOn("", arguments);
        EXPECT_EQ(result.mOutput, "");
        EXPECT_EQ(result.mErrors, "qzagent: note: no adapters\n");
        EXPECT_EQ(result.mExitStatus, 0);
    }
}

TEST(QzagentStatistics, RefusesACountWithoutAnInterval)
{
    ProcessResult const result = runAgentOn("", {"statistics", "--json", "--count", "2"});
    EXPECT_TRUE(satisfies(result.mOutput, "statistics"));
    EXPECT_EQ(result.mErrors, "qzagent: --count needs --interval; see qzagent statistics --help\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST(QzagentStatistics, OmitsCountersThatALibraryDoesNotWrite)
{
    ProcessResult const result = runAgent({"statistics", "--json"}, hostileHbaapi());
    EXPECT_TRUE(satisfies(result.mOutput, "statistics"));
    EXPECT_EQ(documentOf(result)["adapters"][1]["ports"][0]["counters"],
              (nlohmann::json{{"tx_frames", 1}, {"invalid_crc_count", 9223372036854775807}}));
}

TEST(QzagentStatistics, PrintsTheDifferencesOfEachInterval)
{
    ProcessResult const result =
        runAgentOn(growingPort, {"statistics", "--json", "--interval", "1", "--count", "2"});
    std::vector<std::string> const lines = linesOf(result.mOutput);
    ASSERT_EQ(lines.size(), 2u);
    nlohmann::json const first = nlohmann::json::parse(lines[0])["adapters"][0]["ports"][0];
    nlohmann::json const second = nlohmann::json::parse(lines[1])["adapters"][0]["ports"][0];
    EXPECT_TRUE(satisfies(lines[0], "statistics-interval"));
    EXPECT_TRUE(satisfies(lines[1], "statistics-interval"));
    for (nlohmann::json const& port : {first, second})
    {
        double const rate = port["per_second"]["tx_frames"].get<double>();
        double const difference = port["differences"]["tx_frames"].get<double>();
        // The rate has three digits behind the point.
        EXPECT_NEAR(rate, difference / port["length_seconds"].get<double>(), 0.00051);
        // The simulator counts when the port is read, and the length ends with the look, later on a slow machine.
        EXPECT_GT(rate, 400);
        EXPECT_LT(rate, 2500);
    }
    EXPECT_EQ(second["differences"]["invalid_crc_count"], 0);
    EXPECT_FALSE(second["differences"].contains("tx_words")) << "the port does not offer this counter";
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, PrintsTheDifferencesOfEachIntervalAsATable)
{
    ProcessResult const result = runAgentOn(oneOfTwoPortsCounts + R"(
[adapter.port.statistics]
tx_words = 0
link_failure_count = 0
[adapter.port.statistics_per_second]
tx_words = 25000000
link_failure_count = 100
)",
                                            {"statistics", "--interval", "1", "--count", "1"});
    EXPECT_THAT(linesOf(withSingleBlanks(result.mOutput)),
                testing::ElementsAre(MatchesRegex("2[-0-9]+T[0-9:.]+Z"),
                                     "PORT SECONDS TX FRAMES TX MB/S RX FRAMES RX MB/S ERRORS",
                                     "adapter 0 example-fc-0",
                                     MatchesRegex("├─10:00:00:00:c9:00:00:01 [12]\\.[0-9] 0 0.00 0 0.00 0"),
                                     MatchesRegex("└─10:00:00:00:c9:00:00:02 [12]\\.[0-9] - "
                                                  "(8[0-9]|9[0-9]|10[0-9]|11[0-9])\\.[0-9]+ - - [0-9]+"),
                                     MatchesRegex(" └─link failure count [0-9]+"), ""));
    EXPECT_THAT(result.mOutput, Not(HasSubstr(" \n")));
    EXPECT_EQ(result.mExitStatus, 0);
}

/// An HBA API whose process crashes when it finds a file, which it removes first.
class QzagentStatisticsCrash : public testing::Test
{
protected:
    ProcessResult runUntilSecondLook(Arguments const& aArguments) const
    {
        Environment environment = hostileHbaapi();
        environment["CRASH_ONCE"] = mFile;
        return runAgent(aArguments, environment);
    }

    ScratchFolder mFolder;
    std::string const mFile = mFolder.write("crash", "");
};

TEST_F(QzagentStatisticsCrash, IsReportedAndTheNextLooksGoOn)
{
    ProcessResult const result =
        runUntilSecondLook({"statistics", "--json", "--interval", "1", "--count", "2"});
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: the process that reads the statistics was killed by signal 6 "
                          "(Aborted)\n"));
    std::vector<std::string> const lines = linesOf(result.mOutput);
    ASSERT_EQ(lines.size(), 1u) << "the second look has nothing to be compared with";
    EXPECT_EQ(nlohmann::json::parse(lines[0])["adapters"][1]["ports"][0]["differences"]["tx_frames"], 0);
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentStatisticsCrash, LeavesNoCallThatATimeoutNames)
{
    EXPECT_THAT(runUntilSecondLook({"statistics", "--interval", "9", "--timeout", "1"}).mErrors,
                AllOf(HasSubstr(" was killed by signal 6 (Aborted)\n"),
                      EndsWith("timeout after 1 s: in the step: waiting for the end of the interval\n")));
}

TEST(QzagentStatisticsSlowLibrary, IsKilledAtTheEndOfTheInterval)
{
    ProcessResult const result =
        runAgentOn(growingPort + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\ndelay_ms = 60000\n",
                   {"statistics", "--interval", "1", "--count", "1"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(linesOf(result.mErrors),
              std::vector<std::string>(
                  2,
                  "qzagent: the process that reads the statistics did not end within 1 s and was killed: "
                  "HBA_GetPortStatistics has not returned (example-fc-0: statistics)"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, EndsAfterASignalWithoutAnError)
{
    for (std::string const signal : {"INT", "TERM"})
    {
        ScratchFolder const folder;
        std::string const output = folder.path() / "output";
        ProcessResult const result = runAgentInOn(
            "env --default-signal \"$@\" >'" + output + "' & agent=$!; while kill -0 $agent && ! [ -s '" +
                output + "' ]; do sleep 0.05; done; kill -" + signal + " $agent; wait $agent",
            growingPort, {"statistics", "--json", "--interval", "1"});
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mExitStatus, 0);
    }
}

TEST(QzagentStatistics, EndsAfterASignalDuringALook)
{
    ProcessResult const result = runAgentUntilFaults(
        growingPort + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\ndelay_ms = 60000\n",
        {"statistics", "--interval", "30"}, "kill -INT $agent");
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, HasTheExitCodeOfTheLooksOfItsProcesses)
{
    ProcessResult const result =
        runAgentOn(oneOfTwoPortsFails, {"statistics", "--json", "--interval", "1", "--count", "1"});
    EXPECT_TRUE(satisfies(result.mOutput, "statistics-interval"));
    EXPECT_EQ(linesOf(result.mErrors).size(), 2u);
    EXPECT_EQ(nlohmann::json::parse(result.mOutput)["adapters"][0]["ports"][1],
              (nlohmann::json{{"index", 1}, {"port_wwn", "10:00:00:00:c9:00:00:02"}}));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, NotesInTheFirstLookThatAPortOffersNoCounters)
{
    ProcessResult const result =
        runAgentOn(oneOfTwoPortsCounts, {"statistics", "--interval", "1", "--count", "1"});
    EXPECT_EQ(result.mErrors, withoutStatistics);
    EXPECT_THAT(withSingleBlanks(result.mOutput), HasSubstr("\n└─10:00:00:00:c9:00:00:02 -\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, ReportsAFullDeviceForItsOutput)
{
    ProcessResult const result = runAgentInOn("\"$@\" >/dev/full", growingPort,
                                              {"statistics", "--json", "--interval", "1", "--count", "1"});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: No space left on device\n");
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
