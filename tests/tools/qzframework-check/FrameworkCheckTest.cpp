// qzframework-check as a user runs it: on the stand-in, on faulty functions and on faulty headers.
#include <algorithm>
#include <filesystem>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

namespace fs = std::filesystem;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace
{
using Texts = std::vector<std::string>;

ProcessResult check(Texts aArguments, std::map<std::string, std::string> const& aEnvironment = {})
{
    aArguments.insert(aArguments.begin(), FRAMEWORK_CHECK);
    return runProcess(aArguments, aEnvironment);
}

nlohmann::json documentOf(ProcessResult const& aResult)
{
    return nlohmann::json::parse(aResult.mOutput, nullptr, false);
}

/// @return the names of the requirements with this result
Texts namesOf(nlohmann::json const& aDocument, std::string const& aResult)
{
    Texts names;
    for (nlohmann::json const& requirement : aDocument["requirements"])
    {
        if (requirement["result"] == aResult)
        {
            names.push_back(requirement["name"]);
        }
    }
    return names;
}

TEST(FrameworkCheck, ReportsThatTheStandInMeetsAllRequirements)
{
    ProcessResult const result = check({});
    EXPECT_THAT(result.mOutput, EndsWith("\n41 ok, 0 FAILED, 0 unseen\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(FrameworkCheck, ReportsThePathOfTheCheckedLibrary)
{
    ScratchFolder const folder;
    fs::path const library = folder.path() / "libQZCommonFramework.so.1";
    fs::copy_file(FRAMEWORK_LIBRARY, library);
    ProcessResult const result = check({}, {{"LD_LIBRARY_PATH", folder.path()}});
    EXPECT_THAT(result.mOutput, StartsWith("framework: " + library.string() + "\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(FrameworkCheck, ReportsAllRequirementsInJson)
{
    ProcessResult const result = check({"--json"});
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["tool"], "qzframework-check");
    EXPECT_EQ(document["exit_status"], 0);
    EXPECT_EQ(namesOf(document, "ok").size(), 41u) << result.mOutput;
}

TEST(FrameworkCheck, ListsTheRequirements)
{
    std::string const list = check({"--list"}).mOutput;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 41);
    EXPECT_THAT(list, StartsWith("Buffer.room "));
}

TEST(FrameworkCheck, ChecksOnlyTheNamedRequirements)
{
    nlohmann::json const document = documentOf(check({"--json", "Assertion.ends", "ReferenceCount"}));
    EXPECT_THAT(namesOf(document, "ok"),
                ElementsAreArray({"Assertion.ends", "ReferenceCount.initial", "ReferenceCount.increment",
                                  "ReferenceCount.threads", "ReferenceCount.last"}));
}

TEST(FrameworkCheck, RejectsAnUnknownRequirement)
{
    ProcessResult const result = check({"Clib.ClibStrlen"});
    EXPECT_EQ(result.mErrors,
              "qzframework-check: REQUIREMENT: unknown name \"Clib.ClibStrlen\"; --list shows the names; see "
              "qzframework-check --help\n");
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST(FrameworkCheck, RejectsAnUnknownOption)
{
    ProcessResult const result = check({"--all"});
    EXPECT_THAT(result.mErrors, HasSubstr("--all"));
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST(FrameworkCheck, HelpShowsHowToCheckAReplacement)
{
    ProcessResult const result = check({"--help"});
    EXPECT_THAT(result.mOutput, HasSubstr("LD_LIBRARY_PATH=/opt/product/lib qzframework-check\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(FrameworkCheck, FailsWhenStandardOutputCannotBeWritten)
{
    ProcessResult const result =
        runProcess({"sh", "-c", "exec \"$0\" >/dev/full", FRAMEWORK_CHECK}, {{"LC_ALL", "C"}});
    EXPECT_EQ(result.mErrors, "qzframework-check: cannot write standard output: No space left on device\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

/// A faulty function, and the requirements that fail because of it.
struct Wrong
{
    char const* mName;
    std::string mLibrary;
    Texts mFailed;
    std::string mReason;  ///< reason of the first failure
};

std::ostream& operator<<(std::ostream& aOut, Wrong const& aWrong) { return aOut << aWrong.mName; }

class FrameworkCheckFaultyFunction : public testing::TestWithParam<Wrong>
{
};

TEST_P(FrameworkCheckFaultyFunction, FailsExactlyTheBrokenRequirements)
{
    Wrong const& wrong = GetParam();
    ProcessResult const result = check({"--json"}, {{"LD_PRELOAD", wrong.mLibrary}});
    EXPECT_THAT(namesOf(documentOf(result), "FAILED"), ElementsAreArray(wrong.mFailed)) << result.mOutput;
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_P(FrameworkCheckFaultyFunction, PrintsTheReasonInTheLine)
{
    Wrong const& wrong = GetParam();
    ProcessResult const result = check({wrong.mFailed.front()}, {{"LD_PRELOAD", wrong.mLibrary}});
    EXPECT_THAT(result.mOutput, HasSubstr("\nFAILED  " + wrong.mFailed.front()));
    EXPECT_THAT(result.mOutput, HasSubstr(": " + wrong.mReason + "\n0 ok, 1 FAILED, 0 unseen\n"));
}

Wrong const wrongFunctions[] = {
    {"ByteOrder", BYTE_ORDER_IS_LOST, {"Clib.ClibNtohl"}, "expected 0x12345678, found 0x0"},
    {"Sleep", SLEEP_IS_SHORT, {"Clib.ClibSleepMS"}, "expected at least 50 ms, found 0"},
    {"Exit", SETTING_EXITS, {"Clib.ClibMemset"}, "the process ended with exit status 0"},
    {"Length", LENGTH_STAYS, {"Buffer.setLength"}, "expected 2 bytes, found 3"},
    {"Extraction",
     EXTRACTION_ACCEPTS_ALL,
     {"EncodableStream.unsigned-char", "EncodableStream.unsigned-int", "EncodableStream.sequence",
      "EncodableStream.refusal"},
     "inserted 24, extracted 0"},
    {"ThrowingLogger",
     LOGGER_THROWS,
     {"Logger.call", "Logger.format", "Logger.hostile-values", "Logger.threads", "Assertion.ends",
      "Assertion.line"},
     "unexpected exception: no room for a line"},
    {"CrashingLogger",
     LOGGER_CRASHES,
     {"Logger.call", "Logger.format", "Logger.hostile-values", "Logger.threads", "Assertion.ends"},
     "the process was terminated by signal 9 (Killed)"},
};

INSTANTIATE_TEST_SUITE_P(Each, FrameworkCheckFaultyFunction, testing::ValuesIn(wrongFunctions),
                         [](auto const& aInfo) { return std::string(aInfo.param.mName); });

TEST(FrameworkCheck, SaysWhereToLookWhenTheLoggerDoesNotWriteToStandardError)
{
    ProcessResult const result = check({"--json"}, {{"LD_PRELOAD", LOGGER_IS_SILENT}});
    nlohmann::json const document = documentOf(result);
    EXPECT_THAT(namesOf(document, "unseen"), ElementsAreArray({"Logger.format", "Assertion.line"}));
    EXPECT_THAT(namesOf(document, "FAILED"), IsEmpty());
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(FrameworkCheckFaultyHeaders, ReportsAWrongVirtualOrderAndACountThatIsNotAtomic)
{
    // The other checks of buffers would call functions through the faulty virtual table.
    ProcessResult const result =
        runProcess({WRONG_HEADERS_CHECK, "Buffer.virtual-order", "ReferenceCount", "Clib"});
    EXPECT_THAT(result.mOutput, HasSubstr("\nFAILED  Buffer.virtual-order "));
    EXPECT_THAT(result.mOutput,
                HasSubstr(": expected byte at position 2 of the virtual table, found it at 3\n"));
    EXPECT_THAT(result.mOutput, HasSubstr("\nFAILED  ReferenceCount.last "));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("\nFAILED  Clib")));
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
