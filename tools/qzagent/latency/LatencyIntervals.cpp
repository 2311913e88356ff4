#include "tools/qzagent/latency/LatencyIntervals.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/latency/LatencyFigures.h"
#include "tools/qzagent/latency/LatencySurvey.h"

namespace qzagent
{
namespace
{
std::string cellOf(Latency aLatency)
{
    return fmt::format("{:.1f}", static_cast<double>(aLatency.count()) / 1000);
}

std::vector<Table::Cell> rowOf(LatencyInterval::Port const& aPort)
{
    std::vector<Table::Cell> row{aPort.mAdapterName, aPort.mName.text()};
    if (!aPort.mFigures)
    {
        row.insert(row.end(), {{"0"}, {"-"}, {"-"}, {"-"}, {"-"}, {"-"}, {"-"}});
        return row;
    }
    LatencyFigures const& figures = *aPort.mFigures;
    row.emplace_back(std::to_string(figures.mCount));
    row.emplace_back(cellOf(figures.mMinimum));
    for (Latency const quantile : figures.mQuantiles)
    {
        row.emplace_back(cellOf(quantile));
    }
    row.emplace_back(cellOf(figures.mMaximum));
    return row;
}
}  // namespace

std::string tableOf(LatencyInterval const& aInterval, bool aColoured)
{
    Table table({{"ADAPTER", Table::Fit::wrapped},
                 {"TARGET PORT", Table::Fit::left},
                 {"I/OS", Table::Fit::right},
                 {"MIN US", Table::Fit::right},
                 {"P50", Table::Fit::right},
                 {"P90", Table::Fit::right},
                 {"P99", Table::Fit::right},
                 {"P99.9", Table::Fit::right},
                 {"MAX", Table::Fit::right}},
                aColoured);
    for (LatencyInterval::Port const& port : aInterval.mPorts)
    {
        table.addRow(rowOf(port));
    }
    return fmt::format("{}, {:.1f} s\n", timeText(aInterval.mTime), aInterval.mLength.count()) + table.text();
}

std::string jsonLineOf(LatencyInterval const& aInterval)
{
    nlohmann::ordered_json json{{"time", timeText(aInterval.mTime)},
                                {"length_seconds", aInterval.mLength.count()},
                                {"target_ports", nlohmann::ordered_json::array()}};
    for (LatencyInterval::Port const& port : aInterval.mPorts)
    {
        nlohmann::ordered_json element{{"adapter_index", port.mAdapterIndex},
                                       {"adapter_name", port.mAdapterName},
                                       {"port_wwn", port.mName.text()},
                                       {"io_count", port.mFigures ? port.mFigures->mCount : 0}};
        if (port.mFigures)
        {
            element["latency_us"] = jsonOf(*port.mFigures);
        }
        json["target_ports"].push_back(element);
    }
    return json.dump(-1, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
}  // namespace qzagent
