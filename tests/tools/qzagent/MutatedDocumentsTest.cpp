// Damages documents in every place. What reads them must refuse them or accept them, and nothing else.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/check/Findings.h"
#include "tools/qzagent/check/HostState.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/diff/ChangeJson.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/DocumentValue.h"
#include "tools/qzagent/documents/HostTree.h"

namespace
{
using Json = nlohmann::ordered_json;

Json const unexpected[] = {nullptr,
                           true,
                           -1,
                           16384,
                           std::numeric_limits<std::uint64_t>::max(),
                           1e300,
                           "",
                           "GBIT",
                           "99999999999999999999GBIT",
                           "99999999999999999999",
                           "0123456789abcdef",
                           "\x1b[31m",
                           Json::array(),
                           Json::object(),
                           {1, "a", nullptr},
                           {{"text", 5}}};

Json const inventoryDocument = Json::parse(R"({
    "format_version": 2, "host": "example", "generated_at": "2026-01-01T00:00:00Z", "command": "inventory",
    "exit_status": 1, "messages": [{"severity": "error", "text": "failed", "code": 1}],
    "adapters": [{"index": 0, "name": "example-fc-0",
        "attributes": {"node_wwn": "20:00:00:00:c9:00:00:00", "model": "EX", "driver_version": "1"},
        "ports": [{"index": 0, "port_wwn": "10:00:00:00:c9:00:00:01", "state": "ONLINE", "speed": "16GBIT",
            "speed_bits": 32, "supported_speeds": ["8GBIT", "16GBIT"],
            "remote_ports": [{"port_wwn": "50:00:00:00:ab:00:00:01", "node_wwn": "51:00:00:00:ab:00:00:01",
                "state": "ONLINE", "mapped_luns": [0, "4000000000000001"], "reported_luns": [0],
                "luns": [{"lun": 0, "os_device": "/dev/sda", "device_type": "0x00", "capacity_bytes": 512},
                         {"lun": "4000000000000001"}]}]},
            {"index": 1, "failures": [{"exception": "E", "text": "failed", "code": 1,
                                       "cause": {"text": "BUSY"}}]}],
        "remote_ports": [{"port_wwn": "50:00:00:00:ab:00:00:02", "mapped_luns": [1], "luns": [{"lun": 1}]}]}]})");

Json const statisticsDocument = Json::parse(R"({
    "format_version": 2, "command": "statistics", "adapters": [{"index": 0, "name": "example-fc-0",
        "ports": [{"index": 0, "port_wwn": "10:00:00:00:c9:00:00:01", "counters": {"error_frames": 5}}]}]})");

Json const latencyDocument = Json::parse(R"({
    "format_version": 2, "command": "latency", "adapters": [{"index": 0, "name": "example-fc-0",
        "target_ports": [{"port_wwn": "50:00:00:00:ab:00:00:01", "latencies": {"latency_us": {"p99": 30000}}}]}]})");

Json const watchDocument = Json::parse(R"({
    "format_version": 2, "command": "watch", "events": [{"board": 0, "category": 7, "written": 3}],
    "drops": [{"board": 0, "dropped": 1}]})");

/// @return the document with each of its values replaced by each unexpected one, and with each value removed
std::vector<Json> mutationsOf(Json const& aDocument)
{
    std::vector<Json::json_pointer> places;
    std::function<void(Json const&, Json::json_pointer const&)> const collect =
        [&](Json const& aValue, Json::json_pointer const& aPlace)
    {
        places.push_back(aPlace);
        if (aValue.is_object())
        {
            for (auto const& [key, value] : aValue.items())
            {
                collect(value, aPlace / key);
            }
        }
        for (std::size_t i = 0; aValue.is_array() && i < aValue.size(); ++i)
        {
            collect(aValue[i], aPlace / i);
        }
    };
    collect(aDocument, Json::json_pointer());
    std::vector<Json> mutations;
    for (Json::json_pointer const& place : places)
    {
        for (Json const& value : unexpected)
        {
            mutations.push_back(aDocument);
            mutations.back()[place] = value;
        }
        if (!place.empty())
        {
            mutations.push_back(aDocument);
            Json& parent = mutations.back()[place.parent_pointer()];
            if (parent.is_array())
            {
                parent.erase(std::stoul(place.back()));
            }
            else
            {
                parent.erase(place.back());
            }
        }
    }
    return mutations;
}

/// Counts what is accepted. Each other mutation must be refused with a text.
template <typename Read>
std::size_t acceptedBy(Read aRead, Json const& aDocument)
{
    std::size_t accepted = 0;
    for (Json const& document : mutationsOf(aDocument))
    {
        try
        {
            aRead(document);
            ++accepted;
        }
        catch (qzagent::DocumentError const& error)
        {
            EXPECT_NE(std::string(error.what()).find(" was expected"), std::string::npos) << error.what();
        }
        catch (std::exception const& exception)
        {
            ADD_FAILURE() << exception.what() << ": " << document;
        }
    }
    return accepted;
}

TEST(MutatedDocuments, AreComparedOrRefused)
{
    qzagent::HostTree const whole = qzagent::hostTreeOf(inventoryDocument, "whole");
    auto const compare = [&whole](Json const& aDocument)
    {
        qzagent::HostTree const tree = qzagent::hostTreeOf(aDocument, "mutated");
        EXPECT_EQ(textOf(changesBetween(tree, tree)), "") << aDocument;
        std::vector<qzagent::Change> const changes = changesBetween(whole, tree);
        EXPECT_EQ(textOf(changes).empty(), jsonOf(changes).empty());
    };
    std::size_t const mutations = mutationsOf(inventoryDocument).size();
    std::size_t const accepted = acceptedBy(compare, inventoryDocument);
    EXPECT_GT(accepted, mutations / 10) << "values of unknown keys can be anything";
    EXPECT_LT(accepted, mutations) << "some are refused";
}

TEST(MutatedDocuments, AreExaminedOrRefused)
{
    qzagent::RuleSettings rules;
    rules.mCategories = {7};
    auto const findings = [&rules](qzagent::HostState const& aState)
    { return findingsIn(aState, rules).size(); };
    auto const examineInventory = [&](Json const& aDocument) {
        findings({qzagent::hostTreeOf(aDocument, "mutated"), {}, {}, {}});
    };
    auto const examineStatistics = [&](Json const& aDocument) {
        findings({{}, qzagent::countersBetween(statisticsDocument, aDocument), {}, {}});
    };
    auto const examineLatency = [&](Json const& aDocument) {
        findings({{}, {}, qzagent::latenciesIn(aDocument), {}});
    };
    auto const examineEvents = [&](Json const& aDocument) {
        findings({{}, {}, {}, qzagent::eventsIn(aDocument)});
    };
    qzagent::HostTree const whole = qzagent::hostTreeOf(inventoryDocument, "whole");
    auto const examineStates = [&](Json const& aDocument) {
        findings({whole, {}, {}, {}, qzagent::statesIn(aDocument)});
    };
    Json portsDocument = inventoryDocument;
    portsDocument["command"] = "ports";
    EXPECT_GT(acceptedBy(examineStates, portsDocument), 0u);
    EXPECT_GT(acceptedBy(examineInventory, inventoryDocument), 0u);
    EXPECT_GT(acceptedBy(examineStatistics, statisticsDocument), 0u);
    EXPECT_GT(acceptedBy(examineLatency, latencyDocument), 0u);
    EXPECT_GT(acceptedBy(examineEvents, watchDocument), 0u);
}
}  // namespace
