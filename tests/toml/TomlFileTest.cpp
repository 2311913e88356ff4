// Reading of files: values with their positions, and error messages.
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "tests/toml/TomlErrors.h"
#include "toml/TomlValue.h"

using tomlfile::readToml;
using tomlfile::TomlValue;

namespace
{
std::string errorOfFile(std::string const& aPath)
{
    return tomlErrorOf([&] { readToml(aPath); });
}

std::string errorOf(std::string const& aText)
{
    return tomlErrorOf([&] { valueOf(aText); });
}

/// @return how the value of the key "a" appears in an error message
std::string descriptionOf(std::string const& aValue)
{
    return tomlErrorOf([&] { valueOf("a = " + aValue + "\n").find("a")->refuse("this"); });
}

TEST(TomlFile, HasTheValuesOfItsKeys)
{
    TomlValue const file =
        valueOf("text = \"a\"\nnumber = -1\nlist = [ 1, 2 ]\nflag = true\n[table]\nkey = 7\n");
    EXPECT_EQ(file.find("text")->as<TomlValue::Text>("a text"), "a");
    EXPECT_EQ(file.find("number")->as<TomlValue::Number>("a number"), -1);
    EXPECT_EQ(file.find("list")->as<TomlValue::Array>("a list").size(), 2);
    EXPECT_TRUE(file.find("flag")->as<TomlValue::Boolean>("a boolean"));
    EXPECT_EQ(file.find("table")->find("key")->as<TomlValue::Number>("a number"), 7);
    EXPECT_EQ(file.find("none"), nullptr);
}

TEST(TomlFile, KnowsThePositionsOfItsValues)
{
    TomlValue const file = valueOf("a = 1\n\n[b]\n  c = 2\n");
    EXPECT_EQ(withoutFolder(file.find("a")->place()), "test.toml:1:5");
    EXPECT_EQ(withoutFolder(file.find("b")->find("c")->place()), "test.toml:4:7");
}

TEST(TomlFile, DescribesAValueThatIsRefused)
{
    EXPECT_EQ(descriptionOf("\"b\\u0001\""), "test.toml:1:5: expected this, found \"b\\u0001\"");
    EXPECT_EQ(descriptionOf("5"), "test.toml:1:5: expected this, found 5");
    EXPECT_EQ(descriptionOf("[]"), "test.toml:1:5: expected this, found an array");
    EXPECT_EQ(descriptionOf("{}"), "test.toml:1:5: expected this, found a table");
    EXPECT_EQ(descriptionOf("false"), "test.toml:1:5: expected this, found a boolean");
    EXPECT_EQ(descriptionOf("0.5"), "test.toml:1:5: expected this, found a fractional number");
    EXPECT_EQ(descriptionOf("2024-01-31"), "test.toml:1:5: expected this, found a date");
    EXPECT_EQ(descriptionOf("08:00:00"), "test.toml:1:5: expected this, found a time");
    EXPECT_EQ(descriptionOf("2024-01-31T08:00:00Z"), "test.toml:1:5: expected this, found a date and time");
}

TEST(TomlFile, NamesAMissingFile)
{
    ScratchFolder const folder;
    std::string const path = folder.path() / "none.toml";
    EXPECT_EQ(errorOfFile(path), path + ": cannot be read: No such file or directory");
}

TEST(TomlFile, NamesAFolderGivenAsAFile)
{
    ScratchFolder const folder;
    EXPECT_EQ(errorOfFile(folder.path()), folder.path().string() + ": cannot be read: Is a directory");
}

TEST(TomlFile, ReportsThePositionOfASyntaxError)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\nnth"),
              "test.toml:2:10: Error while parsing string: unescaped control characters other than TAB "
              "(U+0009) are "
              "explicitly prohibited");
}

TEST(TomlFile, EscapesControlCharactersInASyntaxError)
{
    EXPECT_EQ(errorOf("first = n\f"),
              "test.toml:1:10: Error while parsing floating-point: expected 'nan', saw 'n\\u000C'");
}

TEST(TomlFile, ReportsThePositionOfADuplicateKey)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\nname = \"b\"\n"),
              "test.toml:3:8: Error while parsing key-value pair: cannot redefine existing string 'name'");
}

TEST(TomlFile, ReportsThePositionOfInvalidUtf8)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"\xff\"\n").substr(0, 12), "test.toml:2:");
}

TEST(TomlFile, RefusesAKeyThatStartsWithANonAsciiLetter)
{
    EXPECT_EQ(errorOf("\u00e9 = 1"),
              "test.toml:1:1: Error while parsing root table: expected keys, tables, whitespace or comments, "
              "saw '\u00e9'");
}

TEST(TomlFile, RefusesALineWithTooManyDots)
{
    EXPECT_EQ(errorOf("\na" + std::string(301, '.')),
              "test.toml:2:1: expected a line of at most 300 dots, found 301");
}

TEST(TomlFile, RefusesValuesThatAreNestedTooDeeply)
{
    EXPECT_EQ(errorOf("adapter = " + std::string(100000, '[')),
              "test.toml:1:20: Error while parsing value: exceeded maximum nested value depth of 9 "
              "(TOML_MAX_NESTED_VALUES)");
}

}  // namespace
