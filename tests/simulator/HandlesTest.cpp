#include <optional>

#include <gtest/gtest.h>

#include "simulator/hba/Handles.h"

using qzsim::Handles;

namespace
{
constexpr HBA_HANDLE largestHandle = 0xffff;

/// @return an object with all handles open, for adapter 0
Handles allOpen()
{
    Handles handles;
    for (HBA_HANDLE count = 0; count < largestHandle; ++count)
    {
        handles.open(0);
    }
    return handles;
}

TEST(Handles, NewHandleIsNotZero) { EXPECT_NE(Handles().open(0), HBA_HANDLE{HBA_HANDLE_INVALID}); }

TEST(Handles, HandleIdentifiesItsAdapter)
{
    Handles handles;
    HBA_HANDLE const first = handles.open(7);
    HBA_HANDLE const second = handles.open(8);
    EXPECT_EQ(handles.adapterOf(first), 7U);
    EXPECT_EQ(handles.adapterOf(second), 8U);
}

TEST(Handles, ClosedHandleIsNotReusedImmediately)
{
    Handles handles;
    HBA_HANDLE const first = handles.open(0);
    handles.close(first);
    EXPECT_NE(handles.open(0), first);
}

TEST(Handles, ClosedHandleIsUnknown)
{
    Handles handles;
    HBA_HANDLE const handle = handles.open(0);
    handles.close(handle);
    EXPECT_EQ(handles.adapterOf(handle), std::nullopt);
}

TEST(Handles, ClosingAnUnknownHandleChangesNothing)
{
    Handles handles;
    HBA_HANDLE const handle = handles.open(0);
    handles.close(handle + 1);
    EXPECT_EQ(handles.adapterOf(handle), 0U);
}

TEST(Handles, LargestHandleHasSixteenBits) { EXPECT_EQ(allOpen().adapterOf(largestHandle), 0U); }

TEST(Handles, OpenFailsWhenAllHandlesAreOpen)
{
    Handles handles = allOpen();
    EXPECT_EQ(handles.open(0), HBA_HANDLE{HBA_HANDLE_INVALID});
}

TEST(Handles, ClosedHandleIsReusedWhenAllOthersAreOpen)
{
    Handles handles = allOpen();
    handles.close(4711);
    EXPECT_EQ(handles.open(1), 4711U);
    EXPECT_EQ(handles.adapterOf(4711), 1U);
}
}  // namespace
