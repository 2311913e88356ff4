#include "simulator/scenario/FaultReader.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "simulator/scenario/AnswerShapeReader.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Statuses.h"
#include "simulator/scenario/Wwn.h"
#include "simulator/scenario/WwnReader.h"
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

constexpr std::string_view expectedAdapter = "the name of an adapter of this scenario";
constexpr std::string_view expectedBoard = "the number of a board of this scenario";

/// Refuses a key that applies only to calls of the other library.
void checkLibrary(TomlValue const& aValue, char const* aKey, Call aCall, bool aIsOfDiagnostics)
{
    if (isDiagnostic(aCall) != aIsOfDiagnostics)
    {
        refuseKey(aValue, aKey, aCall,
                  isDiagnostic(aCall)
                      ? "is a call of the diagnostic library and takes \"board\" and \"result\""
                      : "is a call of the HBA API and takes \"adapter\", \"port_wwn\" and \"status\"");
    }
}

void readCall(TomlValue const& aValue, Fault& aFault)
{
    aFault.mCall = readFound(aValue, callNamed, "one of the calls " + namesOfCalls());
}

void readAdapter(TomlValue const& aValue, Fault& aFault)
{
    checkLibrary(aValue, "adapter", aFault.mCall, false);
    if (!concernsAdapter(aFault.mCall))
    {
        refuseKey(aValue, "adapter", aFault.mCall, "does not concern a single adapter");
    }
    aFault.mDevice = aValue.as<TomlValue::Text>(expectedAdapter);
}

void readPortWwn(TomlValue const& aValue, Fault& aFault)
{
    checkLibrary(aValue, "port_wwn", aFault.mCall, false);
    if (!concernsTarget(aFault.mCall))
    {
        refuseKey(aValue, "port_wwn", aFault.mCall, "does not concern a single target");
    }
    aFault.mPort = textOf(readWwn(aValue));
}

void readBoard(TomlValue const& aValue, Fault& aFault)
{
    checkLibrary(aValue, "board", aFault.mCall, true);
    if (!concernsBoard(aFault.mCall))
    {
        refuseKey(aValue, "board", aFault.mCall, "does not concern a single board");
    }
    aFault.mDevice = std::to_string(readNumber(aValue, 0, highestNumber, expectedBoard));
}

/// Removes a number from the front of the text.
/// @return the number; 0 when the text does not start with one
std::uint32_t takeNumber(std::string_view& aText)
{
    std::uint32_t number = 0;
    auto const [end, error] = std::from_chars(aText.data(), aText.data() + aText.size(), number);
    aText.remove_prefix(static_cast<std::size_t>(end - aText.data()));
    return error == std::errc() ? number : 0;
}

/// @return the first and last call of a range such as "2-4" or "3+"; zeros when the text is not a range
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
        "a number from 1 to 4294967295, or a range such as \"2-4\" or \"3+\"";
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
    checkLibrary(aValue, "status", aFault.mCall, false);
    aFault.mReaction.mAnswer =
        readFoundOrNumber(aValue, statusNamed,
                          "a status name such as \"HBA_STATUS_ERROR_BUSY\" or a number from 0 to 4294967295");
}

void readResult(TomlValue const& aValue, Fault& aFault)
{
    checkLibrary(aValue, "result", aFault.mCall, true);
    aFault.mReaction.mAnswer = readNumber(aValue, 0, highestNumber);
}

/// Refuses a key that applies only to calls that return this status.
void checkStatus(TomlValue const& aValue, char const* aKey, Fault const& aFault, HBA_STATUS aStatus)
{
    if (aFault.mReaction.mAnswer != aStatus)
    {
        aValue.refuse(fmt::format("no key \"{}\" without the status {}", aKey, nameOf(aStatus)));
    }
}

constexpr char senseKey[] = "sense_key";
constexpr char additionalCode[] = "asc";
constexpr char qualifier[] = "ascq";

template <auto const& key, std::uint8_t Sense::*field, std::uint32_t highest>
void readSense(TomlValue const& aValue, Fault& aFault)
{
    if (!concernsTarget(aFault.mCall))
    {
        refuseKey(aValue, key, aFault.mCall, "sends no SCSI command");
    }
    checkStatus(aValue, key, aFault, HBA_STATUS_SCSI_CHECK_CONDITION);
    Sense sense = aFault.mReaction.mSense.value_or(Sense{});
    sense.*field = static_cast<std::uint8_t>(readNumber(aValue, 0, highest));
    aFault.mReaction.mSense = sense;
}

/// @return the shortest and the longest delay
std::pair<std::uint32_t, std::uint32_t> delaysIn(TomlValue const& aValue)
{
    constexpr std::string_view expected =
        "a number from 0 to 4294967295, or a list of the shortest and the longest delay";
    if (!aValue.is<TomlValue::Array>())
    {
        std::uint32_t const delay = readNumber(aValue, 0, highestNumber, expected);
        return {delay, delay};
    }
    constexpr std::size_t limits = 2;
    auto const& values = aValue.as<TomlValue::Array>(expected);
    if (values.size() != limits)
    {
        aValue.refuse(expected);
    }
    std::uint32_t const shortest = readNumber(values[0], 0, highestNumber);
    return {shortest, readNumber(values[1], shortest, highestNumber)};
}

void readDelay(TomlValue const& aValue, Fault& aFault)
{
    std::tie(aFault.mReaction.mDelayMs, aFault.mReaction.mLongestDelayMs) = delaysIn(aValue);
}

void readHangs(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mHangs = aValue.as<TomlValue::Boolean>("true or false");
}

void readPrints(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::size_t longestLine = 255;
    aFault.mReaction.mLine = readText(aValue, longestLine);
}

void readFaultName(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::size_t longestName = 255;
    aFault.mName = readText(aValue, longestName);
}

void readActive(TomlValue const& aValue, Fault& aFault)
{
    aFault.mIsActive = aValue.as<TomlValue::Boolean>("true or false");
}

constexpr std::uint32_t highestSenseKey = 0x0f;
constexpr std::uint32_t highestByte = 0xff;

// The keys after "status" depend on it.
constexpr Key<Fault> faultKeys[] = {
    {"name", Presence::optional, readFaultName},
    {"active", Presence::optional, readActive},
    {"call", Presence::required, readCall},
    {"adapter", Presence::optional, readAdapter},
    {"port_wwn", Presence::optional, readPortWwn},
    {"board", Presence::optional, readBoard},
    {"nth", Presence::required, readNth},
    {"status", Presence::optional, readStatus},
    {"result", Presence::optional, readResult},
    {"untouched", Presence::optional, readUntouched},
    {senseKey, Presence::optional, readSense<senseKey, &Sense::mKey, highestSenseKey>},
    {additionalCode, Presence::optional, readSense<additionalCode, &Sense::mCode, highestByte>},
    {qualifier, Presence::optional, readSense<qualifier, &Sense::mQualifier, highestByte>},
    {"count", Presence::optional, readCount},
    {"entries", Presence::optional, readEntries},
    {"missing", Presence::optional, readMissing},
    {"list_length", Presence::optional, readListLength},
    {"length", Presence::optional, readLength},
    {"garbage", Presence::optional, readGarbage},
    {"zeros", Presence::optional, readZeros},
    {"delay_ms", Presence::optional, readDelay},
    {"hangs", Presence::optional, readHangs},
    {"prints", Presence::optional, readPrints},
};

bool hasEffect(AnswerShape const& aShape)
{
    return aShape.mIsUntouched || aShape.mHasGarbage || aShape.mHasZeros || aShape.mMissing != 0 ||
           aShape.mLength || aShape.mEntries || aShape.mCount || aShape.mListLength;
}

bool hasEffect(Reaction const& aReaction)
{
    return aReaction.mAnswer || hasEffect(aReaction.mShape) || aReaction.mLongestDelayMs != 0 ||
           aReaction.mHangs || !aReaction.mLine.empty();
}

/// Refuses a fault that has no effect.
void checkEffect(TomlValue const& aTable, Fault const& aFault)
{
    if (!hasEffect(aFault.mReaction))
    {
        refuseMissingKey(aTable, isDiagnostic(aFault.mCall) ? "result" : "status", "[[fault]]");
    }
}

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

/// Checks that the adapter and target of the fault exist.
void checkNames(TomlValue const& aTable, Fault const& aFault, std::vector<Adapter> const& aAdapters)
{
    auto const isNamed = [&aFault](Adapter const& aAdapter)
    { return aFault.mDevice.empty() || aAdapter.mName == aFault.mDevice; };
    TomlValue const* const adapter = aTable.find("adapter");
    if (adapter != nullptr &&
        (aFault.mDevice.empty() || std::none_of(aAdapters.begin(), aAdapters.end(), isNamed)))
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

void checkBoard(TomlValue const& aTable, std::size_t aBoards)
{
    TomlValue const* const board = aTable.find("board");
    if (board != nullptr &&
        static_cast<std::uint64_t>(board->as<TomlValue::Number>(expectedBoard)) >= aBoards)
    {
        board->refuse(expectedBoard);
    }
}

/// Faults with names may share calls, because they start and end.
bool shareCalls(Fault const& aOne, Fault const& aOther)
{
    return aOne.mName.empty() && aOther.mName.empty() && aOne.mCall == aOther.mCall &&
           aOne.mDevice == aOther.mDevice && aOne.mPort == aOther.mPort && aOne.mFirst <= aOther.mLast &&
           aOther.mFirst <= aOne.mLast;
}
}  // namespace

std::vector<Fault> readFaults(TomlValue const& aTables, Scenario const& aScenario)
{
    std::vector<Fault> faults;
    std::set<std::string> names;
    readTables(
        aTables, "[[fault]]", faultKeys, Fault{},
        [&](TomlValue const& aTable, Fault aFault)
        {
            checkEffect(aTable, aFault);
            checkNames(aTable, aFault, aScenario.mAdapters);
            checkBoard(aTable, aScenario.mDiagnostics.mBoards.size());
            if (!aFault.mName.empty() && !names.insert(aFault.mName).second)
            {
                aTable.find("name")->refuse("a name that no other fault has");
            }
            aFault.mPlace = aTable.place();
            auto const rival = std::find_if(faults.begin(), faults.end(),
                                            [&](Fault const& aOther) { return shareCalls(aFault, aOther); });
            if (rival != faults.end())
            {
                throw TomlError(fmt::format(
                    "{}: expected calls that no other fault covers, found an overlap with the fault at {}",
                    aFault.mPlace, rival->mPlace));
            }
            faults.push_back(std::move(aFault));
        });
    return faults;
}
}  // namespace qzsim
