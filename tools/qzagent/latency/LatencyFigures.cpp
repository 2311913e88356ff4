#include "tools/qzagent/latency/LatencyFigures.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qzagent
{
namespace
{
constexpr std::size_t thousand = 1000;

double microsecondsOf(Latency aLatency) { return static_cast<double>(aLatency.count()) / 1000; }
}  // namespace

std::optional<LatencyFigures> figuresOf(std::vector<Latency> aValues)
{
    if (aValues.empty())
    {
        return {};
    }
    std::sort(aValues.begin(), aValues.end());
    LatencyFigures figures{aValues.size(),
                           std::accumulate(aValues.begin(), aValues.end(), Latency(0)),
                           aValues.front(),
                           aValues.back(),
                           {}};
    std::transform(quantiles.begin(), quantiles.end(), figures.mQuantiles.begin(),
                   [&](Quantile const& aQuantile)
                   {
                       std::size_t const product = aValues.size() * aQuantile.mThousandths;
                       return aValues[(product + thousand - 1) / thousand - 1];
                   });
    return figures;
}

std::string textOf(LatencyFigures const& aFigures)
{
    std::string text = fmt::format("sum {:.1f}, mean {:.1f}, min {:.1f}", microsecondsOf(aFigures.mSum),
                                   microsecondsOf(aFigures.mean()), microsecondsOf(aFigures.mMinimum));
    for (std::size_t i = 0; i < quantiles.size(); ++i)
    {
        text += fmt::format(", {} {:.1f}", quantiles[i].mName, microsecondsOf(aFigures.mQuantiles[i]));
    }
    return text + fmt::format(", max {:.1f}", microsecondsOf(aFigures.mMaximum));
}

nlohmann::ordered_json jsonOf(LatencyFigures const& aFigures)
{
    nlohmann::ordered_json json{{"sum", microsecondsOf(aFigures.mSum)},
                                {"mean", microsecondsOf(aFigures.mean())},
                                {"minimum", microsecondsOf(aFigures.mMinimum)}};
    for (std::size_t i = 0; i < quantiles.size(); ++i)
    {
        json[quantiles[i].mKey] = microsecondsOf(aFigures.mQuantiles[i]);
    }
    json["maximum"] = microsecondsOf(aFigures.mMaximum);
    return json;
}
}  // namespace qzagent
