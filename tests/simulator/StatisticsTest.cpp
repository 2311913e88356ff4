// Statistics of the ports of simulated adapters.
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/Statistics.h"
#include "tests/simulator/HbaQueryFixture.h"
#include "tests/simulator/Qzsim.h"
#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"
#include "tests/support/ScratchFolder.h"

using namespace std::chrono_literals;
using qzsim::notOffered;
using qzsim::Statistics;
using qzsim::statisticsAfter;

namespace
{
constexpr char const* names[] = {"seconds_since_last_reset",
                                 "tx_frames",
                                 "tx_words",
                                 "rx_frames",
                                 "rx_words",
                                 "lip_count",
                                 "nos_count",
                                 "error_frames",
                                 "dumped_frames",
                                 "link_failure_count",
                                 "loss_of_sync_count",
                                 "loss_of_signal_count",
                                 "primitive_seq_protocol_err_count",
                                 "invalid_tx_word_count",
                                 "invalid_crc_count"};

std::string portWithStatistics(std::string const& aTables)
{
    return "[[adapter]]\nname = \"a\"\n" + std::string(onePort) + aTables;
}

Statistics statisticsWith(std::string const& aTables)
{
    return scenarioOf(portWithStatistics(aTables)).mAdapters.at(0).mPorts.at(0).mStatistics.value();
}

/// @return the counters in the order of the record
std::vector<HBA_INT64> valuesOf(HBA_PORTSTATISTICS const& aRecord)
{
    return {aRecord.SecondsSinceLastReset,
            aRecord.TxFrames,
            aRecord.TxWords,
            aRecord.RxFrames,
            aRecord.RxWords,
            aRecord.LIPCount,
            aRecord.NOSCount,
            aRecord.ErrorFrames,
            aRecord.DumpedFrames,
            aRecord.LinkFailureCount,
            aRecord.LossOfSyncCount,
            aRecord.LossOfSignalCount,
            aRecord.PrimitiveSeqProtocolErrCount,
            aRecord.InvalidTxWordCount,
            aRecord.InvalidCRCCount};
}

TEST(Statistics, EachKeySetsItsCounter)
{
    for (std::size_t index = 0; index < std::size(names); ++index)
    {
        std::vector<HBA_INT64> expected(std::size(names), notOffered);
        expected[index] = 9;
        Statistics const fixed =
            statisticsWith(std::string("[adapter.port.statistics]\n") + names[index] + " = 9\n");
        EXPECT_EQ(valuesOf(statisticsAfter(3s, fixed)), expected) << names[index];
        Statistics const growing =
            statisticsWith(std::string("[adapter.port.statistics_per_second]\n") + names[index] + " = 3\n");
        EXPECT_EQ(valuesOf(statisticsAfter(3s, growing)), expected) << names[index];
    }
}

TEST(Statistics, PortWithoutTheTablesHasNone)
{
    EXPECT_FALSE(scenarioOf(portWithStatistics("")).mAdapters.at(0).mPorts.at(0).mStatistics);
}

TEST(Statistics, CountersOfAnEmptyTableAreNotOffered)
{
    std::vector<HBA_INT64> const expected(std::size(names), -1);
    EXPECT_EQ(valuesOf(statisticsAfter(1h, statisticsWith("[adapter.port.statistics]\n"))), expected);
    EXPECT_EQ(valuesOf(statisticsAfter(1h, statisticsWith("[adapter.port.statistics_per_second]\n"))),
              expected);
    EXPECT_EQ(valuesOf(statisticsAfter(
                  1h, statisticsWith("[adapter.port.statistics]\ntx_frames = \"not offered\"\n"))),
              expected);
}

TEST(Statistics, CounterGrowsFromItsStartInEachPartOfASecond)
{
    Statistics const statistics = statisticsWith(
        "[adapter.port.statistics]\nrx_words = 1000\n[adapter.port.statistics_per_second]\nrx_words = 4\n");
    EXPECT_EQ(statisticsAfter(0s, statistics).RxWords, 1000);
    EXPECT_EQ(statisticsAfter(249ms, statistics).RxWords, 1000);
    EXPECT_EQ(statisticsAfter(250ms, statistics).RxWords, 1001);
    EXPECT_EQ(statisticsAfter(2s + 999ms, statistics).RxWords, 1011);
}

TEST(Statistics, CounterGrowsAtTheHighestRateForAYear)
{
    Statistics const statistics =
        statisticsWith("[adapter.port.statistics_per_second]\nrx_words = 4294967295\n");
    EXPECT_EQ(statisticsAfter(999999999ns, statistics).RxWords, 4294967290);
    EXPECT_EQ(statisticsAfter(24h * 365, statistics).RxWords, HBA_INT64{4294967295} * 86400 * 365);
}

TEST(Statistics, CounterContinuesAtZeroAfterTheHighestNumber)
{
    Statistics const statistics = statisticsWith(
        "[adapter.port.statistics]\ntx_words = 0x7fffffffffffffff\n"
        "[adapter.port.statistics_per_second]\ntx_words = 1\n");
    EXPECT_EQ(statisticsAfter(0s, statistics).TxWords, 0x7fffffffffffffff);
    EXPECT_EQ(statisticsAfter(1s, statistics).TxWords, 0);
    EXPECT_EQ(statisticsAfter(3s, statistics).TxWords, 2);
}

TEST(Statistics, InvalidCountersAreRefused)
{
    auto const errorOfTable = [](std::string const& aLines) { return errorOf(portWithStatistics(aLines)); };
    std::string const expected = "expected a number from 0 to 0x7fffffffffffffff, or \"not offered\", found ";
    EXPECT_EQ(errorOfTable("[adapter.port.statistics]\ntx_frames = -1\n"),
              "bad.toml:6:13: " + expected + "-1");
    EXPECT_EQ(errorOfTable("[adapter.port.statistics]\ntx_frames = \"none\"\n"),
              "bad.toml:6:13: " + expected + "\"none\"");
    EXPECT_EQ(errorOfTable("[adapter.port.statistics_per_second]\ntx_frames = 4294967296\n"),
              "bad.toml:6:13: expected a number from 0 to 4294967295, found 4294967296");
    EXPECT_EQ(errorOfTable("[[adapter.port.statistics]]\n"),
              "bad.toml:5:1: expected a table [adapter.port.statistics], found an array");
    std::string keys;
    for (char const* const name : names)
    {
        keys += (keys.empty() ? "" : ", ") + std::string(name);
    }
    EXPECT_EQ(errorOfTable("[adapter.port.statistics_per_second]\ncount = 1\n"),
              "bad.toml:6:1: expected a key of [adapter.port.statistics_per_second] (" + keys +
                  "), found \"count\"");
}

TEST(Statistics, SummaryCountsTheCountersOfEachPort)
{
    EXPECT_EQ(summaryOf(scenarioOf(
                  portWithStatistics("[adapter.port.statistics]\ntx_frames = 0\nrx_frames = 0\n"
                                     "[adapter.port.statistics_per_second]\nrx_frames = 1\n"
                                     "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n"))),
              "1 adapter, 0 faults\n"
              "adapter: \"a\" with 2 ports, 0 remote ports, 0 LUNs\n"
              "statistics: 2 counters of port 10:00:00:00:00:00:00:01, 1 growing\n");
}

class HbaLibraryStatistics : public HbaQueryFixture
{
protected:
    HbaLibraryStatistics() { loadStatistics("[adapter.port.statistics]\ntx_frames = 5\n"); }
    ~HbaLibraryStatistics() override { ::unsetenv("QZSIM_START"); }

    /// Loads two ports, of which the first has statistics.
    void loadStatistics(std::string const& aTables)
    {
        EXPECT_EQ(
            load(portWithStatistics(aTables + "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n")),
            ok);
        mHandle = open("a");
    }

    HBA_STATUS statistics(HBA_UINT32 aPort)
    {
        return mTable.GetPortStatisticsHandler(mHandle, aPort, &mStatistics);
    }

    HBA_PORTSTATISTICS mStatistics = filledWith<HBA_PORTSTATISTICS>(fill);
};

TEST_F(HbaLibraryStatistics, QueryReturnsTheCountersOfThePort)
{
    ASSERT_EQ(statistics(0), ok);
    std::vector<HBA_INT64> expected(std::size(names), -1);
    expected[1] = 5;
    EXPECT_EQ(valuesOf(mStatistics), expected);
}

TEST_F(HbaLibraryStatistics, PortWithoutStatisticsDoesNotSupportThem)
{
    EXPECT_EQ(statistics(1), HBA_STATUS{HBA_STATUS_ERROR_NOT_SUPPORTED});
    EXPECT_TRUE(isStill(fill, mStatistics));
}

TEST_F(HbaLibraryStatistics, QueryIsRefusedForABadArgument)
{
    EXPECT_EQ(statistics(2), badIndex);
    EXPECT_EQ(mTable.GetPortStatisticsHandler(mHandle, 0, nullptr), badArgument);
    mHandle += 1;
    EXPECT_EQ(statistics(0), badHandle);
}

TEST_F(HbaLibraryStatistics, FailingQueryDoesNotWriteTheRecord)
{
    loadStatistics("[adapter.port.statistics]\n" + fault("HBA_GetPortStatistics", busy));
    EXPECT_EQ(statistics(0), busy);
    EXPECT_TRUE(isStill(fill, mStatistics));
    EXPECT_EQ(statistics(0), ok);
}

TEST_F(HbaLibraryStatistics, CountersGrowFromTheStartOfTheProgram)
{
    auto const time = [] { return std::chrono::steady_clock::now().time_since_epoch(); };
    auto const start = time() - 5s;
    ::setenv("QZSIM_START", std::to_string(std::chrono::nanoseconds(start).count()).c_str(), 1);
    loadStatistics("[adapter.port.statistics_per_second]\nrx_frames = 1000000000\n");
    ASSERT_EQ(statistics(0), ok);
    EXPECT_GE(std::chrono::nanoseconds(mStatistics.RxFrames), 5s);
    EXPECT_LE(std::chrono::nanoseconds(mStatistics.RxFrames), time() - start);
}

TEST_F(HbaLibraryStatistics, CountersStartAtTheFirstQueryWithoutAStart)
{
    loadStatistics("[adapter.port.statistics_per_second]\nrx_frames = 4294967295\n");
    for (char const* const start : {"", "soon"})
    {
        ::setenv("QZSIM_START", start, 1);
        ASSERT_EQ(statistics(0), ok);
        HBA_INT64 const first = mStatistics.RxFrames;
        ASSERT_EQ(statistics(0), ok);
        EXPECT_LT(first, 4294967295 * 60) << "a minute has not passed";
        EXPECT_GT(mStatistics.RxFrames, first);
    }
}

TEST_F(HbaLibraryStatistics, CountersDoNotGrowBeforeTheStart)
{
    ::setenv("QZSIM_START", "9223372036854775807", 1);
    loadStatistics("[adapter.port.statistics_per_second]\nrx_frames = 4294967295\n");
    ASSERT_EQ(statistics(0), ok);
    EXPECT_EQ(mStatistics.RxFrames, 0);
}

TEST(QzsimStatistics, ProcessesShareTheStartOfTheProgram)
{
    ScratchFolder const folder;
    std::string const scenario = folder.write(
        "scenario.toml", portWithStatistics("[adapter.port.statistics_per_second]\nrx_frames = 1000\n"));
    std::string const query = std::string(HBA_PROBE) + " load count open=a statistics=0 | tail -1; ";
    for (Arguments const& options : {Arguments{}, Arguments{"--verify"}})
    {
        Arguments arguments = {"--scenario", scenario};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.insert(arguments.end(), {"--", "sh", "-c", query + "sleep 0.2; " + query});
        std::string const output = runQzsim(arguments).mOutput;
        int first = 0;
        int second = 0;
        ASSERT_EQ(std::sscanf(output.c_str(), "statistics 0: 0 rx %d statistics 0: 0 rx %d", &first, &second),
                  2)
            << output;
        EXPECT_GE(second - first, 200);
    }
}
}  // namespace
