#include "simulator/FaultReader.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "simulator/Calls.h"
#include "simulator/ScenarioError.h"
#include "simulator/Statuses.h"
#include "simulator/TableReader.h"
#include "simulator/ValueReader.h"
#include "simulator/Wwn.h"

namespace qzsim
{
namespace
{
constexpr std::string_view expectedAdapter = "the name of an adapter of this scenario";

void readCall(TomlValue const& aValue, Fault& aFault)
{
    aFault.mCall = readFound(aValue, callNamed, "one of the calls " + namesOfCalls());
}

void readAdapter(TomlValue const& aValue, Fault& aFault)
{
    if (!concernsAdapter(aFault.mCall))
    {
        aValue.refuse(
            fmt::format("no key \"adapter\" for {}, which concerns no single adapter", nameOf(aFault.mCall)));
    }
    aFault.mAdapter = aValue.as<TomlValue::Text>(expectedAdapter);
}

void readPortWwn(TomlValue const& aValue, Fault& aFault)
{
    if (!concernsTarget(aFault.mCall))
    {
        aValue.refuse(
            fmt::format("no key \"port_wwn\" for {}, which concerns no single target", nameOf(aFault.mCall)));
    }
    aFault.mPort = textOf(readWwn(aValue));
}

/// Takes the number of a call off the front of a text; 0 when there is none.
std::uint32_t takeNumber(std::string_view& arText)
{
    std::uint32_t number = 0;
    auto const [end, error] = std::from_chars(arText.data(), arText.data() + arText.size(), number);
    arText.remove_prefix(static_cast<std::size_t>(end - arText.data()));
    return error == std::errc() ? number : 0;
}

/// The first and the last call of "2-4" or "3+"; 0 when the text is neither.
std::pair<std::uint32_t, std::uint32_t> rangeIn(std::string_view aText)
{
    std::uint32_t const first = takeNumber(aText);
    if (aText == "+")
    {
        return {first, endless};
    }
    if (aText.empty() || aText.front() != '-')
    {
        return {0, 0};
    }
    aText.remove_prefix(1);
    std::uint32_t const last = takeNumber(aText);
    return aText.empty() ? std::pair(first, last) : std::pair(0U, 0U);
}

void readNth(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::string_view expected =
        "a number from 1 to 4294967295, or a range of such numbers as \"2-4\" or \"3+\"";
    if (!aValue.is<TomlValue::Text>())
    {
        aFault.mFirst = aFault.mLast = readNumber(aValue, 1, highestNumber, expected);
        return;
    }
    std::tie(aFault.mFirst, aFault.mLast) = rangeIn(aValue.as<TomlValue::Text>(expected));
    if (aFault.mFirst == 0 || aFault.mFirst > aFault.mLast)
    {
        aValue.refuse(expected);
    }
}

void readStatus(TomlValue const& aValue, Fault& aFault)
{
    aFault.mStatus =
        readFoundOrNumber(aValue, statusNamed,
                          "a status name such as \"HBA_STATUS_ERROR_BUSY\" or a number from 0 to 4294967295");
}

constexpr Key<Fault> faultKeys[] = {
    {"call", Presence::required, readCall},        {"adapter", Presence::optional, readAdapter},
    {"port_wwn", Presence::optional, readPortWwn}, {"nth", Presence::required, readNth},
    {"status", Presence::required, readStatus},
};

bool hasTarget(Adapter const& aAdapter, std::string const& aPort)
{
    for (Port const& port : aAdapter.mPorts)
    {
        for (RemotePort const& remotePort : port.mRemotePorts)
        {
            if (remotePort.mRole == Role::target && textOf(remotePort.mAttributes.PortWWN) == aPort)
            {
                return true;
            }
        }
    }
    return false;
}

/// Checks the names that the fault mentions.
void checkNames(TomlValue const& aTable, Fault const& aFault, std::vector<Adapter> const& aAdapters)
{
    auto const isNamed = [&aFault](Adapter const& aAdapter)
    { return aFault.mAdapter.empty() || aAdapter.mName == aFault.mAdapter; };
    TomlValue const* const adapter = aTable.find("adapter");
    if (adapter != nullptr &&
        (aFault.mAdapter.empty() || std::none_of(aAdapters.begin(), aAdapters.end(), isNamed)))
    {
        adapter->refuse(expectedAdapter);
    }
    TomlValue const* const port = aTable.find("port_wwn");
    if (port != nullptr && std::none_of(aAdapters.begin(), aAdapters.end(),
                                        [&](Adapter const& aAdapter)
                                        { return isNamed(aAdapter) && hasTarget(aAdapter, aFault.mPort); }))
    {
        port->refuse("the port_wwn of a target that the adapter sees");
    }
}

bool shareCalls(Fault const& aOne, Fault const& aOther)
{
    return aOne.mCall == aOther.mCall && aOne.mAdapter == aOther.mAdapter && aOne.mPort == aOther.mPort &&
           aOne.mFirst <= aOther.mLast && aOther.mFirst <= aOne.mLast;
}
}  // namespace

std::vector<Fault> readFaults(TomlValue const& aTables, std::vector<Adapter> const& aAdapters)
{
    std::vector<Fault> faults;
    readTables(aTables, "[[fault]]", faultKeys, Fault{},
               [&](TomlValue const& aTable, Fault aFault)
               {
                   checkNames(aTable, aFault, aAdapters);
                   aFault.mPlace = aTable.place();
                   auto const rival =
                       std::find_if(faults.begin(), faults.end(),
                                    [&](Fault const& aOther) { return shareCalls(aFault, aOther); });
                   if (rival != faults.end())
                   {
                       throw ScenarioError(fmt::format(
                           "{}: expected other calls than those of the fault at {}, found some of "
                           "the same",
                           aFault.mPlace, rival->mPlace));
                   }
                   faults.push_back(std::move(aFault));
               });
    return faults;
}
}  // namespace qzsim
