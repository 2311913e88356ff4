// Calls of the diagnostic library that the scenario makes fail.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <future>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/control/Strikes.h"
#include "tests/simulator/DiagnosticLibraryFixture.h"
#include "tests/simulator/Scenarios.h"

using testing::Each;
using namespace std::chrono_literals;

namespace
{
std::string fault(std::string const& aCall, std::string const& aNth, unsigned int aResult,
                  std::string const& aBoard = "")
{
    return "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + aNth + "\nresult = " + std::to_string(aResult) +
           "\n" + (aBoard.empty() ? "" : "board = " + aBoard + "\n");
}

/// @return a fault that shapes the first answer of the call
std::string answerOfVendor(std::string const& aCall, std::string const& aLines)
{
    return "[[fault]]\ncall = \"" + aCall + "\"\nnth = 1\n" + aLines + '\n';
}

constexpr unsigned char vendorFill = 0xee;     // content of memory that the library has not written
constexpr unsigned char vendorGarbage = 0xdb;  // content of memory behind an answer

class DiagnosticLibraryFaults : public DiagnosticLibraryFixture
{
protected:
    std::array<unsigned char, 168> mRecord = {};
};

TEST_F(DiagnosticLibraryFaults, FailingQueryDoesNotWriteTheRecord)
{
    init(twoBoards + fault("VQM_GetDrvInfo", "1", 77) + fault("VQM_GetLinkInfo", "1", 0));
    mRecord.fill(0xee);
    EXPECT_EQ(mGetDrvInfo(0, mRecord.data()), 77U);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), 0U);
    EXPECT_THAT(mRecord, Each(0xee));
    EXPECT_EQ(mGetDrvInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mRecord[0], 4);
}

TEST_F(DiagnosticLibraryFaults, BoardFaultCountsOnlyCallsForThatBoard)
{
    init(twoBoards + fault("VQM_GetLinkInfo", "\"2+\"", 77, "1"));
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), ok);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), 77U);
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), 77U);
}

TEST_F(DiagnosticLibraryFaults, RefusedCallIsNotCounted)
{
    init(twoBoards + fault("VQM_GetLinkInfo", "1", 77));
    mGetLinkInfo(0, nullptr);
    mGetLinkInfo(2, mRecord.data());
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), 77U);
}

TEST_F(DiagnosticLibraryFaults, FailingInitializationReturnsTheResultAndOpensNothing)
{
    mTable.fill(0xee);
    EXPECT_EQ(init(twoBoards + fault("VQM_InitDiagEnv", "1", 32)), 32U);
    EXPECT_THAT(mTable, Each(0xee));
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), QZ_NO_ENVIRONMENT);
    EXPECT_EQ(init(), 2U);
}

TEST_F(DiagnosticLibraryFaults, NumberOfBoardsMayDifferFromWhatExists)
{
    constexpr std::size_t recordSize = 108;
    mTable.fill(0xee);
    EXPECT_EQ(init("[diagnostics]\nnumber_of_boards = 4294967295\n" + std::string(oneBoard)), 4294967295U);
    EXPECT_NE(mTable[0], 0xee);
    EXPECT_EQ(mTable[recordSize], 0xee) << "a record of a board that does not exist was written";
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), QZ_NO_BOARD);
}

TEST_F(DiagnosticLibraryFaults, FailingVersionQueryWritesNothing)
{
    choose(twoBoards + fault("VQM_GetLibVer", "1", 0));
    std::array<char, 128> text = {'x'};
    mGetLibVer(text.data());
    EXPECT_EQ(text[0], 'x');
    mGetLibVer(text.data());
    EXPECT_STREQ(text.data(), "2.1.0");
}

TEST_F(DiagnosticLibraryFaults, FailingFreeLeavesTheEnvironmentOpen)
{
    init(twoBoards + fault("VQM_FreeDiagEnv", "1", 0));
    mFreeDiagEnv();
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    mFreeDiagEnv();
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), QZ_NO_ENVIRONMENT);
}

TEST_F(DiagnosticLibraryFaults, FailingRegistrationRegistersNothing)
{
    init(twoBoards + fault("RegisterForEvent", "1", 0) + fault("VQM_QZ_RegisterForEvent", "1", 77));
    mId = 5;
    EXPECT_EQ(registerPlain(0, 3, 7, mLog), ok);
    EXPECT_EQ(mUnregister(0, 3), QZ_NOT_REGISTERED);
    EXPECT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), 77U);
    EXPECT_EQ(mId, 5U);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), QZ_NOT_REGISTERED);
}

TEST_F(DiagnosticLibraryFaults, FailingUnregistrationKeepsTheRegistration)
{
    init(twoBoards + fault("unRegisterForEvent", "1", 77) + fault("VQM_QZ_unRegisterForEvent", "1", 78));
    ASSERT_EQ(registerPlain(0, 3, 7, mLog), ok);
    ASSERT_EQ(registerQuazor(0, firstPort, 3, 7, mLog), ok);
    EXPECT_EQ(mUnregister(0, 3), 77U);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), 78U);
    EXPECT_EQ(mUnregister(0, 3), ok);
    EXPECT_EQ(unregisterQuazor(0, firstPort, 1), ok);
}

TEST_F(DiagnosticLibraryFaults, CallCountsSurviveReopeningTheEnvironment)
{
    init(twoBoards + fault("VQM_GetLinkInfo", "2", 77));
    mGetLinkInfo(0, mRecord.data());
    mFreeDiagEnv();
    init();
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), 77U);
}

TEST_F(DiagnosticLibraryFaults, StrikesAreCounted)
{
    qzsim::StrikesFile const file(2);
    ::setenv("QZSIM_STRIKES", file.path().c_str(), 1);
    init(twoBoards + fault("VQM_GetDrvInfo", "9", 1) + fault("VQM_GetLinkInfo", "\"1+\"", 1));
    mGetLinkInfo(0, mRecord.data());
    mGetLinkInfo(1, mRecord.data());
    qzsim::Strikes const strikes(file.path(), 2);
    EXPECT_EQ(strikes.of(0), 0U);
    EXPECT_EQ(strikes.of(1), 2U);
}

TEST_F(DiagnosticLibraryFaults, QueryMaySucceedWithoutWriting)
{
    mTable.fill(vendorFill);
    mRecord.fill(vendorFill);
    std::array<unsigned char, 128> text;
    text.fill(vendorFill);
    EXPECT_EQ(init(twoBoards + answerOfVendor("VQM_GetDrvInfo", "untouched = true") +
                   answerOfVendor("VQM_GetLinkInfo", "untouched = true") +
                   answerOfVendor("VQM_InitDiagEnv", "untouched = true") +
                   answerOfVendor("VQM_GetLibVer", "untouched = true")),
              2U);
    EXPECT_EQ(mGetDrvInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    mGetLibVer(reinterpret_cast<char*>(text.data()));
    EXPECT_THAT(mTable, Each(vendorFill));
    EXPECT_THAT(mRecord, Each(vendorFill));
    EXPECT_THAT(text, Each(vendorFill));
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), ok);
    EXPECT_EQ(mRecord[160], 0x20);
}

TEST_F(DiagnosticLibraryFaults, RecordMayEndEarly)
{
    init(twoBoards + answerOfVendor("VQM_GetLinkInfo", "length = 154"));
    mRecord.fill(vendorFill);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mRecord[0], 0);
    EXPECT_EQ(mRecord[152], 0x10) << "the start of the second name";
    EXPECT_EQ(std::count(mRecord.begin() + 154, mRecord.end(), vendorFill), 14);
}

TEST_F(DiagnosticLibraryFaults, RecordMayHaveGarbageBetweenItsFieldsAndBehindItsEnd)
{
    init(twoBoards + answerOfVendor("VQM_GetDrvInfo", "garbage = true\nlength = 146"));
    mRecord.fill(vendorFill);
    EXPECT_EQ(mGetDrvInfo(0, mRecord.data()), ok);
    EXPECT_EQ(mRecord[0], 4);
    EXPECT_EQ(std::count(mRecord.begin() + 1, mRecord.begin() + 144, vendorGarbage), 143);
    EXPECT_NE(mRecord[144], vendorGarbage) << "the start of the features";
    EXPECT_NE(mRecord[145], vendorGarbage) << "the start of the features";
    EXPECT_EQ(std::count(mRecord.begin() + 146, mRecord.begin() + 152, vendorGarbage), 6);
    EXPECT_EQ(mRecord[152], vendorFill) << "the end of the record";
}

TEST_F(DiagnosticLibraryFaults, VersionMayHaveGarbageBehindItsTextOrNoEnd)
{
    choose(twoBoards + answerOfVendor("VQM_GetLibVer", "garbage = true") +
           "[[fault]]\ncall = \"VQM_GetLibVer\"\nnth = 2\nlength = 3\n");
    std::array<unsigned char, 129> text;
    text.fill(vendorFill);
    mGetLibVer(reinterpret_cast<char*>(text.data()));
    EXPECT_STREQ(reinterpret_cast<char*>(text.data()), "2.1.0");
    EXPECT_EQ(std::count(text.begin() + 6, text.end(), vendorGarbage), 122);
    EXPECT_EQ(text[128], vendorFill);
    text.fill(vendorFill);
    mGetLibVer(reinterpret_cast<char*>(text.data()));
    EXPECT_EQ(text[2], '1');
    EXPECT_EQ(text[3], vendorFill);
}

TEST_F(DiagnosticLibraryFaults, TableOfBoardsMayHaveGarbageBehindItsRecords)
{
    mTable.fill(vendorFill);
    EXPECT_EQ(init(twoBoards + answerOfVendor("VQM_InitDiagEnv", "garbage = true\nentries = 1")), 2U);
    EXPECT_EQ(mTable[0], vendorGarbage);
    EXPECT_STREQ(reinterpret_cast<char*>(&mTable[52]), "4.0.12");
    EXPECT_EQ(std::count(mTable.begin() + 59, mTable.end(), vendorGarbage), 3456 - 59);
}

TEST_F(DiagnosticLibraryFaults, NumberOfBoardsMayGrowAndLie)
{
    mTable.fill(vendorFill);
    EXPECT_EQ(init(twoBoards + answerOfVendor("VQM_InitDiagEnv", "missing = 1") +
                   "[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = 3\ncount = 33\n" +
                   "[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = 4\nmissing = 3\n"),
              1U);
    EXPECT_EQ(mTable[108], vendorFill);
    EXPECT_EQ(mGetLinkInfo(1, mRecord.data()), ok) << "the board exists";
    EXPECT_EQ(init(), 2U);
    EXPECT_EQ(mTable[108], 0);
    EXPECT_EQ(init(), 33U);
    EXPECT_EQ(init(), 0U);
}

TEST_F(DiagnosticLibraryFaults, DelayedInitializationOpensTheEnvironmentAfterTheDelay)
{
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(
        init(twoBoards + std::string("[[fault]]\ncall = \"VQM_InitDiagEnv\"\nnth = 1\ndelay_ms = 50\n")), 2U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
}

TEST_F(DiagnosticLibraryFaults, QueryOfABoardMayPrintALine)
{
    init(twoBoards + std::string("[[fault]]\ncall = \"VQM_GetLinkInfo\"\nnth = 1\nprints = \"board\"\n"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(mGetLinkInfo(0, mRecord.data()), ok);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "board\n");
}

TEST_F(DiagnosticLibraryFaults, CallsOfOtherThreadsGoOnDuringADelay)
{
    init(twoBoards + std::string("[[fault]]\ncall = \"VQM_GetLinkInfo\"\nnth = 1\ndelay_ms = 1000\n"
                                 "[[fault]]\ncall = \"VQM_GetLibVer\"\nnth = 1\ndelay_ms = 1000\n"));
    std::array<char, 128> text = {'x'};
    auto link = std::async(std::launch::async, [this] { return mGetLinkInfo(0, mRecord.data()); });
    auto version = std::async(std::launch::async, [&] { mGetLibVer(text.data()); });
    EXPECT_EQ(link.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(version.wait_for(0ms), std::future_status::timeout);
    std::array<unsigned char, 168> record;
    EXPECT_EQ(mGetLinkInfo(1, record.data()), ok);
    EXPECT_EQ(link.wait_for(0ms), std::future_status::timeout) << "the other call waited for the delayed one";
    EXPECT_EQ(link.get(), ok);
    version.get();
    EXPECT_STREQ(text.data(), "2.1.0");
}
}  // namespace
