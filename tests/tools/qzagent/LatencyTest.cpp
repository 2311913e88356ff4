#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "backend/common/include/EncodableStream.h"
#include "tests/support/Bytes.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace
{
/// Two adapters with three target ports. Two of them answer with 24 bytes, the one with 4 LUNs with 40 bytes.
std::string const targetsOfTwoAdapters =
    adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) + targetNumbered(2, 4) +
    adapterNamed("example-fc-1") + portNumbered(2) + targetNumbered(3, 2);

/// The third request to the second target port fails.
std::string const oneFails = targetsOfTwoAdapters + fault("HBA_SendReportLUNs", "3", "HBA_STATUS_ERROR",
                                                          "port_wwn = \"50:00:00:00:ab:00:00:02\"\n");

/// @param aCall number of the call that fails
std::string failedReport(unsigned int aCall)
{
    return "qzagent: example-fc-0: 50:00:00:00:ab:00:00:02: QZCHbaapiEx: HBA_SendReportLUNs method failed "
           "(code "
           "802): HBA_STATUS_ERROR (1) in call " +
           std::to_string(aCall) + ", HBA_SendReportLUNs\n";
}

unsigned int sumOfBuckets(nlohmann::json const& aLatencies)
{
    unsigned int sum = 0;
    for (nlohmann::json const& bucket : aLatencies["record"]["buckets"])
    {
        sum += bucket["count"].get<unsigned int>();
    }
    return sum;
}

/// @return the numbers in a file of encoded latency data
std::vector<unsigned int> numbersIn(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    Bytes const bytes{std::istreambuf_iterator<char>(file), {}};
    QZCEncodableInStream in(bytes.data(), lengthOf(bytes));
    std::vector<unsigned int> numbers;
    while (in.getRemaining() != 0)
    {
        numbers.push_back(0);
        in >> numbers.back();
    }
    return numbers;
}

TEST(QzagentLatency, QueriesEachTargetPortTenTimesByDefault)
{
    ProcessResult const result = runAgentOn(targetsOfTwoAdapters, {"latency"});
    EXPECT_THAT(result.mOutput,
                AllOf(StartsWith("example-fc-0, target port 50:00:00:00:ab:00:00:01: 10 I/Os\n"),
                      HasSubstr("\nexample-fc-0, target port 50:00:00:00:ab:00:00:02: 10 I/Os\n"),
                      HasSubstr("\nexample-fc-1, target port 50:00:00:00:ab:00:00:03: 10 I/Os\n"),
                      HasSubstr("\nexample-fc-0: 20 I/Os\n"), HasSubstr("\nexample-fc-1: 10 I/Os\n"),
                      HasSubstr("\nall: 30 I/Os\n")));
    EXPECT_THAT(linesOf(result.mOutput),
                AllOf(Contains(StartsWith("record: average I/O size 24 bytes, true latency ")).Times(3),
                      Contains(StartsWith("record: average I/O size 40 bytes, ")),
                      Contains(StartsWith("record: average I/O size 32 bytes, ")),
                      Contains(StartsWith("record: average I/O size 29 bytes, "))));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentLatency, PrintsTheLatenciesInJson)
{
    ProcessResult const result = runAgentOn(targetsOfTwoAdapters, {"latency", "--json", "--count", "7"});
    EXPECT_TRUE(satisfies(result.mOutput, "latency"));
    nlohmann::json const document = documentOf(result);
    nlohmann::json const adapter = document["adapters"][0];
    EXPECT_EQ(adapter["name"], "example-fc-0");
    EXPECT_EQ(adapter["target_ports"][1]["port_wwn"], "50:00:00:00:ab:00:00:02");
    EXPECT_EQ(adapter["target_ports"][1]["latencies"]["record"]["average_io_size_bytes"], 40);
    EXPECT_EQ(sumOfBuckets(adapter["target_ports"][1]["latencies"]), 7u);
    EXPECT_EQ(sumOfBuckets(adapter["latencies"]), 14u);
    EXPECT_EQ(document["latencies"]["io_count"], 21);
    EXPECT_EQ(document["latencies"]["record"]["buckets"][0]["below_us"], 10);
    EXPECT_EQ(document["latencies"]["record"]["buckets"][19]["from_us"], 2621440);
}

/// @return the keys of the figures, in ascending order of the values that they may have
std::vector<double> ascendingFigures(nlohmann::json const& aLatencies)
{
    std::vector<double> values;
    for (char const* const key : {"minimum", "p50", "p90", "p99", "p99_9", "maximum", "sum"})
    {
        values.push_back(aLatencies["latency_us"][key].get<double>());
    }
    return values;
}

TEST(QzagentLatency, ComputesTheFiguresOfAnAdapterFromTheValuesOfItsTargetPorts)
{
    nlohmann::json const document =
        documentOf(runAgentOn(targetsOfTwoAdapters, {"latency", "--json", "--count", "50"}));
    nlohmann::json const adapter = document["adapters"][0];
    nlohmann::json const ports = adapter["target_ports"];
    EXPECT_THAT(ascendingFigures(adapter["latencies"]),
                testing::WhenSorted(ascendingFigures(adapter["latencies"])));
    double const sum = ports[0]["latencies"]["latency_us"]["sum"].get<double>() +
                       ports[1]["latencies"]["latency_us"]["sum"].get<double>();
    EXPECT_NEAR(adapter["latencies"]["latency_us"]["sum"].get<double>(), sum, 1e-6);
    EXPECT_EQ(adapter["latencies"]["latency_us"]["maximum"].get<double>(),
              std::max(ports[0]["latencies"]["latency_us"]["maximum"].get<double>(),
                       ports[1]["latencies"]["latency_us"]["maximum"].get<double>()));
}

TEST(QzagentLatency, QueriesTheTargetPortsOfAnAdapterInTurn)
{
    // The second request to each port of the first adapter fails, so each port has one answer before any has two.
    ProcessResult const result = runAgentOn(
        targetsOfTwoAdapters + fault("HBA_SendReportLUNs", "\"3-4\"", "HBA_STATUS_ERROR"), {"latency"});
    EXPECT_THAT(result.mErrors, AllOf(HasSubstr("ab:00:00:01"), HasSubstr("ab:00:00:02")));
    EXPECT_THAT(result.mOutput,
                AllOf(StartsWith("example-fc-1, target port 50:00:00:00:ab:00:00:03: 10 I/Os\n"),
                      HasSubstr("\nall: 10 I/Os\n")));
}

TEST(QzagentLatency, PrintsTheChartsOfEachAdapterTogether)
{
    std::vector<std::string> titles;
    for (std::string const& line : linesOf(runAgentOn(targetsOfTwoAdapters, {"latency"}).mOutput))
    {
        if (line.find(" I/Os") != std::string::npos)
        {
            titles.push_back(line.substr(0, line.find(": ")));
        }
    }
    EXPECT_THAT(titles, testing::ElementsAre(
                            "example-fc-0, target port 50:00:00:00:ab:00:00:01",
                            "example-fc-0, target port 50:00:00:00:ab:00:00:02", "example-fc-0",
                            "example-fc-1, target port 50:00:00:00:ab:00:00:03", "example-fc-1", "all"));
}

TEST(QzagentLatency, MeasuresOnlyTheSelectedAdapter)
{
    std::string const output =
        runAgentOn(targetsOfTwoAdapters, {"latency", "--adapter", "example-fc-1", "--count", "1"}).mOutput;
    EXPECT_THAT(output, AllOf(HasSubstr("\nall: 1 I/Os\n"), Not(HasSubstr("example-fc-0"))));
}

TEST(QzagentLatency, FailsWhenTheLibraryAlwaysWantsMoreRoom)
{
    ProcessResult const result =
        runAgentOn(targetsOfTwoAdapters + fault("HBA_SendReportLUNs", "\"1+\"", "HBA_STATUS_ERROR_MORE_DATA"),
                   {"latency", "--timeout", "10"});
    EXPECT_THAT(linesOf(result.mErrors),
                AllOf(testing::SizeIs(3), testing::Each(HasSubstr("HBA_STATUS_ERROR_MORE_DATA (7)"))));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, MeasuresATargetPortWithMoreLunsThanFitTheFirstRequest)
{
    ProcessResult const result = runAgentOn(
        adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) + targetNumbered(2, 600),
        {"latency", "--count", "3", "--json"});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    nlohmann::json const ports = documentOf(result)["adapters"][0]["target_ports"];
    EXPECT_EQ(ports[0]["latencies"]["record"]["average_io_size_bytes"], 8 + 8 * 2);
    EXPECT_EQ(ports[1]["latencies"]["record"]["average_io_size_bytes"], 8 + 8 * 600);
}

TEST(QzagentLatency, ReportsAndOmitsATargetPortThatFails)
{
    ProcessResult const result = runAgentOn(oneFails, {"latency"});
    EXPECT_EQ(result.mErrors, failedReport(11));
    EXPECT_THAT(result.mOutput,
                AllOf(HasSubstr("\nall: 20 I/Os\n"), Not(HasSubstr("50:00:00:00:ab:00:00:02"))));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, OmitsTargetPortsInJsonWhenTheyAreUnavailable)
{
    ProcessResult const result =
        runAgentOn(targetsOfTwoAdapters +
                       fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n"),
                   {"latency", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "latency"));
    EXPECT_FALSE(documentOf(result)["adapters"][1].contains("target_ports"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, PrintsANoteWithoutTargetPorts)
{
    ProcessResult const result = runAgentOn(adapterNamed("example-fc-0"), {"latency"});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no target ports\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentLatency, ReportsAnUnknownAdapterAsAnError)
{
    ProcessResult const result = runAgentOn(targetsOfTwoAdapters, {"latency", "--json", "--adapter", "x"});
    EXPECT_TRUE(satisfies(result.mOutput, "latency"));
    EXPECT_EQ(result.mErrors, "qzagent: no adapter 'x'; run qzagent adapters to list them\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, PrintsAValidDocumentForAUsageError)
{
    ProcessResult const result = runAgent({"latency", "--json", "--count", "0"});
    EXPECT_TRUE(satisfies(result.mOutput, "latency"));
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST(QzagentLatency, DrawsBarsWithCharactersOfTheLocale)
{
    Environment const ascii{{"LC_ALL", "C"}, {"LD_PRELOAD", HOSTILE_HBAAPI}};
    EXPECT_THAT(runAgent({"latency", "--count", "1"}, hostileHbaapi()).mOutput, HasSubstr(" 1 ████"));
    EXPECT_THAT(runAgent({"latency", "--count", "1"}, ascii).mOutput, HasSubstr(" 1 ####"));
}

TEST(QzagentLatency, DrawsBarsUpToTheWidthOfTheTerminal)
{
    Environment const ascii{{"LC_ALL", "C"}, {"LD_PRELOAD", HOSTILE_HBAAPI}, {"TERM", "dumb"}};
    EXPECT_THAT(runAgent({"latency", "--count", "1"}, ascii).mOutput,
                HasSubstr(" 1 " + std::string(45, '#') + "\n"));
    // The shell sets the terminal's width before it runs the agent.
    ProcessResult const narrow =
        runProcess({"script", "--quiet", "--return", "--command",
                    std::string("stty cols 60; '") + AGENT + "' latency --count 1", "/dev/null"},
                   {{"LC_ALL", "C"},
                    {"TERM", "dumb"},
                    {"LD_PRELOAD", HOSTILE_HBAAPI},
                    {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
    EXPECT_THAT(narrow.mOutput, HasSubstr(" 1 " + std::string(25, '#') + "\r\n"));
}

TEST(QzagentLatency, EscapesNamesThatWouldMoveTheCursor)
{
    EXPECT_THAT(runAgent({"latency", "--count", "1"}, hostileHbaapi()).mOutput,
                AllOf(HasSubstr("café-\\xff, target port "), Not(HasSubstr("\x1b"))));
}

TEST(QzagentLatency, PrintsATableForEachInterval)
{
    ScratchFolder const folder;
    std::string const output = folder.path() / "output";
    ProcessResult const result =
        runAgentInOn("env --default-signal \"$@\" >'" + output +
                         "' & agent=$!; for i in $(seq 600); do [ $(grep -c TARGET.PORT '" + output +
                         "') -ge 2 ] && break; sleep 0.1; done; kill -INT $agent; wait $agent; status=$?; "
                         "cat '" +
                         output + "'; exit $status",
                     targetsOfTwoAdapters, {"latency", "--interval", "1"});
    std::vector<std::string> const lines = linesOf(result.mOutput);
    auto const isHeader = [](std::string const& aLine)
    { return aLine.rfind("ADAPTER      TARGET PORT ", 0) == 0; };
    auto const tables = static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), isHeader));
    EXPECT_GE(tables, 2u);
    EXPECT_THAT(lines, Contains(MatchesRegex("2[-0-9]+T[0-9:.]+Z, [0-9.]+ s")).Times(tables));
    EXPECT_THAT(lines,
                Contains(MatchesRegex("example-fc-1 50:00:00:00:ab:00:00:03 +[1-9][0-9]*( +[0-9.]+){6}"))
                    .Times(tables));
    EXPECT_THAT(lines, Contains(MatchesRegex("all: [0-9]+ I/Os"))) << "the total follows";
    EXPECT_THAT(result.mErrors, MatchesRegex("qzagent: note: interrupted after [0-9]+ answers\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentLatency, PrintsALineOfJsonForEachInterval)
{
    ProcessResult const result =
        runAgentOn(targetsOfTwoAdapters, {"latency", "--json", "--interval", "3600", "--count", "3"});
    std::vector<std::string> const lines = linesOf(result.mOutput);
    ASSERT_EQ(lines.size(), 1u) << "the last interval ends with the last request";
    EXPECT_TRUE(satisfies(lines[0], "latency-interval"));
    nlohmann::json const ports = nlohmann::json::parse(lines[0])["target_ports"];
    ASSERT_EQ(ports.size(), 3u);
    EXPECT_EQ(ports[2]["adapter_index"], 1);
    EXPECT_EQ(ports[2]["adapter_name"], "example-fc-1");
    EXPECT_EQ(ports[2]["port_wwn"], "50:00:00:00:ab:00:00:03");
    EXPECT_EQ(ports[2]["io_count"], 3);
}

TEST(QzagentLatency, OmitsATargetPortThatFailedFromTheIntervals)
{
    ProcessResult const result =
        runAgentOn(oneFails, {"latency", "--json", "--interval", "3600", "--count", "3"});
    nlohmann::json const ports = nlohmann::json::parse(result.mOutput)["target_ports"];
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[1]["port_wwn"], "50:00:00:00:ab:00:00:03");
    EXPECT_EQ(result.mErrors, failedReport(15));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, PrintsWhatItHasMeasuredWhenItIsInterrupted)
{
    for (std::string const signal : {"INT", "TERM"})
    {
        ProcessResult const result = runAgentUntilFaults(
            targetsOfTwoAdapters + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 3\ndelay_ms = 1\n",
            {"latency", "--json", "--count", "1000000"}, "kill -" + signal + " $agent");
        EXPECT_TRUE(satisfies(result.mOutput, "latency"));
        nlohmann::json const document = documentOf(result);
        EXPECT_GT(document["latencies"]["io_count"], 0);
        EXPECT_EQ(document["adapters"].size(), 1u) << "the second adapter is not opened";
        EXPECT_EQ(document["messages"][0]["text"],
                  "interrupted after " + document["latencies"]["io_count"].dump() + " answers");
        EXPECT_EQ(result.mExitStatus, 0);
    }
}

TEST(QzagentLatency, EndsAfterASecondSignalDuringACallThatDoesNotReturn)
{
    ProcessResult const result = runAgentUntilFaults(
        targetsOfTwoAdapters + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 1\ndelay_ms = 60000\n",
        {"latency"}, "kill -INT $agent; sleep 0.2; kill -INT $agent; sleep 1; kill -TERM $agent");
    EXPECT_EQ(result.mExitStatus, 143) << "SIGTERM ends it, the SIGINT shortly after the first one does not";
}

TEST(QzagentLatency, PrintsWhatItHasMeasuredWhenASecondSignalEndsACallThatDoesNotReturn)
{
    std::string const signals = "kill -INT $agent; sleep 1.2; kill -TERM $agent";
    std::string const scenario =
        targetsOfTwoAdapters + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 3\ndelay_ms = 60000\n";
    ScratchFolder const folder;
    std::string const file = folder.path() / "latency";
    ProcessResult const json =
        runAgentUntilFaults(scenario, {"latency", "--json", "--output", file}, signals);
    EXPECT_EQ(json.mExitStatus, 143);
    EXPECT_THAT(json.mErrors, StartsWith("qzagent: interrupted: HBA_SendReportLUNs has not returned ("));
    EXPECT_TRUE(satisfies(json.mOutput, "latency"));
    EXPECT_EQ(documentOf(json)["latencies"]["io_count"], 2);
    EXPECT_FALSE(std::filesystem::exists(file));
    ProcessResult const text = runAgentUntilFaults(scenario, {"latency"}, signals);
    EXPECT_THAT(text.mOutput, HasSubstr("example-fc-0"));
}

/// The output file, in its own folder.
class QzagentLatencyFile : public testing::Test
{
protected:
    ProcessResult measure(std::string const& aScenario) const
    {
        return runAgentOn(aScenario, {"latency", "--count", "5", "--output", mPath});
    }

    ScratchFolder mFolder;
    std::string const mPath = mFolder.path() / "latencies";
};

TEST_F(QzagentLatencyFile, ContainsThePortsThenTheAdaptersThenTheTotal)
{
    EXPECT_EQ(measure(targetsOfTwoAdapters).mExitStatus, 0);
    std::vector<unsigned int> const numbers = numbersIn(mPath);
    ASSERT_EQ(numbers.size(), 6u * 26u);
    std::vector<unsigned int> counts;
    for (std::size_t i = 0; i < numbers.size(); i += 26)
    {
        counts.push_back(numbers[i]);
        EXPECT_EQ((std::vector<unsigned int>{numbers[i + 3], numbers[i + 4], numbers[i + 5]}),
                  (std::vector<unsigned int>{1, 10, 2}));
    }
    EXPECT_EQ(counts, (std::vector<unsigned int>{5, 5, 5, 10, 5, 15}));
}

TEST_F(QzagentLatencyFile, ExistingFileIsNotReplaced)
{
    mFolder.write("latencies", "precious");
    ProcessResult const result = measure(targetsOfTwoAdapters);
    EXPECT_EQ(result.mOutput, "") << "the file is refused before anything is measured";
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mPath + ": File exists\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(std::filesystem::file_size(mPath), 8u);
}

TEST_F(QzagentLatencyFile, NoFileIsCreatedWhenNothingIsMeasured)
{
    EXPECT_EQ(measure("").mErrors, "qzagent: note: no adapters\n");
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(QzagentLatencyFile, FolderThatDoesNotExistIsReportedBeforeAnythingIsMeasured)
{
    std::string const path = mFolder.path() / "missing" / "latencies";
    ProcessResult const result = runAgentOn(targetsOfTwoAdapters, {"latency", "--output", path});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + path + ": No such file or directory\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentLatencyFile, VerbShowPrintsTheRecords)
{
    EXPECT_EQ(measure(targetsOfTwoAdapters).mExitStatus, 0);
    ProcessResult const result = runAgent({"show", mPath});
    EXPECT_THAT(
        linesOf(result.mOutput),
        AllOf(Contains(MatchesRegex("record . at byte [0-9]+: .* I/Os, search type 1, base 10, step 2"))
                  .Times(6),
              Contains(MatchesRegex("record 5 at byte [0-9]+: 15 I/Os, search type 1, base 10, step 2")),
              Contains(MatchesRegex("record: average I/O size 40 bytes, true latency [0-9]+ us"))));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentLatencyFile, VerbShowPrintsTheRecordsAsLinesOfJson)
{
    EXPECT_EQ(measure(targetsOfTwoAdapters).mExitStatus, 0);
    std::vector<std::string> const lines = linesOf(runAgent({"show", "--json", mPath}).mOutput);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_TRUE(satisfies(lines[1], "show-latency"));
    nlohmann::json const second = nlohmann::json::parse(lines[1]);
    EXPECT_EQ(second["record"], 1);
    EXPECT_EQ(second["io_count"], 5);
    EXPECT_EQ(second["latency_record"]["average_io_size_bytes"], 40);
    EXPECT_EQ(second["latency_record"]["buckets"][1]["from_us"], 10);
}

/// The eighth request does not return.
std::string const eighthHangs =
    targetsOfTwoAdapters + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 8\ndelay_ms = 3600000\n";

TEST(QzagentLatencyTimeout, ShowsWhatWasMeasuredInJson)
{
    ProcessResult const result = runAgentOn(eighthHangs, {"latency", "--json", "--timeout", "1"});
    EXPECT_TRUE(satisfies(result.mOutput, "latency"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["latencies"]["io_count"], 7);
    ASSERT_EQ(document["adapters"].size(), 1u);
    EXPECT_EQ(document["adapters"][0]["target_ports"][0]["latencies"]["io_count"], 4);
    EXPECT_EQ(document["adapters"][0]["latencies"]["io_count"], 7);
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatencyTimeout, ShowsWhatWasMeasuredAsCharts)
{
    ProcessResult const result = runAgentOn(eighthHangs, {"latency", "--timeout", "1"});
    EXPECT_THAT(result.mOutput, HasSubstr("\nall: 7 I/Os\n"));
    EXPECT_EQ(result.mErrors,
              "qzagent: timeout after 1 s: HBA_SendReportLUNs has not returned (example-fc-0: latency of "
              "50:00:00:00:ab:00:00:02)\n");
}

/// Each target port of the first adapter answers ten times, that of the second adapter never.
std::string const secondAdapterHangs =
    targetsOfTwoAdapters + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 21\ndelay_ms = 3600000\n";

TEST(QzagentLatencyTimeout, ShowsTheAdapterBeforeTheOneThatHangsOnce)
{
    ProcessResult const result = runAgentOn(secondAdapterHangs, {"latency", "--timeout", "2"});
    EXPECT_THAT(linesOf(result.mOutput),
                AllOf(Contains("example-fc-0: 20 I/Os").Times(1), Contains("all: 20 I/Os").Times(1)));
    EXPECT_THAT(result.mErrors,
                HasSubstr("has not returned (example-fc-1: latency of 50:00:00:00:ab:00:00:03)"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentLatency, ShowsTheAdapterBeforeTheOneThatHangsWithoutATimeout)
{
    ScratchFolder const folder;
    std::string const file = folder.path() / "output";
    ProcessResult const result =
        runAgentInOn("\"$@\" >" + file + " & for i in $(seq 600); do grep -q 'example-fc-0: 20' " + file +
                         " && break; sleep 0.1; done; kill -KILL $!; cat " + file,
                     secondAdapterHangs, {"latency"});
    EXPECT_THAT(result.mOutput, AllOf(HasSubstr("\nexample-fc-0: 20 I/Os\n"), Not(HasSubstr("\nall: "))));
}

TEST(QzagentLatencyTimeout, WritesNoDocumentAfterTheLinesOfIntervals)
{
    // A request takes a second, so the first interval ends before the time is over.
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
                       "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = \"1+\"\ndelay_ms = 1100\n",
                   {"latency", "--interval", "1", "--json", "--timeout", "2"});
    EXPECT_EQ(linesOf(result.mOutput).size(), 1u);
    EXPECT_TRUE(satisfies(result.mOutput, "latency-interval"));
    EXPECT_THAT(result.mErrors,
                StartsWith("qzagent: timeout after 2 s: HBA_SendReportLUNs has not returned"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentLatencyFile, NoFileIsLeftAfterATimeout)
{
    ProcessResult const result = runAgentOn(eighthHangs, {"latency", "--output", mPath, "--timeout", "1"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(QzagentLatencyFile, IncompleteFileIsRemoved)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    // The limit allows no bytes in any file. SIGXFSZ is ignored, so that write() reports an error.
    ProcessResult const result =
        runAgentIn("trap '' XFSZ; ulimit -f 0; \"$@\"", {"latency", "--output", mPath}, hostileHbaapi());
    EXPECT_THAT(result.mErrors, EndsWith("qzagent: cannot write " + mPath + ": File too large\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\nall: "));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}
}  // namespace
