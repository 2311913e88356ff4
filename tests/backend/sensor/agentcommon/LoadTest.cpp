// The built libraries as files: their dependencies, their exports and their initialisation.
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

/// The lines that a GNU binutils program prints. Tools of other compilers may print them differently.
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

/// For each line that contains the text, returns the part after the text, up to the closing bracket or the end.
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

/// Runs in a child process. Opens the libraries one after another. Exits with 0 if all open, otherwise with 1 and the
/// reason on standard error.
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

TEST(LoadDeathTest, FrameworkOpensWithoutOtherLibraries)
{
    EXPECT_EXIT(openAndExit({FRAMEWORK_LIBRARY}, RTLD_NOW), ExitedWithCode(0), "^$");
}

TEST(LoadDeathTest, AgentCommonOpensWhenTheHbaApiIsLoaded)
{
    std::string const commonLibrary = HBAAPI_LIBRARY;
    if (commonLibrary.empty())
    {
        GTEST_SKIP() << "there is no common library of the HBA API for this machine";
    }
    EXPECT_EXIT(openAndExit({commonLibrary, AGENTCOMMON_LIBRARY}, RTLD_NOW | RTLD_GLOBAL), ExitedWithCode(0),
                "^$");
}

TEST(LoadDeathTest, AgentCommonDoesNotLoadTheHbaApi)
{
    EXPECT_EXIT(openAndExit({AGENTCOMMON_LIBRARY}, RTLD_NOW), ExitedWithCode(1), "undefined symbol: HBA_");
}

TEST(LoadDeathTest, AgentCommonOpensLazilyWithoutTheHbaApi)
{
    EXPECT_EXIT(openAndExit({AGENTCOMMON_LIBRARY}, RTLD_LAZY), ExitedWithCode(0), "^$");
}

TEST(Libraries, AgentCommonImportsTheHbaApi)
{
    EXPECT_THAT(thoseOfHbaapi(importsOf(AGENTCOMMON_LIBRARY)),
                UnorderedElementsAre("HBA_LoadLibrary", "HBA_FreeLibrary", "HBA_GetNumberOfAdapters",
                                     "HBA_GetAdapterName", "HBA_OpenAdapter", "HBA_CloseAdapter",
                                     "HBA_RefreshInformation", "HBA_GetAdapterAttributes",
                                     "HBA_GetAdapterPortAttributes", "HBA_GetFcpTargetMapping",
                                     "HBA_SendReportLUNs"));
}

TEST(Libraries, AgentCommonFindsTheVendorLibraryWithDlopen)
{
    Texts imported = importsOf(AGENTCOMMON_LIBRARY);
    for (std::string& name : imported)
    {
        name.erase(std::min(name.find('@'), name.size()));
    }
    EXPECT_THAT(imported, IsSupersetOf({"dlopen", "dlsym", "dlerror", "dlclose"}));
}

TEST(Libraries, AgentCommonCallsTheFrameworkThroughTheDynamicLinker)
{
    Texts const functions = {
        "ClibMemcpy(void*, void const*, unsigned int)",
        "ClibMemset(void*, int, unsigned int)",
        "ClibNtohl(unsigned int)",
        "ClibSleepMS(unsigned long)",
        "ClibSprintf(char*, char const*, ...)",
        "ClibSscanf(char const*, char const*, ...)",
        "PrintLogMessageWithTimeStamp(unsigned int, char const*, unsigned int, char const*, char const*, "
        "char const*, ...)",
        "QZCBuffer::append(void const*, unsigned int)",
        "QZCException::QZCException(char const*, unsigned int)",
    };
    EXPECT_THAT(importsOf(AGENTCOMMON_LIBRARY), IsSupersetOf(functions));
}

TEST(Libraries, AgentCommonIsNotLinkedAgainstTheVendorLibrary)
{
    EXPECT_THAT(importsOf(AGENTCOMMON_LIBRARY), Each(Not(ContainsRegex("^VQM_|[rR]egisterForEvent"))));
    EXPECT_THAT(behind("Shared library: [", dynamicSectionOf(AGENTCOMMON_LIBRARY)),
                Each(Not(HasSubstr("vqm"))));
}

TEST(Libraries, AgentCommonDefinesNoHbaApiFunction)
{
    EXPECT_THAT(thoseOfHbaapi(exportsOf(AGENTCOMMON_LIBRARY)), IsEmpty());
    EXPECT_THAT(thoseOfHbaapi(exportsOf(FRAMEWORK_LIBRARY)), IsEmpty());
}

TEST(Libraries, AgentCommonNeedsTheFrameworkAndNotTheCommonLibrary)
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

TEST(Libraries, SonamesHaveTheInterfaceVersion)
{
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(AGENTCOMMON_LIBRARY)),
                ElementsAre("libQZSensorAgentCommon.so.1"));
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(FRAMEWORK_LIBRARY)),
                ElementsAre("libQZCommonFramework.so.1"));
    EXPECT_THAT(behind("Library soname: [", dynamicSectionOf(KIT_LIBRARY)),
                ElementsAre("libQZSensorAgentKit.so.1"));
}

TEST(Libraries, DefinitionsCanBeReplaced)
{
    // With symbols bound to themselves, the libraries would ignore an agent's logger that replaces the framework's.
    EXPECT_THAT(dynamicSectionOf(AGENTCOMMON_LIBRARY), Each(Not(HasSubstr("SYMBOLIC"))));
    EXPECT_THAT(dynamicSectionOf(FRAMEWORK_LIBRARY), Each(Not(HasSubstr("SYMBOLIC"))));
}

/// The functions that run when a library is opened and closed. Instrumentation adds its own.
class LibrariesAtLoad : public testing::Test
{
protected:
    void SetUp() override
    {
        if (IS_INSTRUMENTED)
        {
            GTEST_SKIP() << "instrumentation runs its own functions at load";
        }
    }

    /// The number of entries in an array of functions that run at load or unload.
    static std::size_t functionsIn(std::string const& aArray, char const* aLibrary)
    {
        Texts const sizes = behind('(' + aArray + "SZ)", dynamicSectionOf(aLibrary));
        return sizes.size() == 1 ? std::stoul(sizes.front()) / sizeof(void*) : 0;
    }

    /// The names that the initialisers of the sources' static objects refer to, including their own.
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
    /// "name" for "name@plt", "name@VERSION" and "name+0x12". The name in "00008000.got2.plt_pic32.name+0x12", a
    /// PowerPC symbol, is not demangled.
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

TEST_F(LibrariesAtLoad, AgentCommonRunsOneInitialiserPerTranslationUnit)
{
    // Every library has one more function, of the C runtime.
    EXPECT_EQ(functionsIn("INIT_ARRAY", AGENTCOMMON_LIBRARY), std::size_t{AGENTCOMMON_UNITS + 1});
}

TEST_F(LibrariesAtLoad, EachTranslationUnitOfAgentCommonInitialisesTheStandardStreams)
{
    Texts const objects = behind(" b std::__ioinit", linesOf({"nm", "-C", AGENTCOMMON_LIBRARY}));
    EXPECT_EQ(objects.size(), std::size_t{AGENTCOMMON_UNITS});
}

TEST_F(LibrariesAtLoad, AgentCommonInitialisesNothingElse)
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

TEST_F(LibrariesAtLoad, FrameworkRunsOnlyTheInitialisersOfEveryLibrary)
{
    EXPECT_EQ(functionsIn("INIT_ARRAY", FRAMEWORK_LIBRARY), 1u);
    EXPECT_THAT(initialisersReferTo(FRAMEWORK_LIBRARY), IsEmpty());
}

TEST_F(LibrariesAtLoad, NeitherLibraryHasIndirectFunctions)
{
    // The resolver of an indirect function runs when the library is opened, but the arrays do not contain it.
    for (char const* const library : {AGENTCOMMON_LIBRARY, FRAMEWORK_LIBRARY})
    {
        Texts const relocations = linesOf({"readelf", "-rW", library});
        EXPECT_THAT(relocations, Contains(HasSubstr(" R_")));
        EXPECT_THAT(relocations, Each(Not(HasSubstr("IRELATIV"))));
        EXPECT_THAT(linesOf({"readelf", "-sW", library}), Each(Not(HasSubstr(" IFUNC "))));
    }
}

TEST_F(LibrariesAtLoad, NeitherLibraryRunsItsOwnFunctionsAtUnload)
{
    EXPECT_EQ(functionsIn("FINI_ARRAY", AGENTCOMMON_LIBRARY), 1u);
    EXPECT_EQ(functionsIn("FINI_ARRAY", FRAMEWORK_LIBRARY), 1u);
}

/// A class of the public headers, and its functions that users of the library link.
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
    All, LibraryExports,
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
        // The other constructor is inline and calls _init.
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

TEST_P(LibraryExports, EveryNameThatUsersLinkIsExported)
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
    ADD_FAILURE() << "no virtual table of " << aClass;
    return 0;
}

TEST(VirtualTables, ScopeEventHasOnlyTheDestructors) { EXPECT_EQ(slotsOf("QZCScopeEvent"), 2u); }

TEST(VirtualTables, LatencyDataHasTheDestructorsAndEightOperations)
{
    EXPECT_EQ(slotsOf("QZCLatencyData"), 10u);
}

TEST(VirtualTables, WorldWideNameHasTheDestructorsAndFourOperations)
{
    EXPECT_EQ(slotsOf("QZCWorldWideName"), 6u);
}

TEST(VirtualTables, DepVersionHasOnlyTheDestructors) { EXPECT_EQ(slotsOf("QZCDepVersion"), 2u); }

TEST(VirtualTables, ScopeDataHasTheDestructorsAndTwoOperations) { EXPECT_EQ(slotsOf("QZCScopeData"), 4u); }

TEST(VirtualTables, LibvqmAbsHasOnlyTheDestructors) { EXPECT_EQ(slotsOf("QZCLibvqmAbs"), 2u); }

TEST(VirtualTables, HbaapiAbsHasTheDestructorsAndAllOperationsExceptReportLuns)
{
    EXPECT_EQ(slotsOf("QZCHbaapiAbs"), 12u);
}
}  // namespace
