#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/Faults.h"

using qzsim::Call;
using qzsim::Fault;
using qzsim::Faults;

namespace
{
constexpr HBA_STATUS busy = HBA_STATUS_ERROR_BUSY;
constexpr HBA_STATUS unavailable = HBA_STATUS_ERROR_UNAVAILABLE;

Faults scheduled(std::vector<Fault> const& aFaults)
{
    Faults faults;
    faults.schedule(aFaults);
    return faults;
}

TEST(Faults, NoneLetsEveryCallThrough)
{
    Faults faults;
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), std::nullopt);
}

TEST(Faults, TheNthCallFailsAndNoOther)
{
    Faults faults = scheduled({{Call::loadLibrary, "", 2, busy}});
    EXPECT_EQ(faults.next(Call::loadLibrary), std::nullopt);
    EXPECT_EQ(faults.next(Call::loadLibrary), busy);
    EXPECT_EQ(faults.next(Call::loadLibrary), std::nullopt);
}

TEST(Faults, EachCallIsCountedByItself)
{
    Faults faults = scheduled({{Call::openAdapter, "", 1, busy}});
    EXPECT_EQ(faults.next(Call::getAdapterName, "a"), std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), busy);
}

TEST(Faults, AFaultOfAnAdapterCountsThatAdapterAlone)
{
    Faults faults = scheduled({{Call::openAdapter, "b", 2, busy}});
    EXPECT_EQ(faults.next(Call::openAdapter, "b"), std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "b"), busy);
}

TEST(Faults, AFaultOfAllAdaptersCountsThemTogether)
{
    Faults faults = scheduled({{Call::openAdapter, "", 3, busy}});
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "b"), std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), busy);
}

TEST(Faults, OfTwoForTheSameCallTheFirstDecides)
{
    Faults faults = scheduled({{Call::openAdapter, "a", 1, unavailable}, {Call::openAdapter, "", 1, busy}});
    EXPECT_EQ(faults.next(Call::openAdapter, "a"), unavailable);
}

TEST(Faults, CountGoesOnWhenTheyAreScheduledAnew)
{
    std::vector<Fault> const schedule = {{Call::loadLibrary, "", 1, busy},
                                         {Call::loadLibrary, "", 2, unavailable}};
    Faults faults = scheduled(schedule);
    EXPECT_EQ(faults.next(Call::loadLibrary), busy);
    faults.schedule(schedule);
    EXPECT_EQ(faults.next(Call::loadLibrary), unavailable);
}
}  // namespace
