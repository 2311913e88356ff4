#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/statistics/Counters.h"
#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

using qzagent::AdapterStatistics;
using qzagent::Counts;
using qzagent::differencesOf;
using qzagent::PortStatistics;
using qzagent::StatisticsHistory;
using qzagent::StatisticsInterval;
using qzagent::StatisticsLook;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr std::size_t crcErrors = 14;

qz::Wwn const portA = *qz::Wwn::parse("10:00:00:00:c9:00:00:0a");
qz::Wwn const portB = *qz::Wwn::parse("10:00:00:00:c9:00:00:0b");

Counts countsWith(std::optional<std::uint64_t> aFrames, std::optional<std::uint64_t> aErrors = {},
                  std::optional<std::uint64_t> aSeconds = {})
{
    Counts counts;
    counts[qzagent::txFrames] = aFrames;
    counts[crcErrors] = aErrors;
    counts[qzagent::secondsSinceReset] = aSeconds;
    return counts;
}

StatisticsLook lookOf(int aSecond, std::vector<PortStatistics> const& aPorts)
{
    return {std::chrono::seconds(aSecond),
            {AdapterStatistics{3, "fc", aPorts, true}},
            qzagent::ExitCode::success};
}

TEST(StatisticsDifferences, AreNoneForACounterThatIsNotOfferedInBothLooks)
{
    auto const differences = differencesOf(countsWith(5, {}), countsWith({}, 7));
    EXPECT_FALSE(differences[qzagent::txFrames].mValue);
    EXPECT_FALSE(differences[crcErrors].mValue);
    EXPECT_FALSE(differences[crcErrors].mIsReset);
}

TEST(StatisticsDifferences, ShowACounterThatWentBackAsResetAndTheOthersAsTheyAre)
{
    auto const differences = differencesOf(countsWith(5, 7), countsWith(4, 9));
    EXPECT_FALSE(differences[qzagent::txFrames].mValue);
    EXPECT_TRUE(differences[qzagent::txFrames].mIsReset);
    EXPECT_EQ(differences[crcErrors].mValue, 2u);
    EXPECT_FALSE(differences[crcErrors].mIsReset);
}

TEST(StatisticsDifferences, ShowAllCountersAsResetWhenTheSecondsWentBack)
{
    auto const differences = differencesOf(countsWith(5, 7, 100), countsWith(6, 7, 99));
    EXPECT_TRUE(differences[qzagent::txFrames].mIsReset);
    EXPECT_TRUE(differences[crcErrors].mIsReset);
    EXPECT_FALSE(differences[qzagent::rxFrames].mIsReset) << "not offered";
}

TEST(StatisticsDifferences, HoldTheLargestCounter)
{
    EXPECT_EQ(differencesOf(countsWith(0), countsWith(0x7fffffffffffffff))[qzagent::txFrames].mValue,
              0x7fffffffffffffffu);
}

TEST(StatisticsCounts, LeaveOutNegativeNumbers)
{
    HBA_PORTSTATISTICS statistics{};
    statistics.TxFrames = -1;
    statistics.RxFrames = -2;
    statistics.RxWords = 3;
    Counts const counts = qzagent::countsOf(statistics);
    EXPECT_FALSE(counts[qzagent::txFrames]);
    EXPECT_FALSE(counts[qzagent::rxFrames]);
    EXPECT_EQ(counts[qzagent::rxWords], 3u);
    EXPECT_EQ(counts[crcErrors], 0u);
}

TEST(StatisticsHistory, ComparesPortsByNameWhateverTheirIndexesAre)
{
    StatisticsHistory history;
    history.add(lookOf(10, {{0, portA, countsWith(1)}, {1, portB, countsWith(100)}}));
    StatisticsInterval const interval =
        history.add(lookOf(12, {{0, portB, countsWith(104)}, {1, portA, countsWith(2)}}));
    auto const& ports = interval.mAdapters.at(0).mPorts;
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0].mName, portB);
    EXPECT_EQ(ports[0].mLength.count(), 2);
    EXPECT_EQ((*ports[0].mDifferences)[qzagent::txFrames].mValue, 4u);
    EXPECT_EQ(ports[0].rateOf(qzagent::txFrames), 2.0);
    EXPECT_EQ((*ports[1].mDifferences)[qzagent::txFrames].mValue, 1u);
}

TEST(StatisticsHistory, ComparesPortsOfOneNameInTheirOrder)
{
    StatisticsHistory history;
    history.add(lookOf(0, {{0, portA, countsWith(1)}, {1, portA, countsWith(100)}}));
    auto const interval = history.add(lookOf(1, {{0, portA, countsWith(3)}, {1, portA, countsWith(101)}}));
    auto const& ports = interval.mAdapters.at(0).mPorts;
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ((*ports[0].mDifferences)[qzagent::txFrames].mValue, 2u);
    EXPECT_EQ((*ports[1].mDifferences)[qzagent::txFrames].mValue, 1u);
}

TEST(StatisticsHistory, NamesPortsThatComeAndGo)
{
    StatisticsHistory history;
    history.add(lookOf(0, {{0, portA, countsWith(1)}}));
    StatisticsInterval const interval = history.add(lookOf(1, {{0, portB, countsWith(1)}}));
    EXPECT_THAT(interval.mNewPorts, ElementsAre(portB));
    EXPECT_THAT(interval.mGonePorts, ElementsAre(portA));
    EXPECT_THAT(interval.mAdapters.at(0).mPorts, IsEmpty());
    StatisticsInterval const next = history.add(lookOf(2, {{0, portB, countsWith(1)}}));
    EXPECT_THAT(next.mNewPorts, IsEmpty());
    EXPECT_THAT(next.mGonePorts, IsEmpty());
}

TEST(StatisticsHistory, RemembersThePortsOfAnAdapterThatFails)
{
    StatisticsHistory history;
    history.add(lookOf(0, {{0, portA, countsWith(1)}}));
    StatisticsLook failed = lookOf(1, {});
    failed.mAdapters[0].mPorts.reset();
    failed.mAdapters[0].mIsComplete = false;
    EXPECT_THAT(history.add(failed).mGonePorts, IsEmpty());
    StatisticsInterval const interval = history.add(lookOf(5, {{0, portA, countsWith(11)}}));
    EXPECT_EQ(interval.mAdapters.at(0).mPorts.at(0).rateOf(qzagent::txFrames), 2.0);
}

TEST(StatisticsHistory, ComparesWithTheLastCountersThatWereAvailable)
{
    StatisticsHistory history;
    history.add(lookOf(0, {{0, portA, countsWith(1)}}));
    EXPECT_FALSE(history.add(lookOf(1, {{0, portA, {}}})).mAdapters.at(0).mPorts.at(0).mDifferences);
    StatisticsInterval const interval = history.add(lookOf(5, {{0, portA, countsWith(11)}}));
    EXPECT_EQ(interval.mAdapters.at(0).mPorts.at(0).mLength.count(), 5);
    EXPECT_EQ((*interval.mAdapters.at(0).mPorts.at(0).mDifferences)[qzagent::txFrames].mValue, 10u);
}

/// A look with everything that one can have.
StatisticsLook fullLook()
{
    StatisticsLook look = lookOf(7, {{0, portA, countsWith(1, 0x7fffffffffffffff)}, {1, portB, {}, false}});
    look.mAdapters.push_back({4, "caf\xff", {}, false});
    look.mExitCode = qzagent::ExitCode::failed;
    return look;
}

TEST(StatisticsLook, IsTheSameAfterItWasPassedOn)
{
    StatisticsLook const look = qzagent::lookIn(qzagent::bytesOf(fullLook()));
    EXPECT_EQ(look.mTime, std::chrono::seconds(7));
    EXPECT_EQ(look.mExitCode, qzagent::ExitCode::failed);
    ASSERT_EQ(look.mAdapters.size(), 2u);
    EXPECT_EQ(look.mAdapters[0].mIndex, 3u);
    EXPECT_EQ(look.mAdapters[0].mName, "fc");
    EXPECT_TRUE(look.mAdapters[0].mIsComplete);
    EXPECT_EQ(look.mAdapters[0].mPorts->at(0).mName, portA);
    EXPECT_EQ(look.mAdapters[0].mPorts->at(0).mCounts, countsWith(1, 0x7fffffffffffffff));
    EXPECT_EQ(look.mAdapters[0].mPorts->at(1).mIndex, 1u);
    EXPECT_FALSE(look.mAdapters[0].mPorts->at(1).mCounts);
    EXPECT_TRUE(look.mAdapters[0].mPorts->at(0).mIsOffered);
    EXPECT_FALSE(look.mAdapters[0].mPorts->at(1).mIsOffered);
    EXPECT_EQ(look.mAdapters[1].mName, "caf\xff");
    EXPECT_FALSE(look.mAdapters[1].mPorts);
    EXPECT_FALSE(look.mAdapters[1].mIsComplete);
}

TEST(StatisticsLook, IsRefusedWhenBytesAreMissingOrAdded)
{
    std::vector<std::uint8_t> bytes = qzagent::bytesOf(fullLook());
    for (std::size_t size = 0; size < bytes.size(); ++size)
    {
        std::vector<std::uint8_t> const part(bytes.begin(),
                                             bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(qzagent::lookIn(part), std::exception) << size;
    }
    bytes.push_back(0);
    EXPECT_THROW(qzagent::lookIn(bytes), std::exception);
}

TEST(StatisticsLook, IsRefusedWhenAValueHasTheWrongTypeOrRange)
{
    using Json = nlohmann::json;
    Json const port{0, "10:00:00:00:c9:00:00:0a", nullptr, true};
    Json const valid{7, Json::array({Json{3, "fc", Json::array({port}), true}}), 0};
    ASSERT_NO_THROW(qzagent::lookIn(Json::to_cbor(valid)));
    for (char const* const place : {"/0", "/1", "/2", "/1/0", "/1/0/0", "/1/0/1", "/1/0/2", "/1/0/3",
                                    "/1/0/2/0", "/1/0/2/0/0", "/1/0/2/0/1", "/1/0/2/0/2", "/1/0/2/0/3"})
    {
        Json wrong = valid;
        wrong[Json::json_pointer(place)] = -1;
        EXPECT_THROW(qzagent::lookIn(Json::to_cbor(wrong)), std::exception) << place;
    }
    Json wrong = valid;
    wrong[2] = 3;
    EXPECT_THROW(qzagent::lookIn(Json::to_cbor(wrong)), std::exception) << "no exit code";
    wrong = valid;
    wrong[0] = 0x8000000000000000u;
    EXPECT_THROW(qzagent::lookIn(Json::to_cbor(wrong)), std::exception) << "no time";
}
}  // namespace
