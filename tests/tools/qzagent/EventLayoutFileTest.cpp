// Files that describe event records.
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "toml/TomlError.h"
#include "tools/qzagent/vqm/EventLayoutFile.h"

using qzagent::EventLayout;

namespace
{
EventLayout layoutOf(std::string const& aText)
{
    ScratchFolder const folder;
    return qzagent::readEventLayout(folder.write("layout.toml", aText));
}

std::string errorOfLayout(std::string const& aText)
{
    try
    {
        layoutOf(aText);
    }
    catch (tomlfile::TomlError const& error)
    {
        std::string const text = error.what();
        return text.substr(text.find("layout.toml"));
    }
    return "(no error)";
}

std::string const pointerAt16 = "[payload]\noffset = 16\nplace = \"pointer\"\n";

TEST(EventLayoutFile, DescribesALengthAndAPointer)
{
    EventLayout const layout = layoutOf("[length]\noffset = 12\nsize = 4\n" + pointerAt16);
    EXPECT_EQ(layout.description(), "length in 4 bytes at offset 12, pointer to the payload at offset 16");
    EXPECT_EQ(layout.size(), 16 + sizeof(void*));
}

TEST(EventLayoutFile, DescribesALengthBehindThePointer)
{
    EXPECT_EQ(layoutOf("[length]\noffset = 30\nsize = 2\n" + pointerAt16).size(), 32);
}

TEST(EventLayoutFile, DescribesAPayloadInTheRecord)
{
    EventLayout const layout =
        layoutOf("[length]\noffset = 0\nsize = 1\n[payload]\noffset = 4\nplace = \"record\"\n");
    EXPECT_EQ(layout.description(), "length in 1 bytes at offset 0, payload at offset 4");
    EXPECT_EQ(layout.size(), 4);
}

TEST(EventLayoutFile, DescribesPayloadsOfFixedLength)
{
    EXPECT_EQ(layoutOf("[length]\nfixed = 64\n" + pointerAt16).description(),
              "payloads of 64 bytes, pointer to the payload at offset 16");
}

TEST(EventLayoutFile, RefusesAFileWithoutOneOfTheTables)
{
    EXPECT_EQ(errorOfLayout(pointerAt16),
              "layout.toml:1:1: expected the key \"length\" in this event layout, found none");
    EXPECT_EQ(errorOfLayout("[length]\nfixed = 64\n"),
              "layout.toml:1:1: expected the key \"payload\" in this event layout, found none");
}

TEST(EventLayoutFile, RefusesAnUnknownTable)
{
    EXPECT_EQ(errorOfLayout("[size]\n"),
              "layout.toml:1:2: expected a key of event layout (length, payload), found \"size\"");
}

TEST(EventLayoutFile, RefusesALengthWithoutOffsetOrSize)
{
    EXPECT_EQ(errorOfLayout("[length]\nsize = 4\n" + pointerAt16),
              "layout.toml:1:1: expected the key \"offset\" in this [length], found none");
    EXPECT_EQ(errorOfLayout("[length]\noffset = 4\n" + pointerAt16),
              "layout.toml:1:1: expected the key \"size\" in this [length], found none");
}

TEST(EventLayoutFile, RefusesAFixedLengthThatHasAnOffset)
{
    EXPECT_EQ(errorOfLayout("[length]\nfixed = 4\noffset = 8\n" + pointerAt16),
              "layout.toml:3:10: expected no key \"offset\" for a fixed length, found 8");
}

TEST(EventLayoutFile, RefusesAFixedLengthAbove64MiB)
{
    EXPECT_EQ(errorOfLayout("[length]\nfixed = 67108865\n" + pointerAt16),
              "layout.toml:2:9: expected a number from 0 to 67108864, found 67108865");
}

TEST(EventLayoutFile, RefusesALengthOfAnotherSizeThanANumberHas)
{
    for (std::string const size : {"0", "3", "5", "6", "7", "9"})
    {
        EXPECT_EQ(errorOfLayout("[length]\noffset = 0\nsize = " + size + "\n" + pointerAt16),
                  "layout.toml:3:8: expected 1, 2, 4 or 8, found " + size);
    }
}

TEST(EventLayoutFile, RefusesAnOffsetAbove65535)
{
    EXPECT_EQ(errorOfLayout("[length]\nfixed = 1\n[payload]\noffset = 65536\nplace = \"record\"\n"),
              "layout.toml:4:10: expected a number from 0 to 65535, found 65536");
}

TEST(EventLayoutFile, RefusesAnUnknownPlace)
{
    EXPECT_EQ(errorOfLayout("[length]\nfixed = 1\n[payload]\noffset = 0\nplace = \"behind\"\n"),
              "layout.toml:5:9: expected one of record, pointer, found \"behind\"");
}
}  // namespace
