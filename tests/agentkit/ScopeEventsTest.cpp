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

TEST(ScopeEvents, AreNewRecordsEachTime)
{
    QZCPointer<QZCScopeEvent> const first = qz::makeScopeEvent(1, 2);
    QZCPointer<QZCScopeEvent> const second = qz::makeScopeEvent(1, 2);
    EXPECT_NE(&*first, &*second);
    EXPECT_TRUE(*first == *second);
}

TEST(ScopeEvents, ReportThatThereIsNoMemoryForTheRecord)
{
    EXPECT_EQ(outcomeWithoutMemory(1, [] { qz::makeScopeEvent(1, 2); }), outOfMemory);
}

TEST(ScopeEvents, LeaveNothingBehind)
{
    long const before = liveBlocks();
    qz::makeScopeEvent(200, 100);
    EXPECT_EQ(liveBlocks(), before);
}
}  // namespace
