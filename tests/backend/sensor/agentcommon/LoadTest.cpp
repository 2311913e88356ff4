// The built libraries as files: what they need, what they offer, and what opening them does.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <cxxabi.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Process.h"

using testing::Contains;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::UnorderedElementsAre;

namespace
{
using Texts = std::vector<std::string>;

/// The lines that one of the GNU binutils prints. The compiler's own tools may print others.
Texts linesOf(Texts const& aCommand)
{
    ProcessResult const result = runProcess(aCommand);
    EXPECT_EQ(result.mExitStatus, 0) << aCommand.front() << ": " << result.mErrors;
    std::istringstream output(result.mOutput);
    Texts lines;
    for (std::string line; std::getline(output, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

/// The rest of each line that has the text, behind it and up to the closing bracket or the end.
Texts behind(std::string const& aText, Texts const& aLines)
{
    Texts found;
    for (std::string const& line : aLines)
    {
        std::size_t const start = line.find(aText);
        if (start != std::string::npos)
        {
            std::string const rest = line.substr(start + aText.size());
            found.push_back(rest.substr(0, rest.find(']')));
        }
    }
    return found;
}

Texts dynamicSectionOf(char const* aLibrary) { return linesOf({"readelf", "-dW", aLibrary}); }
Texts exportsOf(char const* aLibrary) { return linesOf({"nm", "-DCj", "--defined-only", aLibrary}); }
Texts importsOf(char const* aLibrary) { return linesOf({"nm", "-DCj", "--undefined-only", aLibrary}); }

Texts thoseOfHbaapi(Texts const& aNames)
{
    Texts found;
    for (std::string const& name : aNames)
    {
        if (name.rfind("HBA_", 0) == 0)
        {
            found.push_back(name);
        }
    }
    return found;
}

/// For a child process: opens the libraries one after another and ends, with 0 when each could be opened,
/// else with 1 and the reason on standard error.
[[noreturn]] void openAndExit(Texts const& aLibraries, int aFlags)
{
    for (std::string const& library : aLibraries)
    {
        if (dlopen(library.c_str(), aFlags) == nullptr)
        {
            std::fprintf(stderr, "%s\n", dlerror());
            _exit(1);
        }
    }
    _exit(0);
}

TEST(LoadDeathTest, FrameworkOpensAlone)
{
    EXPECT_EXIT(openAndExit({FRAMEWORK_LIBRARY}, RTLD_NOW), ExitedWithCode(0), "^$");
}

TEST(LoadDeathTest, AgentCommonOpensWithTheHbaApiThere)
{
    std::string const commonLibrary = HBAAPI_LIBRARY;
    if (commonLibrary.empty())
    {
        GTEST_SKIP() << "there is no common library for this machine";
    }
    EXPECT_EXIT(openAndExit({commonLibrary, AGENTCOMMON_LIBRARY}, RTLD_NOW | RTLD_GLOBAL), ExitedWithCode(0),
                "^$");
}

TEST(LoadDeathTest, AgentCommonDoesNotBringTheHbaApi)
{
    EXPECT_EXIT(openAndExit({AGENTCOMMON_LIBRARY}, RTLD_NOW), ExitedWithCode(1), "undefined symbol: HBA_");
}

TEST(LoadDeathTest, AgentCommonOpensLazilyWithoutTheHbaApi)
{
    EXPECT_EXIT(openAndExit({AGENTCOMMON_LIBRARY}, RTLD_LAZY), ExitedWithCode(0), "^$");
}

TEST(Libraries, AgentCommonTakesTheHbaApiFromElsewhere)
{
    EXPECT_THAT(thoseOfHbaapi(importsOf(AGENTCOMMON_LIBRARY)),
                UnorderedElementsAre("HBA_LoadLibrary", "HBA_FreeLibrary", "HBA_GetNumberOfAdapters",
                                     "HBA_GetAdapterName", "HBA_OpenAdapter", "HBA_CloseAdapter",
                                     "HBA_RefreshInformation", "HBA_GetAdapterAttributes",
                                     "HBA_GetAdapterPortAttributes", "HBA_GetFcpTargetMapping",
                                     "HBA_SendReportLUNs"));
}

TEST(Libraries, AgentCommonLooksForTheVendorLibraryWithTheDynamicLinker)
{
    Texts imported = importsOf(AGENTCOMMON_LIBRARY);
    for (std::string& name : imported)
    {
        name.erase(std::min(name.find('@'), name.size()));
    }
    EXPECT_THAT(imported, IsSupersetOf({"dlopen", "dlsym", "dlerror", "dlclose"}));
}

TEST(Libraries, AgentCommonIsNotLinkedAgainstTheVendorLibrary)
{
    EXPECT_THAT(importsOf(AGENTCOMMON_LIBRARY), Each(Not(ContainsRegex("^VQM_|[rR]egisterForEvent"))));
    EXPECT_THAT(behind("Shared library: [", dynamicSectionOf(AGENTCOMMON_LIBRARY)),
                Each(Not(HasSubstr("vqm"))));
}

TEST(Libraries, AgentCommonDefinesNothingOfTheHbaApi)
{
    EXPECT_THAT(thoseOfHbaapi(exportsOf(AGENTCOMMON_LIBRARY)), IsEmpty());
    EXPECT_THAT(thoseOfHbaapi(exportsOf(FRAMEWORK_LIBRARY)), IsEmpty());
}

TEST(Libraries, AgentCommonNeedsTheFrameworkButNoHbaApiLibrary)
{
    Texts const needed = behind("Shared library: [", dynamicSectionOf(AGENTCOMMON_LIBRARY));
    EXPECT_THAT(needed, Contains("libQZCommonFramework.so.1"));
    EXPECT_THAT(needed, Not(Contains(ContainsRegex("[Hh][Bb][Aa]"))));
}

TEST(Libraries, FrameworkDoesNotNeedAgentCommon)
{
    Texts const needed = behind("Shared library: [", dynamicSectionOf(FRAMEWORK_LIBRARY));
    EXPECT_THAT(needed, Contains("libc.so.6"));
    EXPECT_THAT(needed, Not(Contains(HasSubstr("QZ"))));
}

TEST(Libraries, BearTheInterfaceVersionInTheirNames)
{
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(AGENTCOMMON_LIBRARY)),
                ElementsAre("libQZSensorAgentCommon.so.1"));
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(FRAMEWORK_LIBRARY)),
                ElementsAre("libQZCommonFramework.so.1"));
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(KIT_LIBRARY)),
                ElementsAre("libQZSensorAgentKit.so.1"));
}

TEST(Libraries, LetTheirDefinitionsBeReplaced)
{
    // Bound to themselves they would not see a logger that the agent puts before the framework's.
    EXPECT_THAT(dynamicSectionOf(AGENTCOMMON_LIBRARY), Each(Not(HasSubstr("SYMBOLIC"))));
    EXPECT_THAT(dynamicSectionOf(FRAMEWORK_LIBRARY), Each(Not(HasSubstr("SYMBOLIC"))));
}

/// What runs when a library is opened and closed. Instrumentation adds functions of its own to it.
class LibrariesAtLoad : public testing::Test
{
protected:
    void SetUp() override
    {
        if (IS_INSTRUMENTED)
        {
            GTEST_SKIP() << "this build is instrumented, which runs functions of its own at load";
        }
    }

    /// The number of functions in one of the arrays of those that run at load or unload.
    static std::size_t functionsIn(std::string const& aArray, char const* aLibrary)
    {
        Texts const sizes = behind('(' + aArray + "SZ)", dynamicSectionOf(aLibrary));
        return sizes.size() == 1 ? std::stoul(sizes.front()) / sizeof(void*) : 0;
    }

    /// What the functions that initialise the static objects of the sources refer to, themselves included.
    static std::set<std::string> initialisersReferTo(char const* aLibrary)
    {
        std::set<std::string> references;
        bool isInitialiser = false;
        for (std::string const& line : linesOf({OBJDUMP, "-dC", "--no-show-raw-insn", aLibrary}))
        {
            std::size_t const start = line.find(" <");
            if (start == std::string::npos)
            {
                continue;
            }
            std::string const name = line.substr(start + 2, line.rfind('>') - start - 2);
            if (line.back() == ':')
            {
                isInitialiser = name.find("_GLOBAL__") == 0 || name.find("__static_init") == 0 ||
                                name.find("__cxx_global_var_init") == 0;
            }
            if (isInitialiser)
            {
                references.insert(withoutPlace(name));
            }
        }
        return references;
    }

private:
    /// "name" of "name@plt", "name@VERSION" and "name+0x12". The name in "00008000.got2.plt_pic32.name+0x12",
    /// as PowerPC has it, is not demangled.
    static std::string withoutPlace(std::string const& aReference)
    {
        std::string const stub = ".plt_pic32.";
        std::string const name = aReference.substr(0, aReference.find_first_of("@+"));
        std::size_t const start = name.find(stub);
        return start == std::string::npos ? name : demangled(name.substr(start + stub.size()));
    }

    static std::string demangled(std::string const& aName)
    {
        std::unique_ptr<char, decltype(&std::free)> const text(
            abi::__cxa_demangle(aName.c_str(), nullptr, nullptr, nullptr), &std::free);
        return text == nullptr ? aName : text.get();
    }
};

TEST_F(LibrariesAtLoad, AgentCommonRunsOneFunctionForEachSource)
{
    // One more, of the C runtime, comes with every library.
    EXPECT_EQ(functionsIn("INIT_ARRAY", AGENTCOMMON_LIBRARY), std::size_t{AGENTCOMMON_SOURCES + 1});
}

TEST_F(LibrariesAtLoad, EachSourceOfAgentCommonInitialisesTheStandardStreams)
{
    Texts const objects = behind(" b std::__ioinit", linesOf({"nm", "-C", AGENTCOMMON_LIBRARY}));
    EXPECT_EQ(objects.size(), std::size_t{AGENTCOMMON_SOURCES});
}

TEST_F(LibrariesAtLoad, NothingElseOfAgentCommonIsInitialised)
{
    std::set<std::string> others = initialisersReferTo(AGENTCOMMON_LIBRARY);
    EXPECT_THAT(others, IsSupersetOf({"std::ios_base::Init::Init()", "__cxa_atexit"}));
    for (char const* const known : {"std::__ioinit", "std::ios_base::Init::Init()",
                                    "std::ios_base::Init::~Init()", "__cxa_atexit", "__dso_handle"})
    {
        others.erase(known);
    }
    EXPECT_THAT(others, Each(ContainsRegex("^(_GLOBAL__sub_I_|__static_init|__cxx_global_var_init)")));
}

TEST_F(LibrariesAtLoad, FrameworkRunsOnlyWhatComesWithEveryLibrary)
{
    EXPECT_EQ(functionsIn("INIT_ARRAY", FRAMEWORK_LIBRARY), 1u);
    EXPECT_THAT(initialisersReferTo(FRAMEWORK_LIBRARY), IsEmpty());
}

TEST_F(LibrariesAtLoad, NeitherChoosesAFunctionByRunningAnother)
{
    // An indirect function's resolver runs when the library is opened, and stands in no array.
    for (char const* const library : {AGENTCOMMON_LIBRARY, FRAMEWORK_LIBRARY})
    {
        Texts const relocations = linesOf({"readelf", "-rW", library});
        EXPECT_THAT(relocations, Contains(HasSubstr(" R_")));
        EXPECT_THAT(relocations, Each(Not(HasSubstr("IRELATIV"))));
        EXPECT_THAT(linesOf({"readelf", "-sW", library}), Each(Not(HasSubstr(" IFUNC "))));
    }
}

TEST_F(LibrariesAtLoad, NeitherRunsAFunctionOfItsOwnAtUnload)
{
    EXPECT_EQ(functionsIn("FINI_ARRAY", AGENTCOMMON_LIBRARY), 1u);
    EXPECT_EQ(functionsIn("FINI_ARRAY", FRAMEWORK_LIBRARY), 1u);
}

/// A class of the public headers and the functions of it that users of the library link.
struct ExportedClass
{
    std::string mName;
    Texts mConstructors;
    Texts mMethods;
};

std::ostream& operator<<(std::ostream& aOut, ExportedClass const& aClass) { return aOut << aClass.mName; }

ExportedClass exceptionClass(std::string const& aName)
{
    return {aName, {"(char const*, unsigned int)"}, {}};
}

class LibraryExports : public testing::TestWithParam<ExportedClass>
{
};

INSTANTIATE_TEST_SUITE_P(
    Of, LibraryExports,
    testing::Values(
        exceptionClass("QZCGenericException"), exceptionClass("QZCHaltEx"),
        exceptionClass("QZCLibsException"), exceptionClass("QZCNoMemoryEx"),
        exceptionClass("QZCExitConditionEx"), exceptionClass("QZCInvalidEx"),
        exceptionClass("QZCNotAllowedEx"), exceptionClass("QZCNotFoundEx"), exceptionClass("QZCHbaapiEx"),
        ExportedClass{"QZCScopeEvent",
                      {"()"},
                      {"operator==(QZCScopeEvent const&) const", "encode(QZCEncodableOutStream&) const",
                       "decode(QZCEncodableInStream&)"}},
        ExportedClass{
            "QZCScopeData",
            {"(QZCPointer<QZCScopeEvent> const&)",
             "(QZCPointer<QZCScopeEvent> const&, QZCPointer<QZCWorldWideName> const&, "
             "QZCPointer<QZCWorldWideName> const&)",
             "(QZCPointer<QZCScopeEvent> const&, unsigned char const*, unsigned int, unsigned int)",
             "(QZCPointer<QZCScopeEvent> const&, unsigned char const*, unsigned int, unsigned int, "
             "QZCPointer<QZCWorldWideName> const&, QZCPointer<QZCWorldWideName> const&)"},
            {"appendEventData(unsigned char const*, unsigned int)", "encode(QZCEncodableOutStream&) const",
             "decode(QZCEncodableInStream&)", "encodeSize() const", "numEncodedElements() const",
             "size() const", "eventDataSize() const"}},
        ExportedClass{
            "QZCLatencyData",
            {"(bool)", "(bool, unsigned int, unsigned int, unsigned int)",
             "(unsigned int, unsigned int, unsigned char, unsigned int, unsigned int, unsigned int, "
             "unsigned int, unsigned int const*, unsigned int)"},
            {"getSearchType() const", "getBase() const", "getStep() const", "getBuckets() const",
             "getIoCount() const", "getAverageIoSize() const", "getTrueLatency() const",
             "aggregate(QZCPointer<QZCLatencyData> const&)", "encode(QZCEncodableOutStream&) const",
             "size() const"}},
        // The other constructor of a name is inline, and builds it with _init.
        ExportedClass{
            "QZCWorldWideName",
            {"()"},
            {"getBinaryForm() const", "getStringForm() const", "setBinaryForm(unsigned char const*)",
             "setStringForm(QZCString const&)", "encode(QZCEncodableOutStream&) const",
             "decode(QZCEncodableInStream&)", "_init(unsigned char const*)", "_init(QZCString const&)"}},
        ExportedClass{"QZCDepVersion",
                      {"(unsigned int, unsigned int, unsigned int)",
                       "(unsigned int, unsigned int, unsigned int, unsigned int)", "(QZCString const&)"},
                      {"operator<<(QZCString const&)", "_extractVersion(QZCString const&)",
                       "operator==(QZCDepVersion const&) const", "operator<(QZCDepVersion const&) const",
                       "operator>(QZCDepVersion const&) const"}},
        ExportedClass{
            "QZCHbaapiAbs",
            {"()"},
            {"HA_LoadHbaapi()", "HA_FreeHbaapi()", "HA_GetNumberOfAdapters()", "HA_OpenAdapter(char*)",
             "HA_CloseAdapter(unsigned int)", "HA_RefreshAdapter(unsigned int)",
             "HA_GetAdapterNames(unsigned int, QZCVector<QZCString>&)",
             "HA_GetAdapterAttributes(unsigned int)",
             "HA_GetAdapterPorts(unsigned int, hba_AdapterAttributes const*, unsigned int&)",
             "HA_GetTargetMappings(unsigned int, HBA_FCPTargetMapping*&)",
             "HA_SendReportLUNs(unsigned int, HBA_wwn, void**, unsigned int*)"}},
        ExportedClass{
            "QZCLibvqmAbs",
            {"()"},
            {"LIBVQM_LoadLibrary()", "LIBVQM_FreeLibrary()", "LIBVQM_Init()", "LIBVQM_Close()",
             "LIBVQM_IsQzapiSupported()", "DoesDriverSupportQzapi(QZCPointer<QZCDepVersion> const&)",
             "__initLibvqm()", "__processLibvqmVersion()", "__processDriverVersion()",
             "LIBVQM_GetNumberOfAdapters()",
             "LIBVQM_GetAdapterInfo(unsigned int, QZCPointer<QZCWorldWideName>&, "
             "QZCPointer<QZCWorldWideName>&)",
             "LIBVQM_VqmRegEvent(unsigned int, unsigned int, void*, unsigned int, "
             "void (*)(unsigned int, ...))",
             "LIBVQM_VqmUnregEvent(unsigned int, unsigned int)",
             "LIBVQM_QzapiRegEvent(unsigned int, QZCPointer<QZCWorldWideName> const&, "
             "QZCPointer<QZCScopeEvent> const&, void*, unsigned int*, void (*)(unsigned int, HBA_wwn, "
             "unsigned int, unsigned int, void*, QZ_event*))",
             "LIBVQM_QzapiUnregEvent(unsigned int, QZCPointer<QZCWorldWideName> const&, unsigned int)"}}),
    [](testing::TestParamInfo<ExportedClass> const& aInfo) { return aInfo.param.mName; });

TEST_P(LibraryExports, EverythingThatUsersLink)
{
    std::string const name = GetParam().mName;
    Texts expected = {"vtable for " + name, "typeinfo for " + name, "typeinfo name for " + name,
                      name + "::~" + name + "()"};
    for (std::string const& constructor : GetParam().mConstructors)
    {
        expected.push_back(name + "::" + name + constructor);
    }
    for (std::string const& method : GetParam().mMethods)
    {
        expected.push_back(name + "::" + method);
    }
    EXPECT_THAT(exportsOf(AGENTCOMMON_LIBRARY), IsSupersetOf(expected));
}

/// The number of functions in the virtual table of a class of the library.
std::size_t slotsOf(std::string const& aClass)
{
    std::size_t const head = 2;  // the offset to the object's start, and the type
    for (std::string const& line : linesOf({"nm", "-DSC", "--defined-only", AGENTCOMMON_LIBRARY}))
    {
        std::istringstream fields(line);
        std::string address;
        std::string kind;
        std::string name;
        std::size_t size = 0;
        fields >> address >> std::hex >> size >> kind >> std::ws;
        std::getline(fields, name);
        if (name == "vtable for " + aClass)
        {
            return size / sizeof(void*) - head;
        }
    }
    ADD_FAILURE() << "there is no virtual table of " << aClass;
    return 0;
}

TEST(VirtualTables, OfScopeEventHasTheDestructorsOnly) { EXPECT_EQ(slotsOf("QZCScopeEvent"), 2u); }

TEST(VirtualTables, OfLatencyDataHasTheDestructorsAndEightOperations)
{
    EXPECT_EQ(slotsOf("QZCLatencyData"), 10u);
}

TEST(VirtualTables, OfWorldWideNameHasTheDestructorsAndFourOperations)
{
    EXPECT_EQ(slotsOf("QZCWorldWideName"), 6u);
}

TEST(VirtualTables, OfDepVersionHasTheDestructorsOnly) { EXPECT_EQ(slotsOf("QZCDepVersion"), 2u); }

TEST(VirtualTables, OfScopeDataHasTheDestructorsAndTwoOperations) { EXPECT_EQ(slotsOf("QZCScopeData"), 4u); }

TEST(VirtualTables, OfLibvqmAbsHasTheDestructorsOnly) { EXPECT_EQ(slotsOf("QZCLibvqmAbs"), 2u); }

TEST(VirtualTables, OfHbaapiAbsHasTheDestructorsAndAllOperationsButReportLuns)
{
    EXPECT_EQ(slotsOf("QZCHbaapiAbs"), 12u);
}
}  // namespace
