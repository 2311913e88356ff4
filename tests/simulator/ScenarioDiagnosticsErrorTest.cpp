// Error messages for the diagnostic part of a scenario.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace
{
std::string const expectedFeatures =
    "expected a number from 0 to 0x7fffffffffffffff, or a string of up to 16 hexadecimal digits such as "
    "\"0x8000000000000100\", found ";
std::string const expectedPayload =
    "expected at most 1048576 bytes in hexadecimal such as \"01 02 ff\", found ";

/// @return the error for a [diagnostics] table with this line, which is line 2 of the file
std::string errorOfDiagnostics(std::string const& aLine) { return errorOf("[diagnostics]\n" + aLine + '\n'); }

/// @return the error for an event source with these lines, which start at line 8 of the file
std::string errorOfEvent(std::string const& aLines)
{
    return errorOf(oneBoard +
                   ("[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\n" + aLines + '\n'));
}

/// @return the error for a fault with these lines, which start at line 5 of the file
std::string errorOfDiagnosticFault(std::string const& aLines)
{
    return errorOf(oneBoard + ("[[fault]]\n" + aLines + '\n'));
}

TEST(ScenarioDiagnosticsError, RefusesAnArrayOfDiagnosticsTables)
{
    EXPECT_EQ(errorOf("[[diagnostics]]\n"), "bad.toml:1:1: expected a table [diagnostics], found an array");
}

TEST(ScenarioDiagnosticsError, RefusesAnUnknownKey)
{
    EXPECT_EQ(errorOfDiagnostics("version = 3"),
              "bad.toml:2:1: expected a key of [diagnostics] (library_version, driver_version, "
              "record_version, required_record_version, library, missing_functions, feature_list, board, "
              "number_of_boards, event), found \"version\"");
}

TEST(ScenarioDiagnosticsError, RefusesVersionsThatAreTooLong)
{
    EXPECT_EQ(errorOfDiagnostics("library_version = \"" + std::string(128, 'v') + '"'),
              "bad.toml:2:19: expected a string of at most 127 bytes without control characters, found \"" +
                  std::string(128, 'v') + '"');
    EXPECT_EQ(errorOfDiagnostics("driver_version = \"" + std::string(56, 'v') + '"'),
              "bad.toml:2:18: expected a string of at most 55 bytes without control characters, found \"" +
                  std::string(56, 'v') + '"');
}

TEST(ScenarioDiagnosticsError, RefusesARecordVersionAbove255)
{
    EXPECT_EQ(errorOfDiagnostics("record_version = 256"),
              "bad.toml:2:18: expected a number from 0 to 255, found 256");
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidRequiredRecordVersion)
{
    EXPECT_EQ(errorOfDiagnostics("required_record_version = 256"),
              "bad.toml:2:27: expected a number from 0 to 255, found 256");
}

TEST(ScenarioDiagnosticsError, RefusesAnUnknownStateOfTheLibrary)
{
    EXPECT_EQ(errorOfDiagnostics("library = \"gone\""),
              "bad.toml:2:11: expected one of present, absent, broken, found \"gone\"");
}

TEST(ScenarioDiagnosticsError, RefusesMissingFunctionsThatTheLibraryDoesNotHave)
{
    EXPECT_EQ(
        errorOfDiagnostics("missing_functions = \"VQM_GetLibVer\""),
        "bad.toml:2:21: expected a list of functions such as [\"VQM_GetLibVer\"], found \"VQM_GetLibVer\"");
    for (std::string const name : {"HBA_OpenAdapter", "QZSIM_IsSimulator"})
    {
        EXPECT_EQ(errorOfDiagnostics("missing_functions = [\"" + name + "\"]"),
                  "bad.toml:2:22: expected a function of the diagnostic library such as \"VQM_GetLibVer\", "
                  "found \"" +
                      name + '"');
    }
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidFeatureList)
{
    EXPECT_EQ(errorOfDiagnostics("feature_list = -1"), "bad.toml:2:16: " + expectedFeatures + "-1");
    for (std::string const text : {"0x10000000000000000", "0x", "100", "0xg", "0x1 ", "-0x1", "0x-1", ""})
    {
        EXPECT_EQ(errorOfDiagnostics("feature_list = \"" + text + '"'),
                  "bad.toml:2:16: " + expectedFeatures + '"' + text + '"');
    }
}

TEST(ScenarioDiagnosticsError, ReportsTheMissingNameOfABoard)
{
    EXPECT_EQ(errorOf("[[diagnostics.board]]\nsecond_wwn = \"10:00:00:00:00:00:00:01\"\n"),
              "bad.toml:1:1: expected the key \"first_wwn\" in this [[diagnostics.board]], found none");
    EXPECT_EQ(errorOf("[[diagnostics.board]]\nfirst_wwn = \"10:00:00:00:00:00:00:01\"\n"),
              "bad.toml:1:1: expected the key \"second_wwn\" in this [[diagnostics.board]], found none");
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidBoardName)
{
    EXPECT_THAT(errorOf("[[diagnostics.board]]\nfirst_wwn = 7\n"),
                StartsWith("bad.toml:2:13: expected a World Wide Name such as "));
}

TEST(ScenarioDiagnosticsError, RefusesAnUnknownKeyOfABoard)
{
    EXPECT_EQ(
        errorOf("[[diagnostics.board]]\nname = \"a\"\n"),
        "bad.toml:2:1: expected a key of [[diagnostics.board]] (first_wwn, second_wwn), found \"name\"");
}

TEST(ScenarioDiagnosticsError, RefusesTwoBoardsWithTheSameSecondName)
{
    EXPECT_EQ(errorOf(oneBoard + std::string(oneBoard)),
              "bad.toml:6:14: expected a second_wwn that no other board has, found "
              "\"10:00:00:00:00:00:00:01\"");
}

TEST(ScenarioDiagnosticsError, RefusesMoreThan32Boards)
{
    EXPECT_EQ(errorOf(boards(33)),
              "bad.toml:97:1: expected at most 32 tables [[diagnostics.board]], found more");
}

TEST(ScenarioDiagnosticsError, RefusesAnUnknownKeyOfAnEvent)
{
    EXPECT_EQ(
        errorOfEvent("length = 3"),
        "bad.toml:8:1: expected a key of [[diagnostics.event]] (board, port_wwn, category, subcategory, "
        "payload, size, at_ms, rate, count), found \"length\"");
}

TEST(ScenarioDiagnosticsError, ReportsTheMissingKeyOfAnEvent)
{
    std::string const event = "[[diagnostics.event]]\n";
    for (std::string const missing : {"board", "category", "subcategory"})
    {
        std::string text = oneBoard + event;
        for (std::string const key : {"board", "category", "subcategory"})
        {
            text += key == missing ? "" : key + " = 0\n";
        }
        EXPECT_EQ(errorOf(text), "bad.toml:4:1: expected the key \"" + missing +
                                     "\" in this [[diagnostics.event]], found none");
    }
}

TEST(ScenarioDiagnosticsError, RefusesAnEventOfAnUnknownBoard)
{
    EXPECT_EQ(
        errorOf(oneBoard + std::string("[[diagnostics.event]]\nboard = 1\ncategory = 3\nsubcategory = 7\n")),
        "bad.toml:5:9: expected the number of a board of this scenario, found 1");
}

TEST(ScenarioDiagnosticsError, RefusesTheWildcardCategory)
{
    std::string const event = oneBoard + std::string("[[diagnostics.event]]\nboard = 0\n");
    EXPECT_EQ(errorOf(event + "category = 255\nsubcategory = 7\n"),
              "bad.toml:6:12: expected a number from 0 to 254, found 255");
    EXPECT_EQ(errorOf(event + "category = 254\nsubcategory = 255\n"),
              "bad.toml:7:15: expected a number from 0 to 254, found 255");
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidPortName)
{
    EXPECT_THAT(errorOfEvent("port_wwn = \"x\""),
                StartsWith("bad.toml:8:12: expected a World Wide Name such as "));
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidPayload)
{
    for (std::string const text : {"1", "01 2", "0 12", "0x01", "01,02", "gg", "-1"})
    {
        EXPECT_EQ(errorOfEvent("payload = \"" + text + '"'),
                  "bad.toml:8:11: " + expectedPayload + '"' + text + '"');
    }
    EXPECT_EQ(errorOfEvent("payload = 1"), "bad.toml:8:11: " + expectedPayload + '1');
}

TEST(ScenarioDiagnosticsError, RefusesAPayloadThatIsTooLarge)
{
    EXPECT_THAT(errorOfEvent("payload = \"" + std::string(2097154, '0') + '"'),
                StartsWith("bad.toml:8:11: " + expectedPayload));
    EXPECT_EQ(errorOfEvent("size = 1048577"),
              "bad.toml:8:8: expected a number from 0 to 1048576, found 1048577");
}

TEST(ScenarioDiagnosticsError, RefusesASizeTogetherWithAPayload)
{
    EXPECT_EQ(errorOfEvent("payload = \"01\"\nsize = 1"),
              "bad.toml:9:8: expected no key \"size\" together with the key \"payload\", found 1");
}

TEST(ScenarioDiagnosticsError, RefusesTimingValuesOutOfRange)
{
    EXPECT_EQ(errorOfEvent("at_ms = -1"), "bad.toml:8:9: expected a number from 0 to 4294967295, found -1");
    EXPECT_EQ(errorOfEvent("rate = 0"), "bad.toml:8:8: expected a number from 1 to 100000, found 0");
    EXPECT_EQ(errorOfEvent("rate = 100001"),
              "bad.toml:8:8: expected a number from 1 to 100000, found 100001");
    EXPECT_EQ(errorOfEvent("count = 0"), "bad.toml:8:9: expected a number from 1 to 4294967295, found 0");
    EXPECT_EQ(errorOfEvent("count = 4294967296"),
              "bad.toml:8:9: expected a number from 1 to 4294967295, found 4294967296");
}

TEST(ScenarioDiagnosticsError, ReportsTheMissingResultOfAFault)
{
    EXPECT_EQ(errorOfDiagnosticFault("call = \"VQM_GetLinkInfo\"\nnth = 1"),
              "bad.toml:4:1: expected the key \"result\" in this [[fault]], found none");
}

TEST(ScenarioDiagnosticsError, RefusesAnInvalidResult)
{
    EXPECT_EQ(errorOfDiagnosticFault("call = \"VQM_GetLinkInfo\"\nnth = 1\nresult = \"QZ_OK\""),
              "bad.toml:7:10: expected a number from 0 to 4294967295, found \"QZ_OK\"");
    EXPECT_EQ(errorOfDiagnosticFault("call = \"VQM_GetLinkInfo\"\nnth = 1\nresult = 4294967296"),
              "bad.toml:7:10: expected a number from 0 to 4294967295, found 4294967296");
}

TEST(ScenarioDiagnosticsError, RefusesKeysOfTheHbaApiForACallOfTheDiagnosticLibrary)
{
    for (std::string const key : {"adapter", "port_wwn", "status"})
    {
        EXPECT_EQ(
            errorOfDiagnosticFault("call = \"VQM_GetLinkInfo\"\nnth = 1\nresult = 1\n" + key + " = \"x\""),
            "bad.toml:8:" + std::to_string(key.size() + 4) + ": expected no key \"" + key +
                "\" for VQM_GetLinkInfo, which is a call of the diagnostic library and takes \"board\" "
                "and \"result\", found \"x\"");
    }
}

TEST(ScenarioDiagnosticsError, RefusesKeysOfTheDiagnosticLibraryForACallOfTheHbaApi)
{
    for (std::string const key : {"board", "result"})
    {
        EXPECT_EQ(errorOfDiagnosticFault("call = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n" + key + " = 0"),
                  "bad.toml:8:" + std::to_string(key.size() + 4) + ": expected no key \"" + key +
                      "\" for HBA_LoadLibrary, which is a call of the HBA API and takes \"adapter\", "
                      "\"port_wwn\" and \"status\", found 0");
    }
}

TEST(ScenarioDiagnosticsError, RefusesABoardForACallWithoutBoard)
{
    EXPECT_EQ(
        errorOfDiagnosticFault("call = \"VQM_InitDiagEnv\"\nnth = 1\nresult = 1\nboard = 0"),
        "bad.toml:8:9: expected no key \"board\" for VQM_InitDiagEnv, which does not concern a single board, "
        "found 0");
}

TEST(ScenarioDiagnosticsError, RefusesAFaultOfAnUnknownBoard)
{
    for (std::string const board : {"1", "-1", "\"0\""})
    {
        EXPECT_EQ(errorOfDiagnosticFault("call = \"VQM_GetLinkInfo\"\nnth = 1\nresult = 1\nboard = " + board),
                  "bad.toml:8:9: expected the number of a board of this scenario, found " + board);
    }
}

TEST(ScenarioDiagnosticsError, RefusesTwoFaultsForTheSameCallOfABoard)
{
    std::string const fault = "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 0\nresult = 1\nnth = 1\n";
    EXPECT_THAT(
        errorOf(oneBoard + fault + fault),
        HasSubstr(
            "expected calls that no other fault covers, found an overlap with the fault at bad.toml:4:1"));
}
}  // namespace
