#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace
{
/// A target with LUN 0 and LUN 300, whose keys and tables follow.
std::string targetWithTwoLuns(std::string const& aKeys)
{
    return adapterNamed("example-fc-0") + portNumbered(1) +
           "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:00:01\"\nluns = [0, 300]\n" + aKeys;
}

std::string const twoDisks = targetWithTwoLuns(
    "inquiry_vendor = \"EXAMPLE\"\ninquiry_product = \"ARRAY\"\ninquiry_revision = \"0042\"\n"
    "[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"/dev/sda\"\nblocks = 20971520\n"
    "[[adapter.port.remote.lun]]\nlun = 300\nos_device = \"\"\nblock_size = 4096\nblocks = 1\n");

/// A call that returns HBA_STATUS_OK and writes nothing.
std::string noAnswer(std::string const& aCall, unsigned int aNth)
{
    return "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + std::to_string(aNth) + "\nuntouched = true\n";
}

nlohmann::json remotePortOf(ProcessResult const& aResult)
{
    return documentOf(aResult).at("adapters").at(0).at("ports").at(0).at("remote_ports").at(0);
}

nlohmann::json unitsOf(std::string const& aScenario)
{
    return remotePortOf(runAgentOn(aScenario, {"inventory", "--luns", "--json"})).at("luns");
}

/// A scenario with a LUN of so many blocks of 512 bytes.
std::string withBlocks(std::string const& aBlocks) { return targetWithTwoLuns("blocks = " + aBlocks + "\n"); }

TEST(QzagentInventoryLuns, ShowsADeviceAndAProductForEachLun)
{
    ProcessResult const result = runAgentOn(twoDisks, {"inventory", "--luns"});
    EXPECT_THAT(squeezed(result.mOutput),
                HasSubstr("    ├─luns 0, 300\n"
                          "    ├─lun 0 /dev/sda, EXAMPLE ARRAY 0042, 10.00 GiB, 512-byte blocks\n"
                          "    └─lun 300 EXAMPLE ARRAY 0042, 4.00 KiB, 4096-byte blocks\n"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventoryLuns, ContainsADeviceAProductAndACapacityForEachLunInJson)
{
    EXPECT_EQ(unitsOf(twoDisks), nlohmann::json::parse(R"([
        {"lun": 0, "os_device": "/dev/sda", "device_type": "0x00", "vendor": "EXAMPLE", "product": "ARRAY",
         "revision": "0042", "block_size_bytes": 512, "capacity_bytes": 10737418240},
        {"lun": 300, "device_type": "0x00", "vendor": "EXAMPLE", "product": "ARRAY", "revision": "0042",
         "block_size_bytes": 4096, "capacity_bytes": 4096}])"));
}

TEST(QzagentInventoryLuns, PassesLunsBackAsTheLibraryWritesThem)
{
    std::string scenario = twoDisks;
    std::string const table = "[[adapter]]\n";
    scenario.replace(scenario.find(table), table.size(), table + "lun_style = \"integer\"\n");
    EXPECT_EQ(unitsOf(scenario), unitsOf(twoDisks));
}

TEST(QzagentInventoryLuns, ShowsOnlyTheDevicesWithoutTheOption)
{
    ProcessResult const result = runAgentOn(twoDisks, {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("    ├─luns 0, 300\n    └─os devices /dev/sda\n"));
    EXPECT_THAT(result.mOutput, Not(HasSubstr("ARRAY")));
}

TEST(QzagentInventoryLuns, ShowsNoDevicesIfAllAreUnknown)
{
    std::string const output =
        runAgentOn(targetWithTwoLuns("[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"\"\n"
                                     "[[adapter.port.remote.lun]]\nlun = 300\nos_device = \"\"\n"),
                   {"inventory"})
            .mOutput;
    EXPECT_THAT(squeezed(output), HasSubstr("    └─luns 0, 300\n"));
    EXPECT_THAT(output, Not(HasSubstr("devices")));
}

TEST(QzagentInventoryLuns, HasTheLargestCapacityThatTheAnswerHasRoomFor)
{
    EXPECT_EQ(unitsOf(withBlocks("0xffffffff"))[0]["capacity_bytes"], 0xffffffffU * 512ULL);
}

TEST(QzagentInventoryLuns, HasALowerBoundOfTheCapacityForMoreBlocksThanTheAnswerHasRoomFor)
{
    nlohmann::json const lun = unitsOf(withBlocks("0x100000000"))[0];
    EXPECT_EQ(lun["capacity_at_least_bytes"], 2199023255552ULL) << "2 TiB";
    EXPECT_FALSE(lun.contains("capacity_bytes")) << lun;
}

TEST(QzagentInventoryLuns, ShowsALowerBoundOfTheCapacityAsSuch)
{
    std::string const scenario =
        withBlocks("0x200000000") + "[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"/dev/x\"\n";
    EXPECT_THAT(runAgentOn(scenario, {"inventory", "--luns"}).mOutput,
                HasSubstr(" /dev/x, EXAMPLE SIMULATED DISK 1.0, 2.00 TiB or more, 512-byte blocks\n"));
}

TEST(QzagentInventoryLuns, HaveALowerBoundOfTheCapacityIfTheirDeviceDoesNotExist)
{
    // No block device has this name.
    nlohmann::json const lun = unitsOf(targetWithTwoLuns(
        "blocks = 0x100000000\n[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"/dev/qz-none\"\n"))[0];
    EXPECT_TRUE(lun.contains("capacity_at_least_bytes")) << lun;
}

TEST(QzagentInventoryLuns, ShowAFailedCommandAtItsLunAndContinue)
{
    ProcessResult const result =
        runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", "1", "HBA_STATUS_SCSI_CHECK_CONDITION"),
                   {"inventory", "--luns"});
    EXPECT_THAT(squeezed(result.mOutput),
                AllOf(HasSubstr("    ├─lun 0 /dev/sda, 10.00 GiB, 512-byte blocks\n"
                                "    │ └─failed QZCHbaapiEx: HBA_SendScsiInquiry method failed (code 802)\n"
                                "    │   └─cause INQUIRY: CHECK CONDITION, "),
                      HasSubstr("    └─lun 300 EXAMPLE ARRAY 0042, 4.00 KiB, 4096-byte blocks\n")));
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: example-fc-0: 50:00:00:00:ab:00:00:01: LUN 0: QZCHbaapiEx: "
                          "HBA_SendScsiInquiry method failed (code 802): INQUIRY: CHECK CONDITION, "));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryLuns, NameTheLunOfAFailureInTheMessage)
{
    nlohmann::json const document =
        documentOf(runAgentOn(twoDisks + fault("HBA_SendReadCapacity", "2", "HBA_STATUS_ERROR"),
                              {"inventory", "--luns", "--json"}));
    ASSERT_EQ(document["messages"].size(), 1u) << document;
    EXPECT_EQ(document["messages"][0]["lun"], 300);
    EXPECT_EQ(document["messages"][0]["cause"]["function"], "HBA_SendReadCapacity");
    EXPECT_EQ(document["messages"][0]["remote_port"], "50:00:00:00:ab:00:00:01");
    nlohmann::json const luns = document["adapters"][0]["ports"][0]["remote_ports"][0]["luns"];
    EXPECT_FALSE(luns[0].contains("failures")) << luns;
    ASSERT_EQ(luns[1]["failures"].size(), 1u) << luns;
    EXPECT_EQ(luns[1]["failures"][0]["cause"], document["messages"][0]["cause"]);
    EXPECT_EQ(luns[1]["product"], "ARRAY") << luns;
}

TEST(QzagentInventoryLuns, FailIfTheLibraryReturnsOkWithoutAnAnswer)
{
    ProcessResult const result =
        runAgentOn(twoDisks + noAnswer("HBA_SendScsiInquiry", 1) + noAnswer("HBA_SendReadCapacity", 2),
                   {"inventory", "--luns", "--json"});
    nlohmann::json const luns = remotePortOf(result)["luns"];
    EXPECT_EQ(luns[0]["failures"][0]["text"],
              "INQUIRY: no answer, the HBA library left the buffer unchanged");
    EXPECT_EQ(luns[1]["failures"][0]["text"],
              "READ CAPACITY: no answer, the HBA library left the buffer unchanged");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentInventoryLuns, NoteOnceThatTheLibraryDoesNotSupportACommand)
{
    ProcessResult const result =
        runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", R"("1+")", "HBA_STATUS_ERROR_NOT_SUPPORTED") +
                       fault("HBA_SendReadCapacity", R"("1+")", "HBA_STATUS_ERROR_NOT_SUPPORTED"),
                   {"inventory", "--luns"});
    std::string const reasons =
        " failed with status 2: the HBA library does not support the command, or a device file is missing "
        "(errno ENOENT)\n";
    EXPECT_EQ(result.mErrors, "qzagent: note: example-fc-0: INQUIRY" + reasons +
                                  "qzagent: note: example-fc-0: READ CAPACITY" + reasons);
    EXPECT_THAT(squeezed(result.mOutput), AllOf(HasSubstr("─lun 0 /dev/sda\n"), HasSubstr("─lun 300 -\n")));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventoryLuns, AreQueriedOnceIfSeveralPortsDiscoverTheirTarget)
{
    std::string const target = targetNumbered(1, 1);
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + target +
                       "[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"/dev/sda\"\n" + portNumbered(2) +
                       target + "[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"/dev/sdb\"\n" +
                       fault("HBA_SendScsiInquiry", R"("2+")", "HBA_STATUS_ERROR"),
                   {"inventory", "--luns", "--json"});
    EXPECT_EQ(result.mErrors, "");
    nlohmann::json const luns = remotePortOf(result)["luns"];
    ASSERT_EQ(luns.size(), 2u) << luns;
    EXPECT_EQ(luns[0]["os_device"], "/dev/sda");
    EXPECT_EQ(luns[1]["os_device"], "/dev/sdb");
    EXPECT_EQ(luns[0]["product"], luns[1]["product"]);
    EXPECT_EQ(remotePortOf(result)["mapped_luns"], nlohmann::json::array({0}));
}

TEST(QzagentInventoryLuns, SatisfyTheSchema)
{
    EXPECT_TRUE(satisfies(runAgentOn(twoDisks + fault("HBA_SendReadCapacity", "2", "HBA_STATUS_ERROR"),
                                     {"inventory", "--luns", "--json"})
                              .mOutput,
                          "inventory"));
    EXPECT_TRUE(satisfies(runAgentOn(withBlocks("0x100000000"), {"inventory", "--luns", "--json"}).mOutput,
                          "inventory"));
}
}  // namespace
