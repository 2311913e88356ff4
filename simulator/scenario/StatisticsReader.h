/// @file
/// Reads the statistics of ports and LUNs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "simulator/scenario/Statistics.h"
#include "toml/TableReader.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"

namespace qzsim
{
/// Reads a counter when the program starts.
template <typename Record>
struct StartReader
{
    template <std::size_t index>
    static void read(tomlfile::TomlValue const& aValue, GrowingCounters<Record>& aStatistics)
    {
        constexpr std::string_view expected = "a number from 0 to 0x7fffffffffffffff, or \"not offered\"";
        HBA_INT64& value = aStatistics.mStart.*CountersOf<Record>::all[index].mField;
        using tomlfile::TomlValue;
        if (aValue.is<TomlValue::Text>() && aValue.as<TomlValue::Text>(expected) == "not offered")
        {
            value = notOffered;
            return;
        }
        value = aValue.as<TomlValue::Number>(expected);
        if (value < 0)
        {
            aValue.refuse(expected);
        }
    }
};

/// Reads the growth of a counter. A counter that grows is offered.
template <typename Record>
struct GrowthReader
{
    template <std::size_t index>
    static void read(tomlfile::TomlValue const& aValue, GrowingCounters<Record>& aStatistics)
    {
        auto const field = CountersOf<Record>::all[index].mField;
        std::uint32_t const growth = tomlfile::readNumber(aValue, 0, tomlfile::highestNumber);
        aStatistics.mPerSecond.*field = growth;
        if (growth != 0 && aStatistics.mStart.*field == notOffered)
        {
            aStatistics.mStart.*field = 0;
        }
    }
};

template <typename Record>
struct CounterKeys
{
    tomlfile::Key<GrowingCounters<Record>> mKeys[std::size(CountersOf<Record>::all)];
};

template <typename Reader, typename Record, std::size_t... index>
constexpr CounterKeys<Record> counterKeys(std::index_sequence<index...>)
{
    return {{{CountersOf<Record>::all[index].mName, tomlfile::Presence::optional,
              Reader::template read<index>}...}};
}

/// Reads one table of counters.
/// @tparam Reader reads one counter: StartReader or GrowthReader
/// @param  aTitle name of the table in messages
/// @throws tomlfile::TomlError when the table is invalid
template <template <typename> class Reader, typename Record>
void readCounters(tomlfile::TomlValue const& aTable, std::string_view aTitle,
                  std::optional<GrowingCounters<Record>>& aStatistics)
{
    static constexpr CounterKeys<Record> keys =
        counterKeys<Reader<Record>, Record>(std::make_index_sequence<std::size(CountersOf<Record>::all)>());
    GrowingCounters<Record> statistics = aStatistics.value_or(emptyStatistics<Record>());
    readTable(aTable, aTitle, keys.mKeys, statistics);
    aStatistics = statistics;
}
}  // namespace qzsim
