// Each library exports exactly the names in the list beside its sources. What the libraries import shows what they never
// do.
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"

using testing::IsEmpty;
using testing::Not;
using testing::TestWithParam;

namespace
{
using Names = std::set<std::string>;

constexpr char const* uint64Type =
    std::is_same_v<std::uint64_t, unsigned long> ? "unsigned long" : "unsigned long long";

constexpr char const* sizeType =
    std::is_same_v<std::size_t, unsigned long> ? "unsigned long" : "unsigned int";

struct Library
{
    std::string mName;
    std::string mFile;
    std::string mList;
};

std::ostream& operator<<(std::ostream& aOut, Library const& aLibrary) { return aOut << aLibrary.mName; }

void replaceAll(std::string& aText, std::string const& aOld, std::string const& aNew)
{
    for (std::size_t at = aText.find(aOld); at != std::string::npos; at = aText.find(aOld, at + aNew.size()))
    {
        aText.replace(at, aOld.size(), aNew);
    }
}

bool startsWith(std::string const& aText, std::string const& aStart) { return aText.rfind(aStart, 0) == 0; }

/// The name in the notation of the lists. The GNU and LLVM tools print the type of a null pointer differently.
std::string asListed(std::string aName)
{
    replaceAll(aName, "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
               "std::string");
    replaceAll(aName, "std::string >", "std::string>");
    replaceAll(aName, "decltype(nullptr)", "std::nullptr_t");
    replaceAll(aName, "[abi:cxx11]", "");
    for (char const* const suffix : {"u", "ul"})
    {
        replaceAll(aName, std::string("std::array<unsigned char, 8") + suffix + '>',
                   "std::array<unsigned char, 8>");
    }
    for (std::string const type : {"long", "long long"})
    {
        std::string const suffix = type == "long" ? "l" : "ll";
        std::string const duration =
            "std::chrono::duration<" + type + ", std::ratio<1" + suffix + ", 1000000000" + suffix + "> >";
        replaceAll(aName, "std::chrono::time_point<std::chrono::_V2::steady_clock, " + duration + " >",
                   "std::chrono::steady_clock::time_point");
    }
    replaceAll(aName, "std::basic_string_view<char, std::char_traits<char> >", "std::string_view");
    return aName;
}

Names exportedBy(std::string const& aFile)
{
    ProcessResult const result = runProcess({NM, "-DCj", "--defined-only", aFile});
    EXPECT_EQ(result.mExitStatus, 0) << NM << ": " << result.mErrors;
    std::istringstream lines(result.mOutput);
    Names names;
    for (std::string name; std::getline(lines, name);)
    {
        names.insert(asListed(name));
    }
    return names;
}

/// The functions that the file uses and does not have, without parameters and versions.
Names importedBy(std::string const& aFile, std::string const& aSymbols)
{
    ProcessResult const result = runProcess({NM, aSymbols, "--undefined-only", aFile});
    EXPECT_EQ(result.mExitStatus, 0) << NM << ": " << result.mErrors;
    std::istringstream lines(result.mOutput);
    Names names;
    for (std::string line; std::getline(lines, line);)
    {
        names.insert(line.substr(0, line.find_first_of("(@")));
    }
    return names;
}

/// A reviewed list: the names that every build exports, and the copies of inline functions.
struct Promise
{
    explicit Promise(std::string const& aFile)
    {
        std::string const inlineMark = "inline ";
        std::ifstream lines(aFile);
        EXPECT_TRUE(lines.is_open()) << "cannot read " << aFile;
        for (std::string line; std::getline(lines, line);)
        {
            if (line.empty() || line.front() == '#')
            {
                continue;
            }
            replaceAll(line, "std::uint64_t", uint64Type);
            replaceAll(line, "std::size_t", sizeType);
            bool const isCopy = startsWith(line, inlineMark);
            (isCopy ? mCopies : mNames).insert(isCopy ? line.substr(inlineMark.size()) : line);
        }
    }

    Names mNames;
    Names mCopies;
};

std::vector<std::string> inFirstOnly(Names const& aFirst, Names const& aSecond)
{
    std::vector<std::string> found;
    for (std::string const& name : aFirst)
    {
        if (aSecond.count(name) == 0)
        {
            found.push_back(name);
        }
    }
    return found;
}

class Exports : public TestWithParam<Library>
{
protected:
    Names const mExported = exportedBy(GetParam().mFile);
    Promise const mPromise{GetParam().mList};
};

INSTANTIATE_TEST_SUITE_P(All, Exports,
                         testing::Values(Library{"QZCommonFramework", FRAMEWORK_LIBRARY, FRAMEWORK_EXPORTS},
                                         Library{"QZSensorAgentCommon", AGENTCOMMON_LIBRARY,
                                                 AGENTCOMMON_EXPORTS},
                                         Library{"QZSensorAgentKit", KIT_LIBRARY, KIT_EXPORTS}),
                         [](testing::TestParamInfo<Library> const& aInfo) { return aInfo.param.mName; });

TEST_P(Exports, EveryListedNameIsExported)
{
    EXPECT_THAT(inFirstOnly(mPromise.mNames, mExported), IsEmpty())
        << "missing in " << GetParam().mFile << ", though listed in " << GetParam().mList;
}

TEST_P(Exports, EveryExportedNameIsListed)
{
    Names listed = mPromise.mNames;
    listed.insert(mPromise.mCopies.begin(), mPromise.mCopies.end());
    EXPECT_THAT(inFirstOnly(mExported, listed), IsEmpty())
        << "exported by " << GetParam().mFile << ", not listed in " << GetParam().mList;
}

TEST_P(Exports, DebugBuildExportsTheListedInlineFunctions)
{
    if (!IS_DEBUG_BUILD)
    {
        GTEST_SKIP() << "an optimising compiler leaves out copies of inline functions";
    }
    EXPECT_THAT(inFirstOnly(mPromise.mCopies, mExported), IsEmpty())
        << "not exported by " << GetParam().mFile << ", though listed as inline in " << GetParam().mList;
}

void expectNoThreads(Names const& aImported)
{
    EXPECT_THAT(aImported, Not(IsEmpty()));
    for (char const* const function :
         {"pthread_create", "thrd_create", "std::thread::_M_start_thread", "clone", "timer_create"})
    {
        EXPECT_EQ(aImported.count(function), 0u) << function;
    }
}

TEST_P(Exports, LibraryStartsNoThread) { expectNoThreads(importedBy(GetParam().mFile, "-DCj")); }

TEST(Witness, StartsNoThread) { expectNoThreads(importedBy(WITNESS, "-Cj")); }
}  // namespace
