#include "simulator/scenario/DiagnosticsReader.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/EventTimes.h"
#include "simulator/scenario/HexBytes.h"
#include "simulator/scenario/Wwn.h"
#include "simulator/scenario/WwnReader.h"
#include "toml/Named.h"
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
using tomlfile::TomlError;
using tomlfile::TomlValue;

constexpr std::uint32_t highestCategory = 0xfe;  // 0xff is the wildcard

/// Parses a number such as "0x8000000000000100".
std::optional<std::uint64_t> hexNumberIn(std::string_view aText)
{
    constexpr std::string_view prefix = "0x";
    std::uint64_t number = 0;
    if (aText.substr(0, prefix.size()) != prefix)
    {
        return std::nullopt;
    }
    char const* const end = aText.data() + aText.size();
    auto const result = std::from_chars(aText.data() + prefix.size(), end, number, hexadecimal);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

// Each of these functions reads a value into one field of the record.

template <auto field, typename Record>
void text(TomlValue const& aValue, Record& aRecord)
{
    std::fill(std::begin(aRecord.*field), std::end(aRecord.*field), '\0');
    readText(aValue, aRecord.*field, sizeof(aRecord.*field));
}

template <auto field, typename Record>
void wwn(TomlValue const& aValue, Record& aRecord)
{
    aRecord.*field = readWwn(aValue);
}

template <auto field, std::uint32_t lowest, std::uint32_t highest, typename Record>
void number(TomlValue const& aValue, Record& aRecord)
{
    aRecord.*field = readNumber(aValue, lowest, highest);
}

void readRecordVersion(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    constexpr std::uint32_t highest = std::numeric_limits<std::uint8_t>::max();
    aDiagnostics.mRecordVersion = static_cast<std::uint8_t>(readNumber(aValue, 0, highest));
}

void readRequiredRecordVersion(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    constexpr std::uint32_t highest = std::numeric_limits<std::uint8_t>::max();
    aDiagnostics.mRequiredRecordVersion = static_cast<std::uint8_t>(readNumber(aValue, 0, highest));
}

constexpr tomlfile::Named<VendorLibrary> vendorLibraries[] = {
    {"present", VendorLibrary::present},
    {"absent", VendorLibrary::absent},
    {"broken", VendorLibrary::broken},
};

void readLibrary(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    aDiagnostics.mLibrary = readNamed(aValue, vendorLibraries);
}

std::optional<Call> functionNamed(std::string_view aName)
{
    auto const call = callNamed(aName);
    return call && isDiagnostic(*call) ? call : std::nullopt;
}

void readMissingFunctions(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    for (TomlValue const& name :
         aValue.as<TomlValue::Array>("a list of functions such as [\"VQM_GetLibVer\"]"))
    {
        aDiagnostics.mMissingFunctions.push_back(
            readFound(name, functionNamed, "a function of the diagnostic library such as \"VQM_GetLibVer\""));
    }
}

void readFeatureList(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    constexpr std::string_view expected =
        "a number from 0 to 0x7fffffffffffffff, or a string of up to 16 hexadecimal digits such "
        "as \"0x8000000000000100\"";
    if (aValue.is<TomlValue::Text>())
    {
        aDiagnostics.mFeatureList = readFound(aValue, hexNumberIn, expected);
        return;
    }
    auto const number = aValue.as<TomlValue::Number>(expected);
    if (number < 0)
    {
        aValue.refuse(expected);
    }
    aDiagnostics.mFeatureList = static_cast<std::uint64_t>(number);
}

constexpr Key<Board> boardKeys[] = {
    {"first_wwn", Presence::required, wwn<&Board::mFirstWwn>},
    {"second_wwn", Presence::required, wwn<&Board::mSecondWwn>},
};

void readBoards(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    std::set<std::uint64_t> names;
    readTables(aValue, "[[diagnostics.board]]", boardKeys, Board{},
               [&](TomlValue const& aTable, Board const& aBoard)
               {
                   if (!names.insert(numberOf(aBoard.mSecondWwn)).second)
                   {
                       aTable.find("second_wwn")->refuse("a second_wwn that no other board has");
                   }
                   if (aDiagnostics.mBoards.size() == QZCLibvqmRecords::sgDiagEnvCapacity)
                   {
                       throw TomlError(
                           fmt::format("{}: expected at most {} tables [[diagnostics.board]], found more",
                                       aTable.place(), QZCLibvqmRecords::sgDiagEnvCapacity));
                   }
                   aDiagnostics.mBoards.push_back(aBoard);
               });
}

void readPayload(TomlValue const& aValue, EventSeries& aSeries)
{
    aSeries.mPayload = readHexBytes(aValue, largestPayload);
}

void readSize(TomlValue const& aValue, EventSeries& aSeries)
{
    aSeries.mGeneratedSize = readNumber(aValue, 0, largestPayload);
}

constexpr Key<EventSeries> eventKeys[] = {
    {"board", Presence::required, number<&EventSeries::mBoard, 0, highestNumber>},
    {"port_wwn", Presence::optional, wwn<&EventSeries::mPort>},
    {"category", Presence::required, number<&EventSeries::mCategory, 0, highestCategory>},
    {"subcategory", Presence::required, number<&EventSeries::mSubcategory, 0, highestCategory>},
    {"payload", Presence::optional, readPayload},
    {"size", Presence::optional, readSize},
    {"at_ms", Presence::optional, number<&EventSeries::mStartMs, 0, highestNumber>},
    {"rate", Presence::optional, number<&EventSeries::mRate, 1, highestRate>},
    {"count", Presence::optional, number<&EventSeries::mCount, 1, highestNumber>},
};

constexpr std::string_view eventTitle = "[[diagnostics.event]]";

EventSeries usualEvent()
{
    EventSeries usual{};
    usual.mRate = usualRate;
    usual.mCount = 1;
    return usual;
}

/// Checks an event, and adds what depends on its board.
EventSeries completed(TomlValue const& aTable, EventSeries aSeries, Diagnostics const& aDiagnostics)
{
    if (aSeries.mBoard >= aDiagnostics.mBoards.size())
    {
        aTable.find("board")->refuse("the number of a board of this scenario");
    }
    if (aTable.find("payload") != nullptr && aTable.find("size") != nullptr)
    {
        aTable.find("size")->refuse("no key \"size\" together with the key \"payload\"");
    }
    if (aTable.find("port_wwn") == nullptr)
    {
        aSeries.mPort = aDiagnostics.mBoards[aSeries.mBoard].mSecondWwn;
    }
    return aSeries;
}

void readEvents(TomlValue const& aValue, Diagnostics& aDiagnostics)
{
    readTables(aValue, eventTitle, eventKeys, usualEvent(),
               [&](TomlValue const& aTable, EventSeries aSeries)
               { aDiagnostics.mEvents.push_back(completed(aTable, std::move(aSeries), aDiagnostics)); });
}

// "event" comes last: events refer to boards.
constexpr Key<Diagnostics> diagnosticsKeys[] = {
    {"library_version", Presence::optional, text<&Diagnostics::mLibraryVersion>},
    {"driver_version", Presence::optional, text<&Diagnostics::mDriverVersion>},
    {"record_version", Presence::optional, readRecordVersion},
    {"required_record_version", Presence::optional, readRequiredRecordVersion},
    {"library", Presence::optional, readLibrary},
    {"missing_functions", Presence::optional, readMissingFunctions},
    {"feature_list", Presence::optional, readFeatureList},
    {"board", Presence::optional, readBoards},
    {"number_of_boards", Presence::optional, number<&Diagnostics::mNumberOfBoards, 0, highestNumber>},
    {"event", Presence::optional, readEvents},
};
}  // namespace

Diagnostics readDiagnostics(TomlValue const& aTable)
{
    Diagnostics diagnostics;
    readTable(aTable, "[diagnostics]", diagnosticsKeys, diagnostics);
    return diagnostics;
}

EventSeries readEvent(TomlValue const& aTable, Diagnostics const& aDiagnostics)
{
    EventSeries series = usualEvent();
    readTable(aTable, eventTitle, eventKeys, series);
    return completed(aTable, std::move(series), aDiagnostics);
}
}  // namespace qzsim
