// What is said of a bad scenario: where it is bad and what was expected there.
#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "simulator/ScenarioError.h"
#include "simulator/ScenarioReader.h"
#include "tests/simulator/ScratchFolder.h"

namespace
{
constexpr char const* expectedName = "expected a name of 1 to 255 bytes without control characters, found ";
constexpr char const* expectedStatus =
    "expected a status name such as \"HBA_STATUS_ERROR_BUSY\" or a number from 0 to 4294967295, found ";
constexpr char const* expectedNth = "expected a number from 1 to 4294967295, found ";
constexpr char const* expectedCall =
    "expected one of the calls HBA_LoadLibrary, HBA_FreeLibrary, HBA_GetAdapterName, HBA_OpenAdapter, found ";

std::string without(std::string const& aPart, std::string aText)
{
    for (std::size_t at = aText.find(aPart); at != std::string::npos; at = aText.find(aPart))
    {
        aText.erase(at, aPart.size());
    }
    return aText;
}

std::string errorOfFile(std::string const& aPath)
{
    try
    {
        qzsim::readScenario(aPath);
    }
    catch (qzsim::ScenarioError const& error)
    {
        return error.what();
    }
    return "(no error)";
}

/// What is said of a file with that text; the file is called bad.toml.
std::string errorOf(std::string const& aText)
{
    ScratchFolder const folder;
    return without(folder.path().string() + '/', errorOfFile(folder.write("bad.toml", aText)));
}

/// What is said of a fault with these lines, the first of which is line 4 of the file.
std::string errorOfFault(std::string const& aLines)
{
    return errorOf("[[adapter]]\nname = \"a\"\n[[fault]]\n" + aLines);
}

TEST(ScenarioError, NamesAFileThatIsNotThere)
{
    ScratchFolder const folder;
    std::string const path = folder.path() / "none.toml";
    EXPECT_EQ(errorOfFile(path), path + ": cannot be read: No such file or directory");
}

TEST(ScenarioError, NamesAFolderInThePlaceOfAFile)
{
    ScratchFolder const folder;
    EXPECT_EQ(errorOfFile(folder.path()), folder.path().string() + ": cannot be read: Is a directory");
}

TEST(ScenarioError, TellsWhereTheSyntaxIsWrong)
{
    EXPECT_EQ(
        errorOf("[[adapter]]\nname = \"a\nnth"),
        "bad.toml:2:10: Error while parsing string: unescaped control characters other than TAB (U+0009) are "
        "explicitly prohibited");
}

TEST(ScenarioError, TellsWhereAKeyStandsTwice)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\nname = \"b\"\n"),
              "bad.toml:3:8: Error while parsing key-value pair: cannot redefine existing string 'name'");
}

TEST(ScenarioError, TellsWhereTextIsNotUtf8)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"\xff\"\n").substr(0, 11), "bad.toml:2:");
}

TEST(ScenarioError, RefusesLinesThatNoScenarioNeeds)
{
    EXPECT_EQ(errorOf("\na" + std::string(1000, '.')),
              "bad.toml:2:1: expected a line of at most 1000 bytes, found 1001");
}

TEST(ScenarioError, RefusesAnUnknownTable)
{
    EXPECT_EQ(errorOf("[[adaptor]]\nname = \"a\"\n"),
              "bad.toml:1:3: expected a key of the scenario (adapter, fault), found \"adaptor\"");
}

TEST(ScenarioError, RefusesASingleTableWhereThereAreMany)
{
    EXPECT_EQ(errorOf("[adapter]\nname = \"a\"\n"),
              "bad.toml:1:1: expected tables [[adapter]], found a table");
}

TEST(ScenarioError, RefusesAValueWhereATableIsExpected)
{
    EXPECT_EQ(errorOf("adapter = [ { name = \"a\" }, 7 ]\n"),
              "bad.toml:1:29: expected a table [[adapter]], found 7");
}

TEST(ScenarioError, RefusesAnUnknownKeyOfAnAdapter)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n  speed = 8\n"),
              "bad.toml:3:3: expected a key of [[adapter]] (name), found \"speed\"");
}

TEST(ScenarioError, EscapesControlCharactersOfWhatItFound)
{
    EXPECT_EQ(errorOf("\"a\\u001b[2J\" = 1\n"),
              "bad.toml:1:1: expected a key of the scenario (adapter, fault), found \"a\\u001B[2J\"");
}

TEST(ScenarioError, TellsWhichAdapterHasNoName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n\n[[adapter]]\n"),
              "bad.toml:4:1: expected the key \"name\" in this [[adapter]], found none");
}

TEST(ScenarioError, RefusesAnEmptyName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"\"\n"), std::string("bad.toml:2:8: ") + expectedName + "\"\"");
}

TEST(ScenarioError, RefusesANameThatTheCommonLibraryHasNoRoomFor)
{
    std::string const name(256, 'n');
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"" + name + "\"\n"),
              std::string("bad.toml:2:8: ") + expectedName + '"' + name + '"');
}

TEST(ScenarioError, RefusesANameWithAControlCharacter)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\\u0000b\"\n"),
              std::string("bad.toml:2:8: ") + expectedName + "\"a\\u0000b\"");
}

TEST(ScenarioError, RefusesANameThatIsNoText)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = true\n"),
              std::string("bad.toml:2:8: ") + expectedName + "a boolean");
}

TEST(ScenarioError, RefusesASecondAdapterOfTheSameName)
{
    EXPECT_EQ(errorOf("[[adapter]]\nname = \"a\"\n[[adapter]]\nname = \"a\"\n"),
              "bad.toml:4:8: expected a name that no other adapter has, found \"a\"");
}

TEST(ScenarioError, RefusesAnUnknownKeyOfAFault)
{
    EXPECT_EQ(errorOfFault("count = 3\n"),
              "bad.toml:4:1: expected a key of [[fault]] (call, adapter, nth, status), found \"count\"");
}

TEST(ScenarioError, TellsWhichFaultHasNoCall)
{
    EXPECT_EQ(errorOfFault("nth = 1\nstatus = 1\n"),
              "bad.toml:3:1: expected the key \"call\" in this [[fault]], found none");
}

TEST(ScenarioError, TellsWhichFaultHasNoNth)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nstatus = 1\n"),
              "bad.toml:3:1: expected the key \"nth\" in this [[fault]], found none");
}

TEST(ScenarioError, TellsWhichFaultHasNoStatus)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\n"),
              "bad.toml:3:1: expected the key \"status\" in this [[fault]], found none");
}

TEST(ScenarioError, RefusesACallThatCannotBeMadeToFail)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_CloseAdapter\"\nnth = 1\nstatus = 1\n"),
              std::string("bad.toml:4:8: ") + expectedCall + "\"HBA_CloseAdapter\"");
}

TEST(ScenarioError, RefusesAnAdapterThatTheScenarioLacks)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nadapter = \"b\"\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected the name of an adapter of this scenario, found \"b\"");
}

TEST(ScenarioError, RefusesAnAdapterThatIsNoText)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nadapter = 0\nnth = 1\nstatus = 1\n"),
              "bad.toml:5:11: expected the name of an adapter of this scenario, found 0");
}

TEST(ScenarioError, RefusesAnAdapterForACallThatConcernsNone)
{
    EXPECT_EQ(
        errorOfFault("call = \"HBA_LoadLibrary\"\nadapter = \"a\"\nnth = 1\nstatus = 1\n"),
        "bad.toml:5:11: expected no key \"adapter\" for HBA_LoadLibrary, which concerns no single adapter, "
        "found \"a\"");
}

TEST(ScenarioError, RefusesToCountFromZero)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 0\nstatus = 1\n"),
              std::string("bad.toml:5:7: ") + expectedNth + "0");
}

TEST(ScenarioError, RefusesAnNthThatIsNoNumber)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1.5\nstatus = 1\n"),
              std::string("bad.toml:5:7: ") + expectedNth + "a fractional number");
}

TEST(ScenarioError, RefusesAnUnknownNameOfAStatus)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = \"BUSY\"\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "\"BUSY\"");
}

TEST(ScenarioError, RefusesAStatusBelowZero)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = -1\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "-1");
}

TEST(ScenarioError, RefusesAStatusOfMoreThan32Bits)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 4294967296\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "4294967296");
}

TEST(ScenarioError, RefusesAStatusThatIsNeitherNameNorNumber)
{
    EXPECT_EQ(errorOfFault("call = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 2024-01-31\n"),
              std::string("bad.toml:6:10: ") + expectedStatus + "a date");
}

TEST(ScenarioError, RefusesTwoFaultsForTheSameCall)
{
    std::string const fault = "call = \"HBA_OpenAdapter\"\nadapter = \"a\"\nnth = 1\nstatus = ";
    EXPECT_EQ(
        errorOfFault(fault + "1\n[[fault]]\n" + fault + "2\n"),
        "bad.toml:8:1: expected another call, adapter or nth than that of the fault at bad.toml:3:1, found "
        "the same");
}
}  // namespace
