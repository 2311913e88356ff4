// Timelines, names of faults, and what changes are refused.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario/Scenario.h"
#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"

using testing::HasSubstr;

namespace
{
std::string withPort(std::string const& aText)
{
    return std::string("[[adapter]]\nname = \"a\"\n") + onePort + aText;
}

/// The timeline starts at line 5.
std::string errorOfTimeline(std::string const& aLines)
{
    return errorOf(withPort("[[timeline]]\n" + aLines));
}

TEST(ScenarioTimeline, SummaryHasEachChangeInWords)
{
    std::string const summary = summaryOf(scenarioOf(withPort(
        "[[fault]]\nname = \"busy\"\nactive = false\ncall = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 1\n"
        "[[timeline]]\nat_ms = 20\nset = { \"adapter[0].port[0].state\" = \"LINKDOWN\" }\n"
        "remove = \"adapter[0].port[0].state\"\nfault_start = \"busy\"\n"
        "[[timeline]]\nafter_call = \"HBA_OpenAdapter\"\nnth = 3\nfault_end = \"busy\"\n")));
    EXPECT_THAT(summary, HasSubstr("1 adapter, 1 fault, 2 changes\n"));
    EXPECT_THAT(
        summary,
        HasSubstr(
            "fault \"busy\": call 1 of HBA_OpenAdapter returns HBA_STATUS_ERROR, inactive at the start\n"));
    EXPECT_THAT(summary, HasSubstr("timeline: at 20 ms: set adapter[0].port[0].state = \"LINKDOWN\", set "
                                   "fault[busy].active = true, remove adapter[0].port[0].state\n"));
    EXPECT_THAT(summary,
                HasSubstr("timeline: after call 3 of HBA_OpenAdapter: set fault[busy].active = false\n"));
}

TEST(ScenarioTimeline, EntryWithoutANumberFollowsTheFirstCall)
{
    qzsim::Scenario const scenario = scenarioOf(
        withPort("[[timeline]]\nafter_call = \"HBA_LoadLibrary\"\nremove = [\"adapter[0].port[0]\"]\n"));
    EXPECT_EQ(scenario.mTimeline.at(0).mNth, 1U);
    EXPECT_EQ(scenario.mTimeline.at(0).mAtMs, std::nullopt);
}

TEST(ScenarioTimeline, RefusesAnEntryWithoutATimeOrCall)
{
    EXPECT_EQ(errorOfTimeline("set = { a = 1 }\n"),
              "bad.toml:5:1: expected the key \"at_ms\" in this [[timeline]], found none");
}

TEST(ScenarioTimeline, RefusesAnEntryWithATimeAndACall)
{
    EXPECT_EQ(errorOfTimeline("at_ms = 1\nafter_call = \"HBA_OpenAdapter\"\n"),
              "bad.toml:7:14: expected no key \"after_call\" together with the key \"at_ms\", found "
              "\"HBA_OpenAdapter\"");
}

TEST(ScenarioTimeline, RefusesANumberWithoutACall)
{
    EXPECT_EQ(errorOfTimeline("at_ms = 1\nnth = 2\n"),
              "bad.toml:7:7: expected no key \"nth\" without the key \"after_call\", found 2");
}

TEST(ScenarioTimeline, RefusesAnEntryThatChangesNothing)
{
    EXPECT_EQ(errorOfTimeline("at_ms = 1\nset = {}\n"),
              "bad.toml:5:1: expected the key \"set\" in this [[timeline]], found none");
}

TEST(ScenarioTimeline, RefusesAValueWithItsPosition)
{
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nset = { \"adapter[0].port[0].state\" = \"DOWN\" }\n"),
                HasSubstr("bad.toml:7:38: expected one of UNKNOWN, ONLINE, "));
}

TEST(ScenarioTimeline, RefusesAPathThatDoesNotExistWithItsPosition)
{
    EXPECT_EQ(
        errorOfTimeline("at_ms = 1\nremove = \"adapter[0].port[1]\"\n"),
        "bad.toml:7:10: the path \"adapter[0].port[1]\" selects \"1\", but the array has 1 elements and none "
        "with this name");
}

TEST(ScenarioTimeline, ChecksEachEntryAfterThoseBeforeIt)
{
    std::string const add =
        "at_ms = 9\nset = { \"adapter[0].port[+]\" = { port_wwn = \"10:00:00:00:00:00:00:02\" } }\n";
    EXPECT_EQ(errorOfTimeline(add + "[[timeline]]\nat_ms = 9\nset = { \"adapter[0].port[1].fc_id\" = 1 }\n"),
              "(no error)");
    EXPECT_THAT(
        errorOfTimeline("at_ms = 9\nset = { \"adapter[0].port[1].fc_id\" = 1 }\n[[timeline]]\n" + add),
        HasSubstr("selects \"1\", but the array has 1 elements"));
}

TEST(ScenarioTimeline, RefusesToChangeTheAdapters)
{
    std::string const expected = "expected a change that keeps the same adapters in the same order";
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nset = { \"adapter[+]\" = { name = \"b\" } }\n"),
                HasSubstr(expected));
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nset = { \"adapter[0].name\" = \"b\" }\n"), HasSubstr(expected));
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nremove = \"adapter\"\n"),
                HasSubstr("bad.toml:7:10: " + expected));
}

TEST(ScenarioTimeline, RefusesToChangeTheNumberOfBoards)
{
    EXPECT_THAT(
        errorOfTimeline("at_ms = 1\nset = { \"diagnostics.board[+]\" = { first_wwn = "
                        "\"20:00:00:00:00:00:00:00\", second_wwn = \"10:00:00:00:00:00:00:01\" } }\n"),
        HasSubstr("expected a change that keeps the same number of boards"));
}

TEST(ScenarioTimeline, RefusesToChangeTheBehaviour)
{
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nset = { behaviour = \"linux\" }\n"),
                HasSubstr("expected a change that keeps the behaviour"));
}

TEST(ScenarioTimeline, EntriesAreCheckedInTheOrderOfTheirTimes)
{
    std::string const add = "set = { \"adapter[0].port[+]\" = { port_wwn = \"10:00:00:00:00:00:00:05\" } }\n";
    std::string const use = "set = { \"adapter[0].port[1].fc_id\" = 1 }\n";
    EXPECT_EQ(errorOfTimeline("at_ms = 2\n" + use + "[[timeline]]\nat_ms = 1\n" + add), "(no error)");
    EXPECT_THAT(errorOfTimeline("at_ms = 2\n" + add + "[[timeline]]\nat_ms = 1\n" + use),
                HasSubstr("selects \"1\", but the array has 1 elements"));
}

TEST(ScenarioTimeline, ChangeThatNeverTakesEffectIsRefused)
{
    EXPECT_THAT(
        errorOfTimeline("at_ms = 1\nset = { \"diagnostics.library\" = \"absent\" }\n"),
        HasSubstr("expected a change that keeps diagnostics.library, which is read only when the program "
                  "starts"));
    EXPECT_THAT(
        errorOfTimeline("at_ms = 1\nset = { \"diagnostics.missing_functions\" = [\"VQM_GetLinkInfo\"] }\n"),
        HasSubstr("expected a change that keeps diagnostics.missing_functions, which is read only when the "
                  "vendor library is loaded"));
    EXPECT_THAT(
        errorOfTimeline("at_ms = 1\nset = { \"adapter[a].event[+]\" = { type = \"PORT_OFFLINE\" } }\n"),
        HasSubstr("expected a value that can change, but [[adapter.event]] tables are read only when the HBA "
                  "library is loaded"));
}

TEST(ScenarioTimeline, RefusesToRemoveAFault)
{
    EXPECT_THAT(
        errorOf("[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n[[timeline]]\nat_ms = 1\n"
                "remove = \"fault[0]\"\n"),
        HasSubstr("expected a change that keeps all former faults"));
}

TEST(ScenarioTimeline, RefusesToChangeTheTimeline)
{
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nset = { \"timeline[+]\" = { at_ms = 1, fault_end = \"x\" } }\n"),
                HasSubstr("expected a timeline that does not change itself"));
}

TEST(ScenarioTimeline, RefusesToStartAFaultThatDoesNotExist)
{
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nfault_start = \"x\"\n"),
                HasSubstr("bad.toml:7:15: the path \"fault[x].active\""));
}

TEST(ScenarioTimeline, RefusesAnEventOfAnAdapterThatDoesNotExist)
{
    EXPECT_EQ(errorOfTimeline("at_ms = 1\nadapter_event = { adapter = \"z\", type = \"PORT_OFFLINE\" }\n"),
              "bad.toml:7:29: expected the name of an adapter, found \"z\"");
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nadapter_event = { type = \"PORT_OFFLINE\" }\n"),
                HasSubstr("expected the key \"adapter\""));
    EXPECT_THAT(errorOfTimeline("at_ms = 1\nadapter_event = { adapter = \"a\", type = \"PORT\" }\n"),
                HasSubstr("expected one of ADAPTER_UNKNOWN, "));
}

TEST(ScenarioTimeline, RefusesAnEventOfABoardThatDoesNotExist)
{
    EXPECT_EQ(errorOfTimeline("at_ms = 1\nevent = { board = 0, category = 1, subcategory = 2 }\n"),
              "bad.toml:7:19: expected the number of a board of this scenario, found 0");
}

TEST(ScenarioTimeline, RefusesMoreThanAThousandEntries)
{
    std::string text;
    for (int number = 0; number < 1001; ++number)
    {
        text += "[[timeline]]\nat_ms = 1\nset = { number_of_adapters = 1 }\n";
    }
    EXPECT_EQ(errorOf(text), "bad.toml:3001:1: expected at most 1000 tables [[timeline]], found more");
}

TEST(ScenarioFaultNames, FaultsWithNamesMayCoverTheSameCalls)
{
    std::string const fault = "call = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n";
    EXPECT_EQ(errorOf("[[fault]]\n" + fault + "[[fault]]\nname = \"x\"\n" + fault), "(no error)");
}

TEST(ScenarioFaultNames, RefusesANameTwice)
{
    std::string const fault = "[[fault]]\nname = \"x\"\ncall = \"HBA_LoadLibrary\"\nnth = 1\nstatus = 1\n";
    EXPECT_EQ(errorOf(fault + fault), "bad.toml:7:8: expected a name that no other fault has, found \"x\"");
}
}  // namespace
