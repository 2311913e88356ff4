#include <regex>
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
using testing::StartsWith;

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

TEST(QzagentInventoryLuns, AreWrappedOnlyAfterAComma)
{
    std::string const device = "/dev/disk/by-path/fc-0x5000000000000001-lun-0";
    std::string const scenario =
        targetWithTwoLuns("[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"" + device + "\"\n");
    EXPECT_THAT(runAgentOn(scenario, {"inventory", "--luns"}).mOutput,
                HasSubstr("    ├─lun 0             " + device +
                          ", EXAMPLE SIMULATED DISK 1.0,\n"
                          "    │                   1.00 GiB, 512-byte blocks\n"));
}

TEST(QzagentInventoryLuns, AreWrappedInTheirDeviceOnlyIfItIsLongerThanALine)
{
    std::string const device = "/dev/" + std::string(200, 'x');
    std::string const scenario =
        targetWithTwoLuns("[[adapter.port.remote.lun]]\nlun = 0\nos_device = \"" + device + "\"\n");
    std::string const output = runAgentOn(scenario, {"inventory", "--luns"}).mOutput;
    EXPECT_THAT(output, HasSubstr("    ├─lun 0             /dev/" + std::string(71, 'x') + "\n" +
                                  "    │                   " + std::string(76, 'x') + "\n" +
                                  "    │                   " + std::string(53, 'x') +
                                  ",\n    │                   EXAMPLE SIMULATED DISK 1.0, 1.00 GiB, "
                                  "512-byte blocks\n"));
}

TEST(QzagentInventoryLuns, HaveTheirDevicesWithoutTheOptionHoweverManyThereAre)
{
    std::string text;
    std::string expected;
    for (int lun = 0; lun < 40; lun += 2)
    {
        std::string const device = "/dev/sd" + std::string(1, static_cast<char>('a' + lun / 2));
        text += "[[adapter.port.remote.lun]]\nlun = " + std::to_string(lun) + "\nos_device = \"" + device +
                "\"\n";
        expected += (lun == 0 ? "" : ", ") + std::to_string(lun) + ": " + device;
    }
    std::string const output =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) +
                       "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:00:01\"\n" + text,
                   {"inventory"})
            .mOutput;
    std::string const item = "─os devices ";
    ASSERT_THAT(output, HasSubstr(item));
    EXPECT_EQ(withSingleBlanks(std::regex_replace(output.substr(output.find(item) + item.size()),
                                                  std::regex("\n *"), " ")),
              " " + expected + " ");
}

TEST(QzagentInventoryLuns, HaveANoteIfLun0IsNotMappedAndTheTargetDoesNotAnswer)
{
    std::string const target = adapterNamed("example-fc-0") + portNumbered(1) +
                               "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:00:00:01\"\n";
    std::string const failing = fault("HBA_SendReportLUNs", R"("1+")", "HBA_STATUS_ERROR");
    std::string const note =
        "example-fc-0: 50:00:00:00:ab:00:00:01: the adapter maps no LUN 0 of the target, and some HBA "
        "libraries send "
        "REPORT LUNS only to LUN 0";
    ProcessResult const result = runAgentOn(target + "luns = [1, 2]\n" + failing, {"inventory", "--json"});
    nlohmann::json const messages = documentOf(result)["messages"];
    ASSERT_EQ(messages.size(), 2u) << messages;
    EXPECT_EQ(messages[0]["severity"], "error");
    EXPECT_EQ(messages[1]["severity"], "note");
    EXPECT_EQ(messages[1]["text"], note);
    EXPECT_THAT(runAgentOn(target + "luns = [1, 2]\n" + failing, {"inventory"}).mErrors,
                HasSubstr("\nqzagent: note: " + note + "\n"));
    EXPECT_THAT(runAgentOn(target + "luns = [0, 1]\n" + failing, {"inventory"}).mErrors,
                Not(HasSubstr("note")));
    EXPECT_EQ(runAgentOn(target + "luns = [1, 2]\n", {"inventory"}).mErrors, "") << "the target answers";
}

TEST(QzagentInventoryLuns, ShowsOnlyTheDevicesWithoutTheOption)
{
    ProcessResult const result = runAgentOn(twoDisks, {"inventory"});
    EXPECT_THAT(squeezed(result.mOutput), HasSubstr("    ├─luns 0, 300\n    └─os devices 0: /dev/sda\n"));
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
        runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", R"("1-2")", "HBA_STATUS_SCSI_CHECK_CONDITION"),
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

TEST(QzagentInventoryLuns, AnswerACommandThatIsRepeatedAfterAUnitAttention)
{
    std::string const reset = "sense_key = 6\nasc = 0x29\nascq = 0\n";
    ProcessResult const result =
        runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", "1", "HBA_STATUS_SCSI_CHECK_CONDITION", reset) +
                       fault("HBA_SendReadCapacity", "2", "HBA_STATUS_SCSI_CHECK_CONDITION", reset),
                   {"inventory", "--luns", "--json"});
    EXPECT_EQ(remotePortOf(result)["luns"], unitsOf(twoDisks));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventoryLuns, AnswerACommandThatIsRepeatedAfterTheLibraryWasBusy)
{
    ProcessResult const result =
        runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", "2", "HBA_STATUS_ERROR_BUSY") +
                       fault("HBA_SendReadCapacity", "1", "HBA_STATUS_ERROR_BUSY"),
                   {"inventory", "--luns", "--json"});
    EXPECT_EQ(remotePortOf(result)["luns"], unitsOf(twoDisks));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentInventoryLuns, HaveTheNumberOfTheRepeatedCallInTheCauseOfTheFailure)
{
    auto const callOf = [](char const* aNth, char const* aStatus)
    {
        return unitsOf(twoDisks + fault("HBA_SendReadCapacity", aNth, aStatus))
            .at(0)["failures"]
            .at(0)["cause"]["call"]
            .get<int>();
    };
    int const notRepeated = callOf("1", "HBA_STATUS_ERROR");
    EXPECT_EQ(callOf(R"("1-2")", "HBA_STATUS_ERROR_BUSY"), notRepeated + 1);
    EXPECT_EQ(callOf(R"("1-2")", "HBA_STATUS_SCSI_CHECK_CONDITION"), notRepeated + 1);
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

/// An incomplete list must not make the other LUNs seem not to be reported.
TEST(QzagentInventoryLuns, AreNotReportedByAListThatEndsWithinALun)
{
    ProcessResult const result =
        runAgentOn(adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 2) +
                       "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = \"1+\"\nlist_length = 12\n",
                   {"inventory", "--json"});
    nlohmann::json const remotePort = documentOf(result)["adapters"][0]["ports"][0]["remote_ports"][0];
    EXPECT_FALSE(remotePort.contains("reported_luns")) << remotePort;
    EXPECT_EQ(remotePort["failures"].size(), 1u) << remotePort;
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

TEST(QzagentInventoryLuns, FailIfACommandIsNotSupportedForOneOfThem)
{
    for (char const* const nth : {"1", "2"})
    {
        ProcessResult const result =
            runAgentOn(twoDisks + fault("HBA_SendScsiInquiry", nth, "HBA_STATUS_ERROR_NOT_SUPPORTED"),
                       {"inventory", "--luns", "--json"});
        nlohmann::json const luns = remotePortOf(result)["luns"];
        bool const isFirst = *nth == '1';
        nlohmann::json const& failed = luns.at(isFirst ? 0 : 1);
        nlohmann::json const& answered = luns.at(isFirst ? 1 : 0);
        EXPECT_EQ(failed["failures"].at(0)["text"], "HBA_SendScsiInquiry method failed");
        EXPECT_EQ(failed["failures"].at(0)["cause"]["status_name"], "ENOENT");
        EXPECT_THAT(failed["failures"].at(0)["cause"]["text"],
                    StartsWith("errno ENOENT (2), No such file or directory in call "));
        EXPECT_TRUE(failed.contains("capacity_bytes")) << failed;
        EXPECT_EQ(answered["product"], "ARRAY");
        EXPECT_FALSE(answered.contains("failures")) << answered;
        EXPECT_EQ(documentOf(result)["messages"].size(), 1u) << "an error, and no note";
        EXPECT_EQ(result.mExitStatus, 1);
    }
}

TEST(QzagentInventoryLuns, FailIfACommandIsNotSupportedForOneAndFailsForAnother)
{
    ProcessResult const result =
        runAgentOn(twoDisks + fault("HBA_SendReadCapacity", "1", "HBA_STATUS_ERROR_NOT_SUPPORTED") +
                       fault("HBA_SendReadCapacity", "2", "HBA_STATUS_ERROR"),
                   {"inventory", "--luns", "--json"});
    nlohmann::json const messages = documentOf(result)["messages"];
    ASSERT_EQ(messages.size(), 2u) << messages;
    EXPECT_EQ(messages[0]["lun"], 0);
    EXPECT_EQ(messages[0]["cause"]["status_name"], "ENOENT");
    EXPECT_EQ(messages[1]["lun"], 300);
    EXPECT_EQ(messages[1]["cause"]["status_name"], "HBA_STATUS_ERROR");
    EXPECT_EQ(result.mExitStatus, 1);
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
