#include "simulator/scenario/StatisticsReader.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

#include "simulator/scenario/Statistics.h"
#include "toml/TableReader.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Presence;
using tomlfile::TomlValue;

struct StartReader
{
    template <std::size_t index>
    static void read(TomlValue const& aValue, Statistics& aStatistics)
    {
        constexpr std::string_view expected = "a number from 0 to 0x7fffffffffffffff, or \"not offered\"";
        HBA_INT64& value = aStatistics.mStart.*counters[index].mField;
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

struct GrowthReader
{
    template <std::size_t index>
    static void read(TomlValue const& aValue, Statistics& aStatistics)
    {
        HBA_INT64& start = aStatistics.mStart.*counters[index].mField;
        std::uint32_t const growth = readNumber(aValue, 0, highestNumber);
        aStatistics.mPerSecond.*counters[index].mField = growth;
        if (growth != 0 && start == notOffered)
        {
            start = 0;
        }
    }
};

constexpr std::size_t counterCount = std::size(counters);

struct CounterKeys
{
    Key<Statistics> mKeys[counterCount];
};

template <typename Reader, std::size_t... index>
constexpr CounterKeys keysFor(std::index_sequence<index...>)
{
    return {{{counters[index].mName, Presence::optional, Reader::template read<index>}...}};
}

template <typename Reader>
void readCounters(TomlValue const& aTable, std::string_view aTitle, Port& aPort)
{
    static constexpr CounterKeys keys = keysFor<Reader>(std::make_index_sequence<counterCount>());
    Statistics statistics = aPort.mStatistics.value_or(emptyStatistics());
    readTable(aTable, aTitle, keys.mKeys, statistics);
    aPort.mStatistics = statistics;
}
}  // namespace

void readStatistics(TomlValue const& aTable, Port& aPort)
{
    readCounters<StartReader>(aTable, "[adapter.port.statistics]", aPort);
}

void readStatisticsPerSecond(TomlValue const& aTable, Port& aPort)
{
    readCounters<GrowthReader>(aTable, "[adapter.port.statistics_per_second]", aPort);
}
}  // namespace qzsim
