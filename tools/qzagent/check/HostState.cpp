#include "tools/qzagent/check/HostState.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
namespace
{
using Counters = std::map<std::string, std::uint64_t>;

std::map<PortName, Counters> countersIn(nlohmann::ordered_json const& aDocument)
{
    std::map<PortName, Counters> ports;
    for (DocumentValue const& adapter : documentOf("statistics", aDocument, "statistics").listAt("adapters"))
    {
        for (DocumentValue const& port : adapter.listAt("ports"))
        {
            Counters& counters = ports[{adapter.at("name").text(), port.at("port_wwn").text()}];
            if (port.has("counters"))
            {
                DocumentValue const values = port.at("counters");
                for (auto const& [key, value] : values.json().items())
                {
                    counters[key] = values.at(key.c_str()).number();
                }
            }
        }
    }
    return ports;
}
}  // namespace

std::vector<PortCounters> countersBetween(nlohmann::ordered_json const& aFirst,
                                          nlohmann::ordered_json const& aSecond)
{
    std::map<PortName, Counters> const before = countersIn(aFirst);
    std::vector<PortCounters> ports;
    for (auto const& [name, counters] : countersIn(aSecond))
    {
        auto const found = before.find(name);
        if (found == before.end())
        {
            continue;
        }
        PortCounters port{name.first, name.second};
        for (auto const& [key, value] : counters)
        {
            auto const old = found->second.find(key);
            if (old != found->second.end() && old->second <= value)
            {
                port.mRises[key] = value - old->second;
            }
        }
        ports.push_back(std::move(port));
    }
    return ports;
}

std::vector<TargetLatency> latenciesIn(nlohmann::ordered_json const& aDocument)
{
    std::vector<TargetLatency> latencies;
    for (DocumentValue const& adapter : documentOf("latency", aDocument, "latency").listAt("adapters"))
    {
        for (DocumentValue const& target : adapter.listAt("target_ports"))
        {
            DocumentValue const p99 = target.at("latencies").at("latency_us").at("p99");
            if (!p99.json().is_number())
            {
                p99.refuse("a number");
            }
            latencies.push_back({adapter.at("name").text(), target.at("port_wwn").text(),
                                 p99.json().get<double>(), target.at("latencies").at("io_count").number()});
        }
    }
    return latencies;
}

std::map<PortName, std::string> statesIn(nlohmann::ordered_json const& aDocument)
{
    std::map<PortName, std::string> states;
    for (DocumentValue const& adapter : documentOf("ports", aDocument, "ports").listAt("adapters"))
    {
        for (DocumentValue const& port : adapter.listAt("ports"))
        {
            if (port.has("state"))
            {
                std::string const name = port.textAt("port_wwn").value_or(port.at("index").json().dump());
                states[{adapter.at("name").text(), name}] = valueText(port.at("state").json());
            }
        }
    }
    return states;
}

WatchedEvents eventsIn(nlohmann::ordered_json const& aDocument)
{
    WatchedEvents events;
    DocumentValue const document = documentOf("watch", aDocument, "watch");
    for (DocumentValue const& entry : document.listAt("events"))
    {
        events.mCounts[{entry.at("board").number(), entry.at("category").number()}] =
            entry.at("written").number();
    }
    for (DocumentValue const& entry : document.listAt("drops"))
    {
        events.mDrops[entry.at("board").number()] = entry.at("dropped").number();
    }
    return events;
}
}  // namespace qzagent
