// Extreme numbers and texts from the vendor library.
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using testing::Contains;
using testing::ElementsAreArray;

namespace
{
class LibvqmNumbers : public LibvqmLayer, public testing::WithParamInterface<unsigned int>
{
};

INSTANTIATE_TEST_SUITE_P(All, LibvqmNumbers,
                         testing::Values(0u, 1u, 31u, 32u, 33u, 255u, 256u, 2147483647u, 2147483648u,
                                         4294967295u),
                         testing::PrintToStringParamName());

TEST_P(LibvqmNumbers, AnyAdapterCountIsKept)
{
    inFreshProcess(
        [&]
        {
            mVqm.mNumAdapters = GetParam();
            load();
            mLayer.LIBVQM_Init();
            EXPECT_EQ(mLayer.LIBVQM_GetNumberOfAdapters(), GetParam());
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam() != 0);
            EXPECT_EQ(callsOf("VQM_GetLibVer()"), GetParam() != 0 ? 1 : 0);
            EXPECT_EQ(callsOf("VQM_GetDrvInfo(0)"), GetParam() != 0 ? 1 : 0);
        });
}

TEST_P(LibvqmNumbers, AnyNonzeroDriverResultIsAFailure)
{
    inFreshProcess(
        [&]
        {
            mVqm.mDriverResult = GetParam();
            loadAndInit();
            EXPECT_EQ(mLayer.LIBVQM_IsQzapiSupported(), GetParam() == 0);
        });
}

TEST_P(LibvqmNumbers, AnyNonzeroLinkResultIsAFailure)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLinkResult = GetParam();
            load();
            QZCPointer<QZCWorldWideName> first;
            QZCPointer<QZCWorldWideName> second;
            EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_GetAdapterInfo(0, first, second); }),
                      GetParam() == 0 ? done : "QZCNotFoundEx 8: Failed to find information of an adapter");
            EXPECT_EQ(first != nullptr, GetParam() == 0);
            EXPECT_EQ(second != nullptr, GetParam() == 0);
        });
}

TEST_P(LibvqmNumbers, AnyBoardNumberReachesTheVendorLibrary)
{
    inFreshProcess(
        [&]
        {
            load();
            QZCPointer<QZCWorldWideName> first;
            QZCPointer<QZCWorldWideName> second;
            mLayer.LIBVQM_GetAdapterInfo(GetParam(), first, second);
            EXPECT_EQ(callsOf("VQM_GetLinkInfo(" + std::to_string(GetParam()) + ')'), 1);
        });
}

TEST_P(LibvqmNumbers, AnyRegistrationResultIsReturned)
{
    QZCPointer<QZCWorldWideName> const port = nameOf({1, 2, 3, 4, 5, 6, 7, 8});
    QZCPointer<QZCScopeEvent> const event = eventOf(1, 2);
    inFreshProcess(
        [&]
        {
            load();
            mVqm.mEventResult = GetParam();
            EXPECT_EQ(mLayer.LIBVQM_VqmRegEvent(0, 0, nullptr, 0, nullptr), GetParam());
            EXPECT_EQ(mLayer.LIBVQM_VqmUnregEvent(0, 0), GetParam());
            EXPECT_EQ(mLayer.LIBVQM_QzapiRegEvent(0, port, event, nullptr, nullptr, nullptr), GetParam());
            EXPECT_EQ(mLayer.LIBVQM_QzapiUnregEvent(0, port, 0), GetParam());
        });
}

/// A version text and its expected components.
struct VersionText
{
    std::string mName;
    std::string mText;
    std::vector<unsigned int> mComponents;
};

std::ostream& operator<<(std::ostream& aOut, VersionText const& aText) { return aOut << aText.mName; }

/// This many bytes, which start with the text and continue with format directives.
std::string filledUp(std::string const& aText, std::size_t aLength)
{
    std::string text = aText;
    while (text.size() < aLength)
    {
        text += "%n%s";
    }
    return text.substr(0, aLength);
}

class LibvqmTexts : public LibvqmLayer, public testing::WithParamInterface<VersionText>
{
protected:
    /// The log lines of the components of a version.
    static std::vector<std::string> componentsOf(std::vector<unsigned int> const& aComponents)
    {
        std::vector<std::string> lines;
        for (unsigned int const component : aComponents)
        {
            lines.push_back("Component#" + std::to_string(lines.size() + 1) + " - " +
                            std::to_string(component));
        }
        return lines;
    }

    /// Fails the test unless both versions have these components.
    void expectVersions(std::vector<unsigned int> const& aLibrary, std::vector<unsigned int> const& aDriver)
    {
        std::vector<std::string> expected = componentsOf(aLibrary);
        std::vector<std::string> const driver = componentsOf(aDriver);
        expected.insert(expected.end(), driver.begin(), driver.end());
        EXPECT_EQ(outcomeOf([&] { mLayer.LIBVQM_Init(); }), done);
        EXPECT_THAT(textsOf({"Component#%u - %u"}), ElementsAreArray(expected));
        EXPECT_TRUE(mLayer.LIBVQM_IsQzapiSupported());
    }
};

INSTANTIATE_TEST_SUITE_P(
    All, LibvqmTexts,
    testing::Values(VersionText{"NoBytes", "", {0}}, VersionText{"OneDot", ".", {0, 0}},
                    VersionText{"Directives", "%n%s", {0}},
                    VersionText{"DirectivesAsParts", "7.%n.%s.2", {7, 0, 0, 2}},
                    VersionText{"127Bytes", std::string("7.2.") + std::string(123, 'x'), {7, 2, 0}},
                    VersionText{"128Bytes", std::string("7.2.") + std::string(124, 'x'), {7, 2, 0}},
                    VersionText{"127BytesOfDirectives", filledUp("7.2.20", 127), {7, 2, 20}},
                    VersionText{"128BytesOfDirectives", filledUp("7.2.20", 128), {7, 2, 20}},
                    VersionText{"8000BytesOfDirectives", filledUp("7.2.20", 8000), {7, 2, 20}}),
    [](testing::TestParamInfo<VersionText> const& aInfo) { return "Of" + aInfo.param.mName; });

TEST_P(LibvqmTexts, LibraryVersionIsReadOnlyWithinItsArea)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = GetParam().mText;
            mVqm.mDriverVersion = "8";
            load();
            expectVersions(GetParam().mComponents, {8});
            EXPECT_THAT(events(), Contains(foundVersion(GetParam().mText.substr(0, 128))));
        });
}

TEST_P(LibvqmTexts, DriverVersionIsReadOnlyWithinItsTable)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = "7";
            mVqm.mDriverVersion = GetParam().mText;
            load();
            expectVersions({7}, GetParam().mComponents);
            EXPECT_THAT(events(), Contains(driverVersion(GetParam().mText.substr(0, 3456 - 52))));
        });
}
}  // namespace
