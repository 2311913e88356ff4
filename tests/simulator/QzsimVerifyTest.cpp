// Report and exit status of qzsim --verify.
#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

using testing::HasSubstr;

namespace
{
constexpr int faultsLeft = 3;

class QzsimVerify : public testing::Test
{
protected:
    /// Runs the probe on one adapter with a fault in HBA_OpenAdapter, at line 3 of the scenario.
    ProcessResult verify(std::string const& aNth, Arguments aSteps)
    {
        writeScenario(aNth);
        aSteps.insert(aSteps.begin(), {HBA_PROBE, "load", "count"});
        return verifyProgram(aSteps);
    }

    ProcessResult verifyProgram(Arguments aCommand)
    {
        aCommand.insert(aCommand.begin(), {"--verify", "--scenario", mScenario, "--"});
        return runQzsim(aCommand, {{"TMPDIR", mTemporary.path()}});
    }

    void writeScenario(std::string const& aNth)
    {
        mScenario = mFolder.write("scenario.toml",
                                  "[[adapter]]\nname = \"a\"\n[[fault]]\ncall = \"HBA_OpenAdapter\"\n"
                                  "status = \"HBA_STATUS_ERROR_BUSY\"\nnth = " +
                                      aNth + '\n');
    }

    std::string report(std::string const& aStrikes, std::string const& aCalls) const
    {
        return "qzsim: " + mScenario + ":3:1: the fault struck " + aStrikes + " times: " + aCalls +
               " of HBA_OpenAdapter return" + (aCalls == "call 1" ? "s" : "") + " HBA_STATUS_ERROR_BUSY\n";
    }

    /// Checks that qzsim leaves no files.
    void TearDown() override
    {
        EXPECT_TRUE(std::filesystem::is_empty(mTemporary.path())) << mTemporary.path();
    }

    ScratchFolder mFolder;
    ScratchFolder mTemporary;
    std::string mScenario;
};

TEST_F(QzsimVerify, ProgramMayDeleteTheScenario)
{
    if (IS_EMULATED)
    {
        GTEST_SKIP() << "the shell of this machine cannot load the simulator of the emulated one";
    }
    writeScenario("1");
    ProcessResult const result =
        verifyProgram({"sh", "-c", "rm \"$1\"; exec " HBA_PROBE " load count open=a", "sh", mScenario});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\nopen a: 0\n");
    EXPECT_FALSE(std::filesystem::exists(mScenario));
}

TEST_F(QzsimVerify, LibrariesShowThePathOfTheScenario)
{
    writeScenario("1");
    ProcessResult const result = verifyProgram({HBA_PROBE, "variable=QZSIM_SCENARIO_NAME", "load", "open=a"});
    EXPECT_THAT(result.mOutput, HasSubstr("QZSIM_SCENARIO_NAME=" + mScenario + "\n"));
}

TEST_F(QzsimVerify, AcceptsAFaultThatStruck)
{
    ProcessResult const result = verify("1", {"open=a", "open=a"});
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\nopen a: 0\nopen a: 1\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, ReportsAFaultThatNeverStruck)
{
    ProcessResult const result = verify("1", {});
    EXPECT_EQ(result.mErrors, report("0 of 1", "call 1"));
    EXPECT_EQ(result.mExitStatus, faultsLeft);
}

TEST_F(QzsimVerify, AcceptsARangeThatStruckCompletely)
{
    ProcessResult const result = verify("\"2-3\"", {"open=a", "open=a", "open=a"});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, ReportsARangeThatStruckPartly)
{
    ProcessResult const result = verify("\"2-3\"", {"open=a", "open=a"});
    EXPECT_EQ(result.mErrors, report("1 of 2", "calls 2 to 3"));
    EXPECT_EQ(result.mExitStatus, faultsLeft);
}

TEST_F(QzsimVerify, AcceptsAnEndlessFaultThatStruckOnce)
{
    ProcessResult const result = verify("\"2+\"", {"open=a", "open=a"});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, ReportsAnEndlessFaultThatNeverStruck)
{
    ProcessResult const result = verify("\"2+\"", {"open=a"});
    EXPECT_EQ(result.mErrors, report("0 of 1", "calls 2 and later"));
    EXPECT_EQ(result.mExitStatus, faultsLeft);
}

TEST_F(QzsimVerify, KeepsTheExitStatusOfAProgramThatFailed)
{
    ProcessResult const result = verify("1", {"exit=5"});
    EXPECT_EQ(result.mErrors, report("0 of 1", "call 1"));
    EXPECT_EQ(result.mExitStatus, 5);
}

TEST_F(QzsimVerify, EndsWithTheSignalThatEndedTheProgram)
{
    for (int const signal : {SIGTERM, SIGKILL})
    {
        ProcessResult const result = verify("1", {"open=a", "raise=" + std::to_string(signal)});
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mExitStatus, 128 + signal);
    }
}

TEST_F(QzsimVerify, AddsUpTheStrikesOfAllProcesses)
{
    if (IS_EMULATED)
    {
        GTEST_SKIP() << "the native shell cannot load the emulated library";
    }
    writeScenario("\"1-2\"");
    std::string const probe = std::string(HBA_PROBE) + " load count open=a";
    ProcessResult const result = verifyProgram({"sh", "-c", probe + "; " + probe});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, ForwardsSignalsToTheProgram)
{
    writeScenario("1");
    for (char const* const signal : {"HUP", "INT", "QUIT", "TERM", "USR1", "USR2"})
    {
        ProcessResult const result = verifyProgram(
            {"sh", "-c",
             std::string("trap 'echo caught; exit 5' ") + signal + "; (kill -" + signal +
                 " $PPID) & for step in 1 2 3 4 5 6 7 8 9 10; do sleep 0.3; done; echo missed"});
        EXPECT_EQ(result.mOutput, "caught\n") << signal;
        EXPECT_EQ(result.mExitStatus, 5) << signal;
    }
}

TEST_F(QzsimVerify, EndsWithTheSignalThatItForwards)
{
    writeScenario("1");
    ProcessResult const result = verifyProgram({"sh", "-c", "(kill -TERM $PPID) & exec sleep 3"});
    EXPECT_EQ(result.mExitStatus, 128 + SIGTERM);
}

TEST_F(QzsimVerify, DoesNotRepeatASignalThatTheProgramSendsToBoth)
{
    writeScenario("1");
    ProcessResult const result = verifyProgram(
        {"sh", "-c", "trap 'echo caught' TERM; kill -TERM $PPID $$; sleep 0.3; sleep 0.1; echo end"});
    EXPECT_THAT(result.mOutput, testing::EndsWith("caught\nend\n"));
    EXPECT_THAT(result.mOutput, testing::Not(HasSubstr("caught\ncaught\n")));
}

TEST_F(QzsimVerify, LeavesNoFilesWhenItIsKilled)
{
    writeScenario("1");
    EXPECT_EQ(verifyProgram({"sh", "-c", "kill -KILL $PPID"}).mExitStatus, 128 + SIGKILL);
}

TEST_F(QzsimVerify, BlocksTerminationSignalsWhileTheProgramRuns)
{
    writeScenario("1");
    ProcessResult const result = verifyProgram(
        {"sh", "-c",
         "trap 'echo caught' TERM; kill -TERM $PPID $$; " + std::string(HBA_PROBE) + " load count open=a"});
    EXPECT_THAT(result.mOutput, HasSubstr("caught\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("open a: 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, ReportsOnlyThatTheProgramDoesNotExist)
{
    if (IS_EMULATED)
    {
        GTEST_SKIP() << "on the emulator a child process shares no memory with its parent, so its failure to "
                        "start is lost";
    }
    writeScenario("1");
    ProcessResult const result = verifyProgram({"no-such-program"});
    EXPECT_EQ(result.mErrors, "qzsim: cannot run \"no-such-program\": No such file or directory\n");
    EXPECT_EQ(result.mExitStatus, 127);
}

TEST_F(QzsimVerify, AcceptsAScenarioWithoutFaults)
{
    mScenario = mFolder.write("scenario.toml", "[[adapter]]\nname = \"a\"\n");
    ProcessResult const result = verifyProgram({HBA_PROBE, "load", "count"});
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzsimVerify, NestedRunWithAnotherScenarioDoesNotChangeTheCounts)
{
    writeScenario("1");
    std::string const inner = mFolder.write("inner.toml", "[[adapter]]\nname = \"a\"\n");
    ProcessResult const result =
        verifyProgram({QZSIM, "--scenario", inner, HBA_PROBE, "load", "count", "open=a"});
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\nopen a: 1\n");
    EXPECT_EQ(result.mErrors, report("0 of 1", "call 1"));
    EXPECT_EQ(result.mExitStatus, faultsLeft);
}
}  // namespace
