// Reading the diagnostic part of a scenario.
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Wwn.h"
#include "tests/simulator/Scenarios.h"

using qzsim::Diagnostics;
using qzsim::EventSeries;
using qzsim::Fault;
using qzsim::Reaction;
using qzsim::Scenario;
using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;

namespace
{
/// @return the event source of a scenario with one board and one source with these lines
EventSeries seriesWith(std::string const& aLines)
{
    return scenarioOf(oneBoard +
                      ("[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\n" + aLines))
        .mDiagnostics.mEvents.at(0);
}

TEST(ScenarioDiagnostics, EmptyScenarioHasDefaultDiagnostics)
{
    Diagnostics const diagnostics = scenarioOf("").mDiagnostics;
    EXPECT_STREQ(diagnostics.mLibraryVersion, "1.0.0");
    EXPECT_STREQ(diagnostics.mDriverVersion, "1.0.0");
    EXPECT_EQ(diagnostics.mRecordVersion, 4);
    EXPECT_EQ(diagnostics.mFeatureList, 0x100U);
    EXPECT_THAT(diagnostics.mBoards, IsEmpty());
    EXPECT_THAT(diagnostics.mEvents, IsEmpty());
}

TEST(ScenarioDiagnostics, ReadsVersionsAndFeatures)
{
    Diagnostics const diagnostics = scenarioOf(
                                        "[diagnostics]\nlibrary_version = \"2\"\n"
                                        "driver_version = \"4.0.12\"\nrecord_version = 255\n"
                                        "feature_list = 0x7fffffffffffffff\n")
                                        .mDiagnostics;
    EXPECT_STREQ(diagnostics.mLibraryVersion, "2");
    EXPECT_STREQ(diagnostics.mDriverVersion, "4.0.12");
    EXPECT_EQ(diagnostics.mRecordVersion, 255);
    EXPECT_EQ(diagnostics.mFeatureList, 0x7fffffffffffffffU);
}

TEST(ScenarioDiagnostics, SummaryHasWhatTheLibraryLacks)
{
    EXPECT_EQ(summaryOf(scenarioOf("[diagnostics]\nlibrary = \"absent\"\n")),
              "0 adapters, 0 faults\nvendor library: absent\n");
    EXPECT_EQ(summaryOf(scenarioOf("[diagnostics]\nlibrary = \"broken\"\n")),
              "0 adapters, 0 faults\nvendor library: broken\n");
    EXPECT_EQ(summaryOf(scenarioOf("[diagnostics]\nlibrary = \"present\"\n"
                                   "missing_functions = [\"VQM_GetLibVer\", \"RegisterForEvent\"]\n"
                                   "required_record_version = 3\n")),
              "0 adapters, 0 faults\nmissing function: VQM_GetLibVer\nmissing function: RegisterForEvent\n"
              "required record version: 3\n");
}

TEST(ScenarioDiagnostics, ReadsFeaturesBeyondTheRangeOfTomlNumbers)
{
    for (char const* const text : {"0xffffffffffffffff", "0xFFFFFFFFFFFFFFFF"})
    {
        EXPECT_EQ(scenarioOf("[diagnostics]\nfeature_list = \"" + std::string(text) + "\"\n")
                      .mDiagnostics.mFeatureList,
                  0xffffffffffffffffU);
    }
    EXPECT_EQ(scenarioOf("[diagnostics]\nfeature_list = \"0x0\"\n").mDiagnostics.mFeatureList, 0U);
}

TEST(ScenarioDiagnostics, ReadsBoardsInFileOrder)
{
    Diagnostics const diagnostics =
        scenarioOf(oneBoard + std::string("[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
                                          "second_wwn = \"10:00:00:00:00:00:00:02\"\n"))
            .mDiagnostics;
    ASSERT_THAT(diagnostics.mBoards, SizeIs(2));
    EXPECT_EQ(qzsim::textOf(diagnostics.mBoards[0].mFirstWwn), "20:00:00:00:00:00:00:00");
    EXPECT_EQ(qzsim::textOf(diagnostics.mBoards[1].mSecondWwn), "10:00:00:00:00:00:00:02");
}

TEST(ScenarioDiagnostics, Accepts32Boards)
{
    EXPECT_THAT(scenarioOf(boards(32)).mDiagnostics.mBoards, SizeIs(32));
}

TEST(ScenarioDiagnostics, EventSourceSendsOneImmediateEventByDefault)
{
    EventSeries const series = seriesWith("");
    EXPECT_EQ(qzsim::textOf(series.mPort), "10:00:00:00:00:00:00:01");
    EXPECT_THAT(series.mPayload, IsEmpty());
    EXPECT_EQ(series.mGeneratedSize, std::nullopt);
    EXPECT_EQ(series.mStartMs, 0U);
    EXPECT_EQ(series.mRate, 1000U);
    EXPECT_EQ(series.mCount, 1U);
}

TEST(ScenarioDiagnostics, ReadsAllKeysOfAnEventSource)
{
    EventSeries const series = seriesWith(
        "port_wwn = \"10:00:00:00:00:00:00:02\"\nsize = 1048576\nat_ms = 4294967295\n"
        "rate = 100000\ncount = 4294967295\n");
    EXPECT_EQ(series.mBoard, 0U);
    EXPECT_EQ(series.mCategory, 3U);
    EXPECT_EQ(series.mSubcategory, 7U);
    EXPECT_EQ(qzsim::textOf(series.mPort), "10:00:00:00:00:00:00:02");
    EXPECT_THAT(series.mGeneratedSize, Optional(1048576U));
    EXPECT_EQ(series.mStartMs, 4294967295U);
    EXPECT_EQ(series.mRate, 100000U);
    EXPECT_EQ(series.mCount, 4294967295U);
}

TEST(ScenarioDiagnostics, PayloadMayContainBlanks)
{
    for (char const* const text : {"01 02 Ff", "0102ff", "  01  02ff "})
    {
        EXPECT_THAT(seriesWith("payload = \"" + std::string(text) + "\"\n").mPayload,
                    ElementsAre(1, 2, 0xff));
    }
    EXPECT_THAT(seriesWith("payload = \"\"\n").mPayload, IsEmpty());
}

TEST(ScenarioDiagnostics, ReadsCallsAndBoardsOfFaults)
{
    std::vector<Fault> const faults =
        scenarioOf(oneBoard + std::string("[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 0\nnth = \"2+\"\n"
                                          "result = 4294967295\n"
                                          "[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = 1\nresult = 0\n"))
            .mFaults;
    EXPECT_THAT(faults, ElementsAre(AllOf(Field(&Fault::mDevice, "0"),
                                          Field(&Fault::mReaction, Field(&Reaction::mAnswer, 4294967295U))),
                                    AllOf(Field(&Fault::mDevice, ""),
                                          Field(&Fault::mReaction, Field(&Reaction::mAnswer, 0U)))));
}

TEST(ScenarioDiagnostics, AllNineDiagnosticCallsMayFail)
{
    for (char const* const call :
         {"VQM_GetLibVer", "VQM_InitDiagEnv", "VQM_FreeDiagEnv", "VQM_GetDrvInfo", "VQM_GetLinkInfo",
          "RegisterForEvent", "unRegisterForEvent", "VQM_QZ_RegisterForEvent", "VQM_QZ_unRegisterForEvent"})
    {
        EXPECT_EQ(nameOf(scenarioOf("[[fault]]\ncall = \"" + std::string(call) + "\"\nnth = 1\nresult = 1\n")
                             .mFaults.at(0)
                             .mCall),
                  call);
    }
}

TEST(ScenarioDiagnostics, SummaryListsBoardsEventSourcesAndFaults)
{
    Scenario const scenario = scenarioOf(
        oneBoard + std::string("[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\nsize = 64\n"
                               "at_ms = 5\ncount = 100\n"
                               "[[diagnostics.event]]\nboard = 0\ncategory = 4\nsubcategory = 0\n"
                               "payload = \"ff\"\nrate = 1\n"
                               "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 0\nnth = 2\nresult = 9\n"
                               "[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = \"1-2\"\nresult = 0\n"));
    EXPECT_EQ(summaryOf(scenario),
              "0 adapters, 1 board, 2 event sources, 2 faults\n"
              "board: 20:00:00:00:00:00:00:00, 10:00:00:00:00:00:00:01\n"
              "event source: 100 events of 64 generated bytes, 1000 per second starting at 5 ms, category 3, "
              "subcategory 7, board 0, port 10:00:00:00:00:00:00:01\n"
              "event source: 1 event of 1 byte, 1 per second starting at 0 ms, category 4, subcategory 0, "
              "board 0, port 10:00:00:00:00:00:00:01\n"
              "fault: call 2 of VQM_GetLinkInfo for board 0 returns 9\n"
              "fault: calls 1 to 2 of VQM_InitDiagEnv return 0\n");
}
}  // namespace
