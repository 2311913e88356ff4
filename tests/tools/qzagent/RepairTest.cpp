#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/pcapng/Bytes.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace
{
constexpr std::uint64_t repairTime = 1'795'337'632'000'000'000;

class QzagentRepair : public testing::Test
{
protected:
    ProcessResult repair(std::string const& aContent, Arguments aArguments = {}) const
    {
        std::filesystem::remove(mNew);
        aArguments.insert(aArguments.begin(),
                          {"repair", mFolder.write("damaged", aContent), "--output", mNew});
        return runAgent(aArguments);
    }

    std::string message(std::string const& aText) const
    {
        return "qzagent: note: " + (mFolder.path() / "damaged").string() + ": " + aText + "\n";
    }

    /// The lines of the repaired capture, which must be whole.
    std::string repaired() const
    {
        ProcessResult const result = runAgent({"show", mNew});
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mExitStatus, 0);
        return result.mOutput;
    }

    ScratchFolder mFolder;
    std::string const mNew = mFolder.path() / "new";
};

class QzagentRepairOrder : public QzagentRepair, public testing::WithParamInterface<bool>
{
protected:
    PcapngBuilder start() const
    {
        return PcapngBuilder(GetParam()).section("h").interface("board 0").interface("board 1");
    }
};

INSTANTIATE_TEST_SUITE_P(BothByteOrders, QzagentRepairOrder, testing::Bool(),
                         [](auto const& aInfo) { return aInfo.param ? "BigEndian" : "LittleEndian"; });

TEST_P(QzagentRepairOrder, CopiesAWholeCaptureUnchanged)
{
    PcapngBuilder capture = start().packet(0, repairTime, plainRecord()).other(0xbad).interface("json", 149);
    capture.packet(2, repairTime, "{}").statistics(1, repairTime, 2, 1);
    ProcessResult const result = repair(capture.content());
    EXPECT_EQ(contentOf(mNew), capture.content());
    EXPECT_EQ(result.mOutput, "wrote 2 records to " + mNew + "; places of damage: 0\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_P(QzagentRepairOrder, RemovesDamageAndInvalidPackets)
{
    PcapngBuilder capture = start().packet(0, repairTime, plainRecord());
    std::size_t const damage = capture.content().size();
    std::string const expected = capture.content();
    capture.raw("damage").packet(1, repairTime, "bad");
    ProcessResult const result = repair(capture.content());
    EXPECT_EQ(contentOf(mNew), expected);
    EXPECT_EQ(
        result.mErrors,
        message("at byte " + std::to_string(damage) + ": no whole block; skipped 6 bytes") +
            message("the packet at byte " + std::to_string(damage + 6) +
                    " has no valid scope data: at byte 0: expected an unsigned integer up to 255, found text "
                    "string 2 (0x62)"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_P(QzagentRepairOrder, ReplacesALostSectionHeader)
{
    PcapngBuilder const capture = start().packet(1, repairTime + 1, plainRecord());
    std::string content = capture.content();
    content[capture.bounds().at(1) - 1] = 'x';
    repair(content);
    EXPECT_EQ(repaired(), "2026-11-22T08:53:52.000000001Z category 3 subcategory 7 length 0\n");
}

TEST_P(QzagentRepairOrder, ReplacesLostInterfaces)
{
    PcapngBuilder const capture = start()
                                      .packet(1, repairTime, plainRecord())
                                      .section("i")
                                      .interface("board 0")
                                      .packet(0, repairTime + 1, plainRecord());
    std::string content = capture.content();
    content[capture.bounds().at(1) + 5] = 'x';
    repair(content);
    EXPECT_EQ(repaired(),
              "2026-11-22T08:53:52.000000000Z category 3 subcategory 7 length 0\n"
              "2026-11-22T08:53:52.000000001Z board 0 category 3 subcategory 7 length 0\n");
}

TEST_P(QzagentRepairOrder, DescribesALostInterfaceWithTheNamesInItsFirstRecord)
{
    PcapngBuilder const capture =
        start().packet(1, repairTime, fullRecord("ab")).packet(0, repairTime, plainRecord());
    std::string content = capture.content();
    content[capture.bounds().at(1) + 5] = 'x';
    repair(content);
    ByteList const header = sectionHeader(GetParam());  // the host is lost too
    std::string const expected = PcapngBuilder(GetParam())
                                     .section("h")
                                     .raw({header.begin(), header.end()})
                                     .unnamed("")
                                     .unnamed("10:00:00:00:c9:00:00:01 50:00:00:00:ab:00:00:01")
                                     .packet(1, repairTime, fullRecord("ab"))
                                     .packet(0, repairTime, plainRecord())
                                     .content();
    EXPECT_EQ(contentOf(mNew), expected);
}

TEST_P(QzagentRepairOrder, KeepsTheNumberOfAnInterfaceThatCannotBeRead)
{
    PcapngBuilder const capture = start().packet(1, repairTime, plainRecord());
    std::string content = capture.content();
    // The length of the first option exceeds the block.
    content[capture.bounds().at(1) + 18] = 'x';
    content[capture.bounds().at(1) + 19] = 'x';
    repair(content);
    EXPECT_EQ(repaired(), "2026-11-22T08:53:52.000000000Z board 1 category 3 subcategory 7 length 0\n");
}

TEST_P(QzagentRepairOrder, KeepsPacketsOfImpossibleInterfacesWithoutABoard)
{
    std::size_t const place = start().content().size();
    ProcessResult const result = repair(start()
                                            .packet(5000, repairTime, plainRecord())
                                            .packet(0, repairTime, plainRecord())
                                            .interface("board 2")
                                            .packet(2, repairTime, plainRecord())
                                            .statistics(5000, repairTime, 1, 1)
                                            .content());
    EXPECT_THAT(result.mErrors, HasSubstr(message("the block at byte " + std::to_string(place) +
                                                  " belongs to interface 5000, which does not exist")));
    EXPECT_THAT(result.mOutput, HasSubstr("wrote 3 records to " + mNew + "; places of damage: 1\n"));
    EXPECT_EQ(repaired(),
              "2026-11-22T08:53:52.000000000Z category 3 subcategory 7 length 0\n"
              "2026-11-22T08:53:52.000000000Z board 0 category 3 subcategory 7 length 0\n"
              "2026-11-22T08:53:52.000000000Z board 2 category 3 subcategory 7 length 0\n"
              "2026-11-22T08:53:52.000000000Z dropped 1 event\n");
}

TEST_P(QzagentRepairOrder, ReplacesASectionHeaderOfAnotherVersion)
{
    PcapngBuilder const capture = start()
                                      .packet(1, repairTime, plainRecord())
                                      .section("i")
                                      .interface("board 5")
                                      .packet(0, repairTime, plainRecord());
    std::string content = capture.content();
    content[capture.bounds().at(4) + 12 + (GetParam() ? 1 : 0)] = '\x85';
    ProcessResult const result = repair(content);
    EXPECT_THAT(result.mOutput, HasSubstr("places of damage: 1\n"));
    EXPECT_EQ(repaired(),
              "2026-11-22T08:53:52.000000000Z board 1 category 3 subcategory 7 length 0\n"
              "2026-11-22T08:53:52.000000000Z board 5 category 3 subcategory 7 length 0\n");
    EXPECT_THAT(contentOf(mNew), Not(HasSubstr("\x85")));
}

TEST_P(QzagentRepairOrder, LeavesOutPacketsWhoseOptionsHaveAWrongLength)
{
    // In the block: the sizes of the option for the number of the packet, and of the end of the options.
    for (std::size_t const place : {std::size_t{34}, std::size_t{46}})
    {
        PcapngBuilder const capture =
            start().packet(0, repairTime, plainRecord()).packet(1, repairTime, plainRecord());
        std::string content = capture.content();
        content[capture.bounds().at(3) + place + (GetParam() ? 1 : 0)] = '\x04';
        ProcessResult const result = repair(content);
        EXPECT_THAT(result.mOutput, HasSubstr("wrote 1 records to " + mNew + "; places of damage: 1\n"))
            << place;
    }
}

TEST_P(QzagentRepairOrder, LeavesOutOtherBlocksThatProgramsMayRefuse)
{
    PcapngBuilder capture = start();
    std::size_t const place = capture.content().size();
    std::string const before = capture.content();
    ByteList const names = ByteMaker(GetParam()).u16(1).u16(60).u32(0).block(4);
    std::string const packet = capture.raw({names.begin(), names.end()})
                                   .packet(1, repairTime, plainRecord())
                                   .content()
                                   .substr(place + names.size());
    ProcessResult const result = repair(capture.content());
    EXPECT_EQ(result.mErrors, message("at byte " + std::to_string(place) +
                                      ": left out a block of type 4 that other programs may refuse"));
    EXPECT_EQ(contentOf(mNew), before + packet);
}

TEST_P(QzagentRepairOrder, CopiesWhatFollowsADamagedStart)
{
    PcapngBuilder const capture = start().packet(1, repairTime, plainRecord());
    for (char const filler : {'\0', ' ', '#', '\x03', 'x', '\xff'})
    {
        std::string content = capture.content();
        content.replace(0, capture.bounds().at(1), std::string(capture.bounds().at(1), filler));
        ProcessResult const result = repair(content);
        EXPECT_THAT(result.mOutput, HasSubstr("wrote 1 records to " + mNew + "; places of damage: 1\n"));
        EXPECT_EQ(result.mExitStatus, 0);
        EXPECT_EQ(repaired(), "2026-11-22T08:53:52.000000000Z category 3 subcategory 7 length 0\n");
    }
}

TEST_F(QzagentRepair, FailsWhenNothingIsWhole)
{
    ProcessResult const result = repair(std::string(100, '\xff'));
    EXPECT_THAT(result.mErrors, HasSubstr("; --format pcapng reads a damaged pcapng file\n"));
    EXPECT_THAT(result.mErrors, HasSubstr("damaged has no whole record\n"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mNew));
}

TEST_F(QzagentRepair, KeepsARecordWhosePayloadHasBlocks)
{
    std::string const capture = PcapngBuilder().section("h").interface("board 0").content();
    EXPECT_THAT(repair(fullRecord(capture)).mOutput, HasSubstr("wrote 1 records"));
    EXPECT_EQ(contentOf(mNew), fullRecord(capture));
}

TEST_F(QzagentRepair, CopiesTheRecordsBeforeDamage)
{
    ProcessResult const result = repair(plainRecord() + fullRecord("ab") + "\x20garbage", {"--json"});
    EXPECT_EQ(contentOf(mNew), plainRecord() + fullRecord("ab"));
    EXPECT_TRUE(satisfies(result.mOutput, "repair"));
    EXPECT_EQ(documentOf(result)["written"], 2);
    EXPECT_EQ(documentOf(result)["damaged"], 1);
    EXPECT_THAT(result.mErrors, HasSubstr("skipped 8 bytes from byte 41 to the end\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentRepair, NeverReplacesAFile)
{
    mFolder.write("new", "mine");
    ProcessResult const result =
        runAgent({"repair", mFolder.write("damaged", plainRecord()), "--output", mNew, "--json"});
    EXPECT_EQ(contentOf(mNew), "mine");
    EXPECT_TRUE(satisfies(result.mOutput, "repair"));
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mNew + ": File exists\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentRepair, LeavesNoFileWhenTheCaptureCannotBeRead)
{
    ProcessResult const result = repair("03 07 f4 00\nzz\n");
    EXPECT_THAT(result.mErrors, HasSubstr("damaged:2:1: expected"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mNew));
    EXPECT_THAT(repair("{\"category\":1}\n").mErrors,
                HasSubstr("has lines of JSON, which qzagent convert reads"));
}

TEST_F(QzagentRepair, ReportsAFullDisk)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    std::string const path = mFolder.write("damaged", fullRecord(std::string(100'000, 'x')));
    ProcessResult const result = runAgentIn("ulimit -f 10; \"$@\"", {"repair", path, "--output", mNew});
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mNew + ": File too large\n");
    EXPECT_FALSE(std::filesystem::exists(mNew));
}

TEST_F(QzagentRepair, EndsOnASignalWhileItWaitsForInput)
{
    ProcessResult const result =
        runAgentIn("mkfifo '" + mNew + ".in'; sleep 600 >'" + mNew +
                       ".in' & sleeper=$!; env --default-signal \"$@\" <'" + mNew +
                       ".in' & agent=$!; until [ -e '" + mNew +
                       "' ]; do sleep 0.05; done; sleep 0.1; kill -INT $agent; wait $agent; status=$?; "
                       "kill $sleeper; "
                       "exit $status",
                   {"repair", "-", "--format", "records", "--output", mNew});
    EXPECT_EQ(result.mErrors, "qzagent: interrupted\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mNew));
}

TEST_F(QzagentRepair, ProtectsTheNewFileFromOtherUsers)
{
    repair(plainRecord());
    EXPECT_EQ(std::filesystem::status(mNew).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}
}  // namespace
