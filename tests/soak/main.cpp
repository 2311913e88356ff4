#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <ratio>

#include <fmt/format.h>

#include "backend/common/include/Logger.h"
#include "tests/soak/EndToEnd.h"
#include "tests/soak/Footprint.h"

namespace
{
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t eventsOfScenario = 500;
constexpr unsigned int warmUp = 20;             // rounds until all caches are filled
constexpr std::size_t residentAllowance = 512;  // KiB, for pages that the allocator keeps

class Soak
{
public:
    explicit Soak(std::chrono::seconds aDuration) : mStart(Clock::now()), mEnd(mStart + aDuration) {}

    bool isStable()
    {
        fmt::print("{:>7} {:>8} {:>10} {:>9} {:>12} {:>12} {:>6}\n", "minutes", "rounds", "records",
                   "refusals", "resident KiB", "heap bytes", "files");
        while (mRounds < warmUp || Clock::now() < mEnd)
        {
            Yield yield;
            queryAdapters(yield);
            watchBoards(eventsOfScenario, yield);
            ++mRounds;
            if (!take(yield))
            {
                return false;
            }
        }
        show(Footprint::now());
        return isFlat();
    }

private:
    /// @return whether the round yielded what the first one did
    bool take(Yield const& aYield)
    {
        if (mRounds == 1)
        {
            mFirstYield = aYield;
        }
        mSum.mRecords += aYield.mRecords;
        mSum.mRefusals += aYield.mRefusals;
        if (mRounds == warmUp)
        {
            mAfterWarmUp = Footprint::now();
            show(mAfterWarmUp);
        }
        else if (Clock::now() >= mNextLine)
        {
            show(Footprint::now());
        }
        if (!(aYield == mFirstYield))
        {
            fmt::print("round {} yielded {} records and {} refusals, the first one {} and {}\n", mRounds,
                       aYield.mRecords, aYield.mRefusals, mFirstYield.mRecords, mFirstYield.mRefusals);
            return false;
        }
        return true;
    }

    void show(Footprint const& aFootprint)
    {
        auto const minutes = std::chrono::duration<double, std::ratio<60>>(Clock::now() - mStart);
        fmt::print("{:>7.1f} {:>8} {:>10} {:>9} {:>12} {:>12} {:>6}\n", minutes.count(), mRounds,
                   mSum.mRecords, mSum.mRefusals, aFootprint.mResident, aFootprint.mHeap, aFootprint.mFiles);
        std::fflush(stdout);
        mNextLine = Clock::now() + std::chrono::minutes(1);
    }

    bool isFlat() const
    {
        Footprint const now = Footprint::now();
        bool const isFlat =
            now.mFiles == mAfterWarmUp.mFiles && now.mResident <= mAfterWarmUp.mResident + residentAllowance;
        fmt::print("memory and open files {} after {} rounds\n", isFlat ? "stayed flat" : "GREW", mRounds);
        return isFlat;
    }

    Clock::time_point const mStart;
    Clock::time_point const mEnd;
    Clock::time_point mNextLine = Clock::time_point::max();
    unsigned int mRounds = 0;
    Yield mFirstYield;
    Yield mSum;
    Footprint mAfterWarmUp{};
};
}  // namespace

/// The only argument is the duration in seconds.
int main(int aCount, char** aArguments)
{
    try
    {
        SetLogLevelMask(QZLL_Assertion);
        int const seconds = aCount == 2 ? std::atoi(aArguments[1]) : 0;
        return Soak(std::chrono::seconds(seconds)).isStable() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    catch (std::exception const& exception)
    {
        fmt::print(stderr, "soak: {}\n", exception.what());
        return EXIT_FAILURE;
    }
}
