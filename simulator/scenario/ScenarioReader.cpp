#include "simulator/scenario/ScenarioReader.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include "simulator/scenario/AdapterEventReader.h"
#include "simulator/scenario/AdapterReader.h"
#include "simulator/scenario/DiagnosticsReader.h"
#include "simulator/scenario/FaultReader.h"
#include "simulator/scenario/TimelineReader.h"
#include "simulator/scenario/ValuePath.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/TomlError.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlError;
using tomlfile::TomlValue;

constexpr Named<Behaviour> behaviours[] = {
    {"standard", Behaviour::standard},
    {"linux", Behaviour::libhbalinux},
};

// "fault" comes last: faults refer to adapters and boards.
constexpr Key<Scenario> scenarioKeys[] = {
    {"behaviour", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario)
     { aScenario.mBehaviour = readNamed(aValue, behaviours); }},
    {"number_of_adapters", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario)
     { aScenario.mNumberOfAdapters = readNumber(aValue, 0, highestNumber); }},
    {"adapter", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mAdapters = readAdapters(aValue); }},
    {"diagnostics", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mDiagnostics = readDiagnostics(aValue); }},
    {"fault", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mFaults = readFaults(aValue, aScenario); }},
    {"timeline", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mTimeline = readTimeline(aValue); }},
};

Scenario scenarioIn(TomlValue const& aTree)
{
    Scenario scenario;
    readTable(aTree, "the scenario", scenarioKeys, scenario);
    return scenario;
}

bool isNamedLike(Adapter const& aOne, Adapter const& aOther) { return aOne.mName == aOther.mName; }

/// @return what the change does to the scenario and must not do; null when the change is possible
char const* violationOf(Scenario const& aFormer, Scenario const& aScenario)
{
    if (!std::equal(aFormer.mAdapters.begin(), aFormer.mAdapters.end(), aScenario.mAdapters.begin(),
                    aScenario.mAdapters.end(), isNamedLike))
    {
        return "the same adapters in the same order";
    }
    if (aFormer.mDiagnostics.mBoards.size() != aScenario.mDiagnostics.mBoards.size())
    {
        return "the same number of boards";
    }
    if (aFormer.mBehaviour != aScenario.mBehaviour)
    {
        return "the behaviour";
    }
    if (aFormer.mDiagnostics.mLibrary != aScenario.mDiagnostics.mLibrary)
    {
        return "diagnostics.library, which is read only when the program starts";
    }
    if (aFormer.mDiagnostics.mMissingFunctions != aScenario.mDiagnostics.mMissingFunctions)
    {
        return "diagnostics.missing_functions, which is read only when the vendor library is loaded";
    }
    return aScenario.mFaults.size() < aFormer.mFaults.size() ? "all former faults" : nullptr;
}

void checkTakesEffect(ValuePath const& aPath, TomlValue const& aTree)
{
    constexpr std::string_view start = "adapter[";
    constexpr std::string_view events = "].event";
    std::string const path = aPath.resolved(aTree);
    std::size_t const end = path.find(']');
    if (path.compare(0, start.size(), start) == 0 && end != std::string::npos &&
        path.compare(end, events.size(), events) == 0)
    {
        throw TomlError(fmt::format(
            "{}: expected a value that can change, but [[adapter.event]] tables are read only when "
            "the HBA library is loaded",
            aPath.place()));
    }
}

/// @return the position of the change, for messages about its effect
std::string placeOf(Change const& aChange)
{
    return aChange.mSettings.empty() ? aChange.mRemovals.front().place()
                                     : aChange.mSettings.front().mPath.place();
}

void checkTimeline(TomlValue const& aTree, Scenario const& aScenario)
{
    if (aScenario.mTimeline.empty())
    {
        return;
    }
    TomlValue tree = aTree;
    Scenario present = aScenario;
    // Entries with a time happen in the order of time. Nothing is known about the others.
    std::vector<std::size_t> const timed = timedEntries(aScenario.mTimeline);
    auto next = timed.begin();
    for (TimelineEntry const& place : aScenario.mTimeline)
    {
        TimelineEntry const& entry = place.mAtMs ? aScenario.mTimeline[*next++] : place;
        edit(entry.mChange, tree);
        present = readEdited(tree, present, entry.mChange);
        if (entry.mChange.mEvent)
        {
            readEvent(*entry.mChange.mEvent, present.mDiagnostics);
        }
        if (entry.mChange.mAdapterEvent)
        {
            readAdapterEvent(*entry.mChange.mAdapterEvent, present.mAdapters);
        }
    }
}
}  // namespace

Scenario readScenario(std::string const& aPath) { return readScenario(tomlfile::readToml(aPath)); }

Scenario readScenario(std::string const& aPath, std::string const& aContent)
{
    return readScenario(tomlfile::readToml(aPath, aContent));
}

Scenario readScenario(TomlValue const& aTree)
{
    Scenario scenario = scenarioIn(aTree);
    checkTimeline(aTree, scenario);
    return scenario;
}

void edit(Change const& aChange, TomlValue& aTree)
{
    auto& entries = std::get<TomlValue::Table>(aTree.content());
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [](tomlfile::TomlEntry const& aEntry) { return aEntry.mKey == "timeline"; }),
                  entries.end());
    for (Setting const& setting : aChange.mSettings)
    {
        checkTakesEffect(setting.mPath, aTree);
        setting.mPath.set(aTree, setting.mValue);
    }
    for (ValuePath const& path : aChange.mRemovals)
    {
        path.remove(aTree);
    }
}

Scenario readEdited(TomlValue const& aTree, Scenario const& aFormer, Change const& aChange)
{
    Scenario scenario = scenarioIn(aTree);
    if (!scenario.mTimeline.empty())
    {
        throw TomlError(fmt::format("{}: expected a timeline that does not change itself", placeOf(aChange)));
    }
    if (char const* const violation = violationOf(aFormer, scenario))
    {
        throw TomlError(fmt::format("{}: expected a change that keeps {}", placeOf(aChange), violation));
    }
    return scenario;
}
}  // namespace qzsim
