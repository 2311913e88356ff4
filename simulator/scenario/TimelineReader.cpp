#include "simulator/scenario/TimelineReader.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Change.h"
#include "toml/TableReader.h"
#include "toml/TomlError.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Presence;
using tomlfile::TomlValue;

// Each entry is checked on the scenario that the entries before it leave, so the time for it grows with the square.
constexpr std::size_t mostEntries = 1000;

void readTime(TomlValue const& aValue, TimelineEntry& aEntry)
{
    aEntry.mAtMs = readNumber(aValue, 0, highestNumber);
}

void readTrigger(TomlValue const& aValue, TimelineEntry& aEntry)
{
    if (aEntry.mAtMs)
    {
        aValue.refuse("no key \"after_call\" together with the key \"at_ms\"");
    }
    aEntry.mCall = readFound(aValue, callNamed, "one of the calls " + namesOfCalls());
}

void readCallNumber(TomlValue const& aValue, TimelineEntry& aEntry)
{
    if (!aEntry.mCall)
    {
        aValue.refuse("no key \"nth\" without the key \"after_call\"");
    }
    aEntry.mNth = readNumber(aValue, 1, highestNumber);
}

template <void (*read)(TomlValue const&, Change&)>
void inChange(TomlValue const& aValue, TimelineEntry& aEntry)
{
    read(aValue, aEntry.mChange);
}

constexpr Key<TimelineEntry> timelineKeys[] = {
    {"at_ms", Presence::optional, readTime},
    {"after_call", Presence::optional, readTrigger},
    {"nth", Presence::optional, readCallNumber},
    {"set", Presence::optional, inChange<readSet>},
    {"remove", Presence::optional, inChange<readRemove>},
    {"fault_start", Presence::optional, inChange<readFaultStart>},
    {"fault_end", Presence::optional, inChange<readFaultEnd>},
    {"event", Presence::optional, inChange<readInjectedEvent>},
    {"adapter_event", Presence::optional, inChange<readInjectedAdapterEvent>},
};
}  // namespace

std::vector<TimelineEntry> readTimeline(TomlValue const& aTables)
{
    constexpr char const* title = "[[timeline]]";
    std::vector<TimelineEntry> entries;
    TimelineEntry const usual{std::nullopt, std::nullopt, 1, {}, {}};
    readTables(aTables, title, timelineKeys, usual,
               [&](TomlValue const& aTable, TimelineEntry aEntry)
               {
                   if (!aEntry.mAtMs && !aEntry.mCall)
                   {
                       tomlfile::refuseMissingKey(aTable, "at_ms", title);
                   }
                   checkEffect(aTable, aEntry.mChange);
                   if (entries.size() == mostEntries)
                   {
                       throw tomlfile::TomlError(fmt::format("{}: expected at most {} tables {}, found more",
                                                             aTable.place(), mostEntries, title));
                   }
                   aEntry.mPlace = aTable.place();
                   entries.push_back(std::move(aEntry));
               });
    return entries;
}

std::vector<std::size_t> timedEntries(std::vector<TimelineEntry> const& aTimeline)
{
    std::vector<std::size_t> entries;
    for (std::size_t entry = 0; entry < aTimeline.size(); ++entry)
    {
        if (aTimeline[entry].mAtMs)
        {
            entries.push_back(entry);
        }
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [&](std::size_t aOne, std::size_t aOther)
                     { return aTimeline[aOne].mAtMs < aTimeline[aOther].mAtMs; });
    return entries;
}
}  // namespace qzsim
