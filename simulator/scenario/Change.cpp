#include "simulator/scenario/Change.h"

#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "toml/TableReader.h"
#include "toml/TomlText.h"

namespace qzsim
{
namespace
{
using tomlfile::Key;
using tomlfile::Presence;
using tomlfile::TomlValue;

ValuePath pathIn(TomlValue const& aValue)
{
    return {aValue.place(), aValue.as<TomlValue::Text>("a path such as \"adapter[0].port[1].state\"")};
}

void setActive(TomlValue const& aName, bool aIsActive, Change& aChange)
{
    auto const& name = aName.as<TomlValue::Text>("the name of a fault");
    aChange.mSettings.push_back({{aName.place(), fmt::format("fault[{}].active", name)},
                                 TomlValue(aName.place(), TomlValue::Boolean(aIsActive))});
}

constexpr Key<Change> changeKeys[] = {
    {"set", Presence::optional, readSet},
    {"remove", Presence::optional, readRemove},
    {"fault_start", Presence::optional, readFaultStart},
    {"fault_end", Presence::optional, readFaultEnd},
    {"event", Presence::optional, readInjectedEvent},
    {"adapter_event", Presence::optional, readInjectedAdapterEvent},
};
}  // namespace

std::string Change::summary() const
{
    std::vector<std::string> parts;
    for (Setting const& setting : mSettings)
    {
        parts.push_back(fmt::format("set {} = {}", setting.mPath.text(), tomlfile::tomlText(setting.mValue)));
    }
    for (ValuePath const& path : mRemovals)
    {
        parts.push_back(fmt::format("remove {}", path.text()));
    }
    if (mEvent)
    {
        parts.push_back(fmt::format("event {}", tomlfile::tomlText(*mEvent)));
    }
    if (mAdapterEvent)
    {
        parts.push_back(fmt::format("adapter_event {}", tomlfile::tomlText(*mAdapterEvent)));
    }
    return tomlfile::escaped(fmt::format("{}", fmt::join(parts, ", ")));
}

std::string Change::table() const
{
    TomlValue::Table settings;
    for (Setting const& setting : mSettings)
    {
        settings.push_back({setting.mPath.text(), {}, setting.mValue});
    }
    TomlValue::Array removals;
    for (ValuePath const& path : mRemovals)
    {
        removals.emplace_back("", TomlValue::Text(path.text()));
    }
    TomlValue::Table entries;
    entries.push_back({"set", {}, {{}, std::move(settings)}});
    entries.push_back({"remove", {}, {{}, std::move(removals)}});
    if (mEvent)
    {
        entries.push_back({"event", {}, *mEvent});
    }
    if (mAdapterEvent)
    {
        entries.push_back({"adapter_event", {}, *mAdapterEvent});
    }
    return tomlfile::tomlText({{}, std::move(entries)});
}

void readSet(TomlValue const& aTable, Change& aChange)
{
    for (tomlfile::TomlEntry const& entry : aTable.as<TomlValue::Table>("a table of paths and values"))
    {
        aChange.mSettings.push_back({{entry.mPlace, entry.mKey}, entry.mValue});
    }
}

void readRemove(TomlValue const& aValue, Change& aChange)
{
    if (!aValue.is<TomlValue::Array>())
    {
        aChange.mRemovals.push_back(pathIn(aValue));
        return;
    }
    for (TomlValue const& path : aValue.as<TomlValue::Array>({}))
    {
        aChange.mRemovals.push_back(pathIn(path));
    }
}

void readFaultStart(TomlValue const& aName, Change& aChange) { setActive(aName, true, aChange); }

void readFaultEnd(TomlValue const& aName, Change& aChange) { setActive(aName, false, aChange); }

void readInjectedEvent(TomlValue const& aTable, Change& aChange)
{
    aTable.as<TomlValue::Table>("a table with the keys of [[diagnostics.event]]");
    aChange.mEvent = aTable;
}

void readInjectedAdapterEvent(TomlValue const& aTable, Change& aChange)
{
    aTable.as<TomlValue::Table>("a table with the key \"adapter\" and the keys of [[adapter.event]]");
    aChange.mAdapterEvent = aTable;
}

Change readChange(TomlValue const& aTable)
{
    Change change;
    readTable(aTable, "the change", changeKeys, change);
    return change;
}

void checkEffect(TomlValue const& aTable, Change const& aChange)
{
    if (aChange.mSettings.empty() && aChange.mRemovals.empty() && !aChange.mEvent && !aChange.mAdapterEvent)
    {
        tomlfile::refuseMissingKey(aTable, "set", "[[timeline]]");
    }
}
}  // namespace qzsim
