/// @file
/// TOML files as trees of values. Each value knows its position, for error messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tomlfile
{
struct TomlEntry;

class TomlValue
{
public:
    using Table = std::vector<TomlEntry>;
    using Array = std::vector<TomlValue>;
    using Text = std::string;
    using Number = std::int64_t;
    using Boolean = bool;

    /// A value of a type that no file of this project uses; the text names the type ("a date").
    struct Other
    {
        std::string mKind;
    };

    using Content = std::variant<Table, Array, Text, Number, Boolean, Other>;

    /// @param aPlace "file:line:column"
    TomlValue(std::string aPlace, Content aContent);

    std::string const& place() const;

    template <typename Kind>
    bool is() const;

    /// @return the content as this type
    /// @throws TomlError when the content has another type
    template <typename Kind>
    Kind const& as(std::string_view aExpected) const;

    /// @return the value of a key of this table; null when there is none
    TomlValue const* find(std::string_view aKey) const;

    /// @throws TomlError always, with the position, the expectation and the content
    [[noreturn]] void refuse(std::string_view aExpected) const;

    Content const& content() const { return mContent; }
    Content& content() { return mContent; }

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

/// Reads a file. Its top-level keys form a table.
/// @param aPath appears in messages as given here, with escaped control characters
/// @throws TomlError when the file cannot be read, has more than 16 MiB, or is not valid TOML
TomlValue readToml(std::string const& aPath);

/// Same as above, in two steps. A pipe can be read only once.
/// @{
std::string contentOf(std::string const& aPath);
TomlValue readToml(std::string const& aPath, std::string const& aContent);
/// @}

/// @return the text with escaped control characters
std::string escaped(std::string_view aText);

/// @return the text in quotation marks, with escaped control characters
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
}  // namespace tomlfile
