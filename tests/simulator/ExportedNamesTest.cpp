// Each symbol that libqzsim.so exports overrides that symbol in every program that preloads it. It must therefore
// export exactly the symbols that simulator/library/libqzsim.map lists.
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/include/QzEvent.h"
#include "tests/support/Process.h"

namespace
{
/// @return the names between "global:" and "local:" of a version script
std::set<std::string> listedNames(std::string const& aPath)
{
    std::ifstream file(aPath);
    std::set<std::string> names;
    std::string word;
    while (file >> word && word != "global:")
    {
    }
    while (file >> word && word != "local:")
    {
        names.insert(word.substr(0, word.find(';')));
    }
    return names;
}

std::set<std::string> exportedNames(std::string const& aPath)
{
    std::istringstream lines(
        runProcess({NM, "--dynamic", "--defined-only", "--format=posix", aPath}).mOutput);
    std::set<std::string> names;
    std::string line;
    while (std::getline(lines, line))
    {
        names.insert(line.substr(0, line.find(' ')));
    }
    return names;
}

TEST(ExportedNames, MatchTheVersionScript)
{
    std::set<std::string> const listed = listedNames(QZSIM_MAP);
    EXPECT_THAT(listed, testing::Contains("HBA_RegisterLibrary"));
    EXPECT_THAT(listed, testing::Contains(QZ_SIMULATOR_MARKER));
    EXPECT_EQ(exportedNames(QZSIM_LIBRARY), listed);
}
}  // namespace
