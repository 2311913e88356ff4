#include "tools/qzagent/vqm/EventLayoutFile.h"

#include <cstdint>
#include <optional>

#include <fmt/format.h>

#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"
#include "tools/qzagent/vqm/VqmEvent.h"

namespace qzagent
{
namespace
{
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

constexpr std::uint32_t largestOffset = 65'535;

constexpr Named<EventLayout::Place> places[] = {
    {"record", EventLayout::Place::record},
    {"pointer", EventLayout::Place::pointer},
};

struct Layout
{
    EventLayout::Length mLength;
    EventLayout::Payload mPayload;
};

template <typename Part>
void readOffset(TomlValue const& aValue, Part& aPart)
{
    aPart.mOffset = readNumber(aValue, 0, largestOffset);
}

void readSize(TomlValue const& aValue, EventLayout::Length& aLength)
{
    constexpr char const* expected = "1, 2, 4 or 8";
    aLength.mSize = readNumber(aValue, 1, sizeof(std::uint64_t), expected);
    bool const isPowerOfTwo = (aLength.mSize & (aLength.mSize - 1)) == 0;
    if (!isPowerOfTwo)
    {
        aValue.refuse(expected);
    }
}

void readFixed(TomlValue const& aValue, EventLayout::Length& aLength)
{
    aLength.mFixedLength = readNumber(aValue, 0, mostPayloadBytes);
}

constexpr Key<EventLayout::Length> lengthKeys[] = {
    {"fixed", Presence::optional, readFixed},
    {"offset", Presence::optional, readOffset},
    {"size", Presence::optional, readSize},
};

constexpr Key<EventLayout::Payload> payloadKeys[] = {
    {"offset", Presence::required, readOffset},
    {"place", Presence::required,
     [](TomlValue const& aValue, EventLayout::Payload& aPayload)
     { aPayload.mPlace = readNamed(aValue, places); }},
};

void readLength(TomlValue const& aTable, Layout& aLayout)
{
    constexpr char const* title = "[length]";
    readTable(aTable, title, lengthKeys, aLayout.mLength);
    bool const isFixed = aTable.find("fixed") != nullptr;
    for (char const* const key : {"offset", "size"})
    {
        TomlValue const* const value = aTable.find(key);
        if (isFixed && value != nullptr)
        {
            value->refuse(fmt::format("no key \"{}\" for a fixed length", key));
        }
        if (!isFixed && value == nullptr)
        {
            tomlfile::refuseMissingKey(aTable, key, title);
        }
    }
}

void readPayload(TomlValue const& aTable, Layout& aLayout)
{
    readTable(aTable, "[payload]", payloadKeys, aLayout.mPayload);
}

constexpr Key<Layout> layoutKeys[] = {
    {"length", Presence::required, readLength},
    {"payload", Presence::required, readPayload},
};
}  // namespace

EventLayout readEventLayout(std::string const& aPath)
{
    Layout layout{};
    readTable(tomlfile::readToml(aPath), "event layout", layoutKeys, layout);
    return {layout.mLength, layout.mPayload};
}
}  // namespace qzagent
