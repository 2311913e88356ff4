#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/OneSource.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;

namespace
{
/// A source that sends events for longer than any test runs.
std::string const endless = oneSource(7, 8, 1000, 1000000);

/// Seventy events of 1 MiB each. The queue has room for 64 MiB.
std::string const large = oneSource(7, 1048576, 100000, 70);

constexpr std::uintmax_t sizeOfRecord = 43;

/// Starts the agent in a script. A shell makes the commands that it starts in the background ignore SIGINT.
std::string const startOfAgent = R"(env --default-signal "$@")";

/// A script that starts the agent, waits until its capture is not empty and continues with its process id in $agent.
std::string script(std::string const& aCapture, std::string const& aRest)
{
    return startOfAgent + R"( & agent=$!; until [ -s ')" + aCapture + "' ]; do sleep 0.01; done; " + aRest;
}

/// A script that starts the agent with its output in a pipe, reads one byte from it and continues with the pipe on
/// descriptor 3.
std::string scriptWithoutReader(std::string const& aPipe, std::string const& aRest)
{
    return "mkfifo '" + aPipe + "'; " + startOfAgent + " >'" + aPipe + "' & agent=$!; exec 3<'" + aPipe +
           "'; head -c 1 <&3 >/dev/null; " + aRest;
}

class QzagentWatchStopSignal : public CaptureFixture, public testing::WithParamInterface<std::string>
{
};

using QzagentWatchEnd = CaptureFixture;

TEST_P(QzagentWatchStopSignal, WritesAllReceivedEventsAndPrintsTheCounts)
{
    ProcessResult const result = runAgentInOn(script(mPath, "kill -" + GetParam() + " $agent; wait $agent"),
                                              endless, {"watch", "--format", "records", "--output", mPath});
    std::uintmax_t const size = std::filesystem::file_size(mPath);
    std::string const count = std::to_string(size / sizeOfRecord);
    EXPECT_EQ(size % sizeOfRecord, 0u);
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: note: received " + count + " events, wrote " + count + ", dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, QzagentWatchStopSignal, testing::Values("INT", "TERM"),
                         [](testing::TestParamInfo<std::string> const& aInfo) { return aInfo.param; });

TEST_F(QzagentWatchEnd, LosesNoEventWhenASecondSignalArrives)
{
    ProcessResult const result =
        runAgentInOn(script(mPath, "kill -INT $agent; kill -TERM $agent; kill -INT $agent; wait $agent"),
                     endless, {"watch", "--format", "records", "--output", mPath});
    EXPECT_THAT(result.mErrors, HasSubstr(", dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchEnd, IgnoresASignalThatItWasStartedToIgnore)
{
    if (IS_EMULATED)
    {
        GTEST_SKIP() << "under the emulator qzsim does not pass ignored signals on to the program it starts";
    }
    ProcessResult const result = runAgentInOn(R"(trap '' INT HUP; "$@" & agent=$!; until [ -e ')" + mPath +
                                                  "' ]; do sleep 0.01; done; kill -INT $agent; kill -HUP "
                                                  "$agent; sleep 0.3; kill -TERM $agent; wait $agent",
                                              endless, {"watch", "--seconds", "600", "--output", mPath});
    EXPECT_THAT(result.mErrors,
                AllOf(HasSubstr(", dropped 0\n"), testing::Not(HasSubstr("No such process"))));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchEnd, StopsAtASignalWithoutWaitingForAnEvent)
{
    // The agent blocks the signals before it creates the capture.
    ProcessResult const result =
        runAgentInOn(startOfAgent + " & agent=$!; until [ -e '" + mPath + "' ]; do sleep 0.01; done; " +
                         "kill -INT $agent; wait $agent",
                     endless, {"watch", "--category", "9", "--output", mPath});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: note: received 0 events, wrote 0, dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchEnd, UnregistersThenClosesThenFreesTheVendorLibrary)
{
    ProcessResult const result = runAgentOn(endless, {"watch", "--count", "1", "--trace"});
    std::string const& errors = result.mErrors;
    EXPECT_LT(errors.find(" LIBVQM_QzapiRegEvent: Left\n"), errors.find(" LIBVQM_QzapiUnregEvent: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_QzapiUnregEvent: Left\n"), errors.find(" LIBVQM_Close: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_Close: Left\n"), errors.find(" LIBVQM_FreeLibrary: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_FreeLibrary: Left\n"), errors.find("qzagent: note: received 1 events"));
}

TEST_F(QzagentWatchEnd, ReportsUnwritableOutputAfterReleasingEverything)
{
    for (char const* const output : {">&-", ">/dev/full", "| true"})
    {
        ProcessResult const result =
            runAgentInOn(std::string(R"("$@" )") + output, endless, {"watch", "--trace"});
        EXPECT_THAT(result.mErrors, AllOf(HasSubstr("qzagent: cannot write standard output: "),
                                          HasSubstr(" LIBVQM_FreeLibrary: Left\n")))
            << output;
    }
}

std::string const noteOfBeginning = "qzagent: note: watching 1 board, all categories, all subcategories\n";

TEST_F(QzagentWatchEnd, EndsQuietlyWhenTheReaderLeavesAfterAWholeLine)
{
    ProcessResult const result =
        runAgentInOn(R"({ "$@"; echo "status $?" >&2; } | head -n 3)", endless, {"watch", "--json"});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(3));
    EXPECT_EQ(result.mErrors, noteOfBeginning + "status 0\n");
}

TEST_F(QzagentWatchEnd, EndsWhenTheReaderLeavesWhileNoEventArrives)
{
    ProcessResult const result =
        runAgentInOn(R"({ "$@"; echo "status $?" >&2; } | head -n 1)", oneSource(7, 8, 1000, 1), {"watch"});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(1));
    EXPECT_EQ(result.mErrors, noteOfBeginning + "status 0\n");
}

TEST_F(QzagentWatchEnd, RecordsWithoutAReaderOfStandardOutput)
{
    runAgentInOn(R"("$@" | true)", oneSource(7, 8, 1000, 50),
                 {"watch", "--count", "50", "--format", "records", "--output", mPath});
    EXPECT_EQ(std::filesystem::file_size(mPath), 50 * sizeOfRecord);
}

TEST_F(QzagentWatchEnd, RecordsAndSaysSoWhenTheReaderOfPrintedEventsLeaves)
{
    // The agent is stopped when the capture has grown since the reader left.
    std::string const size = "$(stat -c %s '" + mPath + "')";
    ProcessResult const result = runAgentInOn(
        "mkfifo '" + mPath + ".pipe'; " + startOfAgent + " >'" + mPath + ".pipe' & agent=$!; head -n 1 <'" +
            mPath + ".pipe'; left=" + size + "; until [ " + size +
            " -gt $((left + 2000)) ] || ! kill -0 $agent; do sleep 0.01; done; kill -TERM $agent; "
            "wait $agent",
        endless, {"watch", "--format", "records", "--output", mPath, "--print"});
    EXPECT_THAT(linesOf(result.mOutput), SizeIs(1));
    std::string const count = std::to_string(std::filesystem::file_size(mPath) / sizeOfRecord);
    EXPECT_THAT(result.mErrors,
                testing::EndsWith("qzagent: note: printing ended: the reader of standard output left\n"
                                  "qzagent: note: received " +
                                  count + " events, wrote " + count + ", dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchEnd, RecordsAndFailsWhenEventsCannotBePrinted)
{
    for (std::string const form : {"records", "pcapng"})
    {
        ProcessResult const result = runAgentInOn(
            R"("$@" >/dev/full)", oneSource(7, 8, 1000, 50),
            {"watch", "--count", "50", "--format", form, "--output", mPath + "." + form, "--print"});
        EXPECT_THAT(result.mErrors,
                    testing::EndsWith(
                        "qzagent: printing ended: cannot write standard output: No space left on device\n"
                        "qzagent: note: received 50 events, wrote 50, dropped 0\n"));
        EXPECT_EQ(result.mExitStatus, 1);
    }
    EXPECT_EQ(std::filesystem::file_size(mPath + ".records"), 50 * sizeOfRecord);
}

TEST_F(QzagentWatchEnd, ReportsEventsThatTheQueueDropped)
{
    // The source's thread ends after its last event. The emulator has its own thread.
    std::string const threads = IS_EMULATED ? "2" : "1";
    ProcessResult const result = runAgentInOn(
        scriptWithoutReader(mFolder.path() / "pipe", "until [ $(ls /proc/$agent/task | wc -l) = " + threads +
                                                         " ]; do "
                                                         "sleep 0.01; done; kill -INT $agent; "
                                                         "cat <&3 >/dev/null; wait $agent"),
        large, {"watch", "--json"});
    EXPECT_EQ(result.mErrors,
              "qzagent: note: watching 1 board, all categories, all subcategories\n"
              "qzagent: note: dropped events: 6 of board 0\n"
              "qzagent: note: received 70 events, wrote 64, dropped 6\n"
              "qzagent: 6 of 70 events were dropped: 6 of board 0\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchEnd, StopsWaitingForAReaderThatDoesNotReadForASecondAfterASignal)
{
    ProcessResult const result =
        runAgentInOn(scriptWithoutReader(mFolder.path() / "pipe", "kill -INT $agent; wait $agent"), large,
                     {"watch", "--json"});
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: cannot write standard output: the reader does not read\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" events were dropped: "));
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
