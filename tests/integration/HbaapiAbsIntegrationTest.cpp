#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tests/integration/HbaapiFixture.h"
#include "tests/support/LogCapture.h"

using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Property;
using testing::StrEq;

namespace
{
class TwoAdapters : public HbaapiFixture
{
};
class NoAdapters : public HbaapiFixture
{
};
class FailingLoad : public HbaapiFixture
{
};
class FailingName : public HbaapiFixture
{
};
class FailingOpen : public HbaapiFixture
{
};

char gFirstName[] = "example-fc-0";
char gUnknownName[] = "example-fc-9";

TEST_F(TwoAdapters, LayerReportsCountAndNamesInOrder)
{
    mHbaapi.HA_LoadHbaapi();
    EXPECT_EQ(mHbaapi.HA_GetNumberOfAdapters(), 2u);
    EXPECT_THAT(names(), ElementsAre("example-fc-0", "example-fc-1"));
}

TEST_F(TwoAdapters, EachAdapterOpensWithItsOwnHandle)
{
    mHbaapi.HA_LoadHbaapi();
    ASSERT_THAT(names(), testing::SizeIs(2));
    char second[] = "example-fc-1";
    unsigned int const firstHandle = mHbaapi.HA_OpenAdapter(gFirstName);
    unsigned int const secondHandle = mHbaapi.HA_OpenAdapter(second);
    EXPECT_NE(firstHandle, 0u);
    EXPECT_NE(secondHandle, 0u);
    EXPECT_NE(firstHandle, secondHandle);
    mHbaapi.HA_RefreshAdapter(firstHandle);
    mHbaapi.HA_CloseAdapter(firstHandle);
    mHbaapi.HA_CloseAdapter(secondHandle);
}

TEST_F(TwoAdapters, OpeningAnUnknownNameFailsAndIsLogged)
{
    mHbaapi.HA_LoadHbaapi();
    ASSERT_THAT(names(), testing::SizeIs(2));
    mLog.clear();
    EXPECT_THROW(mHbaapi.HA_OpenAdapter(gUnknownName), QZCHbaapiEx);
    ExpectedLog const expected = logOf("HA_OpenAdapter");
    EXPECT_THAT(mLog.lines(),
                ElementsAre(expected.entered(),
                            expected.trace("Going to open adapter, adapter name = <%s>",
                                           "Going to open adapter, adapter name = <example-fc-9>"),
                            expected.error("Failed to open adapter, adapter name = <%s>",
                                           "Failed to open adapter, adapter name = <example-fc-9>"),
                            expected.left()));
}

TEST_F(TwoAdapters, CountIsZeroAfterTheLibraryIsFreed)
{
    mHbaapi.HA_LoadHbaapi();
    ASSERT_EQ(mHbaapi.HA_GetNumberOfAdapters(), 2u);
    mHbaapi.HA_FreeHbaapi();
    EXPECT_EQ(mHbaapi.HA_GetNumberOfAdapters(), 0u);
}

TEST_F(TwoAdapters, SecondLoadAfterAFreeFindsThemAgain)
{
    mHbaapi.HA_LoadHbaapi();
    mHbaapi.HA_FreeHbaapi();
    mHbaapi.HA_LoadHbaapi();
    EXPECT_THAT(names(), ElementsAre("example-fc-0", "example-fc-1"));
}

TEST_F(TwoAdapters, SecondLoadWithoutAFreeThrows)
{
    mHbaapi.HA_LoadHbaapi();
    EXPECT_THROW(mHbaapi.HA_LoadHbaapi(), QZCExitConditionEx);
}

TEST_F(TwoAdapters, ClosingAStaleHandleReturnsNormally)
{
    mHbaapi.HA_LoadHbaapi();
    ASSERT_THAT(names(), testing::SizeIs(2));
    unsigned int const handle = mHbaapi.HA_OpenAdapter(gFirstName);
    mHbaapi.HA_CloseAdapter(handle);
    mLog.clear();
    mHbaapi.HA_CloseAdapter(handle);
    ExpectedLog const expected = logOf("HA_CloseAdapter");
    EXPECT_THAT(mLog.lines(), ElementsAre(expected.entered(), expected.trace("Going to close adapter..."),
                                          expected.trace("Closed adapter"), expected.left()));
}

TEST_F(TwoAdapters, FreeWithoutALoadReturnsNormally)
{
    mHbaapi.HA_FreeHbaapi();
    ExpectedLog const expected = logOf("HA_FreeHbaapi");
    EXPECT_THAT(mLog.lines(), ElementsAre(expected.entered(), expected.left()));
}

TEST_F(NoAdapters, LayerReportsAnEmptyList)
{
    mHbaapi.HA_LoadHbaapi();
    EXPECT_EQ(mHbaapi.HA_GetNumberOfAdapters(), 0u);
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(FailingLoad, ThrowsAnExitConditionAndLogsTheStatus)
{
    try
    {
        mHbaapi.HA_LoadHbaapi();
        FAIL() << "no exception";
    }
    catch (QZCExitConditionEx const& exception)
    {
        EXPECT_THAT(exception, AllOf(Property(&QZCException::what, StrEq("Can't load HBAAPI library!")),
                                     Property(&QZCException::getCode, 19u)));
    }
    ExpectedLog const expected = logOf("HA_LoadHbaapi");
    EXPECT_THAT(mLog.lines(), ElementsAre(expected.entered(), expected.trace("Going to open HBAAPI library"),
                                          expected.error("Failed to load HBAAPI library : %s",
                                                         "Failed to load HBAAPI library : HBA_STATUS_ERROR"),
                                          expected.left()));
}

TEST_F(FailingName, NamesBeforeTheFailureAreKept)
{
    mHbaapi.HA_LoadHbaapi();
    unsigned int const count = mHbaapi.HA_GetNumberOfAdapters();
    mLog.clear();
    QZCVector<QZCString> found;
    EXPECT_THROW(mHbaapi.HA_GetAdapterNames(count, found), QZCExitConditionEx);
    EXPECT_THAT(textsOf(found), ElementsAre("example-fc-0"));
    ExpectedLog const expected = logOf("HA_GetAdapterNames");
    ASSERT_THAT(mLog.lines(), testing::SizeIs(6));
    EXPECT_EQ(mLog.lines()[4], expected.error("Failed to get adapter #%d name - %s",
                                              "Failed to get adapter #1 name - HBA_STATUS_ERROR_BUSY"));
    EXPECT_EQ(mLog.lines()[5], expected.left());
}

TEST_F(FailingOpen, SecondAttemptSucceeds)
{
    mHbaapi.HA_LoadHbaapi();
    ASSERT_THAT(names(), testing::SizeIs(1));
    EXPECT_THROW(mHbaapi.HA_OpenAdapter(gFirstName), QZCHbaapiEx);
    EXPECT_NE(mHbaapi.HA_OpenAdapter(gFirstName), 0u);
}
}  // namespace
