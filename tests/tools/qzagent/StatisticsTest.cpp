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
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace
{
/// A port with counters, and one without.
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

char const* const withoutStatistics =
    "qzagent: example-fc-0: port 1: QZCHbaapiEx: HBA_GetPortStatistics method failed for port "
    "10:00:00:00:c9:00:00:02 (code 802): HBA_STATUS_ERROR_NOT_SUPPORTED (2) in call 8, "
    "HBA_GetPortStatistics\n";

TEST(QzagentStatistics, PrintsTheCountersAndTheErrorsThatAreNotZero)
{
    ProcessResult const result = runAgentOn(oneOfTwoPortsCounts, {"statistics"});
    EXPECT_EQ(withSingleBlanks(result.mOutput),
              "PORT SECONDS TX FRAMES TX WORDS RX FRAMES RX WORDS ERRORS\n"
              "adapter 0 example-fc-0\n"
              "├─10:00:00:00:c9:00:00:01 3600 1000000 5120000000 2000000 0 19\n"
              "│ ├─lip count 2\n"
              "│ └─invalid crc count 17\n"
              "└─10:00:00:00:c9:00:00:02 failed\n");
    EXPECT_EQ(result.mErrors, withoutStatistics);
    EXPECT_EQ(result.mExitStatus, 1);
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
    EXPECT_NEAR(first["per_second"]["tx_frames"].get<double>(), 1000, 100);
    EXPECT_NEAR(first["differences"]["tx_frames"].get<double>(),
                first["per_second"]["tx_frames"].get<double>() * first["length_seconds"].get<double>(), 1);
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

TEST(QzagentStatisticsSlowLibrary, IsKilledAtTheEndOfTheInterval)
{
    ProcessResult const result =
        runAgentOn(growingPort + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\ndelay_ms = 60000\n",
                   {"statistics", "--interval", "1", "--count", "1"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(linesOf(result.mErrors),
              std::vector<std::string>(
                  2, "qzagent: the process that reads the statistics did not end within 1 s and was killed"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, EndsAfterASignalWithoutAnError)
{
    for (std::string const signal : {"INT", "TERM"})
    {
        ProcessResult const result = runAgentInOn("timeout --preserve-status -s " + signal + " 1.5 \"$@\"",
                                                  growingPort, {"statistics", "--json", "--interval", "1"});
        EXPECT_EQ(linesOf(result.mOutput).size(), 1u);
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mExitStatus, 0);
    }
}

TEST(QzagentStatistics, EndsAfterASignalDuringALook)
{
    ProcessResult const result =
        runAgentInOn("timeout --preserve-status -s INT 0.5 \"$@\"",
                     growingPort + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = 1\ndelay_ms = 60000\n",
                     {"statistics", "--interval", "30"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentStatistics, HasTheExitCodeOfTheLooksOfItsProcesses)
{
    ProcessResult const result =
        runAgentOn(oneOfTwoPortsCounts, {"statistics", "--json", "--interval", "1", "--count", "1"});
    EXPECT_TRUE(satisfies(result.mOutput, "statistics-interval"));
    EXPECT_EQ(result.mErrors, std::string(withoutStatistics) + withoutStatistics);
    EXPECT_EQ(nlohmann::json::parse(result.mOutput)["adapters"][0]["ports"][1],
              (nlohmann::json{{"index", 1}, {"port_wwn", "10:00:00:00:c9:00:00:02"}}));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentStatistics, ReportsAFullDeviceForItsOutput)
{
    ProcessResult const result = runAgentInOn("\"$@\" >/dev/full", growingPort,
                                              {"statistics", "--json", "--interval", "1", "--count", "1"});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write standard output: No space left on device\n");
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
