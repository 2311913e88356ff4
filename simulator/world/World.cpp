#include "simulator/world/World.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/control/Strikes.h"
#include "simulator/scenario/AdapterEventReader.h"
#include "simulator/scenario/Defaults.h"
#include "simulator/scenario/DiagnosticsReader.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/scenario/Statistics.h"
#include "simulator/scenario/TimelineReader.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"

namespace qzsim
{
namespace
{
using tomlfile::TomlValue;

constexpr char const* journalName = "change";

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

std::string nameOfRates(std::string const& aTable) { return aTable + "_per_second"; }

TomlValue const* entryIn(TomlValue const* aTable, std::string_view aKey)
{
    return aTable != nullptr && aTable->is<TomlValue::Table>() ? aTable->find(aKey) : nullptr;
}

TomlValue::Array const& elementsIn(TomlValue const* aArray)
{
    static TomlValue::Array const none;
    return aArray != nullptr && aArray->is<TomlValue::Array>() ? aArray->as<TomlValue::Array>("an array")
                                                               : none;
}

/// An element of the tree, and its path.
struct Element
{
    std::string mPath;
    TomlValue const* mTable;
};

/// @return the elements of an array in these tables that the path covers, or that are on the way to it
std::vector<Element> elementsOf(std::vector<Element> const& aOwners, char const* aArray,
                                std::string_view aPath)
{
    std::vector<Element> elements;
    for (Element const& owner : aOwners)
    {
        std::size_t index = 0;
        for (TomlValue const& table : elementsIn(entryIn(owner.mTable, aArray)))
        {
            std::string path =
                fmt::format("{}{}{}[{}]", owner.mPath, owner.mPath.empty() ? "" : ".", aArray, index++);
            if (covers(aPath, path) || covers(path, aPath))
            {
                elements.push_back({std::move(path), &table});
            }
        }
    }
    return elements;
}

template <typename Record, typename Action>
void forCountersOf(std::vector<Element> const& aOwners, std::string const& aTable, std::string_view aPath,
                   Action aAction)
{
    for (Element const& owner : aOwners)
    {
        for (auto const& counter : CountersOf<Record>::all)
        {
            std::string const path = fmt::format("{}.{}.{}", owner.mPath, aTable, counter.mName);
            if (covers(aPath, path) ||
                covers(aPath, fmt::format("{}.{}.{}", owner.mPath, nameOfRates(aTable), counter.mName)))
            {
                aAction(path, aTable, counter.mName, *owner.mTable);
            }
        }
    }
}

constexpr char const* portTable = "statistics";
constexpr char const* fc4Table = "fc4_statistics";
constexpr char const* lunTable = "fcp_statistics";

/// Calls the action with each possible counter in the tree that the path covers: its path, its table, its name, and the
/// port or LUN.
template <typename Action>
void forCounters(TomlValue const& aTree, std::string_view aPath, Action aAction)
{
    auto const ports = elementsOf(elementsOf({{"", &aTree}}, "adapter", aPath), "port", aPath);
    auto const luns = elementsOf(elementsOf(ports, "remote", aPath), "lun", aPath);
    forCountersOf<HBA_PORTSTATISTICS>(ports, portTable, aPath, aAction);
    forCountersOf<HBA_FC4STATISTICS>(ports, fc4Table, aPath, aAction);
    forCountersOf<HBA_FC4STATISTICS>(luns, lunTable, aPath, aAction);
}

TomlValue::Number numberOfCounter(TomlValue const& aOwner, std::string const& aTable, char const* aCounter)
{
    TomlValue const* const number = entryIn(entryIn(&aOwner, aTable), aCounter);
    return number != nullptr && number->is<TomlValue::Number>() ? number->as<TomlValue::Number>("a number")
                                                                : 0;
}

using Since = std::map<std::string, World::Time>;

/// Writes the numbers that the counters have grown to into the tree.
/// @param aPath only counters that this path covers
void writeCounters(std::string const& aPath, World::Time aNow, Since const& aSince, TomlValue& aTree)
{
    std::map<std::string, TomlValue::Number> numbers;
    forCounters(aTree, aPath,
                [&](std::string const& aCounter, std::string const& aTable, char const* aName,
                    TomlValue const& aOwner)
                {
                    auto const rate =
                        static_cast<std::uint32_t>(numberOfCounter(aOwner, nameOfRates(aTable), aName));
                    auto const since = aSince.find(aCounter);
                    World::Time const age = aNow - (since == aSince.end() ? World::Time() : since->second);
                    // A counter that the same change has set or removed has not grown.
                    if (rate != 0 && age != World::Time())
                    {
                        numbers[aCounter] = counterAfter(age, numberOfCounter(aOwner, aTable, aName), rate);
                    }
                });
    for (auto const& [counter, number] : numbers)
    {
        ValuePath(journalName, counter).set(aTree, {journalName, TomlValue::Number(number)});
    }
}

/// @return the times of the counters after the removal of this element of an array: the elements behind it move
Since withoutElement(std::string const& aPath, Since const& aSince)
{
    std::size_t const start = aPath.rfind('[') + 1;
    std::string_view const array = std::string_view(aPath).substr(0, start);
    auto const removed = numberIn<std::size_t>(std::string_view(aPath).substr(start));
    Since left;
    for (auto const& [counter, time] : aSince)
    {
        if (std::string_view(counter).substr(0, start) != array)
        {
            left[counter] = time;
            continue;
        }
        std::string_view rest = std::string_view(counter).substr(start);
        auto const position = numberIn<std::size_t>(rest);
        rest.remove_prefix(rest.find(']'));
        if (position != removed)
        {
            left[fmt::format("{}{}{}", array, position - (position > removed ? 1 : 0), rest)] = time;
        }
    }
    return left;
}

/// Sets or removes one value.
/// @param aPath  of the value
/// @param aSince receives the time of each counter that this sets
void editWithCounters(Change const& aStep, std::string const& aPath, World::Time aTime, TomlValue& aTree,
                      Since& aSince)
{
    writeCounters(aPath, aTime, aSince, aTree);
    edit(aStep, aTree);
    if (!aStep.mRemovals.empty() && aPath.back() == ']')
    {
        aSince = withoutElement(aPath, aSince);
        return;
    }
    forCounters(aTree, aPath, [&](std::string const& aCounter, auto const&...) { aSince[aCounter] = aTime; });
}

/// Makes a change in the tree. Each step can move the elements that the next one selects.
/// @param aSince receives the time of each counter that the change sets
void editWithCounters(Change const& aChange, World::Time aTime, TomlValue& aTree, Since& aSince)
{
    for (Setting const& setting : aChange.mSettings)
    {
        Change step;
        step.mSettings.push_back(setting);
        editWithCounters(step, setting.mPath.resolved(aTree), aTime, aTree, aSince);
    }
    for (ValuePath const& path : aChange.mRemovals)
    {
        Change step;
        step.mRemovals.push_back(path);
        editWithCounters(step, path.resolved(aTree), aTime, aTree, aSince);
    }
}

/// @return the numbers in the brackets of a path
std::vector<std::size_t> positionsIn(std::string_view aPath)
{
    std::vector<std::size_t> positions;
    for (std::size_t start = aPath.find('['); start != std::string_view::npos;
         start = aPath.find('[', start + 1))
    {
        positions.push_back(numberIn<std::size_t>(aPath.substr(start + 1)));
    }
    return positions;
}

/// Gives the counter with this path its time, if it is one of the table.
template <typename Record>
void stampCounter(std::string_view aPath, World::Time aTime, char const* aTable,
                  std::optional<GrowingCounters<Record>>& aStatistics)
{
    std::string_view const name = aPath.substr(aPath.rfind(']') + 1);
    for (auto const& counter : CountersOf<Record>::all)
    {
        if (aStatistics && name == fmt::format(".{}.{}", aTable, counter.mName))
        {
            aStatistics->mSince.*counter.mField = aTime.count();
        }
    }
}

template <typename Owned>
Owned* elementAt(std::vector<Owned>& aElements, std::size_t aIndex)
{
    return aIndex < aElements.size() ? &aElements[aIndex] : nullptr;
}

/// Gives each counter of the scenario the time since which it grows. The ports and LUNs of some times may be gone.
void stampCounters(Since const& aSince, Scenario& aScenario)
{
    for (auto const& [path, time] : aSince)
    {
        std::vector<std::size_t> const positions =
            positionsIn(path);  // of adapter, port, remote port and LUN table
        Port* const port = elementAt(aScenario.mAdapters[positions[0]].mPorts, positions[1]);
        RemotePort* const remotePort =
            port == nullptr || positions.size() == 2 ? nullptr : elementAt(port->mRemotePorts, positions[2]);
        if (remotePort != nullptr && positions[3] < remotePort->mLunTables.size())
        {
            LunData& data = remotePort->mOwnLunData.at(remotePort->mLunTables[positions[3]]);
            stampCounter(path, time, lunTable, data.mStatistics);
        }
        else if (port != nullptr)
        {
            stampCounter(path, time, portTable, port->mStatistics);
            stampCounter(path, time, fc4Table, port->mFc4Statistics);
        }
    }
}

bool isEdit(Change const& aChange) { return !aChange.mSettings.empty() || !aChange.mRemovals.empty(); }

/// Changes were checked before, but their order was not known then.
void reportImpossible(tomlfile::TomlError const& aError)
{
    std::fprintf(stderr, "libqzsim: a change is not possible: %s\n", aError.what());
}
}  // namespace

World::World(TomlValue aTree, Journal aJournal, EventSink aSink)
    : mJournal(std::move(aJournal)),
      mSink(std::move(aSink)),
      mState{std::move(aTree), nullptr},
      mContent(tomlText(mState.mTree)),
      mOriginal(std::make_shared<Scenario const>(readScenario(mState.mTree))),
      mTimed(timedEntries(mOriginal->mTimeline)),
      mHasHappened(mOriginal->mTimeline.size()),
      mIsImpossible(mOriginal->mTimeline.size())
{
    mState.mScenario = mOriginal;
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
    mAdapterEvents.clear();
    applyLines();
    mLines = mJournal.takeNew();
    std::reverse(mLines.begin(), mLines.end());
    applyLines();
    // If qzsim is gone, nothing can end the pause.
    mIsPaused = mIsPaused && mJournal.isKept();
    applyTimeline(aNow);
    if (!mDue.empty())
    {
        apply(mDue);
        mDue.clear();
    }
    return mState.mScenario;
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
    Events events;
    result({{aChange, aNow}}, events);  // refuses what is not possible
    record(aNow, "change " + aChange.table());
    at(aNow);
}

TomlValue World::valueAt(ValuePath const& aPath, Time aNow)
{
    at(aNow);
    TomlValue tree = mState.mTree;
    writeCounters(aPath.resolved(tree), aNow, mState.mSince, tree);
    return valueOrDefault(aPath, tree);
}

std::vector<TimelineEntry const*> World::pending(Time aNow)
{
    at(aNow);
    std::vector<TimelineEntry const*> entries;
    for (std::size_t entry = 0; entry < mHasHappened.size(); ++entry)
    {
        if (!mHasHappened[entry] || mIsImpossible[entry])
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

void World::applyLines()
{
    for (; !mLines.empty(); mLines.pop_back())
    {
        apply(mLines.back());
    }
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
        try
        {
            TomlValue const tree = tomlfile::readToml(journalName, "change = " + std::string(rest));
            mDue.push_back({readChange(*tree.find("change")), time});
        }
        catch (tomlfile::TomlError const& error)
        {
            reportImpossible(error);
        }
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

void World::happen(std::size_t aEntry, Time aTime)
{
    // Several processes may count to the number of the entry.
    if (aEntry < mHasHappened.size() && !mHasHappened[aEntry])
    {
        mDue.push_back({mOriginal->mTimeline[aEntry].mChange, aTime, aEntry});
        mHasHappened[aEntry] = true;
    }
}

void World::apply(ChangeList const& aChanges)
try
{
    Events events;
    mState = result(aChanges, events);
    if (mSink)
    {
        std::for_each(events.mVendor.begin(), events.mVendor.end(), mSink);
    }
    mAdapterEvents.insert(mAdapterEvents.end(), events.mAdapter.begin(), events.mAdapter.end());
}
catch (tomlfile::TomlError const& error)
{
    if (aChanges.size() == 1)
    {
        reportImpossible(error);
        if (aChanges[0].mEntry)
        {
            mIsImpossible[*aChanges[0].mEntry] = true;
        }
        return;
    }
    auto const middle = aChanges.begin() + static_cast<std::ptrdiff_t>(aChanges.size() / 2);
    apply(ChangeList(aChanges.begin(), middle));
    apply(ChangeList(middle, aChanges.end()));
}

World::State World::result(ChangeList const& aChanges, Events& aEvents) const
{
    State state = mState;
    Change const* last = nullptr;
    for (DatedChange const& dated : aChanges)
    {
        if (isEdit(dated.mChange))
        {
            editWithCounters(dated.mChange, dated.mTime, state.mTree, state.mSince);
            last = &dated.mChange;
        }
    }
    if (last != nullptr)
    {
        Scenario scenario = readEdited(state.mTree, *mState.mScenario, *last);
        if (scenario.mFaults.size() > mOriginal->mFaults.size() + Strikes::mostAddedFaults)
        {
            throw tomlfile::TomlError(
                fmt::format("expected at most {} faults that are added", Strikes::mostAddedFaults));
        }
        stampCounters(state.mSince, scenario);
        state.mScenario = std::make_shared<Scenario const>(std::move(scenario));
    }
    for (DatedChange const& dated : aChanges)
    {
        Change const& change = dated.mChange;
        if (change.mEvent)
        {
            aEvents.mVendor.push_back(readEvent(*change.mEvent, state.mScenario->mDiagnostics));
        }
        if (change.mAdapterEvent)
        {
            aEvents.mAdapter.push_back(readAdapterEvent(*change.mAdapterEvent, state.mScenario->mAdapters));
        }
    }
    return state;
}

void waitInPause(std::unique_lock<std::mutex>& aLock)
{
    constexpr std::chrono::milliseconds moment(5);
    aLock.unlock();
    std::this_thread::sleep_for(moment);
    aLock.lock();
}
}  // namespace qzsim
