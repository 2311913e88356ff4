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

/// The standard error of the process when the condition in require() fails.
std::string failureOfRequire()
{
    return onlyTheseLines({ExpectedLog("require", QZ_LOG_FILE).assertion("aCondition")});
}

TEST(Assertion, TrueConditionLogsNothing)
{
    LogCapture log;
    require(true);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Assertion, ConditionIsEvaluatedOnce)
{
    int evaluations = 0;
    QZ_ASSERT(++evaluations > 0);
    EXPECT_EQ(evaluations, 1);
}

TEST(Assertion, AcceptsAnyTypeThatConvertsToBool)
{
    LogCapture log;
    int value = 1;
    int* const pointer = &value;
    QZ_ASSERT(pointer);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AssertionDeathTest, FalseConditionLogsOneLineAndExitsWithStatus1)
{
    EXPECT_EXIT(
        {
            echoLogLines();
            require(false);
        },
        ExitedWithCode(1), failureOfRequire());
}

TEST(AssertionDeathTest, LogLineHasTheConditionAsWritten)
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

TEST(AssertionDeathTest, FalseConditionIsEvaluatedOnce)
{
    auto const isHeld = []
    {
        std::cerr << "evaluated\n";
        return false;
    };
    EXPECT_EXIT(QZ_ASSERT(isHeld()), ExitedWithCode(1), "^evaluated\n$");
}

TEST(AssertionDeathTest, FailureRunsNoDestructorsAndNoExitHandlers)
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
