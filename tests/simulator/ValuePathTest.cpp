#include <string>

#include <gtest/gtest.h>

#include "simulator/scenario/ValuePath.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"
#include "toml/TomlValue.h"

using qzsim::ValuePath;
using tomlfile::TomlValue;

namespace
{
constexpr char const* pathContent =
    "a = 1\nlist = [10, 20]\n[t]\nk = 2\n"
    "[[x]]\nname = \"first one\"\n[[x]]\nport_wwn = \"10:01\"\nsub = { deep = [ { v = 3 } ] }\n";

TomlValue tree() { return tomlfile::readToml("test", pathContent); }

ValuePath path(std::string const& aText) { return {"here", aText}; }

std::string valueAt(std::string const& aPath) { return tomlText(path(aPath).valueIn(tree())); }

std::string errorOfPath(std::string const& aText)
{
    try
    {
        return valueAt(aText);
    }
    catch (tomlfile::TomlError const& error)
    {
        return error.what();
    }
}

TEST(ValuePath, SelectsKeysAndElements)
{
    EXPECT_EQ(valueAt("a"), "1");
    EXPECT_EQ(valueAt("t.k"), "2");
    EXPECT_EQ(valueAt("list[1]"), "20");
    EXPECT_EQ(valueAt("x[1].sub.deep[0].v"), "3");
}

TEST(ValuePath, SelectsElementsByTheirNames)
{
    EXPECT_EQ(valueAt("x[first one]"), "{name = \"first one\"}");
    EXPECT_EQ(valueAt("x[10:01].sub.deep[0]"), "{v = 3}");
}

TEST(ValuePath, ResolvesNamesToPositions)
{
    EXPECT_EQ(path("x[10:01].sub").resolved(tree()), "x[1].sub");
    EXPECT_EQ(path("list[+]").resolved(tree()), "list[2]");
    EXPECT_EQ(path("missing[3].k").resolved(tree()), "missing[0].k");
}

TEST(ValuePath, RefusesATextThatIsNoPath)
{
    for (char const* const text :
         {"", ".a", "a.", "a..b", "a[", "a[]", "a[0", "a b", "A", "[0]", "a]", "a.[0]"})
    {
        EXPECT_EQ(errorOfPath(text), "here: the path \"" + std::string(text) +
                                         "\" is not a path such as adapter[0].port[1].state");
    }
}

TEST(ValuePath, RefusesWhatDoesNotExist)
{
    EXPECT_EQ(errorOfPath("b"), "here: the path \"b\" is not set in the scenario");
    EXPECT_EQ(errorOfPath("x[+]"), "here: the path \"x[+]\" is not set in the scenario");
    EXPECT_EQ(errorOfPath("x[2]"),
              "here: the path \"x[2]\" selects \"2\", but the array has 2 elements and none with this name");
    EXPECT_EQ(errorOfPath("a[0]"),
              "here: the path \"a[0]\" selects element \"0\" of a value that is no array");
    EXPECT_EQ(errorOfPath("a.b"), "here: the path \"a.b\" selects the key \"b\" of a value that is no table");
}

std::string afterSetting(std::string const& aPath)
{
    TomlValue changed = tomlfile::readToml("test", "a = 1\nl = [1, {}]\n");
    path(aPath).set(changed, {"there", TomlValue::Number(7)});
    return tomlText(changed);
}

TEST(ValuePath, ReplacesAValue)
{
    EXPECT_EQ(afterSetting("a"), "{a = 7, l = [1, {}]}");
    EXPECT_EQ(afterSetting("l[0]"), "{a = 1, l = [7, {}]}");
}

TEST(ValuePath, AddsTheValueAndTheTablesThatItNeeds)
{
    EXPECT_EQ(afterSetting("b"), "{a = 1, l = [1, {}], b = 7}");
    EXPECT_EQ(afterSetting("l[+]"), "{a = 1, l = [1, {}, 7]}");
    EXPECT_EQ(afterSetting("l[1].c.d"), "{a = 1, l = [1, {c = {d = 7}}]}");
    EXPECT_EQ(afterSetting("b[+].c[+]"), "{a = 1, l = [1, {}], b = [{c = [7]}]}");
}

TEST(ValuePath, RemovesAKeyOrAnElement)
{
    TomlValue changed = tree();
    path("x[10:01].sub").remove(changed);
    path("x[0]").remove(changed);
    path("list[0]").remove(changed);
    path("t").remove(changed);
    EXPECT_EQ(tomlText(changed), "{a = 1, list = [20], x = [{port_wwn = \"10:01\"}]}");
}
}  // namespace
