/// @file
/// Reads TOML tables into records, driven by a list of keys.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "toml/TomlError.h"
#include "toml/TomlValue.h"

namespace tomlfile
{
enum class Presence
{
    required,
    optional
};

/// A key of a table, and the function that reads its value into the record.
template <typename Record>
struct Key
{
    char const* mName;
    Presence mPresence;
    void (*mRead)(TomlValue const& aValue, Record& aRecord);
};

/// @return the keys of both lists, in their order
template <typename Record, std::size_t firstCount, std::size_t secondCount>
constexpr std::array<Key<Record>, firstCount + secondCount> joined(Key<Record> const (&aFirst)[firstCount],
                                                                   Key<Record> const (&aSecond)[secondCount])
{
    std::array<Key<Record>, firstCount + secondCount> keys{};
    for (std::size_t i = 0; i < keys.size(); ++i)
    {
        keys[i] = i < firstCount ? aFirst[i] : aSecond[i - firstCount];
    }
    return keys;
}

template <typename Keys>
void refuseUnknownKeys(TomlValue::Table const& aEntries, std::string_view aTitle, Keys const& aKeys)
{
    std::vector<std::string> names;
    for (auto const& key : aKeys)
    {
        names.emplace_back(key.mName);
    }
    for (TomlEntry const& entry : aEntries)
    {
        if (std::find(names.begin(), names.end(), entry.mKey) == names.end())
        {
            throw TomlError(fmt::format("{}: expected a key of {} ({}), found {}", entry.mPlace, aTitle,
                                        fmt::join(names, ", "), inQuotes(entry.mKey)));
        }
    }
}

[[noreturn]] inline void refuseMissingKey(TomlValue const& aTable, std::string_view aKey,
                                          std::string_view aTitle)
{
    throw TomlError(fmt::format("{}: expected the key {} in this {}, found none", aTable.place(),
                                inQuotes(aKey), aTitle));
}

/// Reads a table in the order of aKeys, a list of Key<Record>, so a key can depend on keys before it.
/// @param aTitle name of the table in messages, such as "[[adapter]]"
/// @throws TomlError when a key is unknown, or a required key is missing
template <typename Record, typename Keys>
void readTable(TomlValue const& aTable, std::string_view aTitle, Keys const& aKeys, Record& aRecord)
{
    refuseUnknownKeys(aTable.as<TomlValue::Table>(fmt::format("a table {}", aTitle)), aTitle, aKeys);
    for (Key<Record> const& key : aKeys)
    {
        TomlValue const* const value = aTable.find(key.mName);
        if (value != nullptr)
        {
            key.mRead(*value, aRecord);
        }
        else if (key.mPresence == Presence::required)
        {
            refuseMissingKey(aTable, key.mName, aTitle);
        }
    }
}

/// Reads an array of tables.
/// @param aInitial initial value of each record
/// @param aTake    called with each table and its record
/// @throws TomlError when a table is invalid
template <typename Record, typename Keys, typename Take>
void readTables(TomlValue const& aTables, std::string_view aTitle, Keys const& aKeys, Record const& aInitial,
                Take aTake)
{
    for (TomlValue const& table : aTables.as<TomlValue::Array>(fmt::format("tables {}", aTitle)))
    {
        Record record = aInitial;
        readTable(table, aTitle, aKeys, record);
        aTake(table, std::move(record));
    }
}
}  // namespace tomlfile
