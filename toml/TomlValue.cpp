#include "toml/TomlValue.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "toml/TomlError.h"

namespace tomlfile
{
namespace
{
bool isControlCharacter(char aCharacter)
{
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char deleteCharacter = 0x7f;
    auto const code = static_cast<unsigned char>(aCharacter);
    return code < firstPrintable || code == deleteCharacter;
}

struct Description
{
    std::string operator()(TomlValue::Table const&) const { return "a table"; }
    std::string operator()(TomlValue::Array const&) const { return "an array"; }
    std::string operator()(TomlValue::Text const& aText) const { return tomlfile::inQuotes(aText); }
    std::string operator()(TomlValue::Number aNumber) const { return std::to_string(aNumber); }
    std::string operator()(TomlValue::Boolean) const { return "a boolean"; }
    std::string operator()(TomlValue::Other const& aOther) const { return aOther.mKind; }
};
}  // namespace

TomlValue::TomlValue(std::string aPlace, Content aContent)
    : mPlace(std::move(aPlace)), mContent(std::move(aContent))
{
}

std::string const& TomlValue::place() const { return mPlace; }

TomlValue const* TomlValue::find(std::string_view aKey) const
{
    Table const& table = std::get<Table>(mContent);
    auto const found = std::find_if(table.begin(), table.end(),
                                    [aKey](TomlEntry const& aEntry) { return aEntry.mKey == aKey; });
    return found == table.end() ? nullptr : &found->mValue;
}

void TomlValue::refuse(std::string_view aExpected) const
{
    throw TomlError(
        fmt::format("{}: expected {}, found {}", mPlace, aExpected, std::visit(Description(), mContent)));
}

std::string escaped(std::string_view aText)
{
    std::string result;
    while (!aText.empty())
    {
        // Control characters above ASCII have two bytes in UTF-8: the second one is the character.
        bool const isLong =
            aText.size() > 1 && aText[0] == '\xc2' && (static_cast<unsigned char>(aText[1]) & 0xe0U) == 0x80U;
        char const character = aText[isLong ? 1 : 0];
        result += isLong || isControlCharacter(character)
                      ? fmt::format("\\u{:04X}", static_cast<unsigned char>(character))
                      : std::string(1, character);
        aText.remove_prefix(isLong ? 2 : 1);
    }
    return result;
}

std::string inQuotes(std::string_view aText) { return '"' + escaped(aText) + '"'; }

bool hasControlCharacter(std::string_view aText)
{
    return std::any_of(aText.begin(), aText.end(), isControlCharacter);
}
}  // namespace tomlfile
