#include "tools/qzagent/statistics/StatisticsJson.h"

#include <chrono>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/statistics/Counters.h"
#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
namespace
{
using OrderedJson = nlohmann::ordered_json;

OrderedJson jsonOf(PortStatistics const& aPort)
{
    OrderedJson json{{"index", aPort.mIndex}, {"port_wwn", aPort.mName.text()}};
    if (aPort.mCounts)
    {
        OrderedJson& counts = json["counters"] = OrderedJson::object();
        for (std::size_t i = 0; i < counters.size(); ++i)
        {
            if ((*aPort.mCounts)[i])
            {
                counts[counters[i].mKey] = *(*aPort.mCounts)[i];
            }
        }
    }
    return json;
}

OrderedJson jsonOf(AdapterStatistics const& aAdapter)
{
    OrderedJson json{{"index", aAdapter.mIndex}, {"name", aAdapter.mName}};
    if (aAdapter.mPorts)
    {
        OrderedJson& ports = json["ports"] = OrderedJson::array();
        for (PortStatistics const& port : *aAdapter.mPorts)
        {
            ports.push_back(jsonOf(port));
        }
    }
    return json;
}

/// Three digits after the point are more than the clock is good for.
double rounded(double aNumber) { return std::round(aNumber * 1000) / 1000; }

OrderedJson jsonOf(PortInterval const& aPort)
{
    OrderedJson json{{"index", aPort.mIndex}, {"port_wwn", aPort.mName.text()}};
    if (!aPort.mDifferences)
    {
        return json;
    }
    json["length_seconds"] = aPort.mLength.count();
    OrderedJson& differences = json["differences"] = OrderedJson::object();
    OrderedJson rates = OrderedJson::object();
    for (std::size_t i = 0; i < counters.size(); ++i)
    {
        if (auto const value = (*aPort.mDifferences)[i].mValue)
        {
            differences[counters[i].mKey] = *value;
        }
        if (auto const rate = aPort.rateOf(i); rate && i != secondsSinceReset)
        {
            rates[counters[i].mKey] = rounded(*rate);
        }
    }
    json["per_second"] = rates;
    if (aPort.isReset())
    {
        json["reset"] = true;
    }
    return json;
}

OrderedJson namesOf(std::vector<qz::Wwn> const& aPorts)
{
    auto names = OrderedJson::array();
    for (qz::Wwn const& port : aPorts)
    {
        names.push_back(port.text());
    }
    return names;
}
}  // namespace

nlohmann::ordered_json jsonOf(std::vector<AdapterStatistics> const& aAdapters)
{
    auto adapters = OrderedJson::array();
    for (AdapterStatistics const& adapter : aAdapters)
    {
        adapters.push_back(jsonOf(adapter));
    }
    return adapters;
}

std::string jsonLineOf(StatisticsInterval const& aInterval, std::chrono::system_clock::time_point aTime)
{
    auto adapters = OrderedJson::array();
    for (AdapterInterval const& adapter : aInterval.mAdapters)
    {
        auto ports = OrderedJson::array();
        for (PortInterval const& port : adapter.mPorts)
        {
            ports.push_back(jsonOf(port));
        }
        adapters.push_back({{"index", adapter.mIndex}, {"name", adapter.mName}, {"ports", ports}});
    }
    OrderedJson const json{{"time", timeText(aTime)},
                           {"adapters", adapters},
                           {"new_ports", namesOf(aInterval.mNewPorts)},
                           {"gone_ports", namesOf(aInterval.mGonePorts)}};
    return json.dump(-1, ' ', true, OrderedJson::error_handler_t::replace) + "\n";
}
}  // namespace qzagent
