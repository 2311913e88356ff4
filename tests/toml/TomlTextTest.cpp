#include <string>

#include <gtest/gtest.h>

#include "toml/TomlText.h"
#include "toml/TomlValue.h"

namespace
{
tomlfile::TomlValue parsed(std::string const& aValue)
{
    return *tomlfile::readToml("test", "value = " + aValue).find("value");
}

std::string rewritten(std::string const& aValue) { return tomlText(parsed(aValue)); }

TEST(TomlText, WritesEachKindOfValueAsItIsRead)
{
    for (char const* const text :
         {"17", "-1", "true", "false", "\"a b\"", "[]", "[1, \"x\"]", "{}", "{a = 1, b = [{c = 2}]}"})
    {
        EXPECT_EQ(rewritten(text), text);
    }
}

TEST(TomlText, QuotesKeysThatAreNoWords)
{
    EXPECT_EQ(rewritten("{\"adapter[0].name\" = 1, \"\" = 2, a-b_9 = 3}"),
              "{\"\" = 2, a-b_9 = 3, \"adapter[0].name\" = 1}");
}

TEST(TomlText, EscapesWhatWouldEndTheTextOrTheLine)
{
    std::string const text = R"("a\"b\\c\nd\u007f")";
    EXPECT_EQ(rewritten(text), R"("a\"b\\c\u000Ad\u007F")");
    EXPECT_EQ(parsed(rewritten(text)).as<tomlfile::TomlValue::Text>(""), "a\"b\\c\nd\x7f");
}

TEST(TomlText, WritesTheKindOfAValueThatNoReaderAccepts)
{
    EXPECT_EQ(rewritten("1.5"), "\"a fractional number\"");
}

TEST(TomlText, WritesJsonWithQuotedKeys)
{
    EXPECT_EQ(jsonText(parsed("{a = [1, true, \"x\\n\"], b = {}}")),
              R"({"a": [1, true, "x\u000A"], "b": {}})");
}
}  // namespace
