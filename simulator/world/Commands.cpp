#include "simulator/world/Commands.h"

#include <algorithm>
#include <exception>
#include <utility>

#include <fmt/format.h>

#include "simulator/scenario/Change.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ValuePath.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
using tomlfile::TomlError;
using tomlfile::TomlValue;

constexpr char const* commandName = "command";
constexpr char const* doneAnswer = "ok\n";

constexpr std::string_view commandNames =
    "get, get-json, set, remove, change, event, fault, pause, resume or verify";

[[noreturn]] void refuse(std::string_view aExpected, std::string_view aFound)
{
    throw TomlError(fmt::format("expected {}, found {}", aExpected, tomlfile::inQuotes(aFound)));
}

/// Removes a word, and the blanks after it, from the front of the text. A word has no blanks outside of brackets.
std::string_view takeArgument(std::string_view& aText)
{
    std::size_t length = 0;
    for (int brackets = 0; length < aText.size() && (brackets > 0 || aText[length] != ' '); ++length)
    {
        brackets += aText[length] == '[' ? 1 : aText[length] == ']' ? -1 : 0;
    }
    std::string_view const word = aText.substr(0, length);
    aText.remove_prefix(std::min(aText.find_first_not_of(' ', length), aText.size()));
    return word;
}

/// Parses a TOML value. A single word that is none is a text: the shell has removed the quotation marks.
TomlValue valueIn(std::string const& aText)
{
    constexpr std::string_view characters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-.:/";
    try
    {
        TomlValue const value = *tomlfile::readToml("value", "value = " + aText).find("value");
        return {"value", value.content()};  // a position would count from the start of another text
    }
    catch (TomlError const&)
    {
        if (aText.empty() || aText.find_first_not_of(characters) != std::string::npos)
        {
            refuse("a TOML value or a word", aText);
        }
        return {"value", TomlValue::Text(aText)};
    }
}

/// @return a table with one key
TomlValue tableOf(std::string aKey, TomlValue aValue)
{
    TomlValue::Table table;
    table.push_back({std::move(aKey), commandName, std::move(aValue)});
    return {commandName, std::move(table)};
}

/// @param aName name of a fault, or its position
void checkFault(std::string_view aName, Scenario const& aScenario)
{
    constexpr std::string_view digits = "0123456789";
    if (aName.find_first_not_of(digits) != std::string_view::npos &&
        std::none_of(aScenario.mFaults.begin(), aScenario.mFaults.end(),
                     [aName](Fault const& aFault) { return aFault.mName == aName; }))
    {
        throw TomlError(fmt::format("no fault is named {}", tomlfile::inQuotes(aName)));
    }
}

bool isTable(std::string_view aText) { return !aText.empty() && aText.front() == '{'; }

TomlValue textValue(std::string_view aText) { return {commandName, TomlValue::Text(aText)}; }
}  // namespace

std::vector<std::string> unfinished(World& aWorld, Strikes const& aStrikes, World::Time aNow)
{
    std::vector<std::string> lines;
    std::vector<Fault> const& faults = aWorld.original().mFaults;
    auto const scenario = aWorld.at(aNow);
    std::vector<Fault> const& present = scenario->mFaults;
    for (std::size_t index = 0; index < present.size(); ++index)
    {
        bool const isAdded = index >= faults.size();
        Fault fault = isAdded ? present[index] : faults[index];
        fault.mIsActive = fault.mIsActive || isAdded;  // it was added to be started
        if (aStrikes.of(index) < strikesIn(fault))
        {
            lines.push_back(fmt::format("{}: the fault struck {} of {} times: {}",
                                        isAdded ? fmt::format("fault[{}]", index) : fault.mPlace,
                                        aStrikes.of(index), strikesIn(fault), summaryOf(fault)));
        }
    }
    for (TimelineEntry const* const entry : aWorld.pending(aNow))
    {
        lines.push_back(fmt::format("{}: the change did not happen: {}", entry->mPlace, summaryOf(*entry)));
    }
    return lines;
}

std::string Commands::answer(std::string const& aCommand, World::Time aNow)
{
    try
    {
        return perform(aCommand, aNow);
    }
    catch (std::exception const& error)
    {
        return fmt::format("error {}\n", tomlfile::escaped(error.what()));
    }
}

std::string Commands::perform(std::string_view aCommand, World::Time aNow)
{
    std::string_view rest = aCommand;
    std::string_view const command = takeArgument(rest);
    std::string const arguments(rest);
    if (command == "get")
    {
        return fmt::format(" {}\n{}", tomlfile::tomlText(mWorld.valueAt({commandName, arguments}, aNow)),
                           doneAnswer);
    }
    if (command == "get-json")
    {
        return fmt::format(" {}\n{}", tomlfile::jsonText(mWorld.valueAt({commandName, arguments}, aNow)),
                           doneAnswer);
    }
    if (command == "set")
    {
        return setValue(rest, aNow);
    }
    if (command == "remove")
    {
        return change(tableOf("remove", textValue(rest)), aNow);
    }
    if (command == "change")
    {
        return change(valueIn(arguments), aNow);
    }
    if (command == "event")
    {
        TomlValue const table = valueIn(isTable(rest) ? arguments : '{' + arguments + '}');
        bool const isOfAdapter = table.is<TomlValue::Table>() && table.find("adapter") != nullptr;
        return change(tableOf(isOfAdapter ? "adapter_event" : "event", table), aNow);
    }
    if (command == "fault")
    {
        return startOrEndFault(rest, aNow);
    }
    bool const isAlone = command == "verify" || command == "pause" || command == "resume";
    if (isAlone && !rest.empty())
    {
        refuse(fmt::format("nothing after {}", command), rest);
    }
    if (command == "verify")
    {
        return verify(aNow);
    }
    if (command == "pause" || command == "resume")
    {
        command == "pause" ? mWorld.pause(aNow) : mWorld.resume(aNow);
        return doneAnswer;
    }
    refuse(fmt::format("a command ({})", commandNames), command);
}

std::string Commands::setValue(std::string_view aArguments, World::Time aNow)
{
    std::string_view rest = aArguments;
    std::string const path(takeArgument(rest));
    return change(tableOf("set", tableOf(path, valueIn(std::string(rest)))), aNow);
}

std::string Commands::startOrEndFault(std::string_view aArguments, World::Time aNow)
{
    std::string_view rest = aArguments;
    std::string_view const action = takeArgument(rest);
    if (action == "start" && isTable(rest))
    {
        return setValue("fault[+] " + std::string(rest), aNow);
    }
    if (action != "start" && action != "end")
    {
        refuse("fault start or fault end", action);
    }
    checkFault(rest, *mWorld.at(aNow));
    return change(tableOf(action == "start" ? "fault_start" : "fault_end", textValue(rest)), aNow);
}

std::string Commands::change(TomlValue const& aTable, World::Time aNow)
{
    Change const change = readChange(aTable);
    checkEffect(aTable, change);
    mWorld.change(change, aNow);
    return doneAnswer;
}

std::string Commands::verify(World::Time aNow)
{
    std::vector<std::string> const lines = unfinished(mWorld, mStrikes, aNow);
    std::string answer;
    for (std::string const& line : lines)
    {
        answer.append(1, ' ').append(line).append(1, '\n');
    }
    return answer + (lines.empty() ? doneAnswer : "left\n");
}
}  // namespace qzsim
