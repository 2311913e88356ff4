#include <csignal>
#include <cstddef>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/control/Strikes.h"
#include "simulator/scenario/Calls.h"

using qzsim::Strikes;
using qzsim::StrikesFile;

namespace
{
std::string messageOf(std::string const& aPath, std::size_t aFaults)
{
    try
    {
        Strikes const strikes(aPath, aFaults);
    }
    catch (std::runtime_error const& error)
    {
        return error.what();
    }
    return "(no error)";
}

TEST(Strikes, StartAtZero)
{
    StrikesFile const file(2);
    Strikes const strikes(file.path(), 2);
    EXPECT_EQ(strikes.of(0), 0U);
    EXPECT_EQ(strikes.of(1), 0U);
}

TEST(Strikes, CountEachFaultSeparately)
{
    StrikesFile const file(2);
    Strikes strikes(file.path(), 2);
    strikes.add(1);
    strikes.add(1);
    EXPECT_EQ(strikes.of(0), 0U);
    EXPECT_EQ(strikes.of(1), 2U);
}

TEST(Strikes, CountFaultsThatAreAddedLater)
{
    StrikesFile const file(2);
    Strikes strikes(file.path(), 2);
    strikes.add(2);
    strikes.add(1001);
    strikes.add(1002);
    strikes.countCall(qzsim::Call::loadLibrary);
    EXPECT_EQ(strikes.of(2), 1U);
    EXPECT_EQ(strikes.of(1001), 1U) << "the thousandth one";
    EXPECT_EQ(strikes.of(1002), 0U);
}

TEST(Strikes, AddUpAcrossProcessesEvenIfKilled)
{
    StrikesFile const file(1);
    Strikes strikes(file.path(), 1);
    strikes.add(0);
    pid_t const process = ::fork();
    if (process == 0)
    {
        Strikes(file.path(), 1).add(0);
        ::kill(::getpid(), SIGKILL);
    }
    ::waitpid(process, nullptr, 0);
    EXPECT_EQ(strikes.of(0), 2U);
}

TEST(Strikes, CountNothingWithoutAFile)
{
    Strikes strikes;
    strikes.add(0);
    EXPECT_EQ(strikes.of(0), 0U);
}

TEST(Strikes, AllowAFileWithoutFaults)
{
    StrikesFile const file(0);
    EXPECT_NO_THROW(Strikes(file.path(), 0));
}

TEST(Strikes, ReportAMissingFile)
{
    EXPECT_EQ(messageOf("/nowhere/none", 1), "cannot count in \"/nowhere/none\": No such file or directory");
}

TEST(Strikes, RefuseAFileOfAnotherScenario)
{
    StrikesFile const file(2);
    EXPECT_EQ(messageOf(file.path(), 3),
              "cannot count in \"" + file.path() + "\": it has another number of counts");
}

TEST(StrikesFile, FileIsRemovedWithItsOwner)
{
    std::string path;
    {
        StrikesFile const file(1);
        path = file.path();
        EXPECT_TRUE(std::filesystem::exists(path)) << path;
    }
    EXPECT_FALSE(std::filesystem::exists(path)) << path;
}
}  // namespace
