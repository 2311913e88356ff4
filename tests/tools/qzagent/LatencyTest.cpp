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
using testing::EndsWith;
using testing::HasSubstr;
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

char const* const failedReport =
    "qzagent: example-fc-0: 50:00:00:00:ab:00:00:02: QZCHbaapiEx: HBA_SendReportLUNs method failed (code "
    "802): HBA_STATUS_ERROR (1) in call 18, HBA_SendReportLUNs\n";

unsigned int sumOfBuckets(nlohmann::json const& aLatencies)
{
    unsigned int sum = 0;
    for (nlohmann::json const& bucket : aLatencies["buckets"])
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
    EXPECT_THAT(
        result.mOutput,
        AllOf(StartsWith("example-fc-0, target port 50:00:00:00:ab:00:00:01: 10 I/Os of 24 bytes, "),
              HasSubstr("\nexample-fc-0, target port 50:00:00:00:ab:00:00:02: 10 I/Os of 40 bytes, "),
              HasSubstr("\nexample-fc-1, target port 50:00:00:00:ab:00:00:03: 10 I/Os of 24 bytes, "),
              HasSubstr("\nexample-fc-0: 20 I/Os of 32 bytes, "),
              HasSubstr("\nexample-fc-1: 10 I/Os of 24 bytes, "), HasSubstr("\nall: 30 I/Os of 29 bytes, ")));
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
    EXPECT_EQ(adapter["target_ports"][1]["latencies"]["average_io_size"], 40);
    EXPECT_EQ(sumOfBuckets(adapter["target_ports"][1]["latencies"]), 7u);
    EXPECT_EQ(sumOfBuckets(adapter["latencies"]), 14u);
    EXPECT_EQ(document["latencies"]["io_count"], 21);
    EXPECT_EQ(document["latencies"]["buckets"][0]["below"], 10);
    EXPECT_EQ(document["latencies"]["buckets"][19]["from"], 2621440);
}

TEST(QzagentLatency, MeasuresOnlyTheSelectedAdapter)
{
    std::string const output =
        runAgentOn(targetsOfTwoAdapters, {"latency", "--adapter", "example-fc-1", "--count", "1"}).mOutput;
    EXPECT_THAT(output, AllOf(HasSubstr("\nall: 1 I/Os of 24 bytes, "), Not(HasSubstr("example-fc-0"))));
}

TEST(QzagentLatency, ReportsAndOmitsATargetPortThatFails)
{
    ProcessResult const result = runAgentOn(oneFails, {"latency"});
    EXPECT_EQ(result.mErrors, failedReport);
    EXPECT_THAT(result.mOutput,
                AllOf(HasSubstr("\nall: 20 I/Os of 24 bytes, "), Not(HasSubstr("50:00:00:00:ab:00:00:02"))));
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
