// Reading the adapters and ports of a scenario.
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/scenario/Wwn.h"
#include "tests/simulator/Scenarios.h"
#include "tests/support/ScratchFolder.h"

using qzsim::Adapter;
using qzsim::LunAddressing;
using qzsim::LunData;
using qzsim::Port;
using qzsim::RemotePort;
using qzsim::Role;
using qzsim::textOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{
constexpr char const* noName = "00:00:00:00:00:00:00:00";

Adapter adapterWith(std::string const& aLines)
{
    return scenarioOf("[[adapter]]\nname = \"a\"\n" + aLines).mAdapters.at(0);
}

Port portWith(std::string const& aLines) { return adapterWith(onePort + aLines).mPorts.at(0); }

RemotePort remotePortWith(std::string const& aLines)
{
    return portWith(oneRemotePort + aLines).mRemotePorts.at(0);
}

/// @return the FC-4 types whose bits are set; type 8 is bit 0 of byte 2
std::vector<unsigned int> typesIn(HBA_FC4TYPES const& aTypes)
{
    std::vector<unsigned int> types;
    for (unsigned int type = 0; type < 256; ++type)
    {
        unsigned int const byte = type / 32 * 4 + 3 - type % 32 / 8;
        if ((aTypes.bits[byte] >> type % 8 & 1) != 0)
        {
            types.push_back(type);
        }
    }
    return types;
}

TEST(ScenarioAdapter, ReadsAllStringsOfAnAdapter)
{
    HBA_ADAPTERATTRIBUTES const attributes =
        adapterWith(
            "manufacturer = \"m\"\nserial_number = \"s\"\nmodel = \"mo\"\nmodel_description = \"md\"\n"
            "node_symbolic_name = \"nsn\"\nhardware_version = \"hv\"\ndriver_version = \"dv\"\n"
            "option_rom_version = \"orv\"\nfirmware_version = \"fv\"\ndriver_name = \"dn\"\n")
            .mAttributes;
    EXPECT_STREQ(attributes.Manufacturer, "m");
    EXPECT_STREQ(attributes.SerialNumber, "s");
    EXPECT_STREQ(attributes.Model, "mo");
    EXPECT_STREQ(attributes.ModelDescription, "md");
    EXPECT_STREQ(attributes.NodeSymbolicName, "nsn");
    EXPECT_STREQ(attributes.HardwareVersion, "hv");
    EXPECT_STREQ(attributes.DriverVersion, "dv");
    EXPECT_STREQ(attributes.OptionROMVersion, "orv");
    EXPECT_STREQ(attributes.FirmwareVersion, "fv");
    EXPECT_STREQ(attributes.DriverName, "dn");
}

TEST(ScenarioAdapter, DefaultLunStyleOfAnAdapterIsScsi)
{
    EXPECT_EQ(adapterWith("").mLunStyle, qzsim::LunStyle::scsi);
    EXPECT_EQ(adapterWith("lun_style = \"scsi\"\n").mLunStyle, qzsim::LunStyle::scsi);
    EXPECT_EQ(adapterWith("lun_style = \"integer\"\n").mLunStyle, qzsim::LunStyle::integer);
}

TEST(ScenarioAdapter, ReadsNodeNameAndVendorSpecificId)
{
    HBA_ADAPTERATTRIBUTES const attributes =
        adapterWith("node_wwn = \"20:00:00:00:c9:00:00:01\"\nvendor_specific_id = 4294967295\n").mAttributes;
    EXPECT_EQ(textOf(attributes.NodeWWN), "20:00:00:00:c9:00:00:01");
    EXPECT_EQ(attributes.VendorSpecificID, 4294967295U);
}

TEST(ScenarioAdapter, AttributesDefaultToZero)
{
    HBA_ADAPTERATTRIBUTES const attributes = adapterWith("").mAttributes;
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&attributes);
    EXPECT_THAT(std::vector<unsigned char>(bytes, bytes + sizeof attributes), Each(0));
}

TEST(ScenarioAdapter, AcceptsStringsOfMaximumLength)
{
    std::string const shortText(63, 's');
    std::string const longText(255, 'l');
    HBA_ADAPTERATTRIBUTES const attributes =
        adapterWith("manufacturer = \"" + shortText + "\"\nmodel = \"" + longText + "\"\n").mAttributes;
    EXPECT_EQ(attributes.Manufacturer, shortText);
    EXPECT_EQ(attributes.Model, longText);
}

TEST(ScenarioAdapter, ReadsAndCountsPorts)
{
    Adapter const adapter = adapterWith(
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n"
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n");
    EXPECT_EQ(adapter.mAttributes.NumberOfPorts, 2U);
    ASSERT_THAT(adapter.mPorts, SizeIs(2));
    EXPECT_EQ(textOf(adapter.mPorts[0].mAttributes.PortWWN), "10:00:00:00:00:00:00:02");
}

TEST(ScenarioPort, ReadsAllAttributesOfAPort)
{
    HBA_PORTATTRIBUTES const port =
        portWith(
            "node_wwn = \"20:00:00:00:00:00:00:01\"\nfc_id = 0xffffff\ntype = \"FPORT\"\nstate = "
            "\"LOOPBACK\"\n"
            "supported_classes = 12\nsymbolic_name = \"s\"\nos_device_name = \"d\"\nmax_frame_size = 512\n"
            "fabric_name = \"30:00:00:00:00:00:00:01\"\n")
            .mAttributes;
    EXPECT_EQ(textOf(port.NodeWWN), "20:00:00:00:00:00:00:01");
    EXPECT_EQ(port.PortFcId, 0xffffffU);
    EXPECT_EQ(port.PortType, HBA_PORTTYPE{HBA_PORTTYPE_FPORT});
    EXPECT_EQ(port.PortState, HBA_PORTSTATE{HBA_PORTSTATE_LOOPBACK});
    EXPECT_EQ(port.PortSupportedClassofService, 12U);
    EXPECT_STREQ(port.PortSymbolicName, "s");
    EXPECT_STREQ(port.OSDeviceName, "d");
    EXPECT_EQ(port.PortMaxFrameSize, 512U);
    EXPECT_EQ(textOf(port.FabricName), "30:00:00:00:00:00:00:01");
}

TEST(ScenarioPort, AttributesHaveDefaults)
{
    HBA_PORTATTRIBUTES const port = portWith("").mAttributes;
    EXPECT_EQ(textOf(port.FabricName), noName);
    EXPECT_EQ(port.PortType, HBA_PORTTYPE{HBA_PORTTYPE_NPORT});
    EXPECT_EQ(port.PortState, HBA_PORTSTATE{HBA_PORTSTATE_ONLINE});
    EXPECT_EQ(port.PortSupportedClassofService, 8U);
    EXPECT_THAT(typesIn(port.PortSupportedFc4Types), ElementsAre(8));
    EXPECT_THAT(typesIn(port.PortActiveFc4Types), ElementsAre(8));
    EXPECT_EQ(port.PortSupportedSpeed, HBA_PORTSPEED{HBA_PORTSPEED_UNKNOWN});
    EXPECT_EQ(port.PortSpeed, HBA_PORTSPEED{HBA_PORTSPEED_UNKNOWN});
    EXPECT_EQ(port.PortMaxFrameSize, 2112U);
    EXPECT_EQ(port.NumberofDiscoveredPorts, 0U);
}

TEST(ScenarioPort, NodeNameDefaultsToThatOfTheAdapter)
{
    Adapter const adapter = adapterWith(
        "node_wwn = \"20:00:00:00:00:00:00:07\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n");
    EXPECT_EQ(textOf(adapter.mPorts.at(0).mAttributes.NodeWWN), "20:00:00:00:00:00:00:07");
}

TEST(ScenarioPort, SupportedSpeedsAreCombined)
{
    HBA_PORTATTRIBUTES const port =
        portWith("supported_speeds = [\"1GBIT\", \"10GBIT\", 8]\nspeed = 8\n").mAttributes;
    EXPECT_EQ(port.PortSupportedSpeed, 1U + 4U + 8U);
    EXPECT_EQ(port.PortSpeed, 8U);
}

TEST(ScenarioPort, SpeedsHaveTheNumbersOfTheHbaApi)
{
    std::vector<std::pair<std::string, HBA_PORTSPEED>> const speeds = {
        {"1GBIT", 1},      {"2GBIT", 2},     {"10GBIT", 4},        {"4GBIT", 8},      {"8GBIT", 0x10},
        {"16GBIT", 0x20},  {"32GBIT", 0x40}, {"20GBIT", 0x80},     {"40GBIT", 0x100}, {"128GBIT", 0x200},
        {"64GBIT", 0x400}, {"UNKNOWN", 0},   {"NOT_NEGOTIATED", 5}};
    for (auto const& [name, number] : speeds)
    {
        EXPECT_EQ(portWith("speed = \"" + name + "\"\n").mAttributes.PortSpeed, number) << name;
    }
    EXPECT_EQ(
        portWith("supported_speeds = [\"32GBIT\", \"64GBIT\", \"128GBIT\"]\n").mAttributes.PortSupportedSpeed,
        0x640U);
}

TEST(ScenarioPort, ReadsFc4Types)
{
    HBA_PORTATTRIBUTES const port =
        portWith("supported_fc4_types = [0, 5, 8, 32, 255]\nactive_fc4_types = []\n").mAttributes;
    EXPECT_THAT(typesIn(port.PortSupportedFc4Types), ElementsAre(0, 5, 8, 32, 255));
    EXPECT_THAT(typesIn(port.PortActiveFc4Types), IsEmpty());
}

TEST(ScenarioRemotePort, ReadsAllAttributesOfARemotePort)
{
    RemotePort const port = remotePortWith(
        "node_wwn = \"50:00:00:00:00:00:00:00\"\nfc_id = 0x010203\ntype = \"NLPORT\"\nstate = \"OFFLINE\"\n"
        "symbolic_name = \"s\"\nrole = \"initiator\"\n");
    EXPECT_EQ(textOf(port.mAttributes.PortWWN), "50:00:00:00:00:00:00:01");
    EXPECT_EQ(textOf(port.mAttributes.NodeWWN), "50:00:00:00:00:00:00:00");
    EXPECT_EQ(port.mAttributes.PortFcId, 0x010203U);
    EXPECT_EQ(port.mAttributes.PortType, HBA_PORTTYPE{HBA_PORTTYPE_NLPORT});
    EXPECT_EQ(port.mAttributes.PortState, HBA_PORTSTATE{HBA_PORTSTATE_OFFLINE});
    EXPECT_STREQ(port.mAttributes.PortSymbolicName, "s");
    EXPECT_EQ(port.mRole, Role::initiator);
}

TEST(ScenarioRemotePort, ReadsTheAttributesThatItHasInCommonWithPorts)
{
    HBA_PORTATTRIBUTES const attributes =
        remotePortWith(
            "supported_classes = 2\nsupported_fc4_types = [5]\nactive_fc4_types = [255]\n"
            "os_device_name = \"d\"\nsupported_speeds = [\"1GBIT\", 4]\nspeed = 0x10\n"
            "max_frame_size = 2048\nfabric_name = \"10:00:00:00:00:00:00:0f\"\n")
            .mAttributes;
    EXPECT_EQ(attributes.PortSupportedClassofService, 2U);
    EXPECT_THAT(typesIn(attributes.PortSupportedFc4Types), ElementsAre(5));
    EXPECT_THAT(typesIn(attributes.PortActiveFc4Types), ElementsAre(255));
    EXPECT_STREQ(attributes.OSDeviceName, "d");
    EXPECT_EQ(attributes.PortSupportedSpeed, 5U);
    EXPECT_EQ(attributes.PortSpeed, 0x10U);
    EXPECT_EQ(attributes.PortMaxFrameSize, 2048U);
    EXPECT_EQ(textOf(attributes.FabricName), "10:00:00:00:00:00:00:0f");
}

TEST(ScenarioPort, ReadsTypesAndStatesWithoutNamesAsNumbers)
{
    HBA_PORTATTRIBUTES const attributes = portWith("type = 0\nstate = 99\n").mAttributes;
    EXPECT_EQ(attributes.PortType, 0U);
    EXPECT_EQ(attributes.PortState, 99U);
}

TEST(ScenarioRemotePort, DefaultsToATargetWithoutLuns)
{
    RemotePort const port = remotePortWith("");
    EXPECT_EQ(port.mRole, Role::target);
    EXPECT_EQ(port.mLunAddressing, LunAddressing::automatic);
    EXPECT_THAT(port.mLuns, IsEmpty());
    EXPECT_EQ(textOf(port.mAttributes.NodeWWN), noName);
}

TEST(ScenarioRemotePort, FabricNameIsThatOfThePortThatSeesIt)
{
    Port const port = portWith(
        "fabric_name = \"30:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n");
    EXPECT_EQ(textOf(port.mRemotePorts.at(0).mAttributes.FabricName), "30:00:00:00:00:00:00:01");
}

TEST(ScenarioRemotePort, PortCountsTheRemotePortsItSees)
{
    Port const port = portWith(
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\n");
    EXPECT_EQ(port.mAttributes.NumberofDiscoveredPorts, 2U);
}

TEST(ScenarioRemotePort, TwoPortsMaySeeTheSameRemotePort)
{
    Adapter const adapter =
        adapterWith(std::string(onePort) + oneRemotePort +
                    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n" + oneRemotePort);
    EXPECT_THAT(adapter.mPorts.at(1).mRemotePorts, SizeIs(1));
}

TEST(ScenarioRemotePort, KeepsTheOrderOfAListOfLuns)
{
    RemotePort const port = remotePortWith("lun_addressing = \"flat\"\nluns = [5, 0, 16383]\n");
    EXPECT_EQ(port.mLunAddressing, LunAddressing::flat);
    EXPECT_THAT(port.mLuns, ElementsAre(5, 0, 16383));
}

TEST(ScenarioRemotePort, NumberOfLunsCountsFromZero)
{
    EXPECT_THAT(remotePortWith("luns = 3\n").mLuns, ElementsAre(0, 1, 2));
    EXPECT_THAT(remotePortWith("luns = 0\n").mLuns, IsEmpty());
    EXPECT_EQ(remotePortWith("luns = 16384\n").mLuns.back(), 16383);
}

TEST(ScenarioRemotePort, LunDataHaveDefaults)
{
    LunData const lun = remotePortWith("").mLunData;
    EXPECT_EQ(lun.mVendor, "EXAMPLE");
    EXPECT_EQ(lun.mProduct, "SIMULATED DISK");
    EXPECT_EQ(lun.mRevision, "1.0");
    EXPECT_EQ(lun.mBlockSize, 512U);
    EXPECT_EQ(lun.mBlocks, 2097152U);
    EXPECT_EQ(lun.mDevice, std::nullopt);
}

TEST(ScenarioRemotePort, TableOfALunInheritsFromItsTarget)
{
    RemotePort const port = remotePortWith(
        "inquiry_vendor = \"V\"\ninquiry_product = \"P\"\ninquiry_revision = \"R\"\nblock_size = 4294967295\n"
        "blocks = 0x7fffffffffffffff\nluns = 2\n"
        "[[adapter.port.remote.lun]]\nlun = 1\n"
        "[[adapter.port.remote.lun]]\nlun = 16383\ninquiry_vendor = \"\"\ninquiry_product = \"Q\"\n"
        "inquiry_revision = \"S\"\nblock_size = 0\nblocks = 1\nos_device = \"/dev/sdb\"\n");
    LunData const& inherited = dataOf(1, port);
    EXPECT_EQ(inherited.mVendor, "V");
    EXPECT_EQ(inherited.mProduct, "P");
    EXPECT_EQ(inherited.mRevision, "R");
    EXPECT_EQ(inherited.mBlockSize, 4294967295U);
    EXPECT_EQ(inherited.mBlocks, 0x7fffffffffffffffU);
    LunData const& own = dataOf(16383, port);
    EXPECT_EQ(own.mVendor, "");
    EXPECT_EQ(own.mProduct, "Q");
    EXPECT_EQ(own.mRevision, "S");
    EXPECT_EQ(own.mBlockSize, 0U);
    EXPECT_EQ(own.mBlocks, 1U);
    EXPECT_EQ(own.mDevice, "/dev/sdb");
    EXPECT_EQ(dataOf(0, port).mVendor, "V");
}

TEST(ScenarioRemotePort, TableOfALunAddsItToTheList)
{
    EXPECT_THAT(remotePortWith("luns = [5]\n[[adapter.port.remote.lun]]\nlun = 7\n"
                               "[[adapter.port.remote.lun]]\nlun = 5\n")
                    .mLuns,
                ElementsAre(5, 7));
}

TEST(ScenarioRemotePort, AcceptsALongListOfLunsInOneLine)
{
    std::string list = "0";
    for (int lun = 1; lun < 5000; ++lun)
    {
        list += ", " + std::to_string(lun);
    }
    EXPECT_EQ(remotePortWith("luns = [" + list + "]\n").mLuns, remotePortWith("luns = 5000\n").mLuns);
}

TEST(ScenarioRemotePort, AdapterWithRemotePortMayBeWrittenInOneLine)
{
    ScratchFolder const folder;
    std::string const path = folder.write(
        "scenario.toml",
        "adapter = [{name = \"a\", port = [{port_wwn = \"10:00:00:00:00:00:00:01\", "
        "remote = [{port_wwn = \"50:00:00:00:00:00:00:01\", luns = [4], lun = [{lun = 6}]}]}]}]\n");
    Adapter const adapter = qzsim::readScenario(path).mAdapters.at(0);
    EXPECT_THAT(adapter.mPorts.at(0).mRemotePorts.at(0).mLuns, ElementsAre(4, 6));
}

TEST(ScenarioRemotePort, AcceptsAStringOfDots)
{
    std::string const dots(255, '.');
    EXPECT_EQ(remotePortWith("symbolic_name = \"" + dots + "\"\n").mAttributes.PortSymbolicName, dots);
}
}  // namespace
