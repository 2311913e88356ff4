/// @file
/// Operations in a table, each of whose allocations is made to fail: alone, and with all that follow it.
#pragma once

#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "agentkit/testing/UncountedAllocator.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Outcome.h"

/// An operation that is ready to run, and what is to hold after it has failed.
struct Attempt
{
    std::function<void()> mAct;
    std::function<void()> mExpectSurvivors;
};

/// A row of the table.
struct Operation
{
    std::string mName;

    /// A digit for each allocation, in their order: how many blocks are lost when it fails. That is 0, but
    /// for the count of a handle: an object whose count cannot be had is given up on purpose, see QZCPointer.
    std::string mLost;

    std::string mFailure;               ///< the outcome when an allocation fails
    std::function<Attempt()> mPrepare;  ///< makes all that the operation needs
    std::string mOutcome = done;        ///< the outcome when none does
};

inline std::ostream& operator<<(std::ostream& aOut, Operation const& aOperation)
{
    return aOut << aOperation.mName;
}

inline std::string nameOfOperation(testing::TestParamInfo<Operation> const& aInfo)
{
    return aInfo.param.mName;
}

/// The same digits several times.
inline std::string times(unsigned int aTimes, std::string const& aDigits)
{
    std::string digits;
    for (unsigned int i = 0; i < aTimes; ++i)
    {
        digits += aDigits;
    }
    return digits;
}

/// A row whose operation acts on what prepare() gives a pointer to. The last function gets it after a
/// failure.
template <typename Prepare, typename Act, typename Expect>
Operation operation(std::string aName, std::string aLost, std::string aFailure, Prepare aPrepare, Act aAct,
                    Expect aExpectSurvivors)
{
    auto const prepare = [=]
    {
        auto const subject = aPrepare();
        return Attempt{[=] { aAct(*subject); }, [=] { aExpectSurvivors(*subject); }};
    };
    return {std::move(aName), std::move(aLost), std::move(aFailure), prepare};
}

template <typename Prepare, typename Act>
Operation operation(std::string aName, std::string aLost, std::string aFailure, Prepare aPrepare, Act aAct)
{
    return operation(std::move(aName), std::move(aLost), std::move(aFailure), aPrepare, aAct,
                     [](auto const&) {});
}

/// The same row, of an operation that ends so when no allocation fails.
inline Operation ending(std::string aOutcome, Operation aRow)
{
    aRow.mOutcome = std::move(aOutcome);
    return aRow;
}

/// A row whose operation allocates nothing.
template <typename Prepare, typename Act>
Operation withoutAllocation(std::string aName, Prepare aPrepare, Act aAct, std::string aOutcome = done)
{
    return ending(std::move(aOutcome), operation(std::move(aName), "", "", aPrepare, aAct));
}

/// How one run of an operation went.
struct Run
{
    UncountedString mOutcome;
    unsigned int mAllocations = 0;
    long mLost = 0;
};

/// Runs the attempt while allocations fail, as Failure does it with the first and the last of them. The
/// outcome is put into words later, as that takes memory.
template <typename Failure>
void runFailing(Attempt const& aAttempt, unsigned int aFirst, unsigned int aLast, Run& aRun)
{
    std::exception_ptr error;
    {
        Failure const failure(aFirst, aLast);
        try
        {
            aAttempt.mAct();
        }
        catch (...)
        {
            error = std::current_exception();
        }
        aRun.mAllocations = failure.allocations();
    }
    auto const end = [&]
    {
        if (error)
        {
            std::rethrow_exception(error);
        }
    };
    aRun.mOutcome = outcomeOf(end).c_str();
}

template <typename Failure>
Run run(Operation const& aOperation, unsigned int aFirst, unsigned int aLast)
{
    Run result;
    long const before = Failure::liveBlocks();
    {
        Attempt const attempt = aOperation.mPrepare();
        runFailing<Failure>(attempt, aFirst, aLast, result);
        if (aFirst != 0)
        {
            attempt.mExpectSurvivors();
        }
    }
    result.mLost = Failure::liveBlocks() - before;
    return result;
}

/// Fails the test unless the operation allocates as often as the table says, and loses nothing.
template <typename Failure = AllocationFailure>
void expectSuccess(Operation const& aOperation)
{
    Run const result = run<Failure>(aOperation, 0, 0);
    EXPECT_EQ(aOperation.mOutcome, result.mOutcome.c_str());
    EXPECT_EQ(result.mAllocations, aOperation.mLost.size());
    EXPECT_EQ(result.mLost, 0);
}

/// Fails the test unless the failure of these allocations is reported and loses what the table says.
template <typename Failure = AllocationFailure>
void expectReport(Operation const& aOperation, unsigned int aFirst, unsigned int aLast)
{
    SCOPED_TRACE("allocation " + std::to_string(aFirst) + (aLast == aFirst ? " alone" : " and all after it"));
    long const lost = aOperation.mLost[aFirst - 1] - '0';
    std::unique_ptr<DeliberateLeak const> const leak(lost != 0 ? new DeliberateLeak : nullptr);
    Run const result = run<Failure>(aOperation, aFirst, aLast);
    EXPECT_EQ(aOperation.mFailure, result.mOutcome.c_str());
    EXPECT_EQ(result.mLost, lost);
}

/// Lets every allocation of the operation fail, each in a run of its own, which runIt() makes: it is handed
/// the run as a function.
template <typename Failure = AllocationFailure, typename RunIt>
void failEveryAllocation(Operation const& aOperation, RunIt const& aRunIt)
{
    aRunIt([&] { expectSuccess<Failure>(aOperation); });
    for (unsigned int first = 1; first <= aOperation.mLost.size(); ++first)
    {
        for (unsigned int const last : {first, std::numeric_limits<unsigned int>::max()})
        {
            aRunIt([&] { expectReport<Failure>(aOperation, first, last); });
        }
    }
}

template <typename Failure = AllocationFailure>
void failEveryAllocation(Operation const& aOperation)
{
    failEveryAllocation<Failure>(aOperation, [](auto const& aRun) { aRun(); });
}
