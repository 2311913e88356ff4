// The diagnostic library in a world that changes.
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulator/world/Journal.h"
#include "tests/simulator/DiagnosticLibraryFixture.h"
#include "tests/simulator/EventLog.h"

namespace
{
class DiagnosticLibraryWorld : public DiagnosticLibraryFixture
{
protected:
    DiagnosticLibraryWorld() { ::setenv("QZSIM_JOURNAL", mJournal.path().c_str(), 1); }
    ~DiagnosticLibraryWorld() override { ::unsetenv("QZSIM_JOURNAL"); }

    void happen(std::string const& aWhat) { qzsim::Journal(mJournal.path()).append("0 " + aWhat); }

    void send(std::string const& aKeys)
    {
        happen("change {event = {board = 0, category = 3, subcategory = 7, " + aKeys + "}}");
    }

    qzsim::JournalFile mJournal;
};

TEST_F(DiagnosticLibraryWorld, EventGoesToTheRegistrationsThatExist)
{
    init(twoBoards);
    send("count = 1");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    registerPlain(0, 3, any, mLog);
    send("size = 4, count = 2");
    mLog.waitFor(2);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(mLog.size(), 2U);
}

TEST_F(DiagnosticLibraryWorld, EventOfAnEarlierEnvironmentIsLost)
{
    init(twoBoards);
    mFreeDiagEnv();
    send("count = 1");
    init();
    registerPlain(0, 3, any, mLog);
    send("count = 1");
    mLog.waitFor(1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(mLog.size(), 1U);
}

TEST_F(DiagnosticLibraryWorld, FreeingTheEnvironmentEndsASeriesThatHasNotEnded)
{
    init(twoBoards);
    registerPlain(0, 3, any, mLog);
    send("count = 1000, rate = 100");
    mLog.waitFor(1);
    mFreeDiagEnv();
    std::size_t const count = mLog.size();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(mLog.size(), count);
}

TEST_F(DiagnosticLibraryWorld, SeriesWaitsDuringAPauseAndContinuesAtItsRate)
{
    using std::chrono::milliseconds;
    init(std::string(twoBoards) + events("rate = 100\ncount = 1000\n"));
    registerPlain(0, 3, any, mLog);
    send("count = 1000, rate = 100");
    mLog.waitFor(4);
    happen("pause");
    std::this_thread::sleep_for(milliseconds(50));
    std::size_t const count = mLog.size();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_EQ(mLog.size(), count);
    happen("resume");
    mLog.waitFor(count + 4);
    EXPECT_LT(mLog.size(), count + 50);
}

TEST_F(DiagnosticLibraryWorld, RecordsFollowTheWorld)
{
    init(twoBoards);
    happen("change {set = {\"diagnostics.library_version\" = \"9.9\"}}");
    std::array<char, 128> version{};
    mGetLibVer(version.data());
    EXPECT_STREQ(version.data(), "9.9");
}
}  // namespace
