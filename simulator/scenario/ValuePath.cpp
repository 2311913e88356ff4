#include "simulator/scenario/ValuePath.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

#include <fmt/format.h>

#include "toml/TomlError.h"

namespace qzsim
{
namespace
{
using tomlfile::TomlValue;

constexpr std::string_view keyCharacters = "abcdefghijklmnopqrstuvwxyz0123456789_";
constexpr std::string_view newElement = "+";
constexpr char const* selectingKeys[] = {"name", "port_wwn", "second_wwn"};

std::optional<std::size_t> positionOf(std::string_view aText)
{
    std::size_t position = 0;
    auto const [end, error] = std::from_chars(aText.data(), aText.data() + aText.size(), position);
    return error == std::errc() && end == aText.data() + aText.size() ? std::optional(position)
                                                                      : std::nullopt;
}

bool isSelected(TomlValue const& aElement, std::string const& aName)
{
    return aElement.is<TomlValue::Table>() &&
           std::any_of(std::begin(selectingKeys), std::end(selectingKeys),
                       [&](char const* aKey)
                       {
                           TomlValue const* const value = aElement.find(aKey);
                           return value != nullptr && value->is<TomlValue::Text>() &&
                                  value->as<TomlValue::Text>({}) == aName;
                       });
}
}  // namespace

ValuePath::ValuePath(std::string aPlace, std::string aText)
    : mPlace(std::move(aPlace)), mText(std::move(aText))
{
    std::string_view rest = mText;
    while (!rest.empty() || mSteps.empty())
    {
        bool const isElement = !mSteps.empty() && !rest.empty() && rest.front() == '[';
        bool const hasDot = !mSteps.empty() && !rest.empty() && rest.front() == '.';
        rest.remove_prefix(isElement || hasDot ? 1 : 0);
        std::size_t const end =
            std::min(isElement ? rest.find(']') : rest.find_first_not_of(keyCharacters), rest.size());
        bool const isGood = end != 0 && (isElement ? end != rest.size() : hasDot || mSteps.empty());
        if (!isGood)
        {
            refuse("is not a path such as adapter[0].port[1].state");
        }
        mSteps.push_back({std::string(rest.substr(0, end)), isElement});
        rest.remove_prefix(isElement ? end + 1 : end);
    }
}

std::string ValuePath::resolved(TomlValue const& aTree) const
{
    std::string text;
    TomlValue const* value = &aTree;
    for (Step const& step : mSteps)
    {
        if (step.mIsElement)
        {
            text += value == nullptr ? "[0]" : fmt::format("[{}]", positionIn(*value, step));
        }
        else
        {
            text.append(text.empty() ? "" : ".").append(step.mText);
        }
        value = value == nullptr ? nullptr : valueAt(*value, step);
    }
    return text;
}

TomlValue const* ValuePath::find(TomlValue const& aTree) const
{
    TomlValue const* value = &aTree;
    for (auto step = mSteps.begin(); step != mSteps.end() && value != nullptr; ++step)
    {
        value = valueAt(*value, *step);
    }
    return value;
}

TomlValue const& ValuePath::valueIn(TomlValue const& aTree) const
{
    TomlValue const* const value = find(aTree);
    if (value == nullptr)
    {
        refuseMissing();
    }
    return *value;
}

void ValuePath::set(TomlValue& aTree, TomlValue aValue) const
{
    TomlValue* value = &aTree;
    for (std::size_t step = 0; step < mSteps.size(); ++step)
    {
        value = &madeAt(*value, step);
    }
    *value = std::move(aValue);
}

void ValuePath::remove(TomlValue& aTree) const
{
    TomlValue const* const value = &valueIn(aTree);
    TomlValue* parent = &aTree;
    for (std::size_t step = 0; step + 1 < mSteps.size(); ++step)
    {
        parent = &madeAt(*parent, step);
    }
    if (auto* const elements = std::get_if<TomlValue::Array>(&parent->content()))
    {
        elements->erase(elements->begin() + (value - elements->data()));
        return;
    }
    auto& entries = std::get<TomlValue::Table>(parent->content());
    entries.erase(std::find_if(entries.begin(), entries.end(),
                               [value](tomlfile::TomlEntry const& aEntry)
                               { return &aEntry.mValue == value; }));
}

std::size_t ValuePath::positionIn(TomlValue const& aArray, Step const& aStep) const
{
    auto const* const elements = std::get_if<TomlValue::Array>(&aArray.content());
    if (elements == nullptr)
    {
        refuse(
            fmt::format("selects element {} of a value that is no array", tomlfile::inQuotes(aStep.mText)));
    }
    if (aStep.mText == newElement)
    {
        return elements->size();
    }
    auto const selected =
        std::find_if(elements->begin(), elements->end(),
                     [&](TomlValue const& aElement) { return isSelected(aElement, aStep.mText); });
    std::size_t const position = selected == elements->end()
                                     ? positionOf(aStep.mText).value_or(elements->size())
                                     : static_cast<std::size_t>(std::distance(elements->begin(), selected));
    if (position >= elements->size())
    {
        refuse(fmt::format("selects {}, but the array has {} elements and none with this name",
                           tomlfile::inQuotes(aStep.mText), elements->size()));
    }
    return position;
}

TomlValue const* ValuePath::valueAt(TomlValue const& aValue, Step const& aStep) const
{
    if (aStep.mIsElement)
    {
        std::size_t const position = positionIn(aValue, aStep);
        auto const& elements = std::get<TomlValue::Array>(aValue.content());
        return position < elements.size() ? &elements[position] : nullptr;
    }
    if (!aValue.is<TomlValue::Table>())
    {
        refuse(
            fmt::format("selects the key {} of a value that is no table", tomlfile::inQuotes(aStep.mText)));
    }
    return aValue.find(aStep.mText);
}

TomlValue& ValuePath::madeAt(TomlValue& aValue, std::size_t aStep) const
{
    Step const& step = mSteps[aStep];
    if (TomlValue const* const present = valueAt(aValue, step))
    {
        return const_cast<TomlValue&>(*present);  // part of aValue, which is not const
    }
    bool const isArray = aStep + 1 < mSteps.size() && mSteps[aStep + 1].mIsElement;
    TomlValue made(mPlace, TomlValue::Table());
    if (isArray)
    {
        made.content() = TomlValue::Array();
    }
    if (step.mIsElement)
    {
        auto& elements = std::get<TomlValue::Array>(aValue.content());
        return elements.emplace_back(std::move(made));
    }
    auto& entries = std::get<TomlValue::Table>(aValue.content());
    entries.push_back({step.mText, mPlace, std::move(made)});
    return entries.back().mValue;
}

void ValuePath::refuseMissing() const { refuse("is not set in the scenario"); }

void ValuePath::refuse(std::string const& aReason) const
{
    throw tomlfile::TomlError(fmt::format("{}: the path {} {}", mPlace, tomlfile::inQuotes(mText), aReason));
}
}  // namespace qzsim
