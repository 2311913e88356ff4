#include "tools/qzagent/check/RulesFile.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "toml/Named.h"
#include "toml/TomlError.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"
#include "tools/qzagent/check/Rules.h"

namespace qzagent
{
namespace
{
using tomlfile::Named;
using tomlfile::TomlEntry;
using tomlfile::TomlValue;

constexpr char const* categoriesKey = "categories";

constexpr Named<Severity> severities[] = {
    {"error", Severity::error},
    {"warning", Severity::warning},
};

std::string keysOf(Rule const& aRule)
{
    std::string keys = "enabled, severity";
    keys += aRule.mLimit ? std::string(", ") + aRule.mLimit->mKey : "";
    return aRule.mId == RuleId::events ? keys + ", " + categoriesKey : keys;
}

std::vector<std::uint8_t> readCategories(TomlValue const& aValue)
{
    std::vector<std::uint8_t> categories;
    for (TomlValue const& value : aValue.as<TomlValue::Array>("a list of categories"))
    {
        categories.push_back(static_cast<std::uint8_t>(
            tomlfile::readNumber(value, 0, std::numeric_limits<std::uint8_t>::max())));
    }
    return categories;
}

void readEntry(TomlEntry const& aEntry, Rule const& aRule, RuleSettings& aSettings)
{
    RuleSetting& setting = aSettings[aRule.mId];
    if (aEntry.mKey == "enabled")
    {
        setting.mIsEnabled = aEntry.mValue.as<TomlValue::Boolean>("true or false");
    }
    else if (aEntry.mKey == "severity")
    {
        setting.mSeverity = tomlfile::readNamed(aEntry.mValue, severities);
    }
    else if (aRule.mLimit && aEntry.mKey == aRule.mLimit->mKey)
    {
        setting.mLimit = tomlfile::readNumber(aEntry.mValue, 0, tomlfile::highestNumber);
    }
    else if (aRule.mId == RuleId::events && aEntry.mKey == categoriesKey)
    {
        aSettings.mCategories = readCategories(aEntry.mValue);
    }
    else
    {
        throw tomlfile::TomlError(fmt::format("{}: expected a key of [{}] ({}), found {}", aEntry.mPlace,
                                              aRule.mName, keysOf(aRule), tomlfile::inQuotes(aEntry.mKey)));
    }
}
}  // namespace

RuleSettings readRules(std::string const& aPath)
{
    RuleSettings settings;
    TomlValue const file = tomlfile::readToml(aPath);
    for (TomlEntry const& entry : file.as<TomlValue::Table>("tables of rules"))
    {
        Rule const* const rule = ruleNamed(entry.mKey);
        if (rule == nullptr)
        {
            throw tomlfile::TomlError(
                fmt::format("{}: expected the name of a rule (see qzagent check --print-rules), found {}",
                            entry.mPlace, tomlfile::inQuotes(entry.mKey)));
        }
        for (TomlEntry const& key : entry.mValue.as<TomlValue::Table>("a table of settings"))
        {
            readEntry(key, *rule, settings);
        }
    }
    return settings;
}
}  // namespace qzagent
