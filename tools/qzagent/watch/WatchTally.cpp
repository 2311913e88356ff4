#include "tools/qzagent/watch/WatchTally.h"

#include <string>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/Table.h"

namespace qzagent
{
nlohmann::ordered_json WatchTally::json() const
{
    auto list = nlohmann::ordered_json::array();
    for (auto const& [source, count] : mCounts)
    {
        list.push_back({{"board", source.first}, {"category", source.second}, {"written", count}});
    }
    return list;
}

std::string WatchTally::table(bool aColoured) const
{
    if (mCounts.empty())
    {
        return {};
    }
    Table table(
        {{"BOARD", Table::Fit::right}, {"CATEGORY", Table::Fit::right}, {"WRITTEN", Table::Fit::right}},
        aColoured);
    for (auto const& [source, count] : mCounts)
    {
        table.addRow({std::to_string(source.first), std::to_string(source.second), std::to_string(count)});
    }
    return table.text();
}
}  // namespace qzagent
