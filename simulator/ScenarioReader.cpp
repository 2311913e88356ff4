#include "simulator/ScenarioReader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>

#include <fmt/format.h>

#include "simulator/Calls.h"
#include "simulator/ScenarioError.h"
#include "simulator/Statuses.h"
#include "simulator/TableReader.h"
#include "simulator/TomlValue.h"

namespace qzsim
{
namespace
{
constexpr std::string_view expectedAdapter = "the name of an adapter of this scenario";

// The common library hands over a buffer of 256 bytes.
constexpr std::size_t longestName = 255;

std::uint32_t numberFrom(std::uint32_t aLowest, TomlValue const& aValue, std::string_view aExpected)
{
    auto const number = aValue.as<TomlValue::Number>(aExpected);
    if (number < aLowest || number > std::numeric_limits<std::uint32_t>::max())
    {
        aValue.refuse(aExpected);
    }
    return static_cast<std::uint32_t>(number);
}

void readName(TomlValue const& aValue, Adapter& aAdapter)
{
    constexpr std::string_view expected = "a name of 1 to 255 bytes without control characters";
    auto const& name = aValue.as<TomlValue::Text>(expected);
    if (name.empty() || name.size() > longestName || hasControlCharacter(name))
    {
        aValue.refuse(expected);
    }
    aAdapter.mName = name;
}

void readCall(TomlValue const& aValue, Fault& aFault)
{
    std::string const expected = fmt::format("one of the calls {}", namesOfCalls());
    std::optional<Call> const call = callNamed(aValue.as<TomlValue::Text>(expected));
    if (!call)
    {
        aValue.refuse(expected);
    }
    aFault.mCall = *call;
}

void readAdapterOfFault(TomlValue const& aValue, Fault& aFault)
{
    if (!concernsAdapter(aFault.mCall))
    {
        aValue.refuse(
            fmt::format("no key \"adapter\" for {}, which concerns no single adapter", nameOf(aFault.mCall)));
    }
    aFault.mAdapter = aValue.as<TomlValue::Text>(expectedAdapter);
}

void readNth(TomlValue const& aValue, Fault& aFault)
{
    aFault.mNth = numberFrom(1, aValue, "a number from 1 to 4294967295");
}

void readStatus(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::string_view expected =
        "a status name such as \"HBA_STATUS_ERROR_BUSY\" or a number from 0 to 4294967295";
    if (!aValue.is<TomlValue::Text>())
    {
        aFault.mStatus = numberFrom(0, aValue, expected);
        return;
    }
    std::optional<HBA_STATUS> const status = statusNamed(aValue.as<TomlValue::Text>(expected));
    if (!status)
    {
        aValue.refuse(expected);
    }
    aFault.mStatus = *status;
}

constexpr Key<Adapter> adapterKeys[] = {
    {"name", Presence::required, readName},
};

constexpr Key<Fault> faultKeys[] = {
    {"call", Presence::required, readCall},
    {"adapter", Presence::optional, readAdapterOfFault},
    {"nth", Presence::required, readNth},
    {"status", Presence::required, readStatus},
};

bool hasAdapter(Scenario const& aScenario, std::string const& aName)
{
    return std::any_of(aScenario.mAdapters.begin(), aScenario.mAdapters.end(),
                       [&aName](Adapter const& aAdapter) { return aAdapter.mName == aName; });
}

void readAdapters(TomlValue const& aValue, Scenario& aScenario)
{
    for (TomlValue const& table : aValue.as<TomlValue::Array>("tables [[adapter]]"))
    {
        Adapter adapter{};
        readTable(table, "[[adapter]]", adapterKeys, adapter);
        if (hasAdapter(aScenario, adapter.mName))
        {
            table.find("name")->refuse("a name that no other adapter has");
        }
        aScenario.mAdapters.push_back(adapter);
    }
}

void readFaults(TomlValue const& aValue, Scenario& aScenario)
{
    std::map<std::tuple<Call, std::string, std::uint32_t>, std::string> places;
    for (TomlValue const& table : aValue.as<TomlValue::Array>("tables [[fault]]"))
    {
        Fault fault{};
        readTable(table, "[[fault]]", faultKeys, fault);
        TomlValue const* const adapter = table.find("adapter");
        if (adapter != nullptr && !hasAdapter(aScenario, fault.mAdapter))
        {
            adapter->refuse(expectedAdapter);
        }
        auto const [first, isNew] =
            places.try_emplace({fault.mCall, fault.mAdapter, fault.mNth}, table.place());
        if (!isNew)
        {
            throw ScenarioError(fmt::format(
                "{}: expected another call, adapter or nth than that of the fault at {}, found the same",
                table.place(), first->second));
        }
        aScenario.mFaults.push_back(fault);
    }
}

// The faults name adapters, which must be known by then.
constexpr Key<Scenario> scenarioKeys[] = {
    {"adapter", Presence::optional, readAdapters},
    {"fault", Presence::optional, readFaults},
};
}  // namespace

Scenario readScenario(std::string const& aPath)
{
    Scenario scenario;
    readTable(readToml(aPath), "the scenario", scenarioKeys, scenario);
    return scenario;
}
}  // namespace qzsim
