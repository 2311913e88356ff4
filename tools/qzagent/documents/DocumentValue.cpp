#include "tools/qzagent/documents/DocumentValue.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qzagent
{
namespace
{
/// The only version of the form that this tool reads.
constexpr int knownVersion = 2;
}  // namespace

DocumentValue::DocumentValue(nlohmann::ordered_json const& aJson, std::string aPlace)
    : mJson(aJson), mPlace(std::move(aPlace))
{
}

void DocumentValue::refuse(std::string const& aExpected) const
{
    throw DocumentError(fmt::format("{}: {} was expected", mPlace, aExpected));
}

bool DocumentValue::has(char const* aKey) const { return object().mJson.contains(aKey); }

DocumentValue DocumentValue::at(char const* aKey) const
{
    auto const found = object().mJson.find(aKey);
    if (found == mJson.end())
    {
        refuse(fmt::format("an object with the key \"{}\"", aKey));
    }
    return {*found, fmt::format("{}.{}", mPlace, aKey)};
}

std::vector<DocumentValue> DocumentValue::listAt(char const* aKey) const
{
    if (!has(aKey))
    {
        return {};
    }
    DocumentValue const list = at(aKey);
    if (!list.mJson.is_array())
    {
        list.refuse("a list");
    }
    std::vector<DocumentValue> values;
    values.reserve(list.mJson.size());
    for (nlohmann::ordered_json const& element : list.mJson)
    {
        values.emplace_back(element, fmt::format("{}[{}]", list.mPlace, values.size()));
    }
    return values;
}

std::string DocumentValue::text() const
{
    if (!mJson.is_string())
    {
        refuse("a text");
    }
    return mJson.get<std::string>();
}

std::optional<std::string> DocumentValue::textAt(char const* aKey) const
{
    return has(aKey) ? std::optional(at(aKey).text()) : std::nullopt;
}

std::uint64_t DocumentValue::number() const
{
    if (!mJson.is_number_unsigned())
    {
        refuse("a number that is not negative");
    }
    return mJson.get<std::uint64_t>();
}

std::string DocumentValue::lun() const
{
    constexpr std::size_t digitsOfOtherAddressing = 16;
    constexpr unsigned int largestNumber = 16383;
    std::string lun = mJson.is_number_unsigned() ? std::to_string(number()) : text();
    if (mJson.is_number_unsigned() ? number() > largestNumber : lun.size() != digitsOfOtherAddressing)
    {
        refuse("a LUN");
    }
    return lun;
}

DocumentValue const& DocumentValue::object() const
{
    if (!mJson.is_object())
    {
        refuse("an object");
    }
    return *this;
}

DocumentValue documentOf(char const* aVerb, nlohmann::ordered_json const& aDocument, std::string const& aName)
{
    DocumentValue document(aDocument, aName);
    if (document.at("format_version").json() != knownVersion)
    {
        document.at("format_version").refuse(std::to_string(knownVersion));
    }
    if (document.at("command").json() != aVerb)
    {
        document.at("command").refuse(fmt::format("\"{}\"", aVerb));
    }
    return document;
}
}  // namespace qzagent
