#include <functional>
#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

#include "backend/common/include/ReferenceCount.h"

namespace
{
static_assert(!std::is_copy_constructible<QZCReferenceCount>::value, "all holders share one count");
static_assert(!std::is_copy_assignable<QZCReferenceCount>::value, "all holders share one count");

/// Repeatedly adds and removes holders.
void shareAndLetGo(QZCReferenceCount& aCount)
{
    for (int i = 0; i < 100000; ++i)
    {
        aCount.increment();
        aCount.decrement();
    }
}

TEST(ReferenceCount, OnlyHolderIsTheLast)
{
    QZCReferenceCount count(1);
    EXPECT_EQ(count.decrement(), 0u);
}

TEST(ReferenceCount, CountsDownFromItsInitialValue)
{
    QZCReferenceCount count(3);
    EXPECT_EQ(count.decrement(), 2u);
    EXPECT_EQ(count.decrement(), 1u);
    EXPECT_EQ(count.decrement(), 0u);
}

TEST(ReferenceCount, IncrementingAddsAHolder)
{
    QZCReferenceCount count(1);
    count.increment();
    count.increment();
    EXPECT_EQ(count.decrement(), 2u);
}

TEST(ReferenceCount, CountsEveryHolderAcrossThreads)
{
    QZCReferenceCount count(3);
    std::thread first(shareAndLetGo, std::ref(count));
    std::thread second(shareAndLetGo, std::ref(count));
    first.join();
    second.join();
    EXPECT_EQ(count.decrement(), 2u);
}

TEST(ReferenceCount, ExactlyOneOfTwoThreadsIsTheLastHolder)
{
    for (int round = 0; round < 200; ++round)
    {
        QZCReferenceCount count(2);
        unsigned int left[2] = {9, 9};
        std::thread first([&] { left[0] = count.decrement(); });
        std::thread second([&] { left[1] = count.decrement(); });
        first.join();
        second.join();
        ASSERT_EQ(left[0] + left[1], 1u) << left[0] << " and " << left[1] << " left";
    }
}
}  // namespace
