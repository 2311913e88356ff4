#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

namespace
{
nlohmann::json adaptersOf(ProcessResult const& aResult) { return documentOf(aResult).at("adapters"); }

nlohmann::json twoAdapters()
{
    return adaptersOf(runAgentOn(shippedScenario("two-adapters"), {"inventory", "--json"}));
}

/// @return the first adapter of the hostile library that can be opened
nlohmann::json hostileAdapter()
{
    return adaptersOf(runAgent({"inventory", "--json"}, hostileHbaapi())).at(1);
}

TEST(QzagentInventoryJson, ContainsTheAttributesOfTheAdapter)
{
    EXPECT_EQ(twoAdapters()[0]["attributes"], nlohmann::json::parse(R"({
        "manufacturer": "Example Adapters", "serial_number": "EX0001", "model": "EX-2200",
        "model_description": "Example dual-port 2 Gbit Fibre Channel adapter",
        "node_wwn": "20:00:00:00:c9:00:00:00", "node_symbolic_name": "EX-2200 EX0001",
        "hardware_version": "1.0", "driver_version": "2.4.1", "option_rom_version": "1.12",
        "firmware_version": "3.90", "vendor_specific_id": "0x22001234", "number_of_ports": 2,
        "driver_name": "examplefc"})"));
}

TEST(QzagentInventoryJson, ContainsThePortsWithTheirRemotePortsAndLuns)
{
    EXPECT_EQ(twoAdapters()[0]["ports"][0], nlohmann::json::parse(R"({
        "index": 0, "port_wwn": "10:00:00:00:c9:00:00:01", "node_wwn": "20:00:00:00:c9:00:00:00",
        "fc_id": "0x010100", "type": "NPORT", "state": "ONLINE", "speed": "2GBIT", "speed_bits": 2,
        "supported_speeds": ["1GBIT", "2GBIT"], "supported_speeds_bits": 3, "supported_classes": ["3"],
        "supported_classes_bits": 8,
        "supported_fc4_types": ["0x08"], "active_fc4_types": ["0x08"], "max_frame_size": 2112,
        "symbolic_name": "EX-2200 port 0", "os_device_name": "/sys/class/fc_host/host0",
        "fabric_name": "10:00:00:60:69:00:00:01",
        "remote_ports": [
            {"port_wwn": "50:00:00:00:ab:00:00:01", "node_wwn": "50:00:00:00:ab:00:00:00",
             "fc_id": "0x010200", "type": "NPORT", "state": "ONLINE",
             "mapped_luns": [0, 1, 2, 300], "reported_luns": [0, 1, 2, 300],
             "luns": [{"lun": 0, "os_device": "/dev/disk/by-path/fc-0x50000000ab000001-lun-0"},
                      {"lun": 1, "os_device": "/dev/disk/by-path/fc-0x50000000ab000001-lun-1"},
                      {"lun": 2, "os_device": "/dev/disk/by-path/fc-0x50000000ab000001-lun-2"},
                      {"lun": 300, "os_device": "/dev/disk/by-path/fc-0x50000000ab000001-lun-300"}]},
            {"port_wwn": "10:00:00:00:c9:00:00:71", "node_wwn": "20:00:00:00:c9:00:00:70",
             "fc_id": "0x010300", "type": "NPORT", "state": "ONLINE"}]})"));
}

TEST(QzagentInventoryJson, ContainsTheSameLunsIfTheLibraryWritesThemAsIntegers)
{
    std::string scenario = shippedScenario("two-adapters");
    std::string const table = "[[adapter]]\n";
    scenario.replace(scenario.find(table), table.size(), table + "lun_style = \"integer\"\n");
    EXPECT_EQ(adaptersOf(runAgentOn(scenario, {"inventory", "--json"})), twoAdapters());
}

TEST(QzagentInventoryJson, OmitsFieldsThatTheDeviceLeftEmpty)
{
    EXPECT_EQ(twoAdapters()[1]["ports"][0], nlohmann::json::parse(R"({
        "index": 0, "port_wwn": "10:00:00:00:c9:00:00:11", "node_wwn": "20:00:00:00:c9:00:00:10",
        "type": "UNKNOWN", "state": "LINKDOWN", "speed": "NOT_NEGOTIATED", "speed_bits": 5,
        "supported_speeds": ["1GBIT", "2GBIT"], "supported_speeds_bits": 3, "supported_classes": ["3"],
        "supported_classes_bits": 8,
        "supported_fc4_types": ["0x08"], "active_fc4_types": ["0x08"], "max_frame_size": 2112,
        "os_device_name": "/sys/class/fc_host/host2", "remote_ports": []})"));
}

TEST(QzagentInventoryJson, ContainsTheHostIndexOfTheSelectedAdapter)
{
    nlohmann::json const adapters = adaptersOf(
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--json", "--adapter", "example-fc-1"}));
    ASSERT_EQ(adapters.size(), 1u) << adapters;
    EXPECT_EQ(adapters[0]["index"], 1);
    EXPECT_EQ(adapters[0]["name"], "example-fc-1");
}

TEST(QzagentInventoryJson, ContainsAnErrorAndNoAdaptersForAnUnknownAdapter)
{
    EXPECT_EQ(findingsOf(runAgentOn("", {"inventory", "--json", "--adapter", "example-fc-9"})),
              nlohmann::json::parse(R"({
        "format_version": 2, "command": "inventory", "exit_status": 1,
        "messages": [{"severity": "error", "code": 1,
                      "text": "no adapter 'example-fc-9'; run qzagent adapters to list them"}],
        "only_adapter": "example-fc-9", "adapters": []})"));
}

TEST(QzagentInventoryJson, ListsMappedAndReportedLunsSeparately)
{
    EXPECT_EQ(hostileAdapter()["remote_ports"], nlohmann::json::parse(R"([
        {"port_wwn": "50:00:00:00:ab:00:00:01", "mapped_luns": ["4005000000000000"],
         "mapped_luns_form": "raw", "reported_luns": ["d200000100000009"],
         "luns": [{"lun": "4005000000000000"}]}])"));
}

TEST(QzagentInventoryJson, ShowsValuesWithoutAStandardNameAsNumbers)
{
    EXPECT_EQ(hostileAdapter()["ports"][0],
              nlohmann::json({{"index", 0},
                              {"type", 99},
                              {"state", 77},
                              {"speed", 1073741824},
                              {"speed_bits", 1073741824},
                              {"supported_speeds", {"1GBIT", 1073741824, 2147483648}},
                              {"supported_speeds_bits", 3221225473},
                              {"os_device_name", std::string(256, 'd')}}));
}

TEST(QzagentInventoryJson, EndsATextWithoutTerminatorAtTheEndOfItsField)
{
    EXPECT_EQ(hostileAdapter()["attributes"], nlohmann::json({{"manufacturer", std::string(64, 'm')},
                                                              {"serial_number", std::string(64, 's')},
                                                              {"model", std::string(256, '\x1b')},
                                                              {"number_of_ports", 1},
                                                              {"driver_name", "driver\x1b[2J\n"}}));
}
}  // namespace
