#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/OneSource.h"

using testing::AllOf;
using testing::HasSubstr;

namespace
{
/// A source that goes on for longer than any test.
std::string const endless = oneSource(7, 8, 1000, 1000000);

/// Seventy events, each of as many bytes as a 64th of the queue holds.
std::string const large = oneSource(7, 1048576, 100000, 70);

constexpr std::uintmax_t sizeOfRecord = 43;

/// A script that runs the agent until there is something in its capture, and goes on with its number in $agent.
std::string script(std::string const& aCapture, std::string const& aRest)
{
    return R"("$@" & agent=$!; until [ -s ')" + aCapture + "' ]; do sleep 0.01; done; " + aRest;
}

/// A script that runs the agent until it waits for a reader of its output, which is on descriptor 3.
std::string scriptWithoutReader(std::string const& aPipe, std::string const& aRest)
{
    return "mkfifo '" + aPipe + R"('; "$@" >')" + aPipe + "' & agent=$!; exec 3<'" + aPipe +
           "'; head -c 1 <&3 >/dev/null; " + aRest;
}

class QzagentWatchEndedBy : public testing::TestWithParam<std::string>
{
};

TEST_P(QzagentWatchEndedBy, ASignalTellsWhatThereWasAndHasAllOfIt)
{
    ScratchFolder const folder;
    std::string const capture = folder.path() / "events.capture";
    ProcessResult const result = runAgentInOn(script(capture, "kill -" + GetParam() + " $agent; wait $agent"),
                                              endless, {"watch", "--output", capture});
    std::uintmax_t const size = std::filesystem::file_size(capture);
    std::string const count = std::to_string(size / sizeOfRecord);
    EXPECT_EQ(size % sizeOfRecord, 0u);
    EXPECT_EQ(result.mErrors,
              "qzagent: note: received " + count + " events, wrote " + count + ", dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Signals, QzagentWatchEndedBy, testing::Values("INT", "TERM"),
                         [](testing::TestParamInfo<std::string> const& aInfo) { return aInfo.param; });

TEST(QzagentWatchEnd, LosesNothingToASecondSignal)
{
    ScratchFolder const folder;
    std::string const capture = folder.path() / "events.capture";
    ProcessResult const result =
        runAgentInOn(script(capture, "kill -INT $agent; kill -TERM $agent; kill -INT $agent; wait $agent"),
                     endless, {"watch", "--output", capture});
    EXPECT_THAT(result.mErrors, HasSubstr(", dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWatchEnd, WithoutAnEventIsNotWaitedForAfterASignal)
{
    // The capture is there once the signals are held back.
    ScratchFolder const folder;
    std::string const capture = folder.path() / "events.capture";
    ProcessResult const result =
        runAgentInOn(R"("$@" & agent=$!; until [ -e ')" + capture + "' ]; do sleep 0.01; done; " +
                         "kill -INT $agent; wait $agent",
                     endless, {"watch", "--category", "9", "--output", capture});
    EXPECT_EQ(result.mErrors, "qzagent: note: received 0 events, wrote 0, dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWatchEnd, UnregistersClosesAndFrees)
{
    ProcessResult const result = runAgentOn(endless, {"watch", "--count", "1", "--trace"});
    std::string const& errors = result.mErrors;
    EXPECT_LT(errors.find(" LIBVQM_QzapiRegEvent: Left\n"), errors.find(" LIBVQM_QzapiUnregEvent: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_QzapiUnregEvent: Left\n"), errors.find(" LIBVQM_Close: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_Close: Left\n"), errors.find(" LIBVQM_FreeLibrary: Left\n"));
    EXPECT_LT(errors.find(" LIBVQM_FreeLibrary: Left\n"), errors.find("qzagent: note: received 1 events"));
}

TEST(QzagentWatchEnd, WithoutStandardOutputIsAnErrorAfterEverythingWasFreed)
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

TEST(QzagentWatchEnd, ReportsWhatTheQueueHadNoRoomFor)
{
    ScratchFolder const folder;
    // The source's thread ends with its last event. The emulator has a thread of its own.
    std::string const threads = IS_EMULATED ? "2" : "1";
    ProcessResult const result = runAgentInOn(
        scriptWithoutReader(folder.path() / "pipe", "until [ $(ls /proc/$agent/task | wc -l) = " + threads +
                                                        " ]; do "
                                                        "sleep 0.01; done; kill -INT $agent; "
                                                        "cat <&3 >/dev/null; wait $agent"),
        large, {"watch", "--json"});
    EXPECT_EQ(result.mErrors,
              "qzagent: note: received 70 events, wrote 65, dropped 5\n"
              "qzagent: 5 of 70 events were dropped\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWatchEnd, DoesNotWaitForAReaderAfterASecondSignal)
{
    ScratchFolder const folder;
    ProcessResult const result = runAgentInOn(
        scriptWithoutReader(folder.path() / "pipe", "kill -INT $agent; kill -TERM $agent; wait $agent"),
        large, {"watch", "--json"});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: cannot write standard output: nobody reads it\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" events were dropped\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
