// Which registrations the diagnostic library accepts, and which events they receive.
#include <cstddef>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/simulator/DiagnosticLibraryFixture.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace
{
constexpr std::size_t sources = 5;

/// @return a source of one event
std::string source(unsigned int aBoard, std::string const& aPort, unsigned int aCategory,
                   unsigned int aSubcategory)
{
    return "[[diagnostics.event]]\nboard = " + std::to_string(aBoard) + "\nport_wwn = \"" + aPort +
           "\"\ncategory = " + std::to_string(aCategory) + "\nsubcategory = " + std::to_string(aSubcategory) +
           "\n";
}

class DiagnosticLibraryRegistration : public DiagnosticLibraryFixture
{
protected:
    DiagnosticLibraryRegistration()
    {
        init(twoBoards + source(0, firstPort, 3, 7) + source(0, firstPort, 3, 8) +
             source(0, firstPort, 4, 7) + source(0, otherPort, 3, 7) + source(1, secondBoardsPort, 3, 7));
    }

    /// Waits for the events of the registration under test. Then registers for all events, which starts the remaining
    /// sources, so that an event the first registration should not receive would be seen.
    /// @return the kinds of the events that the registration under test received
    std::vector<std::string> kindsOf(std::size_t aCount)
    {
        mLog.waitFor(aCount);
        EXPECT_EQ(registerQuazor(0, firstPort, any, any, mOther), ok);
        EXPECT_EQ(registerQuazor(0, otherPort, any, any, mOther), ok);
        EXPECT_EQ(registerQuazor(1, secondBoardsPort, any, any, mOther), ok);
        mOther.waitFor(sources - aCount);
        mFreeDiagEnv();
        std::vector<std::string> kinds;
        for (Delivery const& delivery : mLog.waitFor(aCount))
        {
            kinds.push_back(std::to_string(delivery.mBoard) + ' ' + delivery.mPort + ' ' +
                            std::to_string(delivery.mCategory) + '/' + std::to_string(delivery.mSubcategory));
        }
        return kinds;
    }
};

TEST_F(DiagnosticLibraryRegistration, QuazorRegistrationReceivesOnlyItsKindAtItsPort)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), ok);
    EXPECT_THAT(kindsOf(1), ElementsAre("0 10:00:00:00:00:00:00:01 3/7"));
}

TEST_F(DiagnosticLibraryRegistration, AnyCategoryMatchesEveryCategoryOfTheSubcategory)
{
    ASSERT_EQ(registerQuazor(0, firstPort, any, 7, mLog), ok);
    EXPECT_THAT(kindsOf(2),
                UnorderedElementsAre("0 10:00:00:00:00:00:00:01 3/7", "0 10:00:00:00:00:00:00:01 4/7"));
}

TEST_F(DiagnosticLibraryRegistration, AnySubcategoryMatchesEverySubcategoryOfTheCategory)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 3, any, mLog), ok);
    EXPECT_THAT(kindsOf(2),
                UnorderedElementsAre("0 10:00:00:00:00:00:00:01 3/7", "0 10:00:00:00:00:00:00:01 3/8"));
}

TEST_F(DiagnosticLibraryRegistration, RegistrationAtAnEventPortReceivesItsEvents)
{
    ASSERT_EQ(registerQuazor(0, otherPort, any, any, mLog), ok);
    EXPECT_THAT(kindsOf(1), ElementsAre("0 10:00:00:00:00:00:00:02 3/7"));
}

TEST_F(DiagnosticLibraryRegistration, PlainRegistrationReceivesEventsOfAllPortsOfTheBoard)
{
    ASSERT_EQ(registerPlain(0, 3, any, mLog), ok);
    EXPECT_THAT(kindsOf(3), UnorderedElementsAre("0  3/7", "0  3/7", "0  3/8"));
}

TEST_F(DiagnosticLibraryRegistration, RegistrationForAnotherBoardReceivesItsEvents)
{
    ASSERT_EQ(registerPlain(1, any, any, mLog), ok);
    EXPECT_THAT(kindsOf(1), ElementsAre("1  3/7"));
}

TEST_F(DiagnosticLibraryRegistration, IdentifiersStartAtOneAndAreNotReused)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    EXPECT_EQ(mId, 1U);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), ok);
    ASSERT_EQ(registerPlain(0, 9, 9, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    EXPECT_EQ(mId, 2U);
}

TEST_F(DiagnosticLibraryRegistration, IdentifiersRestartInANewEnvironment)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    mFreeDiagEnv();
    init();
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    EXPECT_EQ(mId, 1U);
}

TEST_F(DiagnosticLibraryRegistration, QuazorRegistrationMayBeRepeated)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    EXPECT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
}

TEST_F(DiagnosticLibraryRegistration, SecondPlainRegistrationForACategoryIsRefused)
{
    EXPECT_EQ(registerPlain(0, 9, 1, mLog), ok);
    EXPECT_EQ(registerPlain(0, 9, 2, mLog), QZ_IS_REGISTERED);
    EXPECT_EQ(registerPlain(0, 8, 1, mLog), ok);
    EXPECT_EQ(registerPlain(1, 9, 1, mLog), ok);
    EXPECT_EQ(mUnregister(0, 9), ok);
    EXPECT_EQ(registerPlain(0, 9, 2, mLog), ok);
}

TEST_F(DiagnosticLibraryRegistration, SurvivesASecondInitialization)
{
    ASSERT_EQ(registerPlain(0, 9, 9, mLog), ok);
    init();
    EXPECT_EQ(mUnregister(0, 9), ok);
}

TEST_F(DiagnosticLibraryRegistration, QuazorUnregistrationNeedsTheBoardPortAndIdentifier)
{
    ASSERT_EQ(registerQuazor(0, firstPort, 9, 9, mLog), ok);
    EXPECT_EQ(unregisterQuazor(0, otherPort, 1), QZ_NOT_REGISTERED);
    EXPECT_EQ(unregisterQuazor(1, secondBoardsPort, 1), QZ_NOT_REGISTERED);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 0), QZ_NOT_REGISTERED);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 2), QZ_NOT_REGISTERED);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), ok);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), QZ_NOT_REGISTERED);
}

TEST_F(DiagnosticLibraryRegistration, PlainUnregistrationSucceedsOnce)
{
    EXPECT_EQ(mUnregister(0, 9), QZ_NOT_REGISTERED);
    ASSERT_EQ(registerPlain(0, 9, 9, mLog), ok);
    EXPECT_EQ(mUnregister(1, 9), QZ_NOT_REGISTERED);
    EXPECT_EQ(mUnregister(0, 9), ok);
    EXPECT_EQ(mUnregister(0, 9), QZ_NOT_REGISTERED);
}

TEST_F(DiagnosticLibraryRegistration, RefusesAnUnknownBoard)
{
    EXPECT_EQ(registerPlain(2, 3, 7, mLog), QZ_NO_BOARD);
    EXPECT_EQ(mUnregister(2, 3), QZ_NO_BOARD);
    EXPECT_EQ(registerQuazor(2, firstPort, 3, 7, mLog), QZ_NO_BOARD);
    EXPECT_EQ(unregisterQuazor(2, firstPort, 1), QZ_NO_BOARD);
}

TEST_F(DiagnosticLibraryRegistration, RefusesAPortOfAnotherBoard)
{
    EXPECT_EQ(registerQuazor(0, secondBoardsPort, 3, 7, mLog), QZ_NO_PORT);
    EXPECT_EQ(registerQuazor(1, otherPort, 3, 7, mLog), QZ_NO_PORT);
    EXPECT_EQ(unregisterQuazor(0, secondBoardsPort, 1), QZ_NO_PORT);
}

TEST_F(DiagnosticLibraryRegistration, RefusesCategoriesOutOfRange)
{
    EXPECT_EQ(registerPlain(0, 0x100, 7, mLog), QZ_BAD_ARGUMENT);
    EXPECT_EQ(registerPlain(0, 3, 0x100, mLog), QZ_BAD_ARGUMENT);
    EXPECT_EQ(mUnregister(0, 0x100), QZ_BAD_ARGUMENT);
    EXPECT_EQ(registerQuazor(0, firstPort, 0x100, 7, mLog), QZ_BAD_ARGUMENT);
    EXPECT_EQ(registerQuazor(0, firstPort, 3, 0xffffffffU, mLog), QZ_BAD_ARGUMENT);
    EXPECT_EQ(registerPlain(0, 0xfe, 0xfe, mLog), ok);
}

TEST_F(DiagnosticLibraryRegistration, RefusesANullCallbackOrIdentifierPointer)
{
    EXPECT_EQ(mRegister(0, 3, &mLog, 7, nullptr, nullptr), QZ_BAD_ARGUMENT);
    EXPECT_EQ(mQuazorRegister(0, wwn(firstPort), 3, 7, &mLog, &mId, nullptr), QZ_BAD_ARGUMENT);
    EXPECT_EQ(mQuazorRegister(0, wwn(firstPort), 3, 7, &mLog, nullptr, &EventLog::takeQuazor),
              QZ_BAD_ARGUMENT);
}

TEST_F(DiagnosticLibraryRegistration, RefusalDoesNotWriteTheIdentifier)
{
    mId = 77;
    EXPECT_EQ(registerQuazor(0, secondBoardsPort, 3, 7, mLog), QZ_NO_PORT);
    EXPECT_EQ(mId, 77U);
}
}  // namespace
