// Programs that use the HBA API and are run by qzsim.
#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

using testing::EndsWith;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace
{
constexpr char const* hbaProbe = HBA_PROBE;
constexpr int notExecutable = 126;
constexpr int notFound = 127;

/// @return the output of a program that loads and frees the library twice, when the load with this number fails
std::string outputOfTwoLoads(int aFailing)
{
    ScratchFolder const folder;
    std::string const scenario = folder.write(
        "failing-load.toml", "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = " + std::to_string(aFailing) +
                                 "\nstatus = \"HBA_STATUS_ERROR\"\n");
    return runQzsim({"--scenario", scenario, hbaProbe, "load", "free", "load", "free"}).mOutput;
}

TEST(Qzsim, UnmodifiedProgramQueriesALun)
{
    ScratchFolder const folder;
    std::string const scenario =
        folder.write("scenario.toml",
                     "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                     "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = 1\n"
                     "block_size = 4096\n");
    EXPECT_EQ(
        runQzsim({"--scenario", scenario, hbaProbe, "load", "count", "open=a", "lun=50:00:00:00:00:00:00:01"})
            .mOutput,
        "load: 0\ncount: 1\nopen a: 1\ninquiry: 0 \"EXAMPLE SIMULATED DISK  1.0 \"\n"
        "capacity: 0 with blocks of 4096\n");
}

TEST(Qzsim, UnmodifiedProgramFindsTheAdapters)
{
    ProcessResult const result = runQzsimOnTwoAdapters(
        {hbaProbe, "load", "count", "name=0", "name=1", "open=example-fc-1", "refresh", "close", "free"});
    EXPECT_EQ(result.mOutput,
              "load: 0\ncount: 2\nname 0: 0 \"example-fc-0\"\nname 1: 0 \"example-fc-1\"\n"
              "open example-fc-1: 1\nfree: 0\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(Qzsim, FirstLoadMayFailAndTheNextSucceed)
{
    EXPECT_EQ(outputOfTwoLoads(1), "load: 1\nfree: 0\nload: 0\nfree: 0\n");
}

TEST(Qzsim, CountsCallsAcrossAllLoadsOfTheProgram)
{
    EXPECT_EQ(outputOfTwoLoads(2), "load: 0\nfree: 0\nload: 1\nfree: 0\n");
}

TEST(Qzsim, CallWithoutEntryPointIsNotSupported)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "load", "count", "open=example-fc-0", "statistics=0", "free"})
                  .mOutput,
              "load: 0\ncount: 2\nopen example-fc-0: 1\nstatistics 0: 2 rx 0\nfree: 0\n");
}

TEST(Qzsim, AcceptsBlanksInTheScenarioPath)
{
    ScratchFolder const folder;
    std::string const scenario =
        folder.write("my scenarios/one adapter.toml", "[[adapter]]\nname = \"a b\"\n");
    EXPECT_EQ(runQzsim({"--scenario", scenario, hbaProbe, "load", "count", "name=0", "free"}).mOutput,
              "load: 0\ncount: 1\nname 0: 0 \"a b\"\nfree: 0\n");
}

TEST(Qzsim, ProgramReadsTheRealConfigurationFile)
{
    Arguments const command = {hbaProbe, "file=/etc/hba.conf", "file64=/etc/hba.conf",
                               "fileFromLibrary=/etc/hba.conf"};
    ProcessResult const expected = runProcess(command);
    EXPECT_EQ(expected.mExitStatus, 0) << expected.mErrors;
    EXPECT_EQ(runQzsimOnTwoAdapters(command).mOutput, expected.mOutput);
}

TEST(Qzsim, DoesNotAffectOtherFiles)
{
    ScratchFolder const folder;
    std::string const file = folder.write("hba.conf", "a file of its own\n");
    EXPECT_EQ(
        runQzsimOnTwoAdapters({hbaProbe, "file=" + file, "file64=" + file, "file=" + file + ".none"}).mOutput,
        "file: a file of its own\nfile: a file of its own\nfile: absent\n");
}

TEST(Qzsim, OpeningAFileKeepsAPendingErrorOfTheDynamicLinker)
{
    ScratchFolder const folder;
    for (std::string const& path : {folder.write("file", "text\n"), std::string("/etc/hba.conf")})
    {
        EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "pendingError=" + path}).mOutput,
                  "pending: undefined symbol: no_such_function\n");
    }
}

TEST(Qzsim, ProgramMayHaveFunctionsWithNamesOfTheVendorLibrary)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "ownFunction"}).mOutput, "own function: 42\n");
}

TEST(Qzsim, LibraryOfTheProgramFindsItsNeighboursByName)
{
    // The dynamic linker searches the folders of the library that calls dlopen.
    if (runProcess({hbaProbe, "neighbour"}).mOutput == "neighbour: absent\n")
    {
        GTEST_SKIP() << "the address sanitizer replaces dlopen, and hides the caller";
    }
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "neighbour"}).mOutput, "neighbour: there\n");
}

TEST(Qzsim, HbaLibraryMayBeCalledFromAnExitFunction)
{
    ProcessResult const result = runQzsimOnTwoAdapters({hbaProbe, "lastly", "load"});
    EXPECT_EQ(result.mOutput, "load: 0\nlastly: 2 adapters\nname 0: 0 \"example-fc-0\"\n");
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
}

TEST(Qzsim, PreloadedLibraryWithoutAScenarioChangesNothing)
{
    Arguments const command = {hbaProbe, "load", "free"};
    ProcessResult const result = runProcess(command, {{"LD_PRELOAD", QZSIM_LIBRARY}});
    EXPECT_EQ(result.mOutput, runProcess(command).mOutput);
}

TEST(Qzsim, ReturnsTheExitStatusOfTheProgram)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "exit=3"}).mExitStatus, 3);
}

TEST(Qzsim, EndsWithTheSignalThatEndedTheProgram)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "raise=" + std::to_string(SIGTERM)}).mExitStatus,
              128 + SIGTERM);
}

TEST(Qzsim, ProgramReadsStandardInput)
{
    ProcessResult const result =
        runProcess({QZSIM, "--scenario", shipped("two-adapters.toml"), "cat"}, {}, "standard input\n");
    EXPECT_EQ(result.mOutput, "standard input\n");
}

TEST(Qzsim, PassesOptionsAfterTheProgramToTheProgram)
{
    Arguments const options = {"--scenario", "x", "--check", "--help", "--", "-v", "--library=y"};
    Arguments command = {"printf", "<%s>"};
    command.insert(command.end(), options.begin(), options.end());
    EXPECT_EQ(runQzsimOnTwoAdapters(command).mOutput,
              "<--scenario><x><--check><--help><--><-v><--library=y>");
}

TEST(Qzsim, AcceptsTwoDashesBeforeTheProgram)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({"--", "printf", "%s", "--"}).mOutput, "--");
}

TEST(Qzsim, PrependsItsLibraryToExistingPreloads)
{
    std::string const other = "libm.so.6";
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "variable=LD_PRELOAD"}, {{"LD_PRELOAD", other}}).mOutput,
              std::string("LD_PRELOAD=" QZSIM_LIBRARY ":") + other + '\n');
}

TEST(Qzsim, PreloadsOnlyItsLibraryWhenThereIsNoOther)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({hbaProbe, "variable=LD_PRELOAD"}, {{"LD_PRELOAD", ""}}).mOutput,
              "LD_PRELOAD=" QZSIM_LIBRARY "\n");
}

TEST(Qzsim, LetsTheAddressSanitizerStartBehindAPreloadedLibrary)
{
    EXPECT_EQ(
        runQzsimOnTwoAdapters({hbaProbe, "variable=ASAN_OPTIONS"}, {{"ASAN_OPTIONS", "abort_on_error=1"}})
            .mOutput,
        "ASAN_OPTIONS=verify_asan_link_order=0:abort_on_error=1\n");
}

TEST(Qzsim, PassesTheAbsolutePathOfTheScenario)
{
    std::string const relative = fs::relative(shipped("two-adapters.toml"));
    ProcessResult const result = runQzsim({"--scenario", relative, hbaProbe, "variable=QZSIM_SCENARIO"});
    EXPECT_THAT(result.mOutput, StartsWith("QZSIM_SCENARIO=/"));
    EXPECT_THAT(result.mOutput, EndsWith("/two-adapters.toml\n"));
}

TEST(Qzsim, UsesTheLibraryNamedByTheUser)
{
    ScratchFolder const folder;
    fs::path const library = copyOfLibraries(folder.path());
    EXPECT_EQ(runQzsimOnTwoAdapters({"--library", library, hbaProbe, "load", "variable=LD_PRELOAD", "free"})
                  .mOutput,
              "load: 0\nLD_PRELOAD=" + library.string() + "\nfree: 0\n");
}

TEST(Qzsim, ReportsAProgramThatDoesNotExist)
{
    ProcessResult const result = runQzsimOnTwoAdapters({"no-such-program"});
    EXPECT_EQ(result.mExitStatus, notFound);
    EXPECT_EQ(result.mErrors, "qzsim: cannot run \"no-such-program\": No such file or directory\n");
}

TEST(Qzsim, ReportsAProgramThatCannotBeExecuted)
{
    ProcessResult const result = runQzsimOnTwoAdapters({shipped("two-adapters.toml")});
    EXPECT_EQ(result.mExitStatus, notExecutable);
    EXPECT_EQ(result.mErrors,
              "qzsim: cannot run \"" + shipped("two-adapters.toml") + "\": Permission denied\n");
}

TEST(Qzsim, ProgramThatReplacesFopenSeesTheAdapters)
{
    EXPECT_EQ(runQzsimOnTwoAdapters({HBA_PROBE_WITH_FOPEN, "load", "count"}).mOutput, "load: 0\ncount: 2\n");
}
}  // namespace
