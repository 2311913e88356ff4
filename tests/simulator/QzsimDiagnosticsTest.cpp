// Programs that open the diagnostic library and are run by qzsim.
#include <filesystem>
#include <regex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"
#include "tests/simulator/Scenarios.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace fs = std::filesystem;

namespace
{
constexpr char const* vqmProbe = VQM_PROBE;
constexpr char const* openLibrary = "open=/usr/lib/libvqm.so";
std::string const opened = "open /usr/lib/libvqm.so: there\n";

ProcessResult qzsimOnEvents(Arguments aArguments)
{
    aArguments.insert(aArguments.begin(), {"--scenario", shipped("diagnostic-events.toml")});
    return runQzsim(aArguments);
}

/// Runs the probe on a board with more events than it waits for.
/// @return its output, with "(events)" in place of the events, whose number varies
std::string onBusyBoard(Arguments aSteps, int aExitStatus = 0)
{
    ScratchFolder const folder;
    std::string const scenario =
        folder.write("busy.toml", std::string(oneBoard) +
                                      "[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\n"
                                      "rate = 100000\ncount = 4294967295\n");
    aSteps.insert(aSteps.begin(), {"--scenario", scenario, vqmProbe, openLibrary});
    // Leak detection reports memory of threads that do not exist in a forked process, and hangs when a thread other
    // than the main thread ends the process.
    ProcessResult const result =
        runQzsim(aSteps, {{"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"}});
    EXPECT_EQ(result.mExitStatus, aExitStatus) << result.mErrors;
    return std::regex_replace(result.mOutput, std::regex("[0-9]+ of plain [^\n]*"), "(events)");
}

TEST(QzsimDiagnostics, ProgramWithoutTheRuntimeOfCppMayCallTheLibraryWithoutMemory)
{
    if (CAN_USE_ALL_MEMORY == 0)
    {
        GTEST_SKIP() << "sanitizers and the emulator need memory themselves";
    }
    ScratchFolder const folder;
    // Without events, no other thread releases memory.
    ProcessResult const result = runQzsim({"--scenario", folder.write("board.toml", oneBoard), PLAIN_PROBE});
    EXPECT_EQ(result.mErrors, "libqzsim: std::bad_alloc\n");
    EXPECT_EQ(result.mOutput, "init: 1\nlink: 1\nfree\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzsimDiagnostics, UnmodifiedProgramFindsTheBoards)
{
    ProcessResult const result =
        qzsimOnEvents({vqmProbe, openLibrary, "version", "init", "driver=1", "link=1", "quazor=1", "free"});
    EXPECT_EQ(result.mOutput,
              "open /usr/lib/libvqm.so: there\nversion: 2.1.0\ninit: 2, driver \"4.0.12\"\n"
              "driver 1: 0 version 4 features 0x100\n"
              "link 1: 0 first 20:00:00:00:c9:00:00:10 second 10:00:00:00:c9:00:00:11\n"
              "quazor 1: 0 id 1\nfree\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzsimDiagnostics, ScenarioWithoutDiagnosticsHasNoBoards)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({vqmProbe, openLibrary, "init", "free"}).mOutput,
              "open /usr/lib/libvqm.so: there\ninit: 0, driver \"\"\nfree\n");
}

TEST(QzsimDiagnostics, DoesNotAffectOtherLibraryPaths)
{
    for (std::string const path :
         {"/usr/lib/libvqm.so.1", "/lib/libvqm.so", "libvqm.so", "/nowhere/libvqm.so"})
    {
        EXPECT_EQ(qzsimOnEvents({vqmProbe, "open=" + path}).mOutput,
                  runProcess({vqmProbe, "open=" + path}).mOutput);
    }
}

TEST(QzsimDiagnostics, ClosingTheLibraryUnloadsIt)
{
    EXPECT_EQ(qzsimOnEvents({vqmProbe, openLibrary, "init", "close", openLibrary, "link=0", "init", "close"})
                  .mOutput,
              opened + "init: 2, driver \"4.0.12\"\nclose: gone\n" + opened +
                  "link 0: 1 first 00:00:00:00:00:00:00:00 second 00:00:00:00:00:00:00:00\n"
                  "init: 2, driver \"4.0.12\"\nclose: gone\n");
}

TEST(QzsimDiagnostics, ClosingTheLibraryEndsTheEvents)
{
    // A callback after dlclose would crash: its thread would run unmapped code.
    EXPECT_EQ(onBusyBoard({"init", "plain=0", "events=100", "close", openLibrary, "init", "close"}),
              opened + "init: 1, driver \"1.0.0\"\nplain 0: 0\n(events)\nclose: gone\n" + opened +
                  "init: 1, driver \"1.0.0\"\nclose: gone\n");
}

TEST(QzsimDiagnostics, CallAfterTheLastCloseCrashes)
{
    ProcessResult const result = qzsimOnEvents({vqmProbe, openLibrary, "init", "stale"});
    EXPECT_NE(result.mExitStatus, 0);
    EXPECT_THAT(result.mOutput, Not(HasSubstr("stale")));
}

TEST(QzsimDiagnostics, KeptLibraryReportsACallAfterTheLastClose)
{
    ProcessResult const result = runQzsim({"--keep-loaded", "--scenario", shipped("diagnostic-events.toml"),
                                           vqmProbe, openLibrary, "init", "stale"});
    EXPECT_EQ(result.mOutput, opened + "init: 2, driver \"4.0.12\"\nstale: link 1\nstale: init 0\n");
    EXPECT_EQ(result.mErrors,
              "libqzsim: VQM_GetLinkInfo was called after the last dlclose of the library\n"
              "libqzsim: VQM_InitDiagEnv was called after the last dlclose of the library\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzsimDiagnostics, KeptLibraryStartsFromNothingWhenOpenedAgain)
{
    EXPECT_EQ(runQzsim({"--keep-loaded", "--scenario", shipped("diagnostic-events.toml"), vqmProbe,
                        openLibrary, "init", "plain=0", "close", openLibrary, "link=0", "init", "close"})
                  .mOutput,
              opened + "init: 2, driver \"4.0.12\"\nplain 0: 0\nclose: loaded\n" + opened +
                  "link 0: 1 first 00:00:00:00:00:00:00:00 second 00:00:00:00:00:00:00:00\n"
                  "init: 2, driver \"4.0.12\"\nclose: loaded\n");
}

TEST(QzsimDiagnostics, EndOfTheProcessDoesNotWaitForCallbacks)
{
    for (std::string const keeping : {"--keep-loaded", "--"})
    {
        ProcessResult const result =
            runQzsim({"--scenario", shipped("diagnostic-events.toml"), keeping, "timeout", "20", vqmProbe,
                      openLibrary, "init", "stickInCallbacks", "plain=0", "awaitCallback"});
        EXPECT_THAT(result.mOutput, EndsWith("in callback\n"));
        EXPECT_EQ(result.mExitStatus, 0) << keeping;
    }
}

/// @return the output of steps under a scenario with these lines in the table [diagnostics]
std::string withDiagnostics(std::string const& aLines, Arguments aSteps)
{
    ScratchFolder const folder;
    aSteps.insert(
        aSteps.begin(),
        {"--scenario", folder.write("scenario.toml", "[diagnostics]\n" + aLines + oneBoard), vqmProbe});
    return runQzsim(aSteps).mOutput;
}

TEST(QzsimDiagnostics, LibraryMayBeAbsent)
{
    EXPECT_THAT(withDiagnostics("library = \"absent\"\n", {"openBad=/usr/lib/libvqm.so"}),
                AllOf(HasSubstr("libvqm.so: "),
                      EndsWith("cannot open shared object file: No such file or directory\n")));
}

TEST(QzsimDiagnostics, LibraryMayBeBroken)
{
    EXPECT_THAT(withDiagnostics("library = \"broken\"\n", {"openBad=/usr/lib/libvqm.so"}),
                EndsWith(": file too short\n"));
}

TEST(QzsimDiagnostics, EachFunctionMayBeMissing)
{
    std::string const functions[] = {
        "VQM_GetLibVer",      "VQM_InitDiagEnv",         "VQM_FreeDiagEnv",
        "VQM_GetDrvInfo",     "VQM_GetLinkInfo",         "RegisterForEvent",
        "unRegisterForEvent", "VQM_QZ_RegisterForEvent", "VQM_QZ_unRegisterForEvent"};
    for (std::string const& missing : functions)
    {
        Arguments steps = {openLibrary};
        std::string expected = opened;
        for (std::string const& function : functions)
        {
            steps.push_back("find=" + function);
            expected +=
                function + ": " + (function == missing ? "undefined symbol: " + missing : "there") + '\n';
        }
        EXPECT_EQ(withDiagnostics("missing_functions = [\"" + missing + "\"]\n", steps), expected);
    }
}

TEST(QzsimDiagnostics, SeveralFunctionsMayBeMissing)
{
    EXPECT_EQ(withDiagnostics("missing_functions = [\"VQM_GetLibVer\", \"RegisterForEvent\"]\n",
                              {openLibrary, "find=VQM_GetLibVer", "find=RegisterForEvent", "init"}),
              opened +
                  "VQM_GetLibVer: undefined symbol: VQM_GetLibVer\n"
                  "RegisterForEvent: undefined symbol: RegisterForEvent\n"
                  "init: 1, driver \"1.0.0\"\n");
}

TEST(QzsimDiagnostics, VerifyCountsStrikesOfDiagnosticFaults)
{
    ScratchFolder const folder;
    std::string const scenario =
        folder.write("scenario.toml", "[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = \"1-2\"\nresult = 5\n");
    EXPECT_EQ(runQzsim({"--verify", "--scenario", scenario, vqmProbe, openLibrary, "init", "init"}).mErrors,
              "");
    EXPECT_THAT(runQzsim({"--verify", "--scenario", scenario, vqmProbe, openLibrary, "init"}).mErrors,
                HasSubstr(":1:1: the fault struck 1 of 2 times: calls 1 to 2 of VQM_InitDiagEnv return 5\n"));
}

TEST(QzsimDiagnostics, LibraryMayBeCalledFromAnExitHandler)
{
    ProcessResult const result =
        qzsimOnEvents({vqmProbe, openLibrary, "lastly", "init", "plain=0", "events=10"});
    EXPECT_THAT(result.mOutput, EndsWith("lastly: link 0, free\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzsimDiagnostics, ForkedProcessDoesNotWaitForThreadsOfItsParent)
{
    for (int times = 0; times < 10; ++times)
    {
        EXPECT_EQ(
            onBusyBoard({"init", "plain=0", "events=100", "fork", "link=0", "free"}),
            opened +
                "init: 1, driver \"1.0.0\"\nplain 0: 0\n(events)\n"
                "link 0: 1 first 00:00:00:00:00:00:00:00 second 00:00:00:00:00:00:00:00\nfree\nforked: 0\n");
    }
}

TEST(QzsimDiagnostics, ForkedProcessMayOpenItsOwnEnvironment)
{
    EXPECT_EQ(onBusyBoard({"init", "plain=0", "events=100", "fork", "init", "plain=0", "events=100", "free"}),
              opened +
                  "init: 1, driver \"1.0.0\"\nplain 0: 0\n(events)\n"
                  "init: 1, driver \"1.0.0\"\nplain 0: 0\n(events)\nfree\nforked: 0\n");
}

TEST(QzsimDiagnostics, ProcessMayExitInACallback)
{
    onBusyBoard({"exitInCallbacks=7", "init", "plain=0", "waitForEver"}, 7);
}

TEST(QzsimDiagnostics, InstalledLibraryNeedsOnlyTheScenarioVariable)
{
    ScratchFolder const folder;
    fs::path const library = folder.path() / "libvqm.so";
    fs::copy_file(QZSIM_VQM_LIBRARY, library);
    EXPECT_EQ(runProcess({vqmProbe, "open=" + library.string(), "init", "plain=1", "events=1", "free"},
                         {{"QZSIM_SCENARIO", shipped("diagnostic-events.toml")}})
                  .mOutput,
              "open " + library.string() +
                  ": there\ninit: 2, driver \"4.0.12\"\nplain 1: 0\n"
                  "1 of plain board 1 category 5/0 context length 0\nfree\n");
}
}  // namespace
