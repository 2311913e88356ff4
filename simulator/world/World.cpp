#include "simulator/world/World.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/scenario/DiagnosticsReader.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/scenario/Statistics.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"

namespace qzsim
{
namespace
{
using tomlfile::TomlValue;

constexpr char const* journalName = "change";
constexpr std::string_view everything = "adapter";

/// Removes a word and the blank after it from the front of the text.
std::string_view takeWord(std::string_view& aText)
{
    std::size_t const length = std::min(aText.find(' '), aText.size());
    std::string_view const word = aText.substr(0, length);
    aText.remove_prefix(std::min(length + 1, aText.size()));
    return word;
}

template <typename Number>
Number numberIn(std::string_view aText)
{
    Number number = 0;
    std::from_chars(aText.data(), aText.data() + aText.size(), number);
    return number;
}

/// @return whether the value at the first path contains that at the second one, or is the same
bool covers(std::string_view aPath, std::string_view aOther)
{
    return aOther.substr(0, aPath.size()) == aPath &&
           (aOther.size() == aPath.size() || aOther[aPath.size()] == '.' || aOther[aPath.size()] == '[');
}
/// Calls the action with each possible counter of a port that the path covers: its path, its statistics and the counter.
/// @param aTable path of the table of these statistics
template <typename Statistics, typename Action>
void forCountersOf(std::string const& aTable, Statistics& aStatistics, std::string_view aPath, Action aAction)
{
    for (auto const& counter : CountersOf<decltype(aStatistics->mStart)>::all)
    {
        std::string const path = fmt::format("{}.{}", aTable, counter.mName);
        if (covers(aPath, path) || covers(aPath, fmt::format("{}_per_second.{}", aTable, counter.mName)))
        {
            aAction(path, aStatistics, counter);
        }
    }
}

/// Same as above, for the ports of all adapters.
template <typename AnyScenario, typename Action>
void forCounters(AnyScenario& aScenario, std::string_view aPath, Action aAction)
{
    for (std::size_t adapter = 0; adapter < aScenario.mAdapters.size(); ++adapter)
    {
        auto& ports = aScenario.mAdapters[adapter].mPorts;
        for (std::size_t port = 0; port < ports.size(); ++port)
        {
            std::string const place = fmt::format("adapter[{}].port[{}].", adapter, port);
            forCountersOf(place + "statistics", ports[port].mStatistics, aPath, aAction);
            forCountersOf(place + "fc4_statistics", ports[port].mFc4Statistics, aPath, aAction);
        }
    }
}

/// Runs the action. Changes were checked before, but their order was not known then.
template <typename Action>
void attempt(Action aAction)
{
    try
    {
        aAction();
    }
    catch (tomlfile::TomlError const& error)
    {
        std::fprintf(stderr, "libqzsim: a change is not possible: %s\n", error.what());
    }
}
}  // namespace

World::World(TomlValue aTree, Journal aJournal, EventSink aSink)
    : mJournal(std::move(aJournal)),
      mSink(std::move(aSink)),
      mTree(std::move(aTree)),
      mContent(tomlText(mTree)),
      mOriginal(std::make_shared<Scenario const>(readScenario(mTree))),
      mScenario(mOriginal),
      mHasHappened(mOriginal->mTimeline.size())
{
    std::vector<TimelineEntry> const& timeline = mOriginal->mTimeline;
    for (std::size_t entry = 0; entry < timeline.size(); ++entry)
    {
        if (timeline[entry].mAtMs)
        {
            mTimed.push_back(entry);
        }
    }
    std::stable_sort(mTimed.begin(), mTimed.end(),
                     [&](std::size_t aOne, std::size_t aOther)
                     { return timeline[aOne].mAtMs < timeline[aOther].mAtMs; });
    std::reverse(mTimed.begin(), mTimed.end());
}

World World::ofEnvironment(EventSink aSink)
{
    char const* const journal = environment(journalVariable);
    return World(readContentOfEnvironment(), journal == nullptr ? Journal() : Journal(journal),
                 std::move(aSink));
}

std::shared_ptr<Scenario const> World::at(Time aNow)
{
    for (std::string const& line : mJournal.takeNew())
    {
        apply(line);
    }
    applyTimeline(aNow);
    return mScenario;
}

void World::called(Call aCall, std::uint64_t aCount, Time aNow)
{
    std::vector<TimelineEntry> const& timeline = mOriginal->mTimeline;
    for (std::size_t entry = 0; entry < timeline.size(); ++entry)
    {
        if (timeline[entry].mCall == aCall && timeline[entry].mNth == aCount && !mHasHappened[entry])
        {
            record(aNow, fmt::format("timeline {}", entry));
        }
    }
}

void World::change(Change const& aChange, Time aNow)
{
    at(aNow);
    std::map<std::string, Time> since;
    result(aChange, aNow, since);  // refuses what is not possible
    record(aNow, "change " + aChange.table());
    at(aNow);
}

TomlValue World::valueAt(ValuePath const& aPath, Time aNow)
{
    at(aNow);
    TomlValue tree = mTree;
    writeCounters(aPath.resolved(mTree), aNow, tree);
    return aPath.valueIn(tree);
}

std::vector<TimelineEntry const*> World::pending(Time aNow)
{
    at(aNow);
    std::vector<TimelineEntry const*> entries;
    for (std::size_t entry = 0; entry < mHasHappened.size(); ++entry)
    {
        if (!mHasHappened[entry])
        {
            entries.push_back(&mOriginal->mTimeline[entry]);
        }
    }
    return entries;
}

void World::record(Time aNow, std::string const& aWhat)
{
    mJournal.append(fmt::format("{} {}", aNow.count(), aWhat));
}

void World::apply(std::string const& aLine)
{
    std::string_view rest = aLine;
    Time const time(numberIn<Time::rep>(takeWord(rest)));
    applyTimeline(time);
    std::string_view const what = takeWord(rest);
    if (what == "timeline")
    {
        happen(numberIn<std::size_t>(rest), time);
    }
    else if (what == "change")
    {
        attempt(
            [&]
            {
                TomlValue const tree = tomlfile::readToml(journalName, "change = " + std::string(rest));
                apply(readChange(*tree.find("change")), time);
            });
    }
    else
    {
        mIsPaused = what == "pause";
    }
}

void World::applyTimeline(Time aNow)
{
    while (!mTimed.empty())
    {
        Time const time = std::chrono::milliseconds(*mOriginal->mTimeline[mTimed.back()].mAtMs);
        if (time > aNow)
        {
            return;
        }
        happen(mTimed.back(), time);
        mTimed.pop_back();
    }
}

void World::happen(std::size_t aEntry, Time aNow)
{
    // Several processes may count to the number of the entry.
    if (aEntry < mHasHappened.size() && !mHasHappened[aEntry])
    {
        mHasHappened[aEntry] = true;
        attempt([&] { apply(mOriginal->mTimeline[aEntry].mChange, aNow); });
    }
}

void World::apply(Change const& aChange, Time aNow)
{
    if (aChange.mSettings.empty() && aChange.mRemovals.empty() && aChange.mEvent)
    {
        // Programs start late: they apply all changes so far, most of which may be events.
        EventSeries const series = readEvent(*aChange.mEvent, mScenario->mDiagnostics);
        if (mSink)
        {
            mSink(series);
        }
        return;
    }
    std::map<std::string, Time> since = mSince;
    ChangedScenario changed = result(aChange, aNow, since);
    mTree = std::move(changed.mTree);
    mScenario = std::make_shared<Scenario const>(std::move(changed.mScenario));
    mSince = std::move(since);
    if (changed.mEvent && mSink)
    {
        mSink(*changed.mEvent);
    }
}

ChangedScenario World::result(Change const& aChange, Time aNow, std::map<std::string, Time>& aSince) const
{
    std::vector<std::string> paths;
    for (Setting const& setting : aChange.mSettings)
    {
        paths.push_back(setting.mPath.resolved(mTree));
    }
    for (ValuePath const& path : aChange.mRemovals)
    {
        paths.push_back(path.resolved(mTree));
    }
    TomlValue tree = mTree;
    for (std::string const& path : paths)
    {
        writeCounters(path, aNow, tree);
    }
    ChangedScenario changed = qzsim::changed(tree, *mScenario, aChange);
    for (std::string const& path : paths)
    {
        forCounters(changed.mScenario, path,
                    [&](std::string const& aCounter, auto const&, auto const&) { aSince[aCounter] = aNow; });
    }
    forCounters(changed.mScenario, everything,
                [&](std::string const& aPath, auto& aStatistics, auto const& aCounter)
                {
                    auto const since = aSince.find(aPath);
                    if (aStatistics && since != aSince.end())
                    {
                        aStatistics->mSince.*aCounter.mField = since->second.count();
                    }
                });
    return changed;
}

void World::writeCounters(std::string const& aPath, Time aNow, TomlValue& aTree) const
{
    forCounters(*mScenario, aPath,
                [&](std::string const& aCounterPath, auto const& aStatistics, auto const& aCounter)
                {
                    if (aStatistics && aStatistics->mPerSecond.*aCounter.mField != 0)
                    {
                        auto const present = statisticsAfter(aNow, *aStatistics);
                        ValuePath(journalName, aCounterPath)
                            .set(aTree, {journalName, TomlValue::Number(present.*aCounter.mField)});
                    }
                });
}

void waitInPause(std::unique_lock<std::mutex>& aLock)
{
    constexpr std::chrono::milliseconds moment(5);
    aLock.unlock();
    std::this_thread::sleep_for(moment);
    aLock.lock();
}
}  // namespace qzsim
