#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/cli/ReplacedFile.h"

namespace
{
using testing::HasSubstr;
using testing::Not;

std::string const measuredHost = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2);

std::string textInFile(std::filesystem::path const& aPath)
{
    std::ifstream file(aPath);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// @return number of entries in the folder
std::ptrdiff_t entriesIn(std::filesystem::path const& aFolder)
{
    return std::distance(std::filesystem::directory_iterator(aFolder), std::filesystem::directory_iterator());
}

TEST(QzagentMetrics, SendNoScsiCommandsWithoutAnOption)
{
    ProcessResult const result =
        runAgentOn(measuredHost + fault("HBA_SendReportLUNs", "\"1+\"", "HBA_STATUS_ERROR"), {"metrics"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_THAT(result.mOutput, HasSubstr("\nqzagent_port_luns{"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("qzagent_target_")));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("qzagent_lun_")));
}

TEST(QzagentMetrics, HaveLatenciesAndLunsOnRequest)
{
    ProcessResult const result = runAgentOn(measuredHost, {"metrics", "--latency", "--per-lun"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_THAT(result.mOutput,
                HasSubstr("\nqzagent_target_latency_seconds_count{adapter=\"example-fc-0\",target_"
                          "port=\"50:00:00:00:ab:00:00:01\"} 10\n"));
    EXPECT_THAT(result.mOutput, HasSubstr(",lun=\"1\"} 1\n"));
}

TEST(QzagentMetrics, AreTheSameInTheDocument)
{
    ProcessResult const result = runAgentOn(measuredHost, {"metrics", "--json"});
    EXPECT_THAT(documentOf(result)["metrics"].get<std::string>(), HasSubstr("\nqzagent_port_state{"));
}

TEST(QzagentMetrics, OfOtherPartsAreWrittenIfOneFails)
{
    ProcessResult const result = runAgentOn(
        measuredHost + fault("HBA_GetFcpTargetMapping", "\"1+\"", "HBA_STATUS_ERROR"), {"metrics"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: the metrics of ports are incomplete\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("qzagent_look_success{verb=\"adapters\"} 1\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("qzagent_look_success{verb=\"ports\"} 0\n"));
    EXPECT_THAT(
        result.mOutput,
        HasSubstr("qzagent_look_failures_total{verb=\"ports\",call=\"HBA_GetFcpTargetMapping\"} 1\n"));
}

TEST(QzagentMetrics, OfOtherPortsAreWrittenIfTheAttributesOfOneFail)
{
    std::string const counts = "[adapter.port.statistics]\ntx_frames = 7\n";
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + counts + portNumbered(2) + counts +
                       fault("HBA_GetAdapterPortAttributes", "1", "HBA_STATUS_ERROR"),
                   {"metrics"});
    std::string const second = "{adapter=\"example-fc-0\",port=\"1\",port_wwn=\"10:00:00:00:c9:00:00:02\"";
    EXPECT_THAT(result.mOutput, HasSubstr("\nqzagent_port_transmitted_frames_total" + second + "} 7\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\nqzagent_port_state" + second + ",state=\"ONLINE\"} 1\n"));
    for (std::string const verb : {"adapters", "ports", "statistics"})
    {
        EXPECT_THAT(result.mOutput, HasSubstr("\nqzagent_look_failures_total{verb=\"" + verb +
                                              "\",call=\"HBA_GetAdapterPortAttributes\"} 1\n"));
    }
}

TEST(QzagentMetrics, OfOtherPartsAreWrittenIfOneHangs)
{
    ProcessResult const result =
        runAgentOn(measuredHost + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = \"1+\"\nhangs = true\n",
                   {"metrics", "--part-timeout", "3"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors,
                HasSubstr("the process of statistics did not answer within 3 s and was killed: "
                          "HBA_GetPortStatistics has not returned"));
    EXPECT_THAT(result.mOutput, HasSubstr("qzagent_look_success{verb=\"statistics\"} 0\n"));
    EXPECT_THAT(
        result.mOutput,
        HasSubstr("qzagent_look_failures_total{verb=\"statistics\",call=\"HBA_GetPortStatistics\"} 1\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("state=\"ONLINE\"} 1\n"));
}

TEST(QzagentMetrics, AreLinesOfPrintableAsciiWithHostileNames)
{
    std::string const sample = "qzagent_[a-z_]+(\\{([a-z_]+=\"([^\"\\\\]|\\\\.)*\",?)+\\})? [0-9.e+-]+";
    for (std::string const& line : linesOf(runAgent({"metrics"}, hostileHbaapi()).mOutput))
    {
        EXPECT_TRUE(
            std::all_of(line.begin(), line.end(), [](char aByte) { return aByte >= ' ' && aByte <= '~'; }))
            << line;
        EXPECT_THAT(line, testing::AnyOf(testing::StartsWith("# "), testing::MatchesRegex(sample)));
    }
}

TEST(QzagentMetrics, AreServedOnlyWithMatchingOptions)
{
    for (auto const& [arguments, complaint] : std::vector<std::pair<Arguments, std::string>>{
             {{"--listen", "127.0.0.1:0", "--textfile", "a"}, "--textfile and --listen exclude each other"},
             {{"--interval", "5"}, "--interval, --allow-remote and --events require --listen"},
             {{"--allow-remote"}, "--interval, --allow-remote and --events require --listen"},
             {{"--events"}, "--interval, --allow-remote and --events require --listen"},
             {{"--listen", "127.0.0.1:0", "--event-layout", "a"}, "--event-layout requires --events"},
             {{"--listen", "0.0.0.0:0"}, "other hosts can connect to 0.0.0.0:0; --allow-remote permits it"}})
    {
        Arguments all{"metrics"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ProcessResult const result = runAgent(all);
        EXPECT_EQ(result.mErrors, "qzagent: " + complaint + "; see qzagent metrics --help\n");
        EXPECT_EQ(result.mExitStatus, 2);
    }
    ProcessResult const result = runAgent(
        {"metrics", "--listen", "127.0.0.1:0", "--events", "--event-layout", "/missing/layout.toml"});
    EXPECT_THAT(result.mErrors, HasSubstr("/missing/layout.toml"));
    EXPECT_THAT(result.mErrors, Not(HasSubstr("serving")));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(runAgent({"metrics", "--listen", "localhost:9912"}).mErrors,
                HasSubstr("'localhost:9912' is not an IP address and a port, such as 127.0.0.1:9912"));
}

class QzagentMetricsFile : public testing::Test
{
protected:
    ProcessResult write(std::string const& aScenario = measuredHost) const
    {
        return runAgentOn(aScenario, {"metrics", "--textfile", mPath});
    }

    ScratchFolder const mFolder;
    std::filesystem::path const mPath = mFolder.path() / "qzagent.prom";
};

TEST_F(QzagentMetricsFile, ReplacesTheOldOneAndIsReadableForAll)
{
    mFolder.write("qzagent.prom", "old");
    ProcessResult const result =
        runAgentInOn("umask 077; exec \"$@\"", measuredHost, {"metrics", "--textfile", mPath});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(textInFile(mPath), HasSubstr("\nqzagent_look_success{verb=\"statistics\"} 1\n"));
    EXPECT_EQ(std::filesystem::status(mPath).permissions(), std::filesystem::perms(0644));
    EXPECT_EQ(entriesIn(mFolder.path()), 1);
}

TEST_F(QzagentMetricsFile, KeepsTheTimeOfTheLastSuccessAndThePorts)
{
    write();
    std::string const name = "qzagent_last_success_timestamp_seconds{verb=\"ports\"}";
    std::string const before = textInFile(mPath);
    std::string const line =
        before.substr(before.find(name), before.find('\n', before.find(name)) - before.find(name));
    EXPECT_EQ(write(failedLoad()).mExitStatus, 1);
    EXPECT_THAT(textInFile(mPath), HasSubstr(line + "\n"));
    EXPECT_THAT(textInFile(mPath), HasSubstr(",state=\"UNKNOWN\"} 1\n"));
    EXPECT_THAT(textInFile(mPath), HasSubstr("qzagent_look_success{verb=\"ports\"} 0\n"));
}

TEST_F(QzagentMetricsFile, IsReplacedAlthoughItIsTooLargeToBeRead)
{
    mFolder.write("qzagent.prom", "\nqzagent_last_success_timestamp_seconds{verb=\"ports\"} 1\n");
    std::filesystem::resize_file(mPath, std::uintmax_t{1} << 33U);
    ProcessResult const result = write(failedLoad());
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_LT(std::filesystem::file_size(mPath), 65536U);
    EXPECT_THAT(textInFile(mPath), HasSubstr("\nqzagent_last_success_timestamp_seconds{verb=\"ports\"} 1\n"));
}

TEST_F(QzagentMetricsFile, IsAllThatRemainsOfAKilledRun)
{
    mFolder.write("qzagent.prom", "old");
    pid_t const child = ::fork();
    if (child == 0)
    {
        std::signal(SIGXFSZ, SIG_DFL);
        rlimit const limit{2, RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        qzagent::replaceFile(mPath, "new metrics");
        ::_exit(EXIT_SUCCESS);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(textInFile(mPath), "old");
    EXPECT_EQ(entriesIn(mFolder.path()), 1);
}

TEST_F(QzagentMetricsFile, IsReplacedAlthoughAKilledRunLeftItsNewFile)
{
    mFolder.write(fmt::format("qzagent.prom.{}.tmp", ::getpid()), "part");
    qzagent::replaceFile(mPath, "new");
    EXPECT_EQ(textInFile(mPath), "new");
    EXPECT_EQ(entriesIn(mFolder.path()), 1);
}

TEST_F(QzagentMetricsFile, CanBeInTheCurrentFolder)
{
    ProcessResult const result = runAgentInOn("cd " + mFolder.path().string() + "; exec \"$@\"", measuredHost,
                                              {"metrics", "--textfile", "qzagent.prom"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_THAT(textInFile(mPath), HasSubstr("\nqzagent_look_success{"));
}

TEST_F(QzagentMetricsFile, IsRefusedIfItIsALink)
{
    std::string const target = mFolder.write("target", "old");
    std::filesystem::create_symlink(target, mPath);
    ProcessResult const result = write();
    EXPECT_THAT(result.mErrors, HasSubstr("cannot write " + mPath.string() + ": Invalid argument\n"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_TRUE(std::filesystem::is_symlink(mPath));
    EXPECT_EQ(textInFile(target), "old");
}

TEST_F(QzagentMetricsFile, IsRefusedIfItIsAFolder)
{
    std::filesystem::create_directory(mPath);
    ProcessResult const result = write();
    EXPECT_THAT(result.mErrors, HasSubstr("cannot write " + mPath.string() + ": Is a directory\n"));
    EXPECT_EQ(entriesIn(mFolder.path()), 1);
}

TEST_F(QzagentMetricsFile, IsRefusedIfItIsAPipe)
{
    ProcessResult const result = runAgentInOn("mkfifo " + mPath.string() + "; exec \"$@\"", measuredHost,
                                              {"metrics", "--textfile", mPath});
    EXPECT_THAT(result.mErrors, HasSubstr("cannot write " + mPath.string() + ": Invalid argument\n"));
    EXPECT_TRUE(std::filesystem::is_fifo(mPath));
}

TEST_F(QzagentMetricsFile, ThatCannotBeWrittenIsAnError)
{
    ProcessResult const result =
        runAgentOn(measuredHost, {"metrics", "--textfile", mFolder.path() / "missing" / "a"});
    EXPECT_THAT(result.mErrors, HasSubstr("No such file or directory\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentMetricsFile, IsUnchangedAfterAnInterruption)
{
    mFolder.write("qzagent.prom", "old");
    ProcessResult const result = runAgentUntilFaults(
        measuredHost + "[[fault]]\ncall = \"HBA_GetPortStatistics\"\nnth = \"1+\"\nhangs = true\n",
        {"metrics", "--textfile", mPath}, "kill $agent");
    EXPECT_THAT(result.mErrors, HasSubstr("interrupted during statistics"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(textInFile(mPath), "old");
    EXPECT_EQ(entriesIn(mFolder.path()), 1);
}
}  // namespace
