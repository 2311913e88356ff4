// The commands of qzsimctl, as the simulation answers them.
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/world/Commands.h"
#include "simulator/world/World.h"
#include "toml/TomlValue.h"

using qzsim::Commands;
using qzsim::Strikes;
using qzsim::StrikesFile;
using qzsim::World;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{
constexpr char const* controlledContent =
    "[[adapter]]\nname = \"my adapter\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\nsecond_wwn = "
    "\"10:00:00:00:00:00:00:09\"\n"
    "[[fault]]\nname = \"busy\"\nactive = false\ncall = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 1\n"
    "[[timeline]]\nat_ms = 1000\nset = { number_of_adapters = 9 }\n";

class CommandsFixture : public testing::Test
{
protected:
    std::string answer(std::string const& aCommand) { return mCommands.answer(aCommand, {}); }

    qzsim::Scenario const& scenario() { return *mWorld.at({}); }

    std::string state() { return answer("get adapter[0].port[0].state"); }

    StrikesFile mFile{1};
    Strikes mStrikes{mFile.path(), 1};
    int mEvents = 0;
    World mWorld{tomlfile::readToml("w.toml", controlledContent), {}, [this](qzsim::EventSeries const&) {
                     ++mEvents;
                 }};
    Commands mCommands{mWorld, mStrikes};
};

using ControlCommands = CommandsFixture;

TEST_F(ControlCommands, FaultWithAnUnknownNameIsRefused)
{
    EXPECT_EQ(answer("fault start nope"), "error no fault is named \"nope\"\n");
    EXPECT_EQ(answer("fault end nope"), "error no fault is named \"nope\"\n");
    EXPECT_EQ(answer("fault start busy"), "ok\n");
    EXPECT_EQ(answer("fault end 0"), "ok\n");
}

TEST_F(ControlCommands, VerifyDescribesAFaultInAnyState)
{
    std::string const line =
        " w.toml:8:1: the fault struck 0 of 1 times: call 1 of HBA_OpenAdapter returns "
        "HBA_STATUS_ERROR, inactive at the start\n";
    EXPECT_THAT(answer("verify"), StartsWith(line));
    answer("fault start busy");
    EXPECT_THAT(answer("verify"), StartsWith(line));
    answer("fault start {name = \"added\", call = \"HBA_OpenAdapter\", nth = 7, status = 1}");
    answer("fault end added");
    EXPECT_THAT(answer("verify"), HasSubstr("call 7 of HBA_OpenAdapter returns HBA_STATUS_ERROR\n"));
}

TEST_F(ControlCommands, SetTakesAWordATextOrAnotherValue)
{
    EXPECT_EQ(answer("set adapter[0].port[0].state LINKDOWN"), "ok\n");
    EXPECT_EQ(state(), " \"LINKDOWN\"\nok\n");
    EXPECT_EQ(answer("set adapter[my adapter].port[0].state   \"ONLINE\""), "ok\n");
    EXPECT_EQ(state(), " \"ONLINE\"\nok\n");
    EXPECT_EQ(answer("set adapter[0].port[0].remote [{port_wwn = \"50:00:00:00:00:00:00:01\", luns = 3}]"),
              "ok\n");
    EXPECT_EQ(scenario().mAdapters[0].mPorts[0].mRemotePorts.at(0).mLuns.size(), 3U);
    EXPECT_EQ(answer("set adapter[0].port[0].port_wwn 10:00:00:00:00:00:00:aa"), "ok\n");
}

TEST_F(ControlCommands, GetWritesTomlOrJson)
{
    EXPECT_EQ(answer("get fault[busy]"),
              " {active = false, call = \"HBA_OpenAdapter\", name = \"busy\", nth = 1, status = 1}\nok\n");
    EXPECT_EQ(answer("get-json adapter[0].port"), " [{\"port_wwn\": \"10:00:00:00:00:00:00:01\"}]\nok\n");
}

TEST_F(ControlCommands, RemoveRestoresTheDefault)
{
    answer("set adapter[0].port[0].state OFFLINE");
    EXPECT_EQ(answer("remove adapter[0].port[0].state"), "ok\n");
    EXPECT_EQ(scenario().mAdapters[0].mPorts[0].mAttributes.PortState, HBA_PORTSTATE{HBA_PORTSTATE_ONLINE});
}

TEST_F(ControlCommands, ChangeDoesSeveralThingsAtOnce)
{
    EXPECT_EQ(answer("change {set = {\"adapter[0].port[0].state\" = \"OFFLINE\"}, fault_start = \"busy\"}"),
              "ok\n");
    EXPECT_EQ(state(), " \"OFFLINE\"\nok\n");
    EXPECT_TRUE(scenario().mFaults[0].mIsActive);
}

TEST_F(ControlCommands, FaultStartsAndEnds)
{
    EXPECT_EQ(answer("fault start busy"), "ok\n");
    EXPECT_TRUE(scenario().mFaults[0].mIsActive);
    EXPECT_EQ(answer("fault end busy"), "ok\n");
    EXPECT_FALSE(scenario().mFaults[0].mIsActive);
}

TEST_F(ControlCommands, FaultThatIsNotInTheScenarioIsAdded)
{
    EXPECT_EQ(answer("fault start {name = \"new\", call = \"HBA_LoadLibrary\", nth = \"1+\", status = 1}"),
              "ok\n");
    EXPECT_EQ(scenario().mFaults.at(1).mName, "new");
    EXPECT_TRUE(scenario().mFaults.at(1).mIsActive);
}

TEST_F(ControlCommands, EventNeedsNoBraces)
{
    EXPECT_EQ(answer("event board = 0, category = 1, subcategory = 2"), "ok\n");
    EXPECT_EQ(answer("event {board = 0, category = 1, subcategory = 2}"), "ok\n");
    EXPECT_EQ(mEvents, 2);
}

TEST_F(ControlCommands, EventWithAnAdapterIsOneOfTheHbaApi)
{
    EXPECT_EQ(answer("event adapter = \"my adapter\", type = \"PORT_OFFLINE\", count = 3"), "ok\n");
    EXPECT_EQ(mEvents, 0);
    ASSERT_EQ(mWorld.adapterEvents().size(), 1U);
    EXPECT_EQ(mWorld.adapterEvents()[0].mSeries.mCount, 3U);
    EXPECT_EQ(answer("event adapter = \"other\", type = \"PORT_OFFLINE\""),
              "error value:1:20: expected the name of an adapter, found \"other\"\n");
}

TEST_F(ControlCommands, PauseLastsUntilItIsResumed)
{
    EXPECT_EQ(answer("pause"), "ok\n");
    scenario();
    EXPECT_TRUE(mWorld.isPaused());
    EXPECT_EQ(answer("resume"), "ok\n");
    scenario();
    EXPECT_FALSE(mWorld.isPaused());
}

TEST_F(ControlCommands, CommandsWithoutArgumentsRefuseWords)
{
    EXPECT_EQ(answer("verify extra"), "error expected nothing after verify, found \"extra\"\n");
    EXPECT_EQ(answer("pause 1 2"), "error expected nothing after pause, found \"1 2\"\n");
    EXPECT_EQ(answer("resume now"), "error expected nothing after resume, found \"now\"\n");
    scenario();
    EXPECT_FALSE(mWorld.isPaused());
}

TEST_F(ControlCommands, VerifyListsWhatHasNotHappened)
{
    EXPECT_EQ(answer("verify"),
              " w.toml:8:1: the fault struck 0 of 1 times: call 1 of HBA_OpenAdapter returns "
              "HBA_STATUS_ERROR, inactive "
              "at the start\n w.toml:14:1: the change did not happen: at 1000 ms: set number_of_adapters = "
              "9\nleft\n");
    mStrikes.add(0);
    EXPECT_EQ(mCommands.answer("verify", std::chrono::seconds(1)), "ok\n");
}

TEST_F(ControlCommands, VerifyListsAddedFaults)
{
    mStrikes.add(0);
    answer("fault start {call = \"HBA_LoadLibrary\", nth = \"1-2\", status = 1}");
    mStrikes.add(1);
    EXPECT_EQ(mCommands.answer("verify", std::chrono::seconds(1)),
              " fault[1]: the fault struck 1 of 2 times: calls 1 to 2 of HBA_LoadLibrary return "
              "HBA_STATUS_ERROR\nleft\n");
    mStrikes.add(1);
    EXPECT_EQ(mCommands.answer("verify", std::chrono::seconds(1)), "ok\n");
}

TEST_F(ControlCommands, RefusesMoreAddedFaultsThanAreCounted)
{
    std::string list = "[";
    for (int fault = 0; fault < 1001; ++fault)
    {
        list +=
            "{name = \"f" + std::to_string(fault) + "\", call = \"HBA_LoadLibrary\", nth = 1, status = 1}, ";
    }
    EXPECT_EQ(answer("set fault " + list + "]"), "ok\n");
    EXPECT_EQ(answer("fault start {call = \"HBA_OpenAdapter\", nth = 1, status = 1}"),
              "error expected at most 1000 faults that are added\n");
    EXPECT_EQ(scenario().mFaults.size(), 1001U);
}

TEST_F(ControlCommands, RefusesWhatIsNoCommand)
{
    for (char const* const command : {"", " ", "bogus", "GET x", "getx"})
    {
        EXPECT_THAT(answer(command), StartsWith("error expected a command (get, ")) << command;
    }
    EXPECT_EQ(answer("fault stop x"), "error expected fault start or fault end, found \"stop\"\n");
}

TEST_F(ControlCommands, RefusesABadValueAndKeepsTheWorld)
{
    EXPECT_THAT(answer("set adapter[0].port[0].state DOWN"),
                StartsWith("error value: expected one of UNKNOWN, ONLINE"));
    EXPECT_EQ(answer("set adapter[0].port[0].state"), "error expected a TOML value or a word, found \"\"\n");
    EXPECT_EQ(answer("set adapter[0].port[0].state [1"),
              "error expected a TOML value or a word, found \"[1\"\n");
    EXPECT_EQ(answer("set x y z"), "error expected a TOML value or a word, found \"y z\"\n");
    EXPECT_THAT(answer("change {}"), HasSubstr("expected the key \"set\""));
    EXPECT_THAT(answer("change {pause = true}"), HasSubstr("expected a key of the change (set, remove, "));
    EXPECT_THAT(answer("event board = 5, category = 1, subcategory = 2"), HasSubstr("found 5"));
    EXPECT_EQ(state(), " \"ONLINE\"\nok\n");
}

TEST_F(ControlCommands, AnswersAreOfOneLinePerItemWhateverTheCommandHas)
{
    EXPECT_EQ(answer("get a\x01\t"),
              "error command: the path \"a\\u0001\\u0009\" is not a path such as adapter[0].port[1].state\n");
}
}  // namespace
