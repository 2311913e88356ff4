// Reading of tables and single values, with their error messages.
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/toml/TomlErrors.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"

using testing::ElementsAre;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

namespace
{
struct Box
{
    std::uint32_t mWidth;
    std::uint32_t mHeight;
};

constexpr Key<Box> boxKeys[] = {
    {"width", Presence::required,
     [](TomlValue const& aValue, Box& aBox) { aBox.mWidth = readNumber(aValue, 1, 9); }},
    {"height", Presence::optional,
     [](TomlValue const& aValue, Box& aBox) { aBox.mHeight = readNumber(aValue, 0, 9, "a height"); }},
};

constexpr Named<int> colours[] = {{"red", 1}, {"blue", 2}};

Box boxOf(std::string const& aText)
{
    Box box{0, 5};
    readTable(valueOf(aText), "[box]", boxKeys, box);
    return box;
}

std::string errorOfBox(std::string const& aText)
{
    return tomlErrorOf([&] { boxOf(aText); });
}

std::vector<std::uint32_t> widthsOf(std::string const& aText)
{
    std::vector<std::uint32_t> widths;
    readTables(*valueOf(aText).find("box"), "[[box]]", boxKeys, Box{},
               [&](TomlValue const&, Box aBox) { widths.push_back(aBox.mWidth); });
    return widths;
}

/// @return the error when the value of the key "a" is read
template <typename Read>
std::string errorOfValue(std::string const& aValue, Read aRead)
{
    TomlValue const table = valueOf("a = " + aValue + "\n");
    return tomlErrorOf([&] { aRead(*table.find("a")); });
}

TEST(TomlReaders, ReadATable)
{
    Box const box = boxOf("height = 2\nwidth = 3\n");
    EXPECT_EQ(box.mWidth, 3);
    EXPECT_EQ(box.mHeight, 2);
}

TEST(TomlReaders, KeepTheInitialValueOfAMissingOptionalKey) { EXPECT_EQ(boxOf("width = 3\n").mHeight, 5); }

TEST(TomlReaders, RefuseATableWithoutARequiredKey)
{
    EXPECT_EQ(errorOfBox("height = 2\n"),
              "test.toml:1:1: expected the key \"width\" in this [box], found none");
}

TEST(TomlReaders, RefuseAnUnknownKey)
{
    EXPECT_EQ(errorOfBox("width = 3\ndepth = 2\n"),
              "test.toml:2:1: expected a key of [box] (width, height), found \"depth\"");
}

TEST(TomlReaders, RefuseANumberOutsideItsRange)
{
    EXPECT_EQ(errorOfBox("width = 0\n"), "test.toml:1:9: expected a number from 1 to 9, found 0");
    EXPECT_EQ(errorOfBox("width = 10\n"), "test.toml:1:9: expected a number from 1 to 9, found 10");
    EXPECT_EQ(errorOfBox("width = 1\nheight = 10\n"), "test.toml:2:10: expected a height, found 10");
}

TEST(TomlReaders, ReadEachTableOfAnArray)
{
    EXPECT_THAT(widthsOf("[[box]]\nwidth = 3\n[[box]]\nwidth = 4\n"), ElementsAre(3, 4));
}

TEST(TomlReaders, RefuseAnotherValueWhereTablesAreExpected)
{
    EXPECT_EQ(tomlErrorOf([] { widthsOf("box = 1\n"); }), "test.toml:1:7: expected tables [[box]], found 1");
    EXPECT_EQ(tomlErrorOf([] { widthsOf("box = [ 7 ]\n"); }),
              "test.toml:1:9: expected a table [[box]], found 7");
}

TEST(TomlReaders, ReadATextIntoAField)
{
    char field[4] = {'x', 'x', 'x', 'x'};
    readText(*valueOf("a = \"abc\"\n").find("a"), field, sizeof field);
    EXPECT_STREQ(field, "abc");
}

TEST(TomlReaders, RefuseATextThatDoesNotFitItsField)
{
    auto const read = [](TomlValue const& aValue)
    {
        char field[4];
        readText(aValue, field, sizeof field);
    };
    EXPECT_EQ(
        errorOfValue("\"abcd\"", read),
        "test.toml:1:5: expected a string of at most 3 bytes without control characters, found \"abcd\"");
}

TEST(TomlReaders, RefuseATextWithAControlCharacter)
{
    EXPECT_EQ(errorOfValue("\"a\\tb\"", [](TomlValue const& aValue) { readText(aValue, 9); }),
              "test.toml:1:5: expected a string of at most 9 bytes without control characters, found "
              "\"a\\u0009b\"");
}

TEST(TomlReaders, ReadTheValueOfAName)
{
    EXPECT_EQ(readNamed(*valueOf("a = \"blue\"\n").find("a"), colours), 2);
}

TEST(TomlReaders, RefuseAnUnknownName)
{
    EXPECT_EQ(errorOfValue("\"green\"", [](TomlValue const& aValue) { readNamed(aValue, colours); }),
              "test.toml:1:5: expected one of red, blue, found \"green\"");
}
}  // namespace
