// Compares the diff of two inventories in files with parsing the two files.
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/diff/ChangeText.h"
#include "tools/qzagent/diff/HostChanges.h"
#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/documents/HostTree.h"

namespace
{
using Json = nlohmann::ordered_json;

constexpr unsigned int numberOfPorts = 2;
constexpr unsigned int numberOfTargets = 4;
constexpr unsigned int lunsOfTarget = 500;

Json remotePort(unsigned int aPort, unsigned int aTarget, char const* aDevices)
{
    Json json{{"port_wwn", fmt::format("50:00:00:00:ab:00:00:{:02x}", aTarget)},
              {"node_wwn", fmt::format("51:00:00:00:ab:00:00:{:02x}", aTarget)},
              {"type", "NPORT"},
              {"state", "ONLINE"}};
    for (unsigned int lun = 0; lun < lunsOfTarget; ++lun)
    {
        json["mapped_luns"].push_back(lun);
        json["reported_luns"].push_back(lun);
        json["luns"].push_back(
            {{"lun", lun}, {"os_device", fmt::format("/dev/{}{}-{}-{}", aDevices, aPort, aTarget, lun)}});
    }
    return json;
}

/// @return an inventory of 4,000 LUNs, formatted as the agent prints it
std::string inventory(char const* aDevices)
{
    Json adapters;
    for (unsigned int port = 0; port < numberOfPorts; ++port)
    {
        Json remotePorts;
        for (unsigned int target = 0; target < numberOfTargets; ++target)
        {
            remotePorts.push_back(remotePort(port, target, aDevices));
        }
        adapters.push_back({{"index", port},
                            {"name", fmt::format("example-fc-{}", port)},
                            {"attributes", {{"number_of_ports", 1}}},
                            {"ports",
                             {{{"index", 0},
                               {"port_wwn", fmt::format("10:00:00:00:c9:00:00:{:02x}", port)},
                               {"state", "ONLINE"},
                               {"remote_ports", remotePorts}}}},
                            {"remote_ports", Json::array()}});
    }
    Json const document{
        {"format_version", 2},    {"host", "example"},         {"generated_at", "2026-01-01T00:00:00Z"},
        {"command", "inventory"}, {"messages", Json::array()}, {"adapters", adapters}};
    return document.dump(2);
}

/// Two inventories in files that end with this object.
class Looks
{
public:
    Looks()
    {
        std::ofstream(mOld) << inventory("sd");
        std::ofstream(mNew) << inventory("dm");
    }
    ~Looks()
    {
        std::remove(mOld.c_str());
        std::remove(mNew.c_str());
    }

    std::string const mOld = fmt::format("/tmp/qz-diff-{}-old", ::getpid());
    std::string const mNew = fmt::format("/tmp/qz-diff-{}-new", ::getpid());
};

std::size_t changes(std::string const& aOld, std::string const& aNew)
{
    qzagent::ErrorStream errors;
    qzagent::Report report(errors);
    auto const tree = [&report](std::string const& aPath)
    { return qzagent::hostTreeOf(qzagent::readDocuments(aPath, report).at("inventory"), aPath); };
    return textOf(qzagent::changesBetween(tree(aOld), tree(aNew))).size();
}

void DiffOfTwoEqualInventories(benchmark::State& aState)
{
    Looks const looks;
    for (auto _ : aState)
    {
        benchmark::DoNotOptimize(changes(looks.mOld, looks.mOld));
    }
}

void DiffOfTwoInventoriesWithOtherDevices(benchmark::State& aState)
{
    Looks const looks;
    for (auto _ : aState)
    {
        benchmark::DoNotOptimize(changes(looks.mOld, looks.mNew));
    }
}

void ParsingTheTwoInventories(benchmark::State& aState)
{
    Looks const looks;
    for (auto _ : aState)
    {
        for (std::string const& path : {looks.mOld, looks.mNew})
        {
            std::ifstream file(path, std::ios::binary);
            std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            benchmark::DoNotOptimize(Json::parse(text));
        }
    }
}

BENCHMARK(DiffOfTwoEqualInventories)->Unit(benchmark::kMillisecond);
BENCHMARK(DiffOfTwoInventoriesWithOtherDevices)->Unit(benchmark::kMillisecond);
BENCHMARK(ParsingTheTwoInventories)->Unit(benchmark::kMillisecond);
}  // namespace
