/// @file
/// Changes of a scenario while a program uses it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "simulator/scenario/ValuePath.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// A value that a change sets.
struct Setting
{
    ValuePath mPath;
    tomlfile::TomlValue mValue;
};

/// Everything in one change happens at once.
struct Change
{
    std::vector<Setting> mSettings;
    std::vector<ValuePath> mRemovals;
    std::optional<tomlfile::TomlValue> mEvent;         ///< a vendor event, with the keys of an event source
    std::optional<tomlfile::TomlValue> mAdapterEvent;  ///< see readAdapterEvent()

    /// @return the change in words: "set adapter[0].port[1].state = "LINKDOWN""
    std::string summary() const;

    /// @return the change as a TOML table of one line, which readChange() reads
    std::string table() const;
};

/// @name Readers of the keys "set", "remove", "fault_start", "fault_end", "event" and "adapter_event"
/// @throws tomlfile::TomlError when the value is invalid
/// @{
void readSet(tomlfile::TomlValue const& aTable, Change& aChange);
void readRemove(tomlfile::TomlValue const& aValue, Change& aChange);
void readFaultStart(tomlfile::TomlValue const& aName, Change& aChange);
void readFaultEnd(tomlfile::TomlValue const& aName, Change& aChange);
void readInjectedEvent(tomlfile::TomlValue const& aTable, Change& aChange);
void readInjectedAdapterEvent(tomlfile::TomlValue const& aTable, Change& aChange);
/// @}

/// Reads a table of these keys.
/// @throws tomlfile::TomlError when the table is invalid
Change readChange(tomlfile::TomlValue const& aTable);

/// Refuses a change that changes nothing.
/// @param aTable the table of the change
/// @throws tomlfile::TomlError for such a change
void checkEffect(tomlfile::TomlValue const& aTable, Change const& aChange);
}  // namespace qzsim
