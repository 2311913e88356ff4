// Error messages for invalid scenarios: position and expectation.
#include <string>

#include <gtest/gtest.h>

#include "tests/simulator/ScenarioErrors.h"

namespace
{
constexpr char const* expectedName = "expected a name of 1 to 255 bytes without control characters, found ";
constexpr char const* expectedStatus =
    "expected a status name such as \"HBA_STATUS_ERROR_BUSY\" or a number from 0 to 4294967295, found ";
constexpr char const* expectedNth =
    "expected a number from 1 to 4294967295, or a range such as \"2-4\" or \"3+\", found ";
constexpr char const* expectedCall =
    "expected one of the calls HBA_LoadLibrary, HBA_FreeLibrary, HBA_GetNumberOfAdapters, "
    "HBA_GetAdapterName, HBA_OpenAdapter, HBA_CloseAdapter, HBA_RefreshInformation, "
    "HBA_GetAdapterAttributes, HBA_GetAdapterPortAttributes, HBA_GetDiscoveredPortAttributes, "
    "HBA_GetPortAttributesByWWN, HBA_GetPortStatistics, HBA_GetFcpTargetMapping, HBA_SendReportLUNs, "
    "HBA_SendScsiInquiry, HBA_SendReadCapacity, HBA_OpenAdapterByWWN, HBA_GetFcpTargetMappingV2, "
    "HBA_ScsiReportLUNsV2, HBA_ScsiInquiryV2, HBA_ScsiReadCapacityV2, HBA_GetFC4Statistics, "
    "HBA_GetFCPStatistics, HBA_RegisterForAdapterAddEvents, HBA_RegisterForAdapterEvents, "
    "HBA_RegisterForAdapterPortEvents, HBA_RegisterForAdapterPortStatEvents, HBA_RegisterForTargetEvents, "
    "HBA_RegisterForLinkEvents, HBA_RemoveCallback, VQM_GetLibVer, VQM_InitDiagEnv, "
    "VQM_FreeDiagEnv, VQM_GetDrvInfo, VQM_GetLinkInfo, RegisterForEvent, unRegisterForEvent, "
    "VQM_QZ_RegisterForEvent, VQM_QZ_unRegisterForEvent, found ";

/// @return the error for a fault with these lines, which start at line 4 of the file
std::string errorOfFault(std::string const& aLines)
{
    return errorOf("[[adapter]]\nname = \"a\"\n[[fault]]\n" + aLines);
}

TEST(ScenarioError, ReportsAnUnknownKeyInAFileOfMaximumDepth)
{
    std::string key = "a";
    for (int dots = 0; dots < 300; ++dots)
    {
        key += ".a";
    }
    std::string opening;
    std::string closing;
    for (int depth = 0; depth < 3; ++depth)
    {
        opening += "[\n{" + key + " = ";
        closing += "}\n]";
    }
    EXPECT_EQ(
        errorOf('[' + key + "]\n" + key + " = " + opening + '1' + closing),
        "bad.toml:1:2: expected a key of the scenario (behaviour, number_of_adapters, adapter, diagnostics, "
        "fault, timeline), found \"a\"");
}

TEST(ScenarioError, RefusesAnUnknownTable)
{
    EXPECT_EQ(
        errorOf("[[adaptor]]\nname = \"a\"\n"),
        "bad.toml:1:3: expected a key of the scenario (behaviour, number_of_adapters, adapter, diagnostics, "
        "fault, timeline), found \"adaptor\"");
}

TEST(ScenarioError, RefusesASingleAdapterTable)
{
    EXPECT_EQ(errorOf("[adapter]\nname = \"a\"\n"),
              "bad.toml:1:1: expected tables [[adapter]], found a table");
}

TEST(ScenarioError, RefusesAValueWhereATableIsExpected)
{
    EXPECT_EQ(errorOf("adapter = [ { name = \"a\" }, 7 ]\n"),
              "bad.toml:1:29: expected a table [[adapter]], found 7");
}

TEST(ScenarioError, RefusesAnUnknownKeyOfAnAdapter)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n  speed = 8\n"),
              "bad.toml:3:3: expected a key of [[adapter]] (name, manufacturer, serial_number, model, "
              "model_description, node_wwn, node_symbolic_name, hardware_version, driver_version, "
              "option_rom_version, firmware_version, vendor_specific_id, driver_name, lun_style, port, "
              "number_of_ports, event), "
              "found \"speed\"");
}

TEST(ScenarioError, RefusesReportedNumbersAbove32Bits)
{
    std::string const expected = "expected a number from 0 to 4294967295, found 4294967296";
    EXPECT_EQ(errorOf("number_of_adapters = 4294967296\n"), "bad.toml:1:22: " + expected);
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\nnumber_of_ports = 4294967296\n"),
              "bad.toml:3:19: " + expected);
    EXPECT_EQ(errorOf("[diagnostics]\nnumber_of_boards = 4294967296\n"), "bad.toml:2:20: " + expected);
}

TEST(ScenarioError, RefusesAnUnknownLunStyle)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\nlun_style = \"plain\"\n"),
              "bad.toml:3:13: expected one of scsi, integer, found \"plain\"");
}

TEST(ScenarioError, EscapesControlCharactersInAnUnexpectedKey)
{
    EXPECT_EQ(
        errorOf("\"a\\u001b[2J\" = 1\n"),
        "bad.toml:1:1: expected a key of the scenario (behaviour, number_of_adapters, adapter, diagnostics, "
        "fault, timeline), found \"a\\u001B[2J\"");
}

TEST(ScenarioError, ReportsAnAdapterWithoutName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n\n[[adapter]]\n"),
              "bad.toml:4:1: expected the key \"name\" in this [[adapter]], found none");
}

TEST(ScenarioError, RefusesAnEmptyAdapterName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"\"\n"), std::string("bad.toml:2:8: ") + expectedName + "\"\"");
}

TEST(ScenarioError, RefusesAnAdapterNameThatIsTooLong)
{
    std::string const name(256, 'n');
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"" + name + "\"\n"),
              std::string("bad.toml:2:8: ") + expectedName + '"' + name + '"');
}

TEST(ScenarioError, RefusesAnAdapterNameWithAControlCharacter)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\\u0000b\"\n"),
              std::string("bad.toml:2:8: ") + expectedName + "\"a\\u0000b\"");
}

TEST(ScenarioError, RefusesAnAdapterNameThatIsNotAString)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = true\n"),
              std::string("bad.toml:2:8: ") + expectedName + "a boolean");
}

TEST(ScenarioError, RefusesASecondAdapterWithTheSameName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n[[adapter]]\nname = \"a\"\n"),
              "bad.toml:4:8: expected a name that no other adapter has, found \"a\"");
}

TEST(ScenarioError, RefusesAnUnknownKeyOfAFault)
{
    EXPECT_EQ(errorOfFault("times = 3\n"),
              "bad.toml:4:1: expected a key of [[fault]] (name, active, call, adapter, port_wwn, board, nth, "
              "status, "
              "result, untouched, sense_key, asc, ascq, count, entries, missing, list_length, length, "
              "garbage, zeros, "
              "delay_ms, hangs, prints), found \"times\"");
}

TEST(ScenarioError, ReportsAFaultWithoutCall)
{
    EXPECT_EQ(errorOfFault("nth = 1\nstatus = 1\n"),
              "bad.toml:3:1: expected the key \"call\" in this [[fault]], found none");
}

TEST(ScenarioError, ReportsAFaultWithoutNth)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nstatus = 1\n"),
              "bad.toml:3:1: expected the key \"nth\" in this [[fault]], found none");
}

TEST(ScenarioError, ReportsAFaultWithoutStatus)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\n"),
              "bad.toml:3:1: expected the key \"status\" in this [[fault]], found none");
}

TEST(ScenarioError, RefusesAFaultInACallThatCannotFail)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_GetVersion\"\nnth = 1\nstatus = 1\n"),
              std::string("bad.toml:4:8: ") + expectedCall + "\"HBA_GetVersion\"");
}

TEST(ScenarioError, RefusesAFaultOfAnUnknownAdapter)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nadapter = \"b\"\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected the name of an adapter of this scenario, found \"b\"");
}

TEST(ScenarioError, RefusesAFaultWhoseAdapterIsNotAString)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nadapter = 0\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected the name of an adapter of this scenario, found 0");
}

TEST(ScenarioError, RefusesAFaultWithAnEmptyAdapterName)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nadapter = \"\"\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected the name of an adapter of this scenario, found \"\"");
}

TEST(ScenarioError, RefusesAnAdapterForACallWithoutAdapter)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_LoadLibrary\"\nadapter = \"a\"\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected no key \"adapter\" for HBA_LoadLibrary, which does not concern a "
              "single adapter, "
              "found \"a\"");
}

TEST(ScenarioError, RefusesAnNthOfZero)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 0\nstatus = 1\n"),
              std::string("bad.toml:5:7: ") + expectedNth + "0");
}

TEST(ScenarioError, RefusesAnNthThatIsNotAWholeNumber)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1.5\nstatus = 1\n"),
              std::string("bad.toml:5:7: ") + expectedNth + "a fractional number");
}

TEST(ScenarioError, RefusesAnUnknownStatusName)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = \"BUSY\"\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "\"BUSY\"");
}

TEST(ScenarioError, RefusesANegativeStatus)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = -1\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "-1");
}

TEST(ScenarioError, RefusesAStatusAbove32Bits)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 4294967296\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "4294967296");
}

TEST(ScenarioError, RefusesAStatusThatIsNeitherNameNorNumber)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 2024-01-31\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "a date");
}

TEST(ScenarioError, RefusesAnInvalidRange)
{
    for (char const* const range : {"0+", "2-", "-2", "4-2", "2-4+", "2 - 4", "2", "+", "", "1-4294967296"})
    {
        EXPECT_EQ(
            errorOfFault("call = \"HBA_OpenAdapter\"\nnth = \"" + std::string(range) + "\"\nstatus = 1\n"),
            std::string("bad.toml:5:7: ") + expectedNth + '"' + range + '"');
    }
}

TEST(ScenarioError, RefusesATargetForACallWithoutTarget)
{
    EXPECT_EQ(
        errorOfFault("call = \"HBA_OpenAdapter\"\nport_wwn = \"50:00:00:00:00:00:00:01\"\nnth = 1\n"
                     "status = 1\n"),
        "bad.toml:5:12: expected no key \"port_wwn\" for HBA_OpenAdapter, which does not concern a single "
        "target, found \"50:00:00:00:00:00:00:01\"");
}

TEST(ScenarioError, RefusesAFaultOfAnUnknownTarget)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_SendReportLUNs\"\nport_wwn = \"50:00:00:00:00:00:00:01\"\nnth = 1\n"
                           "status = 1\n"),
              "bad.toml:5:12: expected the port_wwn of a target that the adapter sees, found "
              "\"50:00:00:00:00:00:00:01\"");
}

TEST(ScenarioError, RefusesAFaultWithoutAnyEffect)
{
    for (char const* const line : {"delay_ms = 0\n", "untouched = false\n", "prints = \"\"\n"})
    {
        EXPECT_EQ(errorOfFault(std::string("call = \"HBA_GetAdapterName\"\nnth = 1\n") + line),
                  "bad.toml:3:1: expected the key \"status\" in this [[fault]], found none");
    }
    EXPECT_EQ(errorOfFault("call = \"VQM_InitDiagEnv\"\nnth = 1\ndelay_ms = 0\n"),
              "bad.toml:3:1: expected the key \"result\" in this [[fault]], found none");
}

TEST(ScenarioError, RefusesAPrintedLineThatIsTooLongOrHasAControlCharacter)
{
    std::string const fault = "call = \"HBA_OpenAdapter\"\nnth = 1\nprints = ";
    std::string const expected =
        "bad.toml:6:10: expected a string of at most 255 bytes without control characters, found ";
    std::string const line(256, 'x');
    EXPECT_EQ(errorOfFault(fault + '"' + line + "\"\n"), expected + '"' + line + '"');
    EXPECT_EQ(errorOfFault(fault + "\"a\\nb\"\n"), expected + "\"a\\u000Ab\"");
}

TEST(ScenarioError, RefusesSenseDataForACallThatSendsNoScsiCommand)
{
    for (std::string const key : {"sense_key", "asc", "ascq"})
    {
        EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 9\n" + key + " = 2\n"),
                  "bad.toml:7:" + std::to_string(key.size() + 4) + ": expected no key \"" + key +
                      "\" for HBA_OpenAdapter, which sends no SCSI command, found 2");
    }
}

TEST(ScenarioError, RefusesSenseDataWithoutACheckCondition)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_SendReportLUNs\"\nnth = 1\nstatus = 10\nasc = 2\n"),
              "bad.toml:7:7: expected no key \"asc\" without the status HBA_STATUS_SCSI_CHECK_CONDITION, "
              "found 2");
}

TEST(ScenarioError, RefusesSenseDataThatDoesNotFitItsField)
{
    std::string const fault = "call = \"HBA_SendReportLUNs\"\nnth = 1\nstatus = 9\n";
    EXPECT_EQ(errorOfFault(fault + "sense_key = 16\n"),
              "bad.toml:7:13: expected a number from 0 to 15, found 16");
    EXPECT_EQ(errorOfFault(fault + "asc = 256\n"),
              "bad.toml:7:7: expected a number from 0 to 255, found 256");
    EXPECT_EQ(errorOfFault(fault + "ascq = 256\n"),
              "bad.toml:7:8: expected a number from 0 to 255, found 256");
}

TEST(ScenarioError, RefusesTwoFaultsForTheSameCall)
{
    std::string const fault = "call = \"HBA_OpenAdapter\"\nadapter = \"a\"\nnth = 1\nstatus = ";
    EXPECT_EQ(errorOfFault(fault + "1\n[[fault]]\n" + fault + "2\n"),
              "bad.toml:8:1: expected calls that no other fault covers, found an overlap with the fault at "
              "bad.toml:3:1");
}

TEST(ScenarioError, RefusesFaultsWithOverlappingRanges)
{
    std::string const fault = "call = \"HBA_OpenAdapter\"\nstatus = 1\nnth = ";
    EXPECT_EQ(errorOfFault(fault + "\"2-4\"\n[[fault]]\n" + fault + "\"4+\"\n"),
              "bad.toml:7:1: expected calls that no other fault covers, found an overlap with the fault at "
              "bad.toml:3:1");
}
}  // namespace
