// The world and its journal.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Statistics.h"
#include "simulator/world/Journal.h"
#include "simulator/world/World.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/ScratchFolder.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"
#include "toml/TomlValue.h"

using qzsim::Call;
using qzsim::Journal;
using qzsim::JournalFile;
using qzsim::World;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
using std::chrono::milliseconds;

constexpr char const* twoPortWorld =
    "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
    "[adapter.port.statistics]\ntx_frames = 100\nrx_frames = 7\n"
    "[adapter.port.statistics_per_second]\ntx_frames = 1000\nlip_count = 10\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n";

constexpr char const* boardOfWorld =
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\nsecond_wwn = "
    "\"10:00:00:00:00:00:00:09\"\n";

World worldOf(std::string const& aText, Journal aJournal = {}, World::EventSink aSink = {})
{
    return World(tomlfile::readToml("w.toml", aText), std::move(aJournal), std::move(aSink));
}

qzsim::Change changeOf(std::string const& aTable)
{
    return qzsim::readChange(*tomlfile::readToml("change", "change = " + aTable).find("change"));
}

void set(World& aWorld, std::string const& aPath, std::string const& aValue, World::Time aNow = {})
{
    aWorld.change(changeOf("{set = {\"" + aPath + "\" = " + aValue + "}}"), aNow);
}

std::uint32_t fcId(World& aWorld, World::Time aNow = {})
{
    return aWorld.at(aNow)->mAdapters[0].mPorts[0].mAttributes.PortFcId;
}

HBA_PORTSTATISTICS statistics(World& aWorld, World::Time aNow)
{
    return statisticsAfter(aNow, aWorld.at(aNow)->mAdapters[0].mPorts[0].mStatistics.value());
}

std::string entry(std::string const& aWhen, std::uint32_t aFcId)
{
    return "[[timeline]]\n" + aWhen + "\nset = { \"adapter[0].port[0].fc_id\" = " + std::to_string(aFcId) +
           " }\n";
}

TEST(World, IsTheScenarioBeforeTheFirstChange)
{
    World world = worldOf(twoPortWorld);
    EXPECT_FALSE(world.canChange());
    EXPECT_EQ(world.at(milliseconds(5)).get(), &world.original());
}

TEST(World, EntriesOfTheTimelineHappenAtTheirTimes)
{
    World world =
        worldOf(twoPortWorld + entry("at_ms = 30", 3) + entry("at_ms = 10", 1) + entry("at_ms = 20", 2));
    EXPECT_TRUE(world.canChange());
    EXPECT_EQ(fcId(world, milliseconds(9)), 0U);
    EXPECT_EQ(fcId(world, milliseconds(10)), 1U);
    EXPECT_EQ(fcId(world, milliseconds(29)), 2U);
    EXPECT_EQ(fcId(world, milliseconds(99)), 3U);
}

TEST(World, EntryAfterACallHappensOnce)
{
    World world = worldOf(twoPortWorld + entry("after_call = \"HBA_OpenAdapter\"\nnth = 2", 5));
    world.called(Call::openAdapter, 1, {});
    world.called(Call::loadLibrary, 2, {});
    EXPECT_EQ(fcId(world), 0U);
    world.called(Call::openAdapter, 2, {});
    EXPECT_EQ(fcId(world), 5U);
    set(world, "adapter[0].port[0].fc_id", "6");
    world.called(Call::openAdapter, 2, {});
    EXPECT_EQ(fcId(world), 6U);
}

TEST(World, ScenarioThatACallHoldsDoesNotChange)
{
    World world = worldOf(twoPortWorld);
    std::shared_ptr<qzsim::Scenario const> const held = world.at({});
    set(world, "adapter[0].port[0].fc_id", "6");
    EXPECT_EQ(held->mAdapters[0].mPorts[0].mAttributes.PortFcId, 0U);
    EXPECT_EQ(fcId(world), 6U);
}

TEST(World, EverythingInOneChangeHappensOrNothing)
{
    World world = worldOf(twoPortWorld);
    EXPECT_THROW(
        world.change(
            changeOf("{set = {\"adapter[0].port[0].fc_id\" = 6, \"adapter[0].port[0].state\" = \"X\"}}"), {}),
        tomlfile::TomlError);
    EXPECT_EQ(fcId(world), 0U);
}

TEST(World, ChangeReachesEveryWorldWithTheSameJournal)
{
    JournalFile const file;
    World one = worldOf(twoPortWorld, Journal(file.path()));
    World other = worldOf(twoPortWorld, Journal(file.path()));
    EXPECT_TRUE(other.canChange());
    set(one, "adapter[0].port[0].fc_id", "6");
    EXPECT_EQ(fcId(other), 6U);
    other.change(changeOf("{remove = \"adapter[0].port[0].fc_id\"}"), {});
    EXPECT_EQ(fcId(one), 0U);
    World late = worldOf(twoPortWorld, Journal(file.path()));
    EXPECT_EQ(fcId(late), 0U);
}

TEST(World, WorldsAgreeOnTheOrderOfTimelineAndJournal)
{
    JournalFile const file;
    std::string const text = twoPortWorld + entry("at_ms = 10", 1);
    World one = worldOf(text, Journal(file.path()));
    set(one, "adapter[0].port[0].fc_id", "6", milliseconds(5));
    World late = worldOf(text, Journal(file.path()));
    EXPECT_EQ(fcId(late, milliseconds(50)), 1U);
    EXPECT_EQ(fcId(one, milliseconds(50)), 1U);
}

TEST(World, EntryAfterACallHappensOnceInAllProcesses)
{
    JournalFile const file;
    std::string const text = twoPortWorld + entry("after_call = \"HBA_OpenAdapter\"", 5);
    World one = worldOf(text, Journal(file.path()));
    World other = worldOf(text, Journal(file.path()));
    one.called(Call::openAdapter, 1, {});
    other.called(Call::openAdapter, 1, {});
    EXPECT_EQ(fcId(one), 5U);
    set(one, "adapter[0].port[0].fc_id", "6");
    EXPECT_EQ(fcId(other), 6U);
    EXPECT_THAT(one.pending({}), IsEmpty());
}

TEST(World, LateWorldReadsTheScenarioOnceForAllChanges)
{
    JournalFile const file;
    Journal journal(file.path());
    std::string text = twoPortWorld;
    for (int adapter = 0; adapter < 50; ++adapter)
    {
        text += "[[adapter]]\nname = \"x" + std::to_string(adapter) +
                "\"\n[[adapter.port]]\nport_wwn = \"20:00:00:00:00:00:00:" + std::to_string(10 + adapter) +
                "\"\n";
    }
    constexpr int changes = 1000;
    for (int change = 1; change <= changes; ++change)
    {
        journal.append("0 change {set = {\"adapter[0].port[0].fc_id\" = " + std::to_string(change) + "}}");
    }
    World world = worldOf(text, Journal(file.path()));
    std::clock_t const start = std::clock();
    world.at({});
    double const all = static_cast<double>(std::clock() - start) / changes;
    EXPECT_EQ(fcId(world), static_cast<unsigned int>(changes));
    constexpr int single = 20;
    World other = worldOf(text);
    std::clock_t const singleStart = std::clock();
    for (int change = 1; change <= single; ++change)
    {
        set(other, "adapter[0].port[0].fc_id", std::to_string(change));
    }
    double const one = static_cast<double>(std::clock() - singleStart) / single;
    EXPECT_LT(2 * all, one) << "processor time of a change, in ticks";
}

TEST(World, LateWorldHasTheSameCounters)
{
    JournalFile const file;
    World early = worldOf(twoPortWorld, Journal(file.path()));
    std::string const port = "adapter[0].port[0].";
    set(early, port + "statistics_per_second.tx_frames", "10", milliseconds(1000));
    set(early, port + "statistics_per_second.tx_frames", "20", milliseconds(2000));
    set(early, port + "statistics.lip_count", "3", milliseconds(2500));
    set(early, port + "statistics_per_second.rx_frames", "4", milliseconds(3000));
    World late = worldOf(twoPortWorld, Journal(file.path()));
    for (World* const world : {&early, &late})
    {
        HBA_PORTSTATISTICS const counters = statistics(*world, milliseconds(4500));
        EXPECT_EQ(counters.TxFrames, 100 + 1000 + 10 + 50);
        EXPECT_EQ(counters.LIPCount, 3 + 20);
        EXPECT_EQ(counters.RxFrames, 7 + 6);
    }
}

TEST(World, LateWorldSkipsOnlyTheChangesThatAreNotPossible)
{
    JournalFile const file;
    Journal journal(file.path());
    for (int change = 1; change <= 9; ++change)
    {
        std::string const path =
            change == 4 ? "adapter[5].name" : "adapter[0].port[" + std::to_string(change % 2) + "].fc_id";
        journal.append("0 change {set = {\"" + path + "\" = " + std::to_string(change) + "}}");
    }
    World world = worldOf(twoPortWorld, Journal(file.path()));
    testing::internal::CaptureStderr();
    EXPECT_EQ(world.at({})->mAdapters[0].mPorts[0].mAttributes.PortFcId, 8U);
    std::string const errors = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_EQ(world.at({})->mAdapters[0].mPorts[1].mAttributes.PortFcId, 9U);
}

TEST(World, AppliesEveryChangeAfterMemoryHasRunOut)
{
    std::string const text = twoPortWorld + entry("at_ms = 10", 1);
    bool hasFailed = true;
    for (unsigned int allocation = 1; hasFailed; ++allocation)
    {
        JournalFile const file;
        Journal(file.path()).append("0 change {set = {\"adapter[0].port[1].fc_id\" = 6}}");
        World world = worldOf(text, Journal(file.path()));
        hasFailed = false;
        try
        {
            AllocationFailure const failure(allocation);
            world.at(milliseconds(20));
        }
        catch (std::bad_alloc const&)
        {
            hasFailed = true;
        }
        EXPECT_EQ(fcId(world, milliseconds(20)), 1U) << allocation;
        EXPECT_EQ(world.at(milliseconds(20))->mAdapters[0].mPorts[1].mAttributes.PortFcId, 6U) << allocation;
    }
}

TEST(World, PauseReachesEveryWorld)
{
    JournalFile const file;
    World one = worldOf(twoPortWorld, Journal(file.path()));
    World other = worldOf(twoPortWorld, Journal(file.path()));
    one.pause({});
    other.at({});
    EXPECT_TRUE(other.isPaused());
    one.resume({});
    other.at({});
    EXPECT_FALSE(other.isPaused());
}

TEST(World, IgnoresWhatTheJournalCannotHold)
{
    JournalFile const file;
    Journal(file.path()).append("0 timeline 99");
    Journal(file.path()).append("0 change {set = {\"adapter[5].name\" = 1}}");
    Journal(file.path()).append("0 change }");
    World world = worldOf(twoPortWorld, Journal(file.path()));
    testing::internal::CaptureStderr();
    EXPECT_EQ(fcId(world), 0U);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::StartsWith("libqzsim: a change is not possible: change:1:"));
}

TEST(World, CounterContinuesWhenItsRateChanges)
{
    World world = worldOf(twoPortWorld);
    set(world, "adapter[0].port[0].statistics_per_second.tx_frames", "0", milliseconds(2000));
    EXPECT_EQ(statistics(world, milliseconds(9000)).TxFrames, 2100);
    set(world, "adapter[0].port[0].statistics_per_second.tx_frames", "500", milliseconds(10000));
    EXPECT_EQ(statistics(world, milliseconds(12000)).TxFrames, 3100);
}

TEST(World, CounterGrowsFromTheNumberThatIsSet)
{
    World world = worldOf(twoPortWorld);
    set(world, "adapter[0].port[0].statistics.tx_frames", "100", milliseconds(2000));
    EXPECT_EQ(statistics(world, milliseconds(3000)).TxFrames, 1100);
}

TEST(World, OtherCountersKeepTheFractionsThatTheyHaveGrown)
{
    World world = worldOf(twoPortWorld);
    for (int time = 1; time <= 100; ++time)
    {
        set(world, "adapter[0].port[0].statistics.tx_frames", "0", milliseconds(10 * time));
    }
    EXPECT_EQ(statistics(world, milliseconds(1000)).LIPCount, 10);
    EXPECT_EQ(statistics(world, milliseconds(1000)).RxFrames, 7);
    EXPECT_EQ(statistics(world, milliseconds(1000)).TxFrames, 0);
}

TEST(World, CountersOfFc4TypesContinueToo)
{
    World world = worldOf(
        "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "fc4_statistics_per_second = { input_requests = 10 }\n");
    set(world, "adapter[0].port[0].fc4_statistics_per_second.input_requests", "0", milliseconds(2000));
    EXPECT_EQ(statisticsAfter(milliseconds(9000), *world.at({})->mAdapters[0].mPorts[0].mFc4Statistics)
                  .InputRequests,
              20);
}

/// @return the input requests of LUN 5 of the last target
HBA_INT64 requestsOfLun(World& aWorld, World::Time aNow)
{
    auto const scenario = aWorld.at(aNow);
    auto const& remote = scenario->mAdapters.at(0).mPorts.at(0).mRemotePorts.back();
    return statisticsAfter(aNow, *remote.mOwnLunData.at(5).mStatistics).InputRequests;
}

TEST(World, CountersOfALunContinueToo)
{
    std::string const tables =
        "[[adapter.port.remote.lun]]\nlun = 9\n[[adapter.port.remote.lun]]\nlun = 5\n"
        "fcp_statistics_per_second = { input_requests = 10 }\n";
    World world = worldOf(
        "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\n" +
        tables);
    EXPECT_EQ(requestsOfLun(world, milliseconds(2000)), 20);
    std::string const lun = "adapter[0].port[0].remote[1].lun[1]";
    set(world, lun + ".fcp_statistics.input_requests", "1000", milliseconds(3000));
    EXPECT_EQ(requestsOfLun(world, milliseconds(4000)), 1010);
    set(world, lun + ".fcp_statistics_per_second.input_requests", "0", milliseconds(5000));
    EXPECT_EQ(requestsOfLun(world, milliseconds(9000)), 1020);
    EXPECT_EQ(tomlText(world.valueAt({"", lun + ".fcp_statistics.input_requests"}, milliseconds(9000))),
              "1020");
    set(world, lun + ".fcp_statistics_per_second.input_requests", "1", milliseconds(10000));
    world.change(changeOf("{remove = \"adapter[0].port[0].remote[0]\"}"), milliseconds(11000));
    EXPECT_EQ(requestsOfLun(world, milliseconds(12000)), 1022) << "the position of the target has changed";
    world.change(changeOf("{remove = \"adapter[0].port[0].remote[0].lun[0]\"}"), milliseconds(12000));
    EXPECT_EQ(requestsOfLun(world, milliseconds(13000)), 1023) << "the position of the LUN has changed";
}

TEST(World, CountersOfPortsAndLunsMayDisappear)
{
    World world = worldOf(
        "[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
        "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n");
    set(world, "adapter[0].port[0].remote[0].lun[+]", "{lun = 1, fcp_statistics = {input_requests = 1}}");
    set(world, "adapter[0].port[0].remote[0].lun[0].fcp_statistics.input_requests", "2");
    set(world, "adapter[0].port[0].remote[0].lun", "[]");
    set(world, "adapter[0].port[0].remote", "[]");
    set(world, "adapter[0].port[0].statistics.tx_frames", "1");
    set(world, "adapter[0].port", "[]");
    EXPECT_TRUE(world.at({})->mAdapters[0].mPorts.empty());
}

TEST(World, RemovedStatisticsAreNotSupported)
{
    World world = worldOf(twoPortWorld);
    world.change(
        changeOf(
            "{remove = [\"adapter[0].port[0].statistics\", \"adapter[0].port[0].statistics_per_second\"]}"),
        milliseconds(10));
    EXPECT_FALSE(world.at({})->mAdapters[0].mPorts[0].mStatistics.has_value());
}

TEST(World, NewPortHasCountersThatStartWithIt)
{
    World world = worldOf(twoPortWorld);
    set(world, "adapter[0].port[+]",
        "{port_wwn = \"10:00:00:00:00:00:00:03\", statistics_per_second = {tx_frames = 10}}",
        milliseconds(1000));
    EXPECT_EQ(statisticsAfter(milliseconds(2000), *world.at({})->mAdapters[0].mPorts[2].mStatistics).TxFrames,
              10);
}

TEST(World, CountersOfOtherPortsContinueWhenAPortIsRemoved)
{
    std::string text = "[[adapter]]\nname = \"a\"\n";
    for (int port = 0; port < 4; ++port)
    {
        text += "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:0" + std::to_string(port) +
                "\"\nstatistics = { tx_frames = " + std::to_string(100 * port) +
                " }\nstatistics_per_second = { tx_frames = 10 }\n";
    }
    World world = worldOf(text);
    set(world, "adapter[0].port[2].statistics.tx_frames", "5000", milliseconds(1000));
    set(world, "adapter[0].port[0].statistics.tx_frames", "7000", milliseconds(1000));
    world.change(changeOf("{remove = [\"adapter[0].port[0]\", \"adapter[0].port[0]\"]}"), milliseconds(3000));
    auto const& ports = world.at({})->mAdapters[0].mPorts;
    ASSERT_EQ(ports.size(), 2U);
    EXPECT_EQ(statisticsAfter(milliseconds(4000), *ports[0].mStatistics).TxFrames, 5030);
    EXPECT_EQ(statisticsAfter(milliseconds(4000), *ports[1].mStatistics).TxFrames, 340);
}

TEST(World, ValueOfACounterIsThatToWhichItHasGrown)
{
    World world = worldOf(twoPortWorld);
    EXPECT_EQ(tomlText(world.valueAt({"", "adapter[a].port[0].statistics"}, milliseconds(1000))),
              "{rx_frames = 7, tx_frames = 1100, lip_count = 10}");
    EXPECT_EQ(tomlText(world.valueAt({"", "adapter[a].port[1].port_wwn"}, milliseconds(1000))),
              "\"10:00:00:00:00:00:00:02\"");
}

TEST(World, EventsGoToTheSink)
{
    std::vector<std::uint32_t> categories;
    std::string const text =
        std::string(boardOfWorld) +
        "[[timeline]]\nat_ms = 5\nevent = { board = 0, category = 3, subcategory = 7 }\n";
    World world = worldOf(
        text, {}, [&](qzsim::EventSeries const& aSeries) { categories.push_back(aSeries.mCategory); });
    world.at(milliseconds(4));
    EXPECT_THAT(categories, IsEmpty());
    world.change(changeOf("{event = {board = 0, category = 4, subcategory = 1}}"), milliseconds(6));
    world.at(milliseconds(9));
    EXPECT_THAT(categories, ElementsAre(3, 4));
    World silent = worldOf(text);
    EXPECT_NO_THROW(silent.at(milliseconds(9)));
}

TEST(World, PendingEntriesAreThoseThatHaveNotHappened)
{
    World world =
        worldOf(twoPortWorld + entry("at_ms = 10", 1) + entry("after_call = \"HBA_OpenAdapter\"", 2));
    EXPECT_EQ(world.pending({}).size(), 2U);
    ASSERT_EQ(world.pending(milliseconds(10)).size(), 1U);
    EXPECT_EQ(world.pending(milliseconds(10))[0]->mCall, Call::openAdapter);
}

TEST(World, EntryThatProvesImpossibleIsPending)
{
    World world =
        worldOf(std::string(twoPortWorld) +
                "[[timeline]]\nafter_call = \"HBA_LoadLibrary\"\nset = { \"adapter[0].port[1].fc_id\" = 4 }\n"
                "[[timeline]]\nafter_call = \"HBA_OpenAdapter\"\nremove = \"adapter[0].port[1]\"\n");
    world.called(Call::openAdapter, 1, {});
    world.at({});
    world.called(Call::loadLibrary, 1, {});
    testing::internal::CaptureStderr();
    std::vector<qzsim::TimelineEntry const*> const pending = world.pending({});
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("a change is not possible"));
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_EQ(pending[0]->mCall, Call::loadLibrary);
}

TEST(Journal, LineIsReturnedOnce)
{
    JournalFile const file;
    Journal one(file.path());
    Journal other(file.path());
    one.append("a");
    other.append("b");
    EXPECT_THAT(one.takeNew(), ElementsAre("a", "b"));
    EXPECT_THAT(one.takeNew(), IsEmpty());
    one.append("c");
    EXPECT_THAT(other.takeNew(), ElementsAre("a", "b", "c"));
}

TEST(Journal, IncompleteLineIsReturnedWhenItIsComplete)
{
    ScratchFolder const folder;
    Journal journal(folder.write("journal", "a\nb"));
    EXPECT_THAT(journal.takeNew(), ElementsAre("a"));
    folder.write("journal", "a\nbc\n");
    EXPECT_THAT(journal.takeNew(), ElementsAre("bc"));
}

TEST(Journal, MissingFileHasNoLinesAndTakesNone)
{
    Journal journal("/nonexistent/journal");
    EXPECT_THAT(journal.takeNew(), IsEmpty());
    EXPECT_THROW(journal.append("a"), std::runtime_error);
}

TEST(Journal, FileExistsAsLongAsItsObject)
{
    std::string path;
    {
        JournalFile const file;
        path = file.path();
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(WorldInAPause, ContinuesWhenNobodyKeepsTheJournal)
{
    auto file = std::make_unique<JournalFile>();
    World world = worldOf(twoPortWorld, Journal(file->path()));
    world.pause({});
    world.at({});
    EXPECT_TRUE(world.isPaused());
    file.reset();
    world.at({});
    EXPECT_FALSE(world.isPaused());
}
}  // namespace
