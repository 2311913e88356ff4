#include "toml/TomlText.h"

#include <string_view>
#include <variant>

namespace tomlfile
{
namespace
{
constexpr std::string_view bareCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";

/// @return the text in quotation marks, as TOML and JSON both write it
std::string quoted(std::string_view aText)
{
    std::string text;
    for (char const character : aText)
    {
        bool const isSpecial = character == '"' || character == '\\';
        text += isSpecial ? std::string{'\\', character} : std::string(1, character);
    }
    return inQuotes(text);
}

/// What differs between the two notations.
struct Notation
{
    std::string_view mAfterKey;
    bool mAreBareKeysAllowed;
};

constexpr Notation tomlNotation{" = ", true};
constexpr Notation jsonNotation{": ", false};

class Writer
{
public:
    explicit Writer(Notation aNotation) : mNotation(aNotation) {}

    std::string operator()(TomlValue::Table const& aTable) const
    {
        std::string text;
        for (TomlEntry const& entry : aTable)
        {
            text.append(text.empty() ? "" : ", ").append(key(entry.mKey)).append(mNotation.mAfterKey);
            text += std::visit(*this, entry.mValue.content());
        }
        return '{' + text + '}';
    }

    std::string operator()(TomlValue::Array const& aArray) const
    {
        std::string text;
        for (TomlValue const& value : aArray)
        {
            text.append(text.empty() ? "" : ", ").append(std::visit(*this, value.content()));
        }
        return '[' + text + ']';
    }

    std::string operator()(TomlValue::Text const& aText) const { return quoted(aText); }
    std::string operator()(TomlValue::Number aNumber) const { return std::to_string(aNumber); }
    std::string operator()(TomlValue::Boolean aBoolean) const { return aBoolean ? "true" : "false"; }

    // No file uses such a value, so no reader accepts the text either.
    std::string operator()(TomlValue::Other const& aOther) const { return quoted(aOther.mKind); }

private:
    std::string key(std::string const& aKey) const
    {
        bool const isBare = mNotation.mAreBareKeysAllowed && !aKey.empty() &&
                            aKey.find_first_not_of(bareCharacters) == std::string::npos;
        return isBare ? aKey : quoted(aKey);
    }

    Notation mNotation;
};
}  // namespace

std::string tomlText(TomlValue const& aValue) { return std::visit(Writer(tomlNotation), aValue.content()); }

std::string jsonText(TomlValue const& aValue) { return std::visit(Writer(jsonNotation), aValue.content()); }
}  // namespace tomlfile
