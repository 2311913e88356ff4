#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/scenario/Statuses.h"
#include "tests/simulator/Scenarios.h"
#include "tests/support/ScratchFolder.h"

using qzsim::Adapter;
using qzsim::Call;
using qzsim::Fault;
using qzsim::Reaction;
using qzsim::Scenario;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{
/// @return the fault of a scenario with one adapter and one fault with these lines
Fault faultWith(std::string const& aLines)
{
    return scenarioOf("[[adapter]]\nname = \"example-fc-0\"\n[[fault]]\n" + aLines).mFaults.at(0);
}

TEST(Scenario, ReadsAdaptersInFileOrder)
{
    Scenario const scenario = scenarioOf("[[adapter]]\nname = \"b\"\n[[adapter]]\nname = \"a\"\n");
    EXPECT_THAT(scenario.mAdapters, ElementsAre(Field(&Adapter::mName, "b"), Field(&Adapter::mName, "a")));
}

TEST(Scenario, FileWithoutTablesIsValid)
{
    Scenario const scenario = scenarioOf("# nothing but a comment\n");
    EXPECT_THAT(scenario.mAdapters, IsEmpty());
    EXPECT_THAT(scenario.mFaults, IsEmpty());
}

TEST(Scenario, EmptyFileIsValid) { EXPECT_THAT(scenarioOf("").mAdapters, IsEmpty()); }

TEST(Scenario, AcceptsAnAdapterNameOfMaximumLength)
{
    std::string const name(255, 'n');
    EXPECT_EQ(scenarioOf("[[adapter]]\nname = \"" + name + "\"\n").mAdapters.at(0).mName, name);
}

TEST(Scenario, ReadsAllKeysOfAFault)
{
    Fault const fault = faultWith(
        "call = \"HBA_GetAdapterName\"\nadapter = \"example-fc-0\"\nnth = 2\n"
        "status = \"HBA_STATUS_ERROR_BUSY\"\n");
    EXPECT_THAT(
        fault, AllOf(Field(&Fault::mCall, Call::getAdapterName), Field(&Fault::mDevice, "example-fc-0"),
                     Field(&Fault::mFirst, 2U), Field(&Fault::mLast, 2U),
                     Field(&Fault::mReaction, Field(&Reaction::mAnswer, HBA_STATUS{HBA_STATUS_ERROR_BUSY}))));
}

TEST(Scenario, ReadsWhatAFaultDoesBeyondItsStatus)
{
    Reaction const reaction =
        faultWith(
            "call = \"HBA_SendReportLUNs\"\nnth = 1\nstatus = \"HBA_STATUS_SCSI_CHECK_CONDITION\"\n"
            "sense_key = 15\nasc = 255\nascq = 254\ndelay_ms = 4294967295\nprints = \"a line\"\n")
            .mReaction;
    ASSERT_TRUE(reaction.mSense);
    EXPECT_EQ(reaction.mSense->mKey, 15U);
    EXPECT_EQ(reaction.mSense->mCode, 255U);
    EXPECT_EQ(reaction.mSense->mQualifier, 254U);
    EXPECT_EQ(reaction.mDelayMs, 4294967295U);
    EXPECT_EQ(reaction.mLongestDelayMs, 4294967295U);
    EXPECT_EQ(reaction.mLine, "a line");
    EXPECT_EQ(faultWith("call = \"HBA_GetFcpTargetMapping\"\nnth = 1\nstatus = 7\ncount = 4294967295\n")
                  .mReaction.mShape.mCount,
              4294967295U);
}

TEST(Scenario, AbsentPartsOfTheSenseDataAreZero)
{
    Reaction const reaction =
        faultWith("call = \"HBA_SendReportLUNs\"\nnth = 1\nstatus = 9\nsense_key = 2\n").mReaction;
    ASSERT_TRUE(reaction.mSense);
    EXPECT_EQ(reaction.mSense->mKey, 2U);
    EXPECT_EQ(reaction.mSense->mCode, 0U);
    EXPECT_EQ(reaction.mSense->mQualifier, 0U);
}

TEST(Scenario, FaultThatOnlyDelaysOrPrintsNeedsNoAnswer)
{
    for (std::string const line : {"delay_ms = 1\n", "prints = \"a\"\n"})
    {
        for (std::string const call : {"HBA_OpenAdapter", "VQM_GetDrvInfo"})
        {
            EXPECT_EQ(faultWith("call = \"" + call + "\"\nnth = 1\n" + line).mReaction.mAnswer, std::nullopt);
        }
    }
}

TEST(Scenario, SummaryNamesWhatAFaultDoesBeyondItsStatus)
{
    auto const summaryWith = [](std::string const& aLines) { return summaryOf(faultWith(aLines)); };
    EXPECT_EQ(summaryWith("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 1\ndelay_ms = 500\n"),
              "call 1 of HBA_OpenAdapter returns HBA_STATUS_ERROR after 500 ms");
    EXPECT_EQ(
        summaryWith("call = \"VQM_GetDrvInfo\"\nnth = \"2+\"\ndelay_ms = 1\nprints = \"a \\\"b\\\"\"\n"),
        "calls 2 and later of VQM_GetDrvInfo answer as usual after 1 ms and print \"a \"b\"\"");
    EXPECT_EQ(summaryWith("call = \"HBA_GetAdapterName\"\nnth = 1\nprints = \"a\"\n"),
              "call 1 of HBA_GetAdapterName answers as usual and prints \"a\"");
    EXPECT_EQ(summaryWith("call = \"HBA_GetAdapterName\"\nnth = 1\nuntouched = true\n"),
              "call 1 of HBA_GetAdapterName returns HBA_STATUS_OK without writing");
    EXPECT_EQ(summaryWith("call = \"HBA_SendReportLUNs\"\nnth = 1\nstatus = 9\nsense_key = 2\nasc = 0x3a\n"),
              "call 1 of HBA_SendReportLUNs returns HBA_STATUS_SCSI_CHECK_CONDITION with sense 2/3A/00");
    EXPECT_EQ(summaryWith("call = \"HBA_GetFcpTargetMapping\"\nnth = 1\nstatus = 7\ncount = 0\n"),
              "call 1 of HBA_GetFcpTargetMapping returns HBA_STATUS_ERROR_MORE_DATA with the count 0");
}

TEST(Scenario, FaultMayPrecedeTheAdapterItNames)
{
    Scenario const scenario = scenarioOf(
        "[[fault]]\ncall = \"HBA_OpenAdapter\"\nadapter = \"a\"\nnth = 1\nstatus = 1\n"
        "[[adapter]]\nname = \"a\"\n");
    EXPECT_THAT(scenario.mFaults, ElementsAre(Field(&Fault::mDevice, "a")));
}

TEST(Scenario, FaultWithoutAdapterAppliesToAllAdapters)
{
    EXPECT_EQ(faultWith("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 1\n").mDevice, "");
}

TEST(Scenario, StatusMayBeANumberWithoutName)
{
    EXPECT_EQ(faultWith("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 4294967295\n").mReaction.mAnswer,
              4294967295U);
}

TEST(Scenario, SeveralFaultsMayCoverTheSameFunction)
{
    Scenario const scenario = scenarioOf(
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n"
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 2\nstatus = 1\n"
        "[[fault]]\ncall = \"HBA_FreeLibrary\"\nnth = 1\nstatus = 1\n");
    EXPECT_THAT(scenario.mFaults, SizeIs(3));
}

TEST(Scenario, StatusNamesAndValuesMatch)
{
    for (HBA_STATUS status = HBA_STATUS_OK; status <= HBA_STATUS_ERROR_TARGET_BUSY; ++status)
    {
        EXPECT_EQ(qzsim::statusNamed(qzsim::nameOf(status)), status) << qzsim::nameOf(status);
    }
    EXPECT_EQ(qzsim::nameOf(HBA_STATUS_ERROR_TARGET_BUSY), "HBA_STATUS_ERROR_TARGET_BUSY");
}

TEST(Scenario, FaultMayCoverARangeOfCalls)
{
    Fault const fault = faultWith("call = \"HBA_OpenAdapter\"\nnth = \"2-4\"\nstatus = 1\n");
    EXPECT_EQ(fault.mFirst, 2U);
    EXPECT_EQ(fault.mLast, 4U);
}

TEST(Scenario, FaultMayCoverAllCallsFromOneOn)
{
    Fault const fault = faultWith("call = \"HBA_OpenAdapter\"\nnth = \"3+\"\nstatus = 1\n");
    EXPECT_EQ(fault.mFirst, 3U);
    EXPECT_EQ(fault.mLast, qzsim::endless);
}

TEST(Scenario, FaultsMayCoverAdjacentRanges)
{
    Scenario const scenario = scenarioOf(
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = \"4+\"\nstatus = 1\n"
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n"
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = \"2-3\"\nstatus = 1\n");
    EXPECT_THAT(scenario.mFaults, SizeIs(3));
}

TEST(Scenario, FaultKnowsItsPositionInTheFile)
{
    ScratchFolder const folder;
    std::string const path = folder.write(
        "scenario.toml", "\n  [[fault]]\n  call = \"HBA_LoadLibrary\"\n  nth = 1\n  status = 1\n");
    EXPECT_EQ(qzsim::readScenario(path).mFaults.at(0).mPlace, path + ":2:3");
}

TEST(Scenario, SummaryHasOneLinePerAdapterAndFault)
{
    Scenario const scenario = scenarioOf(
        "[[adapter]]\nname = \"a\"\n"
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = 7\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\nluns = [3, 9]\n"
        "[[fault]]\ncall = \"HBA_OpenAdapter\"\nadapter = \"a\"\nnth = 3\nstatus = 12\n"
        "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nport_wwn = \"50:00:00:00:00:00:00:02\"\nnth = \"2-3\"\n"
        "status = 10\n"
        "[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = \"1+\"\nstatus = 77\n");
    EXPECT_EQ(summaryOf(scenario),
              "1 adapter, 3 faults\n"
              "adapter: \"a\" with 1 port, 2 remote ports, 9 LUNs\n"
              "fault: call 3 of HBA_OpenAdapter for \"a\" returns HBA_STATUS_ERROR_UNAVAILABLE\n"
              "fault: calls 2 to 3 of HBA_SendReportLUNs to 50:00:00:00:00:00:00:02 return "
              "HBA_STATUS_ERROR_BUSY\n"
              "fault: calls 1 and later of HBA_LoadLibrary return 77\n");
}

TEST(Scenario, SummaryShowsCountsThatDifferFromWhatExists)
{
    EXPECT_EQ(summaryOf(scenarioOf(
                  "number_of_adapters = 7\n[[adapter]]\nname = \"a\"\nnumber_of_ports = 4294967295\n"
                  "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                  "number_of_discovered_ports = 4294967295\n"
                  "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n"
                  "number_of_discovered_ports = 1\n")),
              "1 adapter (reported as 7), 0 faults\n"
              "adapter: \"a\" with 2 ports (reported as 4294967295), 0 remote ports (reported as "
              "4294967296), 0 LUNs\n");
    EXPECT_EQ(summaryOf(scenarioOf("[diagnostics]\nnumber_of_boards = 1\n")),
              "0 adapters, 0 boards (reported as 1), 0 event sources, 0 faults\n");
    EXPECT_EQ(summaryOf(scenarioOf("number_of_adapters = 0\n[diagnostics]\nnumber_of_boards = 0\n")),
              "0 adapters, 0 faults\n");
}

TEST(Scenario, SummaryShowsThatALunIsNotMapped)
{
    EXPECT_EQ(
        summaryOf(scenarioOf("[[adapter]]\nname = \"a\"\n" + std::string(onePort) + oneRemotePort +
                             "luns = 1\n[[adapter.port.remote.lun]]\nlun = 7\nmapped = false\n")),
        "1 adapter, 0 faults\n"
        "adapter: \"a\" with 1 port, 1 remote port, 2 LUNs\n"
        "LUN 7 of 50:00:00:00:00:00:00:01: \"EXAMPLE\", \"SIMULATED DISK\", \"1.0\", 2097152 blocks of 512 "
        "bytes, not mapped\n");
}

TEST(Scenario, SummaryShowsLunDataThatDifferFromTheDefaults)
{
    EXPECT_EQ(
        summaryOf(scenarioOf("[[adapter]]\nname = \"a\"\n" + std::string(onePort) + oneRemotePort +
                             "luns = 2\nblocks = 1\n"
                             "[[adapter.port.remote.lun]]\nlun = 1\nblocks = 2\nos_device = \"/dev/sdb\"\n")),
        "1 adapter, 0 faults\n"
        "adapter: \"a\" with 1 port, 1 remote port, 2 LUNs\n"
        "LUNs of 50:00:00:00:00:00:00:01: \"EXAMPLE\", \"SIMULATED DISK\", \"1.0\", 1 block of 512 bytes\n"
        "LUN 1 of 50:00:00:00:00:00:00:01: \"EXAMPLE\", \"SIMULATED DISK\", \"1.0\", 2 blocks of 512 bytes, "
        "device \"/dev/sdb\"\n");
}

TEST(Scenario, FaultMustStrikeInEachCallAndAtLeastOnceIfEndless)
{
    auto const strikesInFault = [](std::string const& aNth)
    { return strikesIn(faultWith("call = \"HBA_LoadLibrary\"\nnth = " + aNth + "\nstatus = 1\n")); };
    EXPECT_EQ(strikesInFault("5"), 1U);
    EXPECT_EQ(strikesInFault("\"2-4\""), 3U);
    EXPECT_EQ(strikesInFault("\"3+\""), 1U);
}

TEST(Scenario, EveryShippedScenarioIsValid)
{
    int count = 0;
    for (auto const& entry : std::filesystem::directory_iterator(QZSIM_SCENARIOS))
    {
        EXPECT_NO_THROW(qzsim::readScenario(entry.path())) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 7);
}
}  // namespace
