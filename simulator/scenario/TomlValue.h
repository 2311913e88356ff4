/// @file
/// TOML files as trees of values that know where they stand, so that whoever refuses one can say where.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace qzsim
{
struct TomlEntry;

class TomlValue
{
public:
    using Table = std::vector<TomlEntry>;
    using Array = std::vector<TomlValue>;
    using Text = std::string;
    using Number = std::int64_t;

    /// A value of a kind that no scenario has a use for; the text says which ("a boolean").
    struct Other
    {
        std::string mKind;
    };

    using Content = std::variant<Table, Array, Text, Number, Other>;

    /// @param aPlace "file:line:column"
    TomlValue(std::string aPlace, Content aContent);

    std::string const& place() const;

    template <typename Kind>
    bool is() const;

    /// The content, if it is of that kind; else throws what refuse throws.
    template <typename Kind>
    Kind const& as(std::string_view aExpected) const;

    /// Of a table: the value of that key; null when there is none.
    TomlValue const* find(std::string_view aKey) const;

    /// Throws the ScenarioError of a value that is not what was expected.
    [[noreturn]] void refuse(std::string_view aExpected) const;

private:
    std::string mPlace;
    Content mContent;
};

struct TomlEntry
{
    std::string mKey;
    std::string mPlace;
    TomlValue mValue;
};

/// Reads a file, whose outermost keys are a table. Throws ScenarioError.
/// @param aPath as messages shall name it
TomlValue readToml(std::string const& aPath);

/// Text whose control characters are escaped.
std::string escaped(std::string_view aText);

/// The same between quotation marks.
std::string inQuotes(std::string_view aText);

bool hasControlCharacter(std::string_view aText);

template <typename Kind>
bool TomlValue::is() const
{
    return std::holds_alternative<Kind>(mContent);
}

template <typename Kind>
Kind const& TomlValue::as(std::string_view aExpected) const
{
    if (!is<Kind>())
    {
        refuse(aExpected);
    }
    return std::get<Kind>(mContent);
}
}  // namespace qzsim
