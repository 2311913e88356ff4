// Appends the documents of verbs to captures.

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/file.h>
#include <sys/stat.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/PcapngCaptures.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/capture/AppendedFile.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

namespace
{
class QzagentDocumentRecording : public testing::Test
{
protected:
    ProcessResult recordOn(std::string const& aScenario, std::string const& aVerb,
                           Arguments aOptions = {}) const
    {
        aOptions.insert(aOptions.begin(), {aVerb, "--output", mPath});
        return runAgentOn(aScenario, aOptions);
    }

    ProcessResult record(std::string const& aVerb, Arguments const& aOptions = {}) const
    {
        return recordOn(shippedScenario("diagnostic-events"), aVerb, aOptions);
    }

    /// The documents of the capture with their sizes.
    json documents() const { return summary()["documents"]; }

    json summary() const { return documentOf(runAgent({"show", "--summary", "--json", mPath})); }

    ProcessResult shown(std::string const& aName) const
    {
        return runAgent({"show", "--document", aName, mPath});
    }

    std::string content() const
    {
        std::ifstream file(mPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void fill(std::string const& aContent) const { mFolder.write("visit.pcapng", aContent); }

    ScratchFolder const mFolder;
    std::string const mPath = mFolder.path() / "visit.pcapng";
};

TEST_F(QzagentDocumentRecording, CollectsAVisitToAHostInOneFile)
{
    EXPECT_EQ(record("inventory", {"--luns"}).mErrors, "");
    EXPECT_EQ(record("ports").mErrors, "");
    EXPECT_EQ(record("latency", {"--count", "1"}).mErrors, "");
    EXPECT_EQ(record("watch", {"--quiet", "--count", "3"}).mErrors, "");
    json const found = summary();
    EXPECT_THAT(found["documents"], SizeIs(3));
    EXPECT_EQ(found["documents"][0]["name"], "inventory");
    EXPECT_EQ(found["documents"][1]["name"], "ports");
    EXPECT_EQ(found["documents"][2]["name"], "latency");
    EXPECT_EQ(found["sections"], 4);
    EXPECT_EQ(found["events"], 3);
    for (std::string const verb : {"inventory", "ports", "latency"})
    {
        ProcessResult const result = shown(verb);
        EXPECT_TRUE(satisfies(result.mOutput, verb));
        EXPECT_EQ(documentOf(result)["exit_status"], 0);
    }
}

TEST_F(QzagentDocumentRecording, HasTheDocumentThatTheVerbPrints)
{
    for (std::string const verb : {"inventory", "ports"})
    {
        ProcessResult const printed = record(verb, {"--json"});
        EXPECT_EQ(shown(verb).mOutput, printed.mOutput);
        std::filesystem::remove(mPath);
        ProcessResult const text = record(verb);
        EXPECT_EQ(text.mOutput, runAgentOn(shippedScenario("diagnostic-events"), {verb}).mOutput);
        EXPECT_EQ(findingsOf(shown(verb)), findingsOf(printed));
        std::filesystem::remove(mPath);
    }
}

TEST_F(QzagentDocumentRecording, HasTheDocumentOfLatenciesAlsoWithIntervals)
{
    record("ports");
    ProcessResult const result = record("latency", {"--interval", "1", "--count", "2", "--json"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_TRUE(satisfies(shown("latency").mOutput, "latency"));
    EXPECT_EQ(documentOf(shown("latency"))["latencies"]["io_count"], 2);
}

TEST_F(QzagentDocumentRecording, ShowsEachDocumentOfTheSameName)
{
    record("ports");
    std::size_t const size = shown("ports").mOutput.size();
    record("ports");
    EXPECT_EQ(shown("ports").mOutput.size(), 2 * size);
}

TEST_F(QzagentDocumentRecording, CreatesAFileThatOnlyItsOwnerCanRead)
{
    record("ports");
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(QzagentDocumentRecording, HasTheMessagesOfAVerbThatFails)
{
    ProcessResult const result = recordOn(failedLoad(), "ports");
    EXPECT_EQ(result.mExitStatus, 1);
    json const found = documentOf(shown("ports"));
    EXPECT_EQ(found["exit_status"], 1);
    EXPECT_THAT(found["messages"], SizeIs(1));
}

TEST_F(QzagentDocumentRecording, LeavesNoFileAfterATimeout)
{
    ProcessResult const result =
        recordOn(shippedScenario("diagnostic-events") +
                     "[[fault]]\ncall = \"HBA_OpenAdapter\"\nnth = 1\ndelay_ms = 60000\n",
                 "ports", {"--timeout", "1"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(QzagentDocumentRecording, MakesACaptureOfAnyNewFileThatIsNamedLikeOne)
{
    for (std::string const verb : {"inventory", "ports", "latency"})
    {
        EXPECT_EQ(record(verb).mExitStatus, 0);
        EXPECT_TRUE(satisfies(shown(verb).mOutput, verb));
        std::filesystem::remove(mPath);
    }
}

TEST_F(QzagentDocumentRecording, RefusesFilesThatCannotBecomeCapturesBeforeItQueriesTheHost)
{
    for (std::string const verb : {"inventory", "ports", "latency"})
    {
        fill("some text that somebody needs");
        ProcessResult const result = record(verb, {"--json"});
        EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mPath + ": it is not a pcapng file\n");
        EXPECT_EQ(result.mExitStatus, 1);
        EXPECT_TRUE(satisfies(result.mOutput, verb));
        EXPECT_EQ(documentOf(result)["adapters"], json::array());
        EXPECT_EQ(content(), "some text that somebody needs");
        std::filesystem::remove(mPath);
    }
    std::string const missing = mFolder.path() / "missing" / "visit.pcapng";
    ProcessResult const result = runAgentOn("", {"ports", "--output", missing});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + missing + ": No such file or directory\n");
}

TEST_F(QzagentDocumentRecording, RefusesAFileThatAnotherProcessWrites)
{
    record("ports");
    std::string const before = content();
    qzagent::AppendedFile const writer(mPath, mPath);
    for (char const* const verb : {"ports", "latency"})
    {
        ProcessResult const result = record(verb);
        EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mPath + ": another process is writing to it\n");
        EXPECT_EQ(result.mExitStatus, 1);
    }
    EXPECT_EQ(content(), before);
}

TEST_F(QzagentDocumentRecording, ReportsADiskThatBecomesFull)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    ProcessResult const result =
        runAgentInOn("ulimit -f 0; exec \"$@\"", adapterNamed("example-fc-0"), {"ports", "--output", mPath});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: cannot write " + mPath + ": File too large"));
    EXPECT_EQ(result.mExitStatus, 1);
}

class QzagentDocumentRecordingOrder : public QzagentDocumentRecording,
                                      public testing::WithParamInterface<bool>
{
};

INSTANTIATE_TEST_SUITE_P(ByteOrders, QzagentDocumentRecordingOrder, testing::Bool(),
                         [](testing::TestParamInfo<bool> const& aInfo)
                         { return std::string(aInfo.param ? "Big" : "Little"); });

TEST_P(QzagentDocumentRecordingOrder, AppendsToCapturesOfBothByteOrders)
{
    fill(PcapngBuilder(GetParam())
             .section("h")
             .interface("inventory", 149)
             .packet(0, 1, "{\"a\": 1}")
             .content());
    EXPECT_EQ(record("ports").mErrors, "");
    EXPECT_EQ(documentOf(shown("inventory")), json({{"a", 1}}));
    EXPECT_TRUE(satisfies(shown("ports").mOutput, "ports"));
}

TEST_P(QzagentDocumentRecordingOrder, RemovesACutBlockFirst)
{
    fill(PcapngBuilder(GetParam()).section("h").interface("inventory", 149).packet(0, 1, "{}").content() +
         "cut");
    EXPECT_EQ(record("ports").mErrors,
              "qzagent: note: " + mPath + ": removed its last 3 bytes, a block that was cut\n");
    EXPECT_THAT(documents(), SizeIs(2));
    EXPECT_EQ(shown("ports").mErrors, "");
}
}  // namespace
