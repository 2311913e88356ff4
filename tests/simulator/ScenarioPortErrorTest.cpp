// Error messages for adapters and ports of a scenario.
#include <string>

#include <gtest/gtest.h>

#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"

namespace
{
constexpr char const* expectedWwn = "expected a World Wide Name such as \"20:00:00:00:c9:00:00:01\", found ";

/// @return the error for an adapter with these lines, which start at line 3 of the file
std::string errorOfAdapter(std::string const& aLines)
{
    return errorOf("[[adapter]]\nname = \"a\"\n" + aLines);
}

/// @return the error for a port with these lines, which start at line 5 of the file
std::string errorOfPort(std::string const& aLines) { return errorOfAdapter(onePort + aLines); }

/// @return the error for a remote port with these lines, which start at line 7 of the file
std::string errorOfRemotePort(std::string const& aLines) { return errorOfPort(oneRemotePort + aLines); }

TEST(ScenarioPortError, RefusesAStringThatIsTooLong)
{
    std::string const text(64, 'x');
    EXPECT_EQ(errorOfAdapter("serial_number = \"" + text + "\"\n"),
              "bad.toml:3:17: expected a string of at most 63 bytes without control characters, found \"" +
                  text + '"');
}

TEST(ScenarioPortError, RefusesAStringWithAControlCharacter)
{
    EXPECT_EQ(errorOfAdapter("driver_version = \"1\\n\"\n"),
              "bad.toml:3:18: expected a string of at most 255 bytes without control characters, found "
              "\"1\\u000A\"");
}

TEST(ScenarioPortError, RefusesAnInvalidNodeName)
{
    EXPECT_EQ(errorOfAdapter("node_wwn = \"20:00:00:00:c9:00:00\"\n"),
              std::string("bad.toml:3:12: ") + expectedWwn + "\"20:00:00:00:c9:00:00\"");
    EXPECT_EQ(errorOfAdapter("node_wwn = 7\n"), std::string("bad.toml:3:12: ") + expectedWwn + "7");
}

TEST(ScenarioPortError, RefusesANumberAbove32Bits)
{
    EXPECT_EQ(errorOfAdapter("vendor_specific_id = 4294967296\n"),
              "bad.toml:3:22: expected a number from 0 to 4294967295, found 4294967296");
}

TEST(ScenarioPortError, RefusesASinglePortTable)
{
    EXPECT_EQ(errorOfAdapter("[adapter.port]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"),
              "bad.toml:3:1: expected tables [[adapter.port]], found a table");
}

TEST(ScenarioPortError, ReportsAPortWithoutName)
{
    EXPECT_EQ(errorOfAdapter(std::string(onePort) + "[[adapter.port]]\nfc_id = 1\n"),
              "bad.toml:5:1: expected the key \"port_wwn\" in this [[adapter.port]], found none");
}

TEST(ScenarioPortError, RefusesAnUnknownKeyOfAPort)
{
    EXPECT_EQ(errorOfPort("luns = 3\n"),
              "bad.toml:5:1: expected a key of [[adapter.port]] (port_wwn, node_wwn, fc_id, type, state, "
              "supported_classes, supported_fc4_types, active_fc4_types, symbolic_name, os_device_name, "
              "supported_speeds, speed, max_frame_size, fabric_name, statistics, "
              "statistics_per_second, fc4_statistics, fc4_statistics_per_second, remote, "
              "number_of_discovered_ports), "
              "found \"luns\"");
}

TEST(ScenarioPortError, RefusesAnFcIdAbove24Bits)
{
    EXPECT_EQ(errorOfPort("fc_id = 0x1000000\n"),
              "bad.toml:5:9: expected a number from 0 to 16777215, found 16777216");
}

TEST(ScenarioPortError, RefusesAnUnknownPortType)
{
    EXPECT_EQ(
        errorOfPort("type = \"HBA_PORTTYPE_NPORT\"\n"),
        "bad.toml:5:8: expected one of UNKNOWN, OTHER, NOTPRESENT, NPORT, NLPORT, FLPORT, FPORT, LPORT, "
        "PTP or a number from 0 to 4294967295, found \"HBA_PORTTYPE_NPORT\"");
}

TEST(ScenarioPortError, RefusesAPortStateThatIsNeitherANameNorANumber)
{
    EXPECT_EQ(
        errorOfPort("state = true\n"),
        "bad.toml:5:9: expected one of UNKNOWN, ONLINE, OFFLINE, BYPASSED, DIAGNOSTICS, LINKDOWN, ERROR, "
        "LOOPBACK or a number from 0 to 4294967295, found a boolean");
}

TEST(ScenarioPortError, RefusesAnUnknownPortSpeed)
{
    EXPECT_EQ(errorOfPort("speed = \"3GBIT\"\n"),
              "bad.toml:5:9: expected one of UNKNOWN, 1GBIT, 2GBIT, 4GBIT, 8GBIT, 10GBIT, 16GBIT, 20GBIT, "
              "32GBIT, 40GBIT, 64GBIT, "
              "128GBIT, NOT_NEGOTIATED or a number from 0 to 4294967295, found \"3GBIT\"");
}

TEST(ScenarioPortError, RefusesSupportedSpeedsThatAreNotAList)
{
    EXPECT_EQ(errorOfPort("supported_speeds = \"1GBIT\"\n"),
              "bad.toml:5:20: expected a list of speeds, found \"1GBIT\"");
}

TEST(ScenarioPortError, RefusesNotNegotiatedAsASupportedSpeed)
{
    EXPECT_EQ(errorOfPort("supported_speeds = [\"1GBIT\", \"NOT_NEGOTIATED\"]\n"),
              "bad.toml:5:30: expected a speed that can be negotiated, found \"NOT_NEGOTIATED\"");
}

TEST(ScenarioPortError, RefusesAnFc4TypeAbove255)
{
    EXPECT_EQ(errorOfPort("active_fc4_types = [8, 256]\n"),
              "bad.toml:5:24: expected a number from 0 to 255, found 256");
}

TEST(ScenarioPortError, RefusesTwoPortsWithTheSameNameInOneAdapter)
{
    EXPECT_EQ(errorOfAdapter(std::string(onePort) + onePort),
              "bad.toml:6:12: expected a port_wwn that no other port of an adapter has, found "
              "\"10:00:00:00:00:00:00:01\"");
}

TEST(ScenarioPortError, RefusesTwoPortsWithTheSameNameInTwoAdapters)
{
    EXPECT_EQ(errorOfPort("[[adapter]]\nname = \"b\"\n" + std::string(onePort)),
              "bad.toml:8:12: expected a port_wwn that no other port of an adapter has, found "
              "\"10:00:00:00:00:00:00:01\"");
}

TEST(ScenarioPortError, RefusesTwoRemotePortsWithTheSameName)
{
    EXPECT_EQ(errorOfRemotePort(oneRemotePort),
              "bad.toml:8:12: expected a port_wwn that no other remote port of this port has, found "
              "\"50:00:00:00:00:00:00:01\"");
}

TEST(ScenarioPortError, RefusesAnUnknownKeyOfARemotePort)
{
    EXPECT_EQ(
        errorOfRemotePort("speeds = 1\n"),
        "bad.toml:7:1: expected a key of [[adapter.port.remote]] (port_wwn, node_wwn, fc_id, type, state, "
        "supported_classes, supported_fc4_types, active_fc4_types, symbolic_name, os_device_name, "
        "supported_speeds, speed, max_frame_size, fabric_name, role, lun_addressing, luns, "
        "report_luns_minimum, inquiry_vendor, inquiry_product, "
        "inquiry_revision, block_size, blocks, lun), found \"speeds\"");
}

TEST(ScenarioPortError, RefusesAnUnknownRole)
{
    EXPECT_EQ(errorOfRemotePort("role = \"both\"\n"),
              "bad.toml:7:8: expected one of target, initiator, found \"both\"");
}

TEST(ScenarioPortError, RefusesAnUnknownLunAddressing)
{
    EXPECT_EQ(errorOfRemotePort("lun_addressing = \"logical\"\n"),
              "bad.toml:7:18: expected one of auto, flat, found \"logical\"");
}

TEST(ScenarioPortError, RefusesLunsForAnInitiator)
{
    EXPECT_EQ(errorOfRemotePort("luns = 2\nrole = \"initiator\"\n"),
              "bad.toml:7:8: expected no key \"luns\" for a port that is not a target, found 2");
}

TEST(ScenarioPortError, RefusesMoreThan16384Luns)
{
    EXPECT_EQ(
        errorOfRemotePort("luns = 16385\n"),
        "bad.toml:7:8: expected a number of LUNs from 0 to 16384 or a list of LUNs from 0 to 16383, found "
        "16385");
}

TEST(ScenarioPortError, RefusesALunAbove16383)
{
    EXPECT_EQ(errorOfRemotePort("luns = [0, 16384]\n"),
              "bad.toml:7:12: expected a number from 0 to 16383, found 16384");
}

TEST(ScenarioPortError, RefusesTextsThatDoNotFitTheResponseToInquiry)
{
    std::string const expected = " bytes without control characters, found \"";
    EXPECT_EQ(errorOfRemotePort("inquiry_vendor = \"123456789\"\n"),
              "bad.toml:7:18: expected a string of at most 8" + expected + "123456789\"");
    EXPECT_EQ(errorOfRemotePort("inquiry_product = \"12345678901234567\"\n"),
              "bad.toml:7:19: expected a string of at most 16" + expected + "12345678901234567\"");
    EXPECT_EQ(errorOfRemotePort("inquiry_revision = \"12345\"\n"),
              "bad.toml:7:20: expected a string of at most 4" + expected + "12345\"");
}

TEST(ScenarioPortError, RefusesANumberOfBlocksBelowOne)
{
    EXPECT_EQ(errorOfRemotePort("blocks = 0\n"),
              "bad.toml:7:10: expected a number from 1 to 0x7fffffffffffffff, found 0");
}

TEST(ScenarioPortError, RefusesAnUnknownKeyOfALun)
{
    EXPECT_EQ(
        errorOfRemotePort("[[adapter.port.remote.lun]]\nlun = 1\nid = 1\n"),
        "bad.toml:9:1: expected a key of [[adapter.port.remote.lun]] (lun, inquiry_vendor, inquiry_product, "
        "inquiry_revision, block_size, blocks, os_device, luid, mapped, fcp_statistics, "
        "fcp_statistics_per_second), "
        "found \"id\"");
}

TEST(ScenarioPortError, RefusesATableOfALunWithoutNumberOrAbove16383)
{
    EXPECT_EQ(errorOfRemotePort("[[adapter.port.remote.lun]]\n"),
              "bad.toml:7:1: expected the key \"lun\" in this [[adapter.port.remote.lun]], found none");
    EXPECT_EQ(errorOfRemotePort("[[adapter.port.remote.lun]]\nlun = 16384\n"),
              "bad.toml:8:7: expected a number from 0 to 16383, found 16384");
}

TEST(ScenarioPortError, RefusesTwoTablesForOneLun)
{
    EXPECT_EQ(
        errorOfRemotePort("[[adapter.port.remote.lun]]\nlun = 2\n[[adapter.port.remote.lun]]\nlun = 2\n"),
        "bad.toml:10:7: expected a LUN that no other table of this target has, found 2");
}

TEST(ScenarioPortError, RefusesATableOfALunForAnInitiator)
{
    EXPECT_EQ(errorOfRemotePort("role = \"initiator\"\n[[adapter.port.remote.lun]]\nlun = 2\n"),
              "bad.toml:8:1: expected no key \"lun\" for a port that is not a target, found an array");
}

TEST(ScenarioPortError, RefusesAnOsDeviceThatIsTooLong)
{
    std::string const device(256, 'd');
    EXPECT_EQ(errorOfRemotePort("[[adapter.port.remote.lun]]\nlun = 2\nos_device = \"" + device + "\"\n"),
              "bad.toml:9:13: expected a string of at most 255 bytes without control characters, found \"" +
                  device + '"');
}

TEST(ScenarioPortError, RefusesALunWhoseMappingIsNeitherTrueNorFalse)
{
    EXPECT_EQ(errorOfRemotePort("[[adapter.port.remote.lun]]\nlun = 2\nmapped = 0\n"),
              "bad.toml:9:10: expected true or false, found 0");
}

TEST(ScenarioPortError, RefusesADuplicateLun)
{
    EXPECT_EQ(errorOfRemotePort("luns = [0, 7, 7]\n"),
              "bad.toml:7:15: expected a LUN that is not yet in the list, found 7");
}
}  // namespace
