// Each symbol that libqzsim.so exports overrides that symbol in every program that preloads it. The other libraries export
// what a program looks up in them. Each must export exactly the symbols that its .map file lists.
#include <filesystem>
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
namespace fs = std::filesystem;

/// @return the names before "local:" of a version script
std::set<std::string> listedNames(std::string const& aPath)
{
    std::ifstream file(aPath);
    std::set<std::string> names;
    std::string word;
    while (file >> word && word != "local:")
    {
        if (word.back() == ';')
        {
            names.insert(word.substr(0, word.find(';')));
        }
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

TEST(ExportedNames, PreloadedLibraryReplacesOnlyWhatItMust)
{
    EXPECT_THAT(exportedNames(QZSIM_LIBRARY), testing::ElementsAre("dlerror", "dlopen", "fopen", "fopen64"));
}

TEST(ExportedNames, HbaLibraryExportsOnlyItsRegistration)
{
    EXPECT_THAT(exportedNames(QZSIM_HBA_LIBRARY),
                testing::ElementsAre("HBA_RegisterLibrary", "HBA_RegisterLibraryV2"));
}

TEST(ExportedNames, MatchTheVersionScripts)
{
    fs::path const folder = fs::path(QZSIM_LIBRARY).parent_path();
    for (char const* const name :
         {"libqzsim", "libqzsim-hba", "libqzsim-recording", "libqzsim-vqm", "libqzsim-vqm-kept"})
    {
        EXPECT_EQ(exportedNames((folder / name).string() + ".so"),
                  listedNames(QZSIM_MAPS "/" + std::string(name) + ".map"))
            << name;
    }
    EXPECT_THAT(exportedNames(QZSIM_VQM_LIBRARY), testing::Contains(QZ_SIMULATOR_MARKER));
}
}  // namespace
