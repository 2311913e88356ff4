// Calls of the simulated HBA library that the scenario makes fail.
#include <chrono>
#include <ctime>
#include <future>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/simulator/HbaLibraryFixture.h"

namespace
{
using namespace std::chrono_literals;

class HbaLibraryFaults : public HbaLibraryFixture
{
protected:
    /// @return a fault without status in the first call
    static std::string effect(std::string const& aCall, std::string const& aLine)
    {
        return "[[fault]]\ncall = \"" + aCall + "\"\nnth = 1\n" + aLine + '\n';
    }
};

TEST_F(HbaLibraryFaults, FailingNameQueryDoesNotWriteTheBuffer)
{
    load(twoAdapters + fault("HBA_GetAdapterName", busy, "2"));
    EXPECT_EQ(name(0).mStatus, ok);
    std::string buffer = "untouched";
    EXPECT_EQ(mTable.GetAdapterNameHandler(1, buffer.data()), busy);
    EXPECT_EQ(buffer, "untouched");
}

TEST_F(HbaLibraryFaults, RefusedCallIsNotCounted)
{
    load(twoAdapters + fault("HBA_GetAdapterName", busy));
    name(2);
    mTable.GetAdapterNameHandler(0, nullptr);
    EXPECT_EQ(name(0).mStatus, busy);
}

TEST_F(HbaLibraryFaults, FailingOpenReturnsNoHandle)
{
    load(twoAdapters + fault("HBA_OpenAdapter", busy));
    EXPECT_EQ(open("example-fc-0"), 0U);
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, FaultWithStatusOkLetsTheCallSucceed)
{
    load(twoAdapters + fault("HBA_OpenAdapter", ok));
    EXPECT_NE(open("example-fc-0"), 0U);
}

TEST_F(HbaLibraryFaults, NumberOfAdaptersMayBeMissingOrWrong)
{
    load(twoAdapters + fault("HBA_GetNumberOfAdapters", busy) +
         "[[fault]]\ncall = \"HBA_GetNumberOfAdapters\"\nnth = 2\ncount = 7\n");
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 7U);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
}

TEST_F(HbaLibraryFaults, FailingCloseKeepsTheHandleOpen)
{
    load(twoAdapters + fault("HBA_CloseAdapter", busy));
    HBA_HANDLE const handle = open("example-fc-0");
    HBA_ADAPTERATTRIBUTES attributes{};
    mTable.CloseAdapterHandler(handle);
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(handle, &attributes), ok);
    mTable.CloseAdapterHandler(handle);
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(handle, &attributes), HBA_STATUS_ERROR_INVALID_HANDLE);
}

TEST_F(HbaLibraryFaults, CallsWithoutStatusMayBeDelayed)
{
    load(twoAdapters + effect("HBA_GetNumberOfAdapters", "delay_ms = 20") +
         effect("HBA_RefreshInformation", "adapter = \"example-fc-1\"\ndelay_ms = 20") +
         effect("HBA_CloseAdapter", "delay_ms = 20"));
    auto const isDelayed = [](auto const& aCall)
    {
        auto const start = std::chrono::steady_clock::now();
        aCall();
        return std::chrono::steady_clock::now() - start >= 20ms;
    };
    HBA_HANDLE const handle = open("example-fc-1");
    EXPECT_TRUE(isDelayed([&] { EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U); }));
    EXPECT_TRUE(isDelayed([&] { mTable.RefreshInformationHandler(handle); }));
    EXPECT_TRUE(isDelayed([&] { mTable.CloseAdapterHandler(handle); }));
}

TEST_F(HbaLibraryFaults, FailingLoadLoadsNothing)
{
    EXPECT_EQ(load(twoAdapters + fault("HBA_LoadLibrary", busy)), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
}

TEST_F(HbaLibraryFaults, LoadCountSurvivesAReload)
{
    std::string const scenario = twoAdapters + fault("HBA_LoadLibrary", busy);
    EXPECT_EQ(load(scenario), busy);
    EXPECT_EQ(load(scenario), ok);
}

TEST_F(HbaLibraryFaults, FailingFreeKeepsEverythingLoaded)
{
    load(twoAdapters + fault("HBA_FreeLibrary", busy));
    EXPECT_EQ(mTable.FreeLibraryHandler(), busy);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 2U);
}

TEST_F(HbaLibraryFaults, DelayedCallAnswersAsUsualAfterTheDelay)
{
    load(twoAdapters + effect("HBA_OpenAdapter", "delay_ms = 50"));
    auto const start = std::chrono::steady_clock::now();
    EXPECT_NE(open("example-fc-0"), 0U);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(HbaLibraryFaults, DelayedCallMayFail)
{
    load(twoAdapters + fault("HBA_FreeLibrary", busy) + "delay_ms = 50\n");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(mTable.FreeLibraryHandler(), busy);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
}

TEST_F(HbaLibraryFaults, QueryOfANameMaySucceedWithoutWritingTheBuffer)
{
    load(twoAdapters + effect("HBA_GetAdapterName", "untouched = true"));
    EXPECT_EQ(name(0).mName[0], 'x');
    EXPECT_EQ(name(0).mName, "example-fc-0");
}

TEST_F(HbaLibraryFaults, QueryOfARecordMaySucceedWithoutWritingIt)
{
    load(twoAdapters + effect("HBA_GetAdapterAttributes", "untouched = true"));
    HBA_ADAPTERATTRIBUTES attributes{};
    attributes.NumberOfPorts = 77;
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(open("example-fc-0"), &attributes), ok);
    EXPECT_EQ(attributes.NumberOfPorts, 77U);
}

TEST_F(HbaLibraryFaults, CallMayPrintALineOnStandardOutput)
{
    load(twoAdapters + effect("HBA_OpenAdapter", "prints = \"driver 1: opened\""));
    testing::internal::CaptureStdout();
    EXPECT_NE(open("example-fc-0"), 0U);
    EXPECT_NE(open("example-fc-0"), 0U);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "driver 1: opened\n");
}

TEST_F(HbaLibraryFaults, CallsOfOtherThreadsGoOnDuringADelay)
{
    load(twoAdapters + effect("HBA_OpenAdapter", "delay_ms = 1000"));
    auto delayed = std::async(std::launch::async, [this] { return open("example-fc-0"); });
    EXPECT_EQ(delayed.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(name(1).mName, "example-fc-1");
    HBA_HANDLE const handle = open("example-fc-1");
    HBA_ADAPTERATTRIBUTES attributes;
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(handle, &attributes), ok);
    EXPECT_EQ(delayed.wait_for(0ms), std::future_status::timeout)
        << "the other calls waited for the delayed one";
    EXPECT_NE(delayed.get(), handle);
}

TEST_F(HbaLibraryFaults, LibraryMayBeFreedDuringADelay)
{
    load(twoAdapters + effect("HBA_GetAdapterAttributes", "delay_ms = 200"));
    HBA_HANDLE const handle = open("example-fc-0");
    HBA_ADAPTERATTRIBUTES attributes{};
    auto delayed = std::async(std::launch::async,
                              [&] { return mTable.GetAdapterAttributesHandler(handle, &attributes); });
    EXPECT_EQ(delayed.wait_for(50ms), std::future_status::timeout);
    EXPECT_EQ(mTable.FreeLibraryHandler(), ok);
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
    EXPECT_EQ(delayed.get(), ok);
}
}  // namespace
