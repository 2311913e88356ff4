/// @file
/// The metrics of a host, from the JSON documents of verbs.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
/// A document of the host, or the attempt to read it.
struct Look
{
    std::string mVerb;
    std::optional<nlohmann::ordered_json> mDocument;  ///< none when its process printed none
    std::chrono::duration<double> mDuration;
    std::chrono::system_clock::time_point mEnd;
    char const* mCall;  ///< that did not return; null if there is a document or the call is unknown
};

/// @return whether the verb read everything
bool hasEverything(Look const& aLook);

/// The names of ports that looks found, by adapter and index.
using KnownPorts = std::map<std::pair<std::string, std::string>, std::string>;

/// What a program counts and learns over all its looks.
struct LookTotals
{
    std::map<std::string, std::uint64_t> mLastSuccess;  ///< by verb, in seconds since 1970
    std::map<std::pair<std::string, std::string>, std::uint64_t> mFailures;  ///< by verb and call
    std::map<std::pair<std::string, std::string>, Histogram> mLatencies;     ///< by adapter and target port
    KnownPorts mPorts;
};

/// @param aLooks  the verbs adapters, ports, statistics, inventory and latency, each at most once
/// @param aTotals to which the looks are added
/// @return the metrics of these looks
std::vector<MetricFamily> metricsOf(std::vector<Look> const& aLooks, LookTotals& aTotals);

/// @return the metrics of the totals
std::vector<MetricFamily> metricsOf(LookTotals const& aTotals);

/// @param aText metrics of an earlier run; may be any text
/// @return what the text shows of earlier runs: the times of the last success of these verbs, and the ports
LookTotals earlierTotalsIn(std::string const& aText, std::vector<Look> const& aLooks);

/// The bytes in which totals are passed from one process to another.
/// @{
std::vector<std::uint8_t> bytesOf(LookTotals const& aTotals);

/// @throws std::exception when the bytes are not those of totals
LookTotals totalsIn(std::vector<std::uint8_t> const& aBytes);
/// @}

/// @return every metric that these functions can return, in their order
std::vector<Metric> allMetrics();
}  // namespace qzagent
