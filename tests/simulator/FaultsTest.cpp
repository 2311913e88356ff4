#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "simulator/control/Faults.h"
#include "simulator/control/Strikes.h"
#include "simulator/scenario/Scenario.h"

using qzsim::Call;
using qzsim::Fault;
using qzsim::Faults;
using qzsim::Strikes;
using qzsim::StrikesFile;

namespace
{
constexpr HBA_STATUS busy = HBA_STATUS_ERROR_BUSY;
constexpr HBA_STATUS unavailable = HBA_STATUS_ERROR_UNAVAILABLE;

Fault faultOfRange(Call aCall, std::string const& aAdapter, std::uint32_t aFirst, std::uint32_t aLast,
                   HBA_STATUS aStatus = busy)
{
    return {aCall, aAdapter, "", aFirst, aLast, {aStatus}, ""};
}

Fault fault(Call aCall, std::string const& aAdapter, std::uint32_t aNth, HBA_STATUS aStatus = busy)
{
    return faultOfRange(aCall, aAdapter, aNth, aNth, aStatus);
}

Faults scheduled(std::vector<Fault> const& aFaults)
{
    Faults faults;
    faults.schedule(aFaults);
    return faults;
}

TEST(Faults, EmptyScheduleLetsEveryCallSucceed)
{
    Faults faults;
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
}

TEST(Faults, OnlyTheNthCallFails)
{
    Faults faults = scheduled({fault(Call::loadLibrary, "", 2)});
    EXPECT_EQ(faults.next(Call::loadLibrary).mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::loadLibrary).mAnswer, busy);
    EXPECT_EQ(faults.next(Call::loadLibrary).mAnswer, std::nullopt);
}

TEST(Faults, EachFunctionIsCountedSeparately)
{
    Faults faults = scheduled({fault(Call::openAdapter, "", 1)});
    EXPECT_EQ(faults.next(Call::getAdapterName, "a").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
}

TEST(Faults, AdapterFaultCountsOnlyThatAdapter)
{
    Faults faults = scheduled({fault(Call::openAdapter, "b", 2)});
    EXPECT_EQ(faults.next(Call::openAdapter, "b").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "b").mAnswer, busy);
}

TEST(Faults, FaultWithoutAdapterCountsAllAdaptersTogether)
{
    Faults faults = scheduled({fault(Call::openAdapter, "", 3)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "b").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
}

TEST(Faults, FirstOfTwoFaultsForACallDecides)
{
    Faults faults =
        scheduled({fault(Call::openAdapter, "a", 1, unavailable), fault(Call::openAdapter, "", 1)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, unavailable);
}

TEST(Faults, RangeFailsFromItsFirstToItsLastCall)
{
    Faults faults = scheduled({faultOfRange(Call::openAdapter, "a", 2, 3)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
}

TEST(Faults, EndlessRangeFailsFromItsFirstCallOn)
{
    Faults faults = scheduled({faultOfRange(Call::openAdapter, "a", 2, qzsim::endless)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    for (int count = 0; count < 1000; ++count)
    {
        EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    }
}

TEST(Faults, PortFaultCountsThatPortThroughAnyAdapter)
{
    Faults faults = scheduled({{Call::sendReportLuns, "", "p", 2, 2, {busy}, ""}});
    EXPECT_EQ(faults.next(Call::sendReportLuns, "a", "p").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::sendReportLuns, "a", "q").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::sendReportLuns, "b", "p").mAnswer, busy);
}

TEST(Faults, PortAndAdapterFaultCountsOnlyThatPortThroughThatAdapter)
{
    Faults faults = scheduled({{Call::sendReportLuns, "b", "p", 1, 1, {busy}, ""}});
    EXPECT_EQ(faults.next(Call::sendReportLuns, "a", "p").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::sendReportLuns, "b", "q").mAnswer, std::nullopt);
    EXPECT_EQ(faults.next(Call::sendReportLuns, "b", "p").mAnswer, busy);
}

TEST(Faults, StrikesAreCountedPerFault)
{
    StrikesFile const file(2);
    Faults faults;
    faults.schedule({fault(Call::openAdapter, "a", 9), faultOfRange(Call::openAdapter, "", 2, 3)},
                    Strikes(file.path(), 2));
    for (int count = 0; count < 4; ++count)
    {
        faults.next(Call::openAdapter, "a");
    }
    Strikes const strikes(file.path(), 2);
    EXPECT_EQ(strikes.of(0), 0U);
    EXPECT_EQ(strikes.of(1), 2U);
}

TEST(Faults, DelayBetweenTwoLimitsVariesAndIsTheSameInEveryProcess)
{
    Fault uniform = faultOfRange(Call::openAdapter, "", 1, qzsim::endless);
    uniform.mReaction.mDelayMs = 10;
    uniform.mReaction.mLongestDelayMs = 13;
    Faults one = scheduled({uniform});
    Faults other = scheduled({uniform});
    std::set<std::uint32_t> delays;
    for (int count = 0; count < 200; ++count)
    {
        std::uint32_t const delay = one.next(Call::openAdapter, "a").mDelayMs;
        EXPECT_EQ(other.next(Call::openAdapter, "a").mDelayMs, delay);
        delays.insert(delay);
    }
    EXPECT_EQ(delays, (std::set<std::uint32_t>{10, 11, 12, 13}));
}

TEST(Faults, CountsSurviveANewSchedule)
{
    std::vector<Fault> const schedule = {fault(Call::loadLibrary, "", 1),
                                         fault(Call::loadLibrary, "", 2, unavailable)};
    Faults faults = scheduled(schedule);
    EXPECT_EQ(faults.next(Call::loadLibrary).mAnswer, busy);
    faults.schedule(schedule);
    EXPECT_EQ(faults.next(Call::loadLibrary).mAnswer, unavailable);
}

Fault namedFault(bool aIsActive, std::uint32_t aFirst = 1, std::uint32_t aLast = 1)
{
    Fault named = faultOfRange(Call::openAdapter, "", aFirst, aLast);
    named.mName = "x";
    named.mIsActive = aIsActive;
    return named;
}

TEST(Faults, FaultThatIsNotActiveDoesNotStrike)
{
    Faults faults = scheduled({namedFault(false)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
}

TEST(Faults, FaultCountsItsCallsFromItsStart)
{
    Faults faults = scheduled({namedFault(false, 2, 2)});
    faults.next(Call::openAdapter, "a");
    faults.next(Call::openAdapter, "a");
    faults.update({namedFault(true, 2, 2)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    faults.update({namedFault(true, 2, 2)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
}

TEST(Faults, FaultThatStartsAgainCountsAgain)
{
    Faults faults = scheduled({namedFault(true)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    faults.update({namedFault(false)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, std::nullopt);
    faults.update({namedFault(true)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
}

TEST(Faults, FaultThatIsAddedCountsItsCallsFromThen)
{
    Faults faults = scheduled({});
    faults.next(Call::openAdapter, "a");
    faults.update({namedFault(true)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    EXPECT_EQ(faults.callsOf(Call::openAdapter), 2U);
    EXPECT_EQ(faults.callsOf(Call::loadLibrary), 0U);
}

TEST(Faults, FaultThatWasAddedIsCounted)
{
    StrikesFile const file(1);
    Strikes const strikes(file.path(), 1);
    Faults faults;
    faults.schedule({fault(Call::loadLibrary, "", 1)}, strikes);
    faults.update({fault(Call::loadLibrary, "", 1), namedFault(true)});
    EXPECT_EQ(faults.next(Call::openAdapter, "a").mAnswer, busy);
    EXPECT_EQ(strikes.of(0), 0U);
    EXPECT_EQ(strikes.of(1), 1U);
}

TEST(Faults, CallsOfAllProcessesWithTheSameFileAddUp)
{
    StrikesFile const file(0);
    Faults one;
    Faults other;
    one.schedule({}, qzsim::Strikes(file.path(), 0));
    other.schedule({}, qzsim::Strikes(file.path(), 0));
    one.next(Call::openAdapter);
    other.next(Call::loadLibrary);
    other.next(Call::openAdapter);
    EXPECT_EQ(one.callsOf(Call::openAdapter), 1U);
    EXPECT_EQ(other.callsOf(Call::openAdapter), 2U);
    EXPECT_EQ(other.callsOf(Call::loadLibrary), 1U);
}
}  // namespace
