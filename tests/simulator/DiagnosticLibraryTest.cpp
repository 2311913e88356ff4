// Queries of the diagnostic library, without events and faults.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/DiagnosticLibraryFixture.h"
#include "tests/simulator/Scenarios.h"

using testing::Each;
using testing::ElementsAreArray;
using testing::HasSubstr;

namespace
{
constexpr unsigned char untouched = 0xee;

class DiagnosticLibrary : public DiagnosticLibraryFixture
{
protected:
    template <std::size_t size>
    static std::array<unsigned char, size> record()
    {
        std::array<unsigned char, size> bytes{};
        bytes.fill(untouched);
        return bytes;
    }

    /// @return the text buffer after a version query; its initial content when nothing was written
    std::string version()
    {
        std::array<char, 129> text{};
        std::memset(text.data(), 'x', 128);
        mGetLibVer(text.data());
        return text.data();
    }

    std::string driverVersion(std::size_t aBoard)
    {
        return reinterpret_cast<char const*>(mTable.data() + aBoard * 108 + 52);
    }

    void expectDriverInfo(unsigned int aBoard, unsigned int aVersion, std::uint64_t aFeatures)
    {
        auto bytes = record<153>();
        EXPECT_EQ(mGetDrvInfo(aBoard, bytes.data()), ok);
        std::uint64_t features = 0;
        std::memcpy(&features, bytes.data() + 144, sizeof features);
        EXPECT_EQ(bytes[0], aVersion);
        EXPECT_EQ(features, aFeatures);
        EXPECT_EQ(bytes[152], untouched);
    }

    template <typename Call>
    static std::string errorsOf(Call aCall)
    {
        testing::internal::CaptureStderr();
        aCall();
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(DiagnosticLibrary, ReportsItsVersionBeforeAndAfterInitialization)
{
    choose(twoBoards);
    EXPECT_EQ(version(), "2.1.0");
    init();
    EXPECT_EQ(version(), "2.1.0");
}

TEST_F(DiagnosticLibrary, RequiresTheRecordVersionOfTheScenario)
{
    init("[diagnostics]\nrequired_record_version = 3\n" + std::string(oneBoard));
    std::array<unsigned char, 152> record = {};
    record[0] = 4;
    EXPECT_EQ(mGetDrvInfo(0, record.data()), QZ_BAD_ARGUMENT);
    record[0] = 3;
    EXPECT_EQ(mGetDrvInfo(0, record.data()), ok);
    EXPECT_EQ(record[0], 4) << "the library does not write its own version";
}

TEST_F(DiagnosticLibrary, ReportsDefaultVersions)
{
    init(oneBoard);
    EXPECT_EQ(version(), "1.0.0");
    EXPECT_EQ(driverVersion(0), "1.0.0");
}

TEST_F(DiagnosticLibrary, InitializationCountsBoardsAndReportsTheirDriverVersion)
{
    EXPECT_EQ(init(twoBoards), 2U);
    EXPECT_EQ(driverVersion(0), "4.0.12");
    EXPECT_EQ(driverVersion(1), "4.0.12");
}

TEST_F(DiagnosticLibrary, InitializationDoesNotWriteUnusedTableRecords)
{
    mTable.fill(untouched);
    init(twoBoards);
    EXPECT_EQ(mTable[2 * 108 - 1], 0);
    std::vector<unsigned char> const rest(mTable.begin() + 2 * 108, mTable.end());
    EXPECT_THAT(rest, Each(untouched));
}

TEST_F(DiagnosticLibrary, InitializationFillsNoMoreRecordsThanTheTableHolds)
{
    mTable.fill(untouched);
    choose(twoBoards);
    EXPECT_EQ(mInitDiagEnv(mTable.data(), 1), 2U);
    EXPECT_EQ(driverVersion(0), "4.0.12");
    EXPECT_EQ(mTable[108], untouched);
}

TEST_F(DiagnosticLibrary, InitializationCountsBoardsWithoutATable)
{
    choose(twoBoards);
    EXPECT_EQ(mInitDiagEnv(nullptr, 32), 2U);
}

TEST_F(DiagnosticLibrary, ReportsVersionsOfMaximumLength)
{
    std::string const library(127, 'l');
    std::string const driver(55, 'd');
    init("[diagnostics]\nlibrary_version = \"" + library + "\"\ndriver_version = \"" + driver + "\"\n" +
         oneBoard);
    EXPECT_EQ(version(), library);
    EXPECT_EQ(driverVersion(0), driver);
}

TEST_F(DiagnosticLibrary, ReportsDriverRecordVersionAndFeatures)
{
    init(std::string("[diagnostics]\nrecord_version = 5\nfeature_list = \"0x8000000000000102\"\n") +
         oneBoard);
    expectDriverInfo(0, 5, 0x8000000000000102U);
}

TEST_F(DiagnosticLibrary, DriverSupportsQuazorEventsByDefault)
{
    init(twoBoards);
    expectDriverInfo(1, 4, 0x100);
}

TEST_F(DiagnosticLibrary, ReportsBothNamesOfABoard)
{
    init(twoBoards);
    auto bytes = record<169>();
    EXPECT_EQ(mGetLinkInfo(1, bytes.data()), ok);
    std::vector<unsigned char> const names(bytes.begin() + 152, bytes.end());
    EXPECT_THAT(names, ElementsAreArray({0x10, 0, 0, 0, 0, 0, 0, 0x11, 0x20, 0, 0, 0, 0, 0, 0, 0x10, 0xee}));
}

TEST_F(DiagnosticLibrary, RefusesQueriesForAnUnknownBoard)
{
    init(twoBoards);
    auto bytes = record<168>();
    EXPECT_EQ(mGetDrvInfo(2, bytes.data()), QZ_NO_BOARD);
    EXPECT_EQ(mGetLinkInfo(0xffffffffU, bytes.data()), QZ_NO_BOARD);
    EXPECT_THAT(bytes, Each(untouched));
}

TEST_F(DiagnosticLibrary, RefusesNullRecords)
{
    init(twoBoards);
    EXPECT_EQ(mGetDrvInfo(0, nullptr), QZ_BAD_ARGUMENT);
    EXPECT_EQ(mGetLinkInfo(0, nullptr), QZ_BAD_ARGUMENT);
    mGetLibVer(nullptr);
}

TEST_F(DiagnosticLibrary, ScenarioWithoutDiagnosticsHasNoBoards)
{
    auto bytes = record<168>();
    EXPECT_EQ(init("[[adapter]]\nname = \"a\"\n"), 0U);
    EXPECT_EQ(version(), "1.0.0");
    EXPECT_EQ(mGetLinkInfo(0, bytes.data()), QZ_NO_BOARD);
}

TEST_F(DiagnosticLibrary, RefusesCallsBeforeInitialization)
{
    choose(twoBoards);
    auto bytes = record<168>();
    EXPECT_EQ(mGetDrvInfo(0, bytes.data()), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(mGetLinkInfo(0, bytes.data()), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(registerPlain(0, 3, 7, mLog), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(mUnregister(0, 3), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), QZ_NO_ENVIRONMENT);
    EXPECT_THAT(bytes, Each(untouched));
}

TEST_F(DiagnosticLibrary, RefusesCallsAfterTheEnvironmentIsFreed)
{
    init(twoBoards);
    mFreeDiagEnv();
    auto bytes = record<168>();
    EXPECT_EQ(mGetLinkInfo(0, bytes.data()), QZ_NO_ENVIRONMENT);
    mFreeDiagEnv();
}

TEST_F(DiagnosticLibrary, ReadsTheScenarioAgainAfterAFree)
{
    init(twoBoards);
    mFreeDiagEnv();
    EXPECT_EQ(init("[diagnostics]\nlibrary_version = \"9.9\"\n"), 0U);
    EXPECT_EQ(version(), "9.9");
}

TEST_F(DiagnosticLibrary, SecondInitializationKeepsTheScenario)
{
    init(twoBoards);
    mTable.fill(untouched);
    choose("# no boards any more\n");
    EXPECT_EQ(init(), 2U);
    EXPECT_EQ(driverVersion(1), "4.0.12");
}

TEST_F(DiagnosticLibrary, ReportsAMissingScenario)
{
    unsigned int boards = 1;
    EXPECT_EQ(errorsOf([&] { boards = init(); }),
              "libqzsim: QZSIM_SCENARIO is not set; it must hold the path of a scenario\n");
    EXPECT_EQ(boards, 0U);
}

TEST_F(DiagnosticLibrary, ReportsAnInvalidScenario)
{
    choose("[diagnostics]\nboards = 2\n");
    unsigned int result = 0;
    auto bytes = record<168>();
    EXPECT_THAT(errorsOf([&] { result = mGetLinkInfo(0, bytes.data()); }),
                HasSubstr("scenario.toml:2:1: expected a key of [diagnostics]"));
    EXPECT_EQ(result, QZ_NO_ENVIRONMENT);
}

TEST_F(DiagnosticLibrary, WritesNoVersionWithoutAScenario)
{
    EXPECT_NE(errorsOf([&] { EXPECT_EQ(version(), std::string(128, 'x')); }), "");
}
}  // namespace
