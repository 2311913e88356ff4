// Messages of qzsim about its arguments, the scenario, and the library that it preloads.
#include <cstddef>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace fs = std::filesystem;

namespace
{
TEST(QzsimCommandLine, ChecksTheScenarioBeforeItRunsTheProgram)
{
    ScratchFolder const folder;
    std::string const scenario = folder.write("bad.toml", "[[adapter]]\nname = 7\n");
    expectMisuse(runQzsim({"--scenario", scenario, "echo", "it ran"}),
                 scenario + ":2:8: expected a name of 1 to 255 bytes without control characters, found 7");
}

TEST(QzsimCommandLine, CheckPrintsTheContentsOfTheScenario)
{
    ProcessResult const result = runQzsim({"--check", "--scenario", shipped("failing-name.toml")});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_EQ(result.mOutput,
              "2 adapters, 1 fault\nadapter: \"example-fc-0\" with 0 ports, 0 remote ports, 0 LUNs\n"
              "adapter: \"example-fc-1\" with 0 ports, 0 remote ports, 0 LUNs\n"
              "fault: call 1 of HBA_GetAdapterName for \"example-fc-1\" returns HBA_STATUS_ERROR_BUSY\n");
}

TEST(QzsimCommandLine, CheckReportsAnUnreadableScenario)
{
    expectMisuse(runQzsim({"--check", "--scenario", "/nowhere/none.toml"}),
                 "/nowhere/none.toml: cannot be read: No such file or directory");
}

TEST(QzsimCommandLine, ProgramUsesAScenarioThatIsAPipe)
{
    ProcessResult const result = runProcess(
        {QZSIM, "--scenario", "/dev/stdin", HBA_PROBE, "load", "count", "free", "load", "count", "free"}, {},
        "[[adapter]]\nname = \"example-fc-0\"\n");
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\nfree: 0\nload: 0\ncount: 1\nfree: 0\n");
    EXPECT_EQ(result.mErrors, "");
}

TEST(QzsimCommandLine, ProgramThatClosesItsDescriptorsKeepsAScenarioThatIsAPipe)
{
    ProcessResult const result =
        runProcess({QZSIM, "--scenario", "/dev/stdin", HBA_PROBE, "closefiles", "load", "count"}, {},
                   "[[adapter]]\nname = \"example-fc-0\"\n");
    EXPECT_EQ(result.mOutput, "load: 0\ncount: 1\n");
    EXPECT_EQ(result.mErrors, "");
}

TEST(QzsimCommandLine, RefusesAScenarioWithoutEnd)
{
    expectMisuse(runQzsim({"--check", "--scenario", "/dev/zero"}),
                 "/dev/zero: cannot be read: it has more than 16777216 bytes");
}

TEST(QzsimCommandLine, ReportsThatItsOutputCannotBeWritten)
{
    for (std::string const& arguments : {"--check --scenario '" + shipped("failing-name.toml") + '\'',
                                         std::string("--help"), std::string("--version")})
    {
        ProcessResult const result = runProcess({"sh", "-c", "exec " QZSIM " " + arguments + " >/dev/full"});
        EXPECT_EQ(result.mErrors, "qzsim: cannot write standard output: No space left on device\n")
            << arguments;
        EXPECT_EQ(result.mExitStatus, misused) << arguments;
    }
}

TEST(QzsimCommandLine, MessagesEscapeControlCharacters)
{
    expectMisuse(runQzsim({"--check", "--scenario", "/nowhere/\x1b[2J\n"}),
                 "/nowhere/\\u001B[2J\\u000A: cannot be read: No such file or directory");
    expectMisuse(runQzsim({"--check", "--scenario", "/nowhere/\xc2\x9b[2J\xc2\x80\xc2\x9f\xc2\xa0\xc2"}),
                 "/nowhere/\\u009B[2J\\u0080\\u009F\xc2\xa0\xc2: cannot be read: No such file or directory");
    expectMisuse(runQzsimOnTwoAdapters({"--\x1b"}),
                 "The following argument was not expected: --\\u001B; see qzsim --help");
    EXPECT_EQ(runQzsimOnTwoAdapters({"no\x1bprogram"}).mErrors,
              "qzsim: cannot run \"no\\u001Bprogram\": No such file or directory\n");
    EXPECT_THAT(runQzsimOnTwoAdapters({"--library", "/no\x1bwhere.so", "echo"}).mErrors,
                AllOf(StartsWith("qzsim: the library \"/no\\u001Bwhere.so\" cannot be preloaded: "),
                      Not(HasSubstr("\x1b"))));
    ScratchFolder const folder;
    EXPECT_THAT(runQzsim({"--check", "--scenario", folder.write("bad\x1b.toml", "x = 1\n")}).mErrors,
                HasSubstr("/bad\\u001B.toml:1:1: expected a key"));
}

TEST(QzsimCommandLine, CheckRefusesAProgram)
{
    expectMisuse(runQzsimOnTwoAdapters({"--check", "echo"}),
                 "--check: runs no program, but \"echo\" is given; see qzsim --help");
}

TEST(QzsimCommandLine, CheckRefusesVerify)
{
    expectMisuse(runQzsimOnTwoAdapters({"--check", "--verify"}),
                 "--verify: needs a program to run, and --check runs none; see qzsim --help");
}

TEST(QzsimCommandLine, RequiresAScenario)
{
    expectMisuse(runQzsim({"echo"}), "--scenario is required; see qzsim --help");
}

TEST(QzsimCommandLine, RequiresAProgram)
{
    expectMisuse(runQzsimOnTwoAdapters({}), "PROGRAM is required; see qzsim --help");
    expectMisuse(runQzsimOnTwoAdapters({"--"}), "PROGRAM is required; see qzsim --help");
}

TEST(QzsimCommandLine, RefusesAnUnknownOption)
{
    expectMisuse(runQzsimOnTwoAdapters({"--verbose", "echo"}),
                 "The following argument was not expected: --verbose; see qzsim --help");
}

TEST(QzsimCommandLine, RefusesAnEmptyPath)
{
    expectMisuse(runQzsim({"--scenario", "", "echo"}), "--scenario: a path is expected; see qzsim --help");
}

TEST(QzsimCommandLine, RefusesALibraryWhosePathCannotBePreloaded)
{
    ScratchFolder const folder;
    for (char const* const name : {"with blank.so", "with:colon.so", "with$dollar.so"})
    {
        fs::path const library = folder.path() / name;
        fs::copy_file(QZSIM_LIBRARY, library);
        expectMisuse(
            runQzsimOnTwoAdapters({"--library", library, "echo"}),
            "the library \"" + library.string() +
                "\" cannot be preloaded: its path must not contain white space, colons or dollar signs");
    }
}

TEST(QzsimCommandLine, RefusesALibraryWhosePathIsTooLong)
{
    ScratchFolder const folder;
    std::string const longName(255 - folder.path().native().size(), 'x');
    fs::create_directory(folder.path() / longName);
    ProcessResult const result =
        runQzsimOnTwoAdapters({"--library", copyOfLibraries(folder.path() / longName), "echo"});
    EXPECT_EQ(result.mExitStatus, misused);
    EXPECT_THAT(result.mErrors,
                EndsWith("cannot be preloaded: the path of libqzsim-hba.so in its folder must "
                         "not be longer than 255 bytes\n"));
}

TEST(QzsimCommandLine, RefusesALibraryWithoutItsCompanions)
{
    ScratchFolder const folder;
    fs::path const library = copyOfLibraries(folder.path());
    fs::remove(folder.path() / "libqzsim-vqm-kept.so");
    expectMisuse(runQzsimOnTwoAdapters({"--library", library, "echo"}),
                 "the library \"" + library.string() +
                     "\" cannot be preloaded: its folder has no libqzsim-vqm-kept.so");
}

TEST(QzsimCommandLine, RefusesALibraryThatDoesNotExist)
{
    ProcessResult const result = runQzsimOnTwoAdapters({"--library", "/nowhere/none.so", "echo"});
    EXPECT_EQ(result.mExitStatus, misused);
    EXPECT_THAT(result.mErrors, StartsWith("qzsim: the library \"/nowhere/none.so\" cannot be preloaded: "));
}

TEST(QzsimCommandLine, RefusesAForeignLibrary)
{
    expectMisuse(runQzsimOnTwoAdapters({"--library", FOREIGN_LIBRARY, "echo"}),
                 "the library \"" FOREIGN_LIBRARY "\" cannot be preloaded: it does not replace dlopen");
}

TEST(QzsimCommandLine, ReportsWhereItSearchedForTheLibrary)
{
    if (IS_EMULATED)
    {
        GTEST_SKIP()
            << "the launcher finds the program to emulate by its own path, so a copy of it does not work";
    }
    ScratchFolder const folder;
    fs::path const lonely = folder.path() / "bin" / "qzsim";
    fs::create_directories(lonely.parent_path());
    fs::copy_file(QZSIM, lonely);
    ProcessResult const result = runProcess({lonely, "--scenario", shipped("two-adapters.toml"), "echo"});
    EXPECT_EQ(result.mExitStatus, misused);
    EXPECT_THAT(result.mErrors,
                StartsWith("qzsim: cannot find libqzsim.so; specify its path with --library. Searched:\n  " +
                           lonely.parent_path().string() + "/libqzsim.so\n  " + folder.path().string() +
                           "/lib/libqzsim.so\n"));
}

TEST(QzsimCommandLine, HelpContainsAnExample)
{
    ProcessResult const result = runQzsim({"--help"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_EQ(result.mErrors, "");
    EXPECT_THAT(result.mOutput,
                HasSubstr("Usage: qzsim --scenario FILE [OPTIONS] [--] PROGRAM [ARGUMENTS...]"));
    EXPECT_THAT(result.mOutput, HasSubstr("$ qzsim --scenario two.toml qzagent adapters"));
}

TEST(QzsimCommandLine, ExampleInTheHelpIsAValidScenario)
{
    std::string const help = runQzsim({"--help"}).mOutput;
    std::size_t const start = help.find("[[adapter]]");
    std::string const example = help.substr(start, help.find("  $ qzsim --check") - start);
    ScratchFolder const folder;
    EXPECT_EQ(runQzsim({"--check", "--scenario", folder.write("two.toml", example)}).mOutput,
              "2 adapters, 1 fault\nadapter: \"example-fc-0\" with 1 port, 1 remote port, 8 LUNs\n"
              "adapter: \"example-fc-1\" with 0 ports, 0 remote ports, 0 LUNs\n"
              "fault: call 2 of HBA_OpenAdapter returns HBA_STATUS_ERROR_BUSY\n");
}

TEST(QzsimCommandLine, PrintsItsVersion)
{
    ProcessResult const result = runQzsim({"--version"});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_THAT(result.mOutput, ContainsRegex("^qzsim [0-9]+\\.[0-9]+\\.[0-9]+\n$"));
}
}  // namespace
