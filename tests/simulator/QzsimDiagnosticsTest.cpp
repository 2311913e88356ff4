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

using testing::EndsWith;
using testing::HasSubstr;

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
    EXPECT_THAT(result.mOutput, EndsWith("lastly: link 1, free\n"));
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
    fs::copy_file(QZSIM_LIBRARY, library);
    EXPECT_EQ(runProcess({vqmProbe, "open=" + library.string(), "init", "plain=1", "events=1", "free"},
                         {{"QZSIM_SCENARIO", shipped("diagnostic-events.toml")}})
                  .mOutput,
              "open " + library.string() +
                  ": there\ninit: 2, driver \"4.0.12\"\nplain 1: 0\n"
                  "1 of plain board 1 category 5/0 context length 0\nfree\n");
}
}  // namespace
