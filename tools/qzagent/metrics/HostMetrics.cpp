#include "tools/qzagent/metrics/HostMetrics.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"
#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/metrics/MetricFamily.h"

namespace qzagent
{
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Histogram::Bucket, mBound, mCount)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Histogram, mBuckets, mSum, mCount)

namespace
{
constexpr char const* labelsOfPort = "adapter, port, port_wwn";

constexpr Metric adapterCount{"qzagent_adapters", MetricType::gauge, "adapters", "",
                              "Number of adapters whose names can be read."};
constexpr Metric adapterInfo{"qzagent_adapter_info", MetricType::info, "1",
                             "adapter, model, serial_number, driver_name, driver_version, firmware_version",
                             "Model, serial number and versions of the adapter; always 1."};
constexpr Metric adapterReadable{"qzagent_adapter_readable", MetricType::gauge, "0 or 1", "adapter",
                                 "Whether the attributes of the adapter and of its ports can be read."};
constexpr Metric portInfo{"qzagent_port_info", MetricType::info, "1",
                          "adapter, port, port_wwn, node_wwn, fc_id, type, fabric_wwn",
                          "Identity of the port; always 1."};
constexpr Metric portState{"qzagent_port_state", MetricType::gauge, "0 or 1",
                           "adapter, port, port_wwn, state",
                           "1 for the state of the port, 0 for each other state."};
constexpr Metric portSpeed{"qzagent_port_speed_bytes_per_second", MetricType::gauge, "bytes per second",
                           labelsOfPort, "Nominal speed of the link: its bits per second divided by 8."};
constexpr Metric portRemotePorts{"qzagent_port_remote_ports", MetricType::gauge, "remote ports", labelsOfPort,
                                 "Number of remote ports that the port discovered."};
constexpr Metric portTargets{
    "qzagent_port_targets", MetricType::gauge, "target ports", labelsOfPort,
    "Number of target ports in the adapter's mappings that the port discovered. The only port of an adapter "
    "counts all of them."};
constexpr Metric portLuns{
    "qzagent_port_luns", MetricType::gauge, "LUNs", labelsOfPort,
    "Number of LUNs mapped on the target ports of qzagent_port_targets, once for each of them."};
constexpr Metric targetPaths{"qzagent_target_paths", MetricType::gauge, "paths", "target",
                             "Number of paths to the target."};
constexpr Metric lunPaths{"qzagent_lun_paths", MetricType::gauge, "paths", "target, lun",
                          "Number of paths to the target on which the LUN is mapped."};
constexpr Metric targetLatency{"qzagent_target_latency_seconds", MetricType::histogram, "seconds",
                               "adapter, target_port",
                               "Latencies of the REPORT LUNS commands since the start."};
constexpr Metric countersAge{"qzagent_port_counters_age_seconds", MetricType::gauge, "seconds", labelsOfPort,
                             "Time since the counters of the port were reset."};
constexpr Metric lookSuccess{"qzagent_look_success", MetricType::gauge, "0 or 1", "verb",
                             "Whether the verb read everything."};
constexpr Metric lookDuration{"qzagent_look_duration_seconds", MetricType::gauge, "seconds", "verb",
                              "Duration of the verb."};
constexpr Metric lastSuccess{"qzagent_last_success_timestamp_seconds", MetricType::gauge,
                             "seconds since 1970", "verb", "Time at which the verb last read everything."};
constexpr Metric lookFailures{"qzagent_look_failures_total", MetricType::counter, "failures", "verb, call",
                              "Failures since the start by the call that failed."};

/// A metric of a counter of ports.
struct CounterMetric
{
    char const* mKey;  ///< of the counter in the document
    double mFactor;    ///< of the counter's unit
    Metric mMetric;
};

constexpr double bytesPerWord = 4;

constexpr int decimalBase = 10;

constexpr CounterMetric counterMetrics[] = {
    {"tx_frames",
     1,
     {"qzagent_port_transmitted_frames_total", MetricType::counter, "frames", labelsOfPort,
      "Transmitted frames."}},
    {"tx_words",
     bytesPerWord,
     {"qzagent_port_transmitted_bytes_total", MetricType::counter, "bytes", labelsOfPort,
      "Transmitted bytes."}},
    {"rx_frames",
     1,
     {"qzagent_port_received_frames_total", MetricType::counter, "frames", labelsOfPort, "Received frames."}},
    {"rx_words",
     bytesPerWord,
     {"qzagent_port_received_bytes_total", MetricType::counter, "bytes", labelsOfPort, "Received bytes."}},
    {"lip_count",
     1,
     {"qzagent_port_lips_total", MetricType::counter, "events", labelsOfPort,
      "Loop initialization primitive sequences."}},
    {"nos_count",
     1,
     {"qzagent_port_nos_total", MetricType::counter, "events", labelsOfPort,
      "Not-operational primitive sequences."}},
    {"error_frames",
     1,
     {"qzagent_port_error_frames_total", MetricType::counter, "frames", labelsOfPort,
      "Frames received with an error."}},
    {"dumped_frames",
     1,
     {"qzagent_port_dumped_frames_total", MetricType::counter, "frames", labelsOfPort,
      "Frames lost because the host had no buffer."}},
    {"link_failure_count",
     1,
     {"qzagent_port_link_failures_total", MetricType::counter, "events", labelsOfPort, "Link failures."}},
    {"loss_of_sync_count",
     1,
     {"qzagent_port_sync_losses_total", MetricType::counter, "events", labelsOfPort,
      "Losses of synchronization."}},
    {"loss_of_signal_count",
     1,
     {"qzagent_port_signal_losses_total", MetricType::counter, "events", labelsOfPort, "Losses of signal."}},
    {"primitive_seq_protocol_err_count",
     1,
     {"qzagent_port_primitive_sequence_errors_total", MetricType::counter, "errors", labelsOfPort,
      "Protocol errors of primitive sequences."}},
    {"invalid_tx_word_count",
     1,
     {"qzagent_port_invalid_transmission_words_total", MetricType::counter, "words", labelsOfPort,
      "Invalid transmission words."}},
    {"invalid_crc_count",
     1,
     {"qzagent_port_invalid_crcs_total", MetricType::counter, "frames", labelsOfPort,
      "Frames received with an invalid CRC."}},
};

/// Ports, and target ports of latencies, that are kept although a look does not find them.
constexpr std::size_t mostKnown = 1024;

constexpr char const* unknownLabel = "UNKNOWN";

constexpr char const* stateLabels[] = {unknownLabel, "ONLINE",      "OFFLINE", "BYPASSED",
                                       "LINKDOWN",   "DIAGNOSTICS", "ERROR",   "LOOPBACK"};

/// The label of each adapter: its name, to which the index is added when another adapter has the same name.
class AdapterLabels
{
public:
    std::string labelOf(DocumentValue const& aAdapter)
    {
        std::string name = aAdapter.at("name").text();
        // An adapter can have a name that is the label of another one.
        while (!mNames.insert(name).second)
        {
            name += fmt::format(" (index {})", aAdapter.at("index").number());
        }
        return name;
    }

private:
    std::set<std::string> mNames;  ///< labels so far
};

std::string textOr(DocumentValue const& aObject, char const* aKey)
{
    return aObject.textAt(aKey).value_or("");
}

using MetricFamilies = std::vector<MetricFamily>;

double valueIn(DocumentValue const& aValue) { return static_cast<double>(aValue.number()); }

/// Calls aVisit with each port of the document and its labels. A port without a name in the document has its last one.
template <typename Visit>
void visitLabelledPorts(DocumentValue const& aDocument, LookTotals const& aTotals, Visit const& aVisit)
{
    AdapterLabels labels;
    for (DocumentValue const& adapter : aDocument.listAt("adapters"))
    {
        std::string const name = labels.labelOf(adapter);
        for (DocumentValue const& port : adapter.listAt("ports"))
        {
            std::string const index = std::to_string(port.at("index").number());
            auto const known = aTotals.mPorts.find({name, index});
            std::string const knownName = known == aTotals.mPorts.end() ? "" : known->second;
            aVisit(port, std::vector<std::string>{name, index, port.textAt("port_wwn").value_or(knownName)});
        }
    }
}

/// @return the labels with others behind them
std::vector<std::string> joined(std::vector<std::string> aLabels, std::vector<std::string> const& aOthers)
{
    aLabels.insert(aLabels.end(), aOthers.begin(), aOthers.end());
    return aLabels;
}

MetricFamilies adaptersMetrics(nlohmann::ordered_json const& aJson, LookTotals& /*aTotals*/)
{
    DocumentValue const document = documentOf("adapters", aJson, "adapters");
    MetricFamily count(adapterCount);
    MetricFamily info(adapterInfo);
    MetricFamily readable(adapterReadable);
    std::vector<DocumentValue> const adapters = document.listAt("adapters");
    // Without the common library, the number of adapters is unknown.
    if (!adapters.empty() || document.at("exit_status").number() == 0)
    {
        count.add({}, static_cast<double>(adapters.size()));
    }
    AdapterLabels labels;
    for (DocumentValue const& adapter : adapters)
    {
        std::string const name = labels.labelOf(adapter);
        readable.add({name}, adapter.at("state").text() == "ok" ? 1 : 0);
        if (adapter.has("number_of_ports"))
        {
            info.add({name, textOr(adapter, "model"), textOr(adapter, "serial_number"),
                      textOr(adapter, "driver_name"), textOr(adapter, "driver_version"),
                      textOr(adapter, "firmware_version")},
                     1);
        }
    }
    return {count, info, readable};
}

/// @return the state of a port whose state is unavailable or has no name as UNKNOWN
std::string stateLabelOf(DocumentValue const& aPort)
{
    if (!aPort.has("state") || !aPort.at("state").json().is_string())
    {
        return unknownLabel;
    }
    return aPort.at("state").text();
}

/// Adds a speed such as "16GBIT". A port that is down has none.
void addSpeed(MetricFamily& aFamily, DocumentValue const& aPort, std::vector<std::string> const& aLabels)
{
    constexpr double bytesPerGigabit = 1e9 / 8;
    if (aPort.has("speed") && aPort.at("speed").json().is_string())
    {
        unsigned long const gigabits = std::strtoul(aPort.at("speed").text().c_str(), nullptr, decimalBase);
        if (gigabits > 0)
        {
            aFamily.add(aLabels, static_cast<double>(gigabits) * bytesPerGigabit);
        }
    }
}

void addIfPresent(MetricFamily& aFamily, DocumentValue const& aPort, char const* aKey,
                  std::vector<std::string> const& aLabels)
{
    if (aPort.has(aKey))
    {
        aFamily.add(aLabels, valueIn(aPort.at(aKey)));
    }
}

void addStates(MetricFamily& aFamily, std::vector<std::string> const& aLabels, std::string const& aCurrent)
{
    for (char const* const name : stateLabels)
    {
        aFamily.add(joined(aLabels, {name}), aCurrent == name ? 1 : 0);
    }
}

/// @return the labels of each adapter whose list is in the document without a failure of the adapter
std::set<std::string> adaptersWith(char const* aList, DocumentValue const& aDocument)
{
    std::set<std::string> found;
    AdapterLabels labels;
    for (DocumentValue const& adapter : aDocument.listAt("adapters"))
    {
        std::string const name = labels.labelOf(adapter);
        if (adapter.has(aList) && !adapter.has("failures"))
        {
            found.insert(name);
        }
    }
    return found;
}

/// Learns the names of ports. A port is forgotten if its adapter no longer has it, or if its name is now that of another
/// port. The number of known ports is limited, because a library could report other names in each look.
/// @param aFound    by adapter and port
/// @param aComplete the adapters of which all ports were found
void learnPorts(KnownPorts const& aFound, std::set<std::string> const& aComplete, KnownPorts& aKnown)
{
    std::set<std::string> names;
    for (auto const& [port, name] : aFound)
    {
        names.insert(name);
    }
    for (auto place = aKnown.begin(); place != aKnown.end();)
    {
        bool const isGone = aFound.count(place->first) == 0 &&
                            (aComplete.count(place->first.first) != 0 || names.count(place->second) != 0);
        place = isGone ? aKnown.erase(place) : std::next(place);
    }
    for (auto const& [port, name] : aFound)
    {
        if (!name.empty() && (aKnown.size() < mostKnown || aKnown.count(port) != 0))
        {
            aKnown[port] = name;
        }
    }
}

/// Adds the state UNKNOWN for each known port that was not found.
void addLostPorts(KnownPorts const& aKnown, KnownPorts const& aFound, MetricFamily& aFamily)
{
    for (auto const& [port, name] : aKnown)
    {
        if (aFound.count(port) == 0)
        {
            addStates(aFamily, {port.first, port.second, name}, unknownLabel);
        }
    }
}

MetricFamilies portsMetrics(nlohmann::ordered_json const& aJson, LookTotals& aTotals)
{
    MetricFamily info(portInfo);
    MetricFamily state(portState);
    MetricFamily speed(portSpeed);
    MetricFamily remotePorts(portRemotePorts);
    MetricFamily targets(portTargets);
    MetricFamily luns(portLuns);
    DocumentValue const document = documentOf("ports", aJson, "ports");
    KnownPorts found;
    visitLabelledPorts(
        document, aTotals,
        [&](DocumentValue const& aPort, std::vector<std::string> const& aLabels)
        {
            if (aPort.has("port_wwn"))
            {
                info.add(joined(aLabels, {textOr(aPort, "node_wwn"), textOr(aPort, "fc_id"),
                                          valueText(aPort.at("type").json()), textOr(aPort, "fabric_name")}),
                         1);
            }
            found[{aLabels[0], aLabels[1]}] = aLabels[2];
            addStates(state, aLabels, stateLabelOf(aPort));
            addSpeed(speed, aPort, aLabels);
            addIfPresent(remotePorts, aPort, "number_of_remote_ports", aLabels);
            addIfPresent(targets, aPort, "number_of_targets", aLabels);
            addIfPresent(luns, aPort, "number_of_luns", aLabels);
        });
    learnPorts(found, adaptersWith("ports", document), aTotals.mPorts);
    addLostPorts(aTotals.mPorts, found, state);
    return {info, state, speed, remotePorts, targets, luns};
}

MetricFamilies statisticsMetrics(nlohmann::ordered_json const& aJson, LookTotals& aTotals)
{
    MetricFamilies families;
    for (CounterMetric const& counter : counterMetrics)
    {
        families.emplace_back(counter.mMetric);
    }
    MetricFamily age(countersAge);
    visitLabelledPorts(documentOf("statistics", aJson, "statistics"), aTotals,
                       [&](DocumentValue const& aPort, std::vector<std::string> const& aLabels)
                       {
                           if (!aPort.has("counters"))
                           {
                               return;
                           }
                           DocumentValue const values = aPort.at("counters");
                           for (std::size_t i = 0; i < std::size(counterMetrics); ++i)
                           {
                               if (values.has(counterMetrics[i].mKey))
                               {
                                   double const count = valueIn(values.at(counterMetrics[i].mKey));
                                   families[i].add(aLabels, count * counterMetrics[i].mFactor);
                               }
                           }
                           addIfPresent(age, values, "seconds_since_last_reset", aLabels);
                       });
    families.push_back(age);
    return families;
}

/// @return nothing if a path may be unknown, because a smaller number would look like a lost path
MetricFamilies inventoryMetrics(nlohmann::ordered_json const& aJson, LookTotals& /*aTotals*/)
{
    HostTree const tree = hostTreeOf(aJson, "inventory");
    if (!arePathsKnown(tree.mRoot))
    {
        return {};
    }
    std::map<std::string, unsigned int> pathsOfTargets;
    std::map<std::pair<std::string, std::string>, unsigned int> pathsOfLuns;
    for (Path const& path : pathsIn(tree.mRoot))
    {
        HostPart const& target = *path.mRemotePort;
        ++pathsOfTargets[target.mTarget];
        for (HostPart const& lun : target.mParts)
        {
            pathsOfLuns[{target.mTarget, lun.mName}] += lun.mFields.at("mapped") == true ? 1 : 0;
        }
    }
    MetricFamily targets(targetPaths);
    for (auto const& [target, count] : pathsOfTargets)
    {
        targets.add({target}, count);
    }
    MetricFamily luns(lunPaths);
    for (auto const& [lun, count] : pathsOfLuns)
    {
        luns.add({lun.first, lun.second}, count);
    }
    return {targets, luns};
}

Histogram histogramOf(DocumentValue const& aLatencies)
{
    constexpr double microsecondsPerSecond = 1e6;
    DocumentValue const sum = aLatencies.at("latency_us").at("sum");
    if (!sum.json().is_number())
    {
        sum.refuse("a number");
    }
    Histogram histogram{
        {}, sum.json().get<double>() / microsecondsPerSecond, aLatencies.at("io_count").number()};
    for (DocumentValue const& bucket : aLatencies.at("record").listAt("buckets"))
    {
        if (bucket.has("below_us"))
        {
            histogram.mBuckets.push_back(
                {valueIn(bucket.at("below_us")) / microsecondsPerSecond, bucket.at("count").number()});
        }
    }
    return histogram;
}

/// Adds the latencies of the look. An adapter whose target ports were listed shows which of them are gone, and their
/// latencies are forgotten. If there are too many, those of all target ports that the look did not find are forgotten.
/// @throws DocumentError without a change of the totals
MetricFamilies addLatencies(nlohmann::ordered_json const& aJson, LookTotals& aTotals)
{
    DocumentValue const document = documentOf("latency", aJson, "latency");
    std::map<std::pair<std::string, std::string>, Histogram> found;
    AdapterLabels labels;
    for (DocumentValue const& adapter : document.listAt("adapters"))
    {
        std::string const name = labels.labelOf(adapter);
        for (DocumentValue const& target : adapter.listAt("target_ports"))
        {
            DocumentValue const latencies = target.at("latencies");
            found.try_emplace({name, target.at("port_wwn").text()},
                              latencies.has("record") ? histogramOf(latencies) : Histogram());
        }
    }
    std::set<std::string> const complete = adaptersWith("target_ports", document);
    auto const isLost = [&](auto const& aKnown) { return found.count(aKnown.first) == 0; };
    auto const lost = std::count_if(aTotals.mLatencies.begin(), aTotals.mLatencies.end(), isLost);
    bool const areTooMany = static_cast<std::size_t>(lost) + found.size() > mostKnown;
    for (auto place = aTotals.mLatencies.begin(); place != aTotals.mLatencies.end();)
    {
        bool const isGone = isLost(*place) && (areTooMany || complete.count(place->first.first) != 0);
        place = isGone ? aTotals.mLatencies.erase(place) : std::next(place);
    }
    for (auto const& [target, histogram] : found)
    {
        if (histogram.mCount > 0)
        {
            aTotals.mLatencies[target].add(histogram);
        }
    }
    return {};
}

constexpr char const* otherFailure = "other";  // not due to a call

/// What the document of a verb has for metrics.
struct LookMetrics
{
    char const* mVerb;
    MetricFamilies (*mMetrics)(nlohmann::ordered_json const&, LookTotals&);
    std::vector<char const*> mCalls;  ///< that can fail or hang, in addition to those of every verb
};

/// The calls of every verb.
constexpr char const* commonCalls[] = {otherFailure,         "HBA_LoadLibrary", "HBA_GetNumberOfAdapters",
                                       "HBA_GetAdapterName", "HBA_OpenAdapter", "HBA_CloseAdapter",
                                       "HBA_FreeLibrary"};

std::vector<LookMetrics> const& lookMetrics()
{
    static std::vector<LookMetrics> const all{
        {"adapters",
         &adaptersMetrics,
         {"HBA_RefreshInformation", "HBA_GetAdapterAttributes", "HBA_GetAdapterPortAttributes"}},
        {"ports",
         &portsMetrics,
         {"HBA_RefreshInformation", "HBA_GetAdapterAttributes", "HBA_GetAdapterPortAttributes",
          "HBA_GetDiscoveredPortAttributes", "HBA_GetFcpTargetMapping"}},
        {"statistics",
         &statisticsMetrics,
         {"HBA_GetAdapterAttributes", "HBA_GetAdapterPortAttributes", "HBA_GetPortStatistics"}},
        {"inventory",
         &inventoryMetrics,
         {"HBA_RefreshInformation", "HBA_GetAdapterAttributes", "HBA_GetAdapterPortAttributes",
          "HBA_GetDiscoveredPortAttributes", "HBA_GetFcpTargetMapping", "HBA_SendReportLUNs"}},
        {"latency", &addLatencies, {"HBA_GetFcpTargetMapping", "HBA_SendReportLUNs"}},
    };
    return all;
}

LookMetrics const& lookMetricsOf(std::string const& aVerb)
{
    return *std::find_if(lookMetrics().begin(), lookMetrics().end(),
                         [&](LookMetrics const& aMetrics) { return aVerb == aMetrics.mVerb; });
}

/// The number of failures by the function that failed.
using FailuresByCall = std::map<std::string, unsigned int>;

FailuresByCall failuresIn(nlohmann::ordered_json const& aJson)
{
    FailuresByCall failures;
    for (DocumentValue const& message : DocumentValue(aJson, "document").listAt("messages"))
    {
        if (message.at("severity").text() == "error")
        {
            ++failures[message.has("cause") ? message.at("cause").at("function").text() : otherFailure];
        }
    }
    return failures;
}

/// Adds the calls that have not failed. An increase of a counter can only be seen after its first value.
void addCallsWithoutFailure(std::string const& aVerb, LookTotals& aTotals)
{
    auto const add = [&](char const* aCall) { aTotals.mFailures.try_emplace({aVerb, aCall}, 0); };
    std::for_each(std::begin(commonCalls), std::end(commonCalls), add);
    std::vector<char const*> const& calls = lookMetricsOf(aVerb).mCalls;
    std::for_each(calls.begin(), calls.end(), add);
}

/// @return the metrics that remain if the verb has no document
MetricFamilies metricsWithout(std::string const& aVerb, LookTotals const& aTotals)
{
    MetricFamily state(portState);
    if (aVerb == "ports")
    {
        addLostPorts(aTotals.mPorts, {}, state);
    }
    return {state};
}

void append(MetricFamilies const& aOthers, MetricFamilies& aFamilies)
{
    aFamilies.insert(aFamilies.end(), aOthers.begin(), aOthers.end());
}

/// @return the ports whose state is in the metrics
KnownPorts portsIn(std::string const& aText)
{
    KnownPorts ports;
    std::string const start = fmt::format("\n{}{{", portState.mName);
    for (std::size_t place = aText.find(start); place != std::string::npos && ports.size() < mostKnown;
         place = aText.find(start, place + 1))
    {
        std::string_view line = std::string_view(aText).substr(place + start.size());
        line = line.substr(0, line.find('\n'));
        std::optional<std::string> const adapter = takeLabel(line, "adapter");
        std::optional<std::string> const port = takeLabel(line, "port");
        std::optional<std::string> const name = takeLabel(line, "port_wwn");
        if (adapter && port && name && !name->empty())
        {
            ports[{*adapter, *port}] = *name;
        }
    }
    return ports;
}

}  // namespace

bool hasEverything(Look const& aLook)
{
    return aLook.mDocument && aLook.mDocument->is_object() &&
           aLook.mDocument->value("exit_status", nlohmann::ordered_json()) == 0;
}

std::vector<MetricFamily> metricsOf(std::vector<Look> const& aLooks, LookTotals& aTotals)
{
    MetricFamilies families;
    MetricFamily success(lookSuccess);
    MetricFamily duration(lookDuration);
    for (Look const& look : aLooks)
    {
        FailuresByCall failures{{look.mCall == nullptr ? otherFailure : look.mCall, 1}};
        MetricFamilies found = metricsWithout(look.mVerb, aTotals);
        bool isSuccess = false;
        try
        {
            if (look.mDocument)
            {
                failures = failuresIn(*look.mDocument);
                found = lookMetricsOf(look.mVerb).mMetrics(*look.mDocument, aTotals);
                isSuccess = hasEverything(look);
            }
        }
        catch (DocumentError const&)
        {
            failures[otherFailure] = 1;
        }
        append(found, families);
        addCallsWithoutFailure(look.mVerb, aTotals);
        success.add({look.mVerb}, isSuccess ? 1 : 0);
        duration.add({look.mVerb}, look.mDuration.count());
        if (isSuccess)
        {
            auto const time = std::chrono::floor<std::chrono::seconds>(look.mEnd.time_since_epoch());
            aTotals.mLastSuccess[look.mVerb] = static_cast<std::uint64_t>(time.count());
        }
        for (auto const& [call, count] : failures)
        {
            aTotals.mFailures[{look.mVerb, call}] += count;
        }
    }
    append({success, duration}, families);
    return families;
}

std::vector<MetricFamily> metricsOf(LookTotals const& aTotals)
{
    MetricFamily latencies(targetLatency);
    for (auto const& [target, histogram] : aTotals.mLatencies)
    {
        latencies.add({target.first, target.second}, histogram);
    }
    MetricFamily times(lastSuccess);
    for (auto const& [verb, time] : aTotals.mLastSuccess)
    {
        times.add({verb}, static_cast<double>(time));
    }
    MetricFamily failures(lookFailures);
    for (auto const& [source, count] : aTotals.mFailures)
    {
        failures.add({source.first, source.second}, static_cast<double>(count));
    }
    return {latencies, times, failures};
}

LookTotals earlierTotalsIn(std::string const& aText, std::vector<Look> const& aLooks)
{
    LookTotals totals;
    totals.mPorts = portsIn(aText);
    for (Look const& look : aLooks)
    {
        std::string const line = fmt::format("\n{}{{verb=\"{}\"}} ", lastSuccess.mName, look.mVerb);
        if (std::size_t const place = aText.find(line); place != std::string::npos)
        {
            auto const time = std::strtoull(aText.c_str() + place + line.size(), nullptr, decimalBase);
            if (time > 0)
            {
                totals.mLastSuccess[look.mVerb] = time;
            }
        }
    }
    return totals;
}

std::vector<std::uint8_t> bytesOf(LookTotals const& aTotals)
{
    return nlohmann::json::to_cbor(
        {aTotals.mLastSuccess, aTotals.mFailures, aTotals.mLatencies, aTotals.mPorts});
}

LookTotals totalsIn(std::vector<std::uint8_t> const& aBytes)
{
    nlohmann::json const json = nlohmann::json::from_cbor(aBytes);
    LookTotals totals;
    json.at(0).get_to(totals.mLastSuccess);
    json.at(1).get_to(totals.mFailures);
    json.at(2).get_to(totals.mLatencies);
    json.at(3).get_to(totals.mPorts);
    return totals;
}

std::vector<Metric> allMetrics()
{
    std::vector<Metric> metrics{adapterCount, adapterInfo,     adapterReadable, portInfo, portState,
                                portSpeed,    portRemotePorts, portTargets,     portLuns};
    for (CounterMetric const& counter : counterMetrics)
    {
        metrics.push_back(counter.mMetric);
    }
    metrics.insert(metrics.end(), {countersAge, targetPaths, lunPaths, lookSuccess, lookDuration,
                                   targetLatency, lastSuccess, lookFailures});
    return metrics;
}
}  // namespace qzagent
