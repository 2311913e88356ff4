/// @file
/// A table of operations. Each allocation of an operation is made to fail, alone and together with all that follow.
#pragma once

#include <exception>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/testing/UncountedAllocator.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/Outcome.h"

/// An operation that is ready to run, and the checks after its failure.
struct Attempt
{
    std::function<void()> mAct;
    std::function<void()> mExpectSurvivors;
};

/// For each allocation of an operation, in order: the number of blocks that are leaked when it fails. That is 0
/// except for the count of a handle: QZCPointer leaks an object deliberately when it cannot allocate its count.
using Lost = std::vector<unsigned int>;

/// A row of the table.
struct Operation
{
    std::string mName;
    Lost mLost;
    std::string mFailure;               ///< the outcome when an allocation fails
    std::function<Attempt()> mPrepare;  ///< creates everything that the operation needs
    std::string mOutcome = done;        ///< the outcome when no allocation fails
};

inline std::ostream& operator<<(std::ostream& aOut, Operation const& aOperation)
{
    return aOut << aOperation.mName;
}

inline std::string nameOfOperation(testing::TestParamInfo<Operation> const& aInfo)
{
    return aInfo.param.mName;
}

/// The lists one after the other.
inline Lost joined(std::initializer_list<Lost> aParts)
{
    Lost whole;
    for (Lost const& part : aParts)
    {
        whole.insert(whole.end(), part.begin(), part.end());
    }
    return whole;
}

/// The list repeated.
inline Lost times(unsigned int aTimes, Lost const& aPart)
{
    Lost whole;
    for (unsigned int i = 0; i < aTimes; ++i)
    {
        whole = joined({whole, aPart});
    }
    return whole;
}

/// A row whose operation acts on the object that prepare() returns a pointer to. The last function checks the
/// object after a failure.
template <typename Prepare, typename Act, typename Expect>
Operation operation(std::string aName, Lost aLost, std::string aFailure, Prepare aPrepare, Act aAct,
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
Operation operation(std::string aName, Lost aLost, std::string aFailure, Prepare aPrepare, Act aAct)
{
    return operation(std::move(aName), std::move(aLost), std::move(aFailure), aPrepare, aAct,
                     [](auto const&) {});
}

/// The same row with the outcome that the operation has when no allocation fails.
inline Operation ending(std::string aOutcome, Operation aRow)
{
    aRow.mOutcome = std::move(aOutcome);
    return aRow;
}

/// A row whose operation allocates nothing.
template <typename Prepare, typename Act>
Operation withoutAllocation(std::string aName, Prepare aPrepare, Act aAct, std::string aOutcome = done)
{
    return ending(std::move(aOutcome), operation(std::move(aName), {}, "", aPrepare, aAct));
}

/// The result of one run of an operation.
struct Run
{
    qz::UncountedString mOutcome;
    unsigned int mAllocations = 0;
    long mLost = 0;
};

/// Runs the attempt while Failure makes the allocations from the first to the last fail. The outcome becomes a
/// text only afterwards, since that allocates.
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

/// Fails the test unless the operation allocates as often as the table says, and leaks nothing.
template <typename Failure = AllocationFailure>
void expectSuccess(Operation const& aOperation)
{
    Run const result = run<Failure>(aOperation, 0, 0);
    EXPECT_EQ(aOperation.mOutcome, result.mOutcome.c_str());
    EXPECT_EQ(result.mAllocations, aOperation.mLost.size());
    EXPECT_EQ(result.mLost, 0);
}

/// Fails the test unless the failure of these allocations is reported and leaks what the table says.
template <typename Failure = AllocationFailure>
void expectReport(Operation const& aOperation, unsigned int aFirst, unsigned int aLast)
{
    SCOPED_TRACE("allocation " + std::to_string(aFirst) + (aLast == aFirst ? " alone" : " and all after it"));
    long const lost = aOperation.mLost[aFirst - 1];
    std::unique_ptr<DeliberateLeak const> const leak(lost != 0 ? new DeliberateLeak : nullptr);
    Run const result = run<Failure>(aOperation, aFirst, aLast);
    EXPECT_EQ(aOperation.mFailure, result.mOutcome.c_str());
    EXPECT_EQ(result.mLost, lost);
}

/// Makes every allocation of the operation fail, each in its own run. A run is a function that is passed to
/// aRunIt.
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
