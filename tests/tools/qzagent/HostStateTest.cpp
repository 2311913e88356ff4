#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/check/HostState.h"

namespace
{
using Json = nlohmann::ordered_json;
using Rises = std::map<std::string, std::uint64_t>;

/// @return the document of statistics for one port
Json lookAtCounters(char const* aPort, Json const& aCounters)
{
    Json const port{{"index", 0}, {"port_wwn", aPort}, {"counters", aCounters}};
    Json const adapter{{"index", 0}, {"name", "example-fc-0"}, {"ports", Json::array({port})}};
    return {{"format_version", 2}, {"command", "statistics"}, {"adapters", Json::array({adapter})}};
}

TEST(CountersBetween, AreTheRisesOfEachCounter)
{
    std::vector<qzagent::PortCounters> const ports = qzagent::countersBetween(
        lookAtCounters("10:00:00:00:c9:00:00:01", {{"tx_frames", 5U}, {"error_frames", 7U}}),
        lookAtCounters("10:00:00:00:c9:00:00:01", {{"tx_frames", 9U}, {"error_frames", 7U}}));
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].mAdapter, "example-fc-0");
    EXPECT_EQ(ports[0].mPort, "10:00:00:00:c9:00:00:01");
    EXPECT_EQ(ports[0].mRises, (Rises{{"tx_frames", 4U}, {"error_frames", 0U}}));
}

TEST(CountersBetween, LeaveOutCountersThatWereResetOrThatOnlyOneLookHas)
{
    std::vector<qzagent::PortCounters> const ports = qzagent::countersBetween(
        lookAtCounters("10:00:00:00:c9:00:00:01", {{"tx_frames", 5U}, {"error_frames", 7U}}),
        lookAtCounters("10:00:00:00:c9:00:00:01", {{"tx_frames", 4U}, {"rx_frames", 7U}}));
    ASSERT_EQ(ports.size(), 1u);
    EXPECT_EQ(ports[0].mRises, Rises());
}

TEST(CountersBetween, LeaveOutPortsThatOnlyOneLookHas)
{
    EXPECT_TRUE(qzagent::countersBetween(lookAtCounters("10:00:00:00:c9:00:00:01", {{"tx_frames", 5U}}),
                                         lookAtCounters("10:00:00:00:c9:00:00:02", {{"tx_frames", 9U}}))
                    .empty());
}
}  // namespace
