#include <iostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Assertion.h"
#include "tests/support/LogCapture.h"

#define QZ_LOG_FILE "somewhere/ThisFile"
#define LARGEST_COUNT 8

using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
void admit(unsigned int aCount) { QZ_ASSERT(aCount <= LARGEST_COUNT && "100%s" != nullptr); }

void require(bool aCondition) { QZ_ASSERT(aCondition); }

/// What the process writes when the condition fails in require().
std::string failureOfRequire()
{
    return onlyTheseLines({ExpectedLog("require", QZ_LOG_FILE).assertion("aCondition")});
}

TEST(Assertion, AConditionThatHoldsLogsNothing)
{
    LogCapture log;
    require(true);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Assertion, EvaluatesItsConditionOnce)
{
    int evaluations = 0;
    QZ_ASSERT(++evaluations > 0);
    EXPECT_EQ(evaluations, 1);
}

TEST(Assertion, TakesWhateverConvertsToBool)
{
    LogCapture log;
    int value = 1;
    int* const pointer = &value;
    QZ_ASSERT(pointer);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AssertionDeathTest, AFailedConditionLogsOneLineAndEndsTheProcessWithStatus1)
{
    EXPECT_EXIT(
        {
            echoLogLines();
            require(false);
        },
        ExitedWithCode(1), failureOfRequire());
}

TEST(AssertionDeathTest, TheTextIsTheConditionAsWritten)
{
    EXPECT_EXIT(
        {
            echoLogLines();
            admit(9);
        },
        ExitedWithCode(1),
        onlyTheseLines({ExpectedLog("admit", QZ_LOG_FILE)
                            .assertion("aCount <= LARGEST_COUNT && \"100%s\" != nullptr")}));
}

TEST(AssertionDeathTest, AFailedConditionIsEvaluatedOnceToo)
{
    auto const isHeld = []
    {
        std::cerr << "evaluated\n";
        return false;
    };
    EXPECT_EXIT(QZ_ASSERT(isHeld()), ExitedWithCode(1), "^evaluated\n$");
}

TEST(AssertionDeathTest, NothingIsCleanedUp)
{
    struct Holder
    {
        ~Holder() { std::cerr << "cleaned up\n"; }
    };
    EXPECT_EXIT(
        {
            echoLogLines();
            Holder const holder;
            require(false);
        },
        ExitedWithCode(1), failureOfRequire());
}
}  // namespace
