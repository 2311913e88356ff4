#include <gtest/gtest.h>

#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Outcome.h"

namespace
{
TEST(ScopeEvents, HaveAnyPairOfNumbers)
{
    for (unsigned int pair = 0; pair <= 0xffff; ++pair)
    {
        auto const category = static_cast<unsigned char>(pair >> 8);
        auto const subcategory = static_cast<unsigned char>(pair);
        QZCPointer<QZCScopeEvent> const event = qz::makeScopeEvent(category, subcategory);
        ASSERT_EQ(event->getCategory(), category) << pair;
        ASSERT_EQ(event->getSubcategory(), subcategory) << pair;
    }
}

TEST(ScopeEvents, EachCallMakesANewRecord)
{
    QZCPointer<QZCScopeEvent> const first = qz::makeScopeEvent(1, 2);
    QZCPointer<QZCScopeEvent> const second = qz::makeScopeEvent(1, 2);
    EXPECT_NE(&*first, &*second);
    EXPECT_TRUE(*first == *second);
}

TEST(ScopeEvents, ReportThatThereIsNoMemoryForTheRecord)
{
    unsigned int const allocations = allocationsOf([] { qz::makeScopeEvent(1, 2); });
    ASSERT_GT(allocations, 1u);
    for (unsigned int failing = 1; failing <= allocations; ++failing)
    {
        // A handle leaks its object when memory for the count is unavailable.
        DeliberateLeak const leak;
        EXPECT_EQ(outcomeWithoutMemory(failing, [] { qz::makeScopeEvent(1, 2); }), outOfMemory) << failing;
    }
}

TEST(ScopeEvents, LeaveNothingBehind)
{
    long const before = liveBlocks();
    qz::makeScopeEvent(200, 100);
    EXPECT_EQ(liveBlocks(), before);
}
}  // namespace
