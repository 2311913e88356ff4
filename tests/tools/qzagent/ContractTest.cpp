#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

namespace
{
struct Situation
{
    char const* mName;
    std::string mScenario;
    Arguments mArguments;
    std::string mSchema;
    int mExitStatus;
};

std::ostream& operator<<(std::ostream& aOut, Situation const& aSituation) { return aOut << aSituation.mName; }

std::string const oneAdapter = adapterNamed("example-fc-0") + portNumbered(1);

class QzagentDocument : public testing::TestWithParam<Situation>
{
};

TEST_P(QzagentDocument, SatisfiesItsSchema)
{
    Situation const& situation = GetParam();
    ProcessResult const result = runAgentOn(situation.mScenario, situation.mArguments);
    EXPECT_TRUE(satisfies(result.mOutput, situation.mSchema));
    EXPECT_EQ(result.mExitStatus, situation.mExitStatus);
    EXPECT_EQ(documentOf(result)["exit_status"], situation.mExitStatus);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, QzagentDocument,
    testing::Values(
        Situation{"Adapters", oneAdapter, {"adapters", "--json"}, "adapters", 0},
        Situation{"NoAdapters", "", {"adapters", "--json"}, "adapters", 0},
        Situation{"OneFailingAdapter", secondAdapterFails(), {"adapters", "--json"}, "adapters", 1},
        Situation{"FailedLoad", failedLoad(), {"adapters", "--json"}, "adapters", 1},
        Situation{"AdaptersUsageError", "", {"adapters", "--json", "--bogus"}, "adapters", 2},
        Situation{"AdaptersWithAFailingPort",
                  shippedScenario("faulty-port"),
                  {"adapters", "--json"},
                  "adapters",
                  1},
        Situation{"Ports", shippedScenario("two-adapters"), {"ports", "--json"}, "ports", 0},
        Situation{"PortsWithAFailingPort", shippedScenario("faulty-port"), {"ports", "--json"}, "ports", 1},
        Situation{"PortsOfAnUnsupportedAdapter",
                  shippedScenario("unsupported-adapter"),
                  {"ports", "--json"},
                  "ports",
                  1},
        Situation{"PortsOfALargeFabric", shippedScenario("large-fabric"), {"ports", "--json"}, "ports", 0},
        Situation{"PortsWithoutAdapters", "", {"ports", "--json"}, "ports", 0},
        Situation{"PortsFailedLoad", failedLoad(), {"ports", "--json"}, "ports", 1},
        Situation{"PortsUsageError", "", {"ports", "--json", "0"}, "ports", 2},
        Situation{"Inventory", shippedScenario("two-adapters"), {"inventory", "--json"}, "inventory", 0},
        Situation{"UnsupportedAdapter",
                  shippedScenario("unsupported-adapter"),
                  {"inventory", "--json"},
                  "inventory",
                  1},
        Situation{"FaultyPort", shippedScenario("faulty-port"), {"inventory", "--json"}, "inventory", 1},
        Situation{"LargeFabric", shippedScenario("large-fabric"), {"inventory", "--json"}, "inventory", 0},
        Situation{"UnknownAdapter",
                  oneAdapter,
                  {"inventory", "--json", "--adapter", "example-fc-9"},
                  "inventory",
                  1},
        Situation{"InventoryWithoutAdapters", "", {"inventory", "--json"}, "inventory", 0},
        Situation{"InventoryFailedLoad", failedLoad(), {"inventory", "--json"}, "inventory", 1},
        Situation{"InventoryUsageError", "", {"inventory", "--json", "0"}, "inventory", 2},
        Situation{"Statistics", shippedScenario("two-adapters"), {"statistics", "--json"}, "statistics", 0},
        Situation{"StatisticsWithoutAdapters", "", {"statistics", "--json"}, "statistics", 0},
        Situation{"StatisticsFailedLoad", failedLoad(), {"statistics", "--json"}, "statistics", 1},
        Situation{"StatisticsUsageError", "", {"statistics", "--json", "--count", "0"}, "statistics", 2},
        Situation{"Metrics", shippedScenario("two-adapters"), {"metrics", "--json"}, "metrics", 0},
        Situation{"MetricsFailedLoad", failedLoad(), {"metrics", "--json"}, "metrics", 1},
        Situation{"MetricsUsageError", "", {"metrics", "--json", "0"}, "metrics", 2},
        Situation{"Vendor", shippedScenario("diagnostic-events"), {"vendor", "--json"}, "vendor", 0},
        Situation{"VendorWithoutBoards", "", {"vendor", "--json"}, "vendor", 0},
        Situation{"FailingBoard",
                  shippedScenario("diagnostic-events") +
                      "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 0\nnth = 1\nresult = 5\n",
                  {"vendor", "--json"},
                  "vendor",
                  1},
        Situation{"VendorUsageError", "", {"vendor", "--json", "0"}, "vendor", 2},
        Situation{"Watch",
                  shippedScenario("diagnostic-events"),
                  {"watch", "--json", "--output", "/dev/null", "--count", "101"},
                  "watch",
                  0},
        Situation{"WatchWithoutBoards", "", {"watch", "--json", "--output", "/dev/null"}, "watch", 1},
        Situation{"WatchOnAFullDevice",
                  shippedScenario("diagnostic-events"),
                  {"watch", "--json", "--output", "/dev/full"},
                  "watch",
                  1},
        Situation{"WatchUsageError", "", {"watch", "--json", "--count", "0"}, "watch", 2},
        Situation{"BundleToAMissingFolder", "", {"bundle", "--json", "--output", "/missing/b"}, "bundle", 1},
        Situation{"BundleUsageError", "", {"bundle", "--json"}, "bundle", 2},
        Situation{"ReportToAMissingFolder", "", {"report", "--json", "--output", "/missing/b"}, "report", 1},
        Situation{"ReportUsageError", "", {"report", "--json"}, "report", 2},
        Situation{"RepairOfAMissingFile",
                  "",
                  {"repair", "--json", "/missing/a", "--output", "/missing/b"},
                  "repair",
                  1},
        Situation{"RepairUsageError", "", {"repair", "--json", "/missing/a"}, "repair", 2},
        Situation{"ConvertOfAMissingFile",
                  "",
                  {"convert", "--json", "/missing/a", "--output", "/missing/b"},
                  "convert",
                  1},
        Situation{"ConvertUsageError", "", {"convert", "--json", "/missing/a"}, "convert", 2},
        Situation{"Topology", oneAdapter, {"topology", "--json"}, "topology", 0},
        Situation{"TopologyFailedLoad", failedLoad(), {"topology", "--json"}, "topology", 1},
        Situation{"TopologyOfAMissingBundle", "", {"topology", "--json", "/missing/a"}, "topology", 1},
        Situation{"TopologyUsageError", "", {"topology", "--json", "--dot"}, "topology", 2},
        Situation{"LatencyHeatUsageError", "", {"latency", "--json", "--heat"}, "latency", 2},
        Situation{"DiffWithoutAFile", "", {"diff", "--json", "/missing/a"}, "diff", 3},
        Situation{"DiffUsageError", "", {"diff", "--json"}, "diff", 2},
        Situation{"Check", "", {"check", "--json", "--seconds", "1"}, "check", 0},
        Situation{"CheckWithFindings",
                  oneAdapter + "state = \"LINKDOWN\"\n",
                  {"check", "--json", "--seconds", "1"},
                  "check",
                  1},
        Situation{"CheckOfAMissingBundle", "", {"check", "--json", "/missing/a"}, "check", 3},
        Situation{"CheckFailedLoad", failedLoad(), {"check", "--json", "--seconds", "1"}, "check", 3},
        Situation{"CheckPrintsRules", "", {"check", "--json", "--print-rules"}, "check", 0},
        Situation{"CheckWithMissingRules", "", {"check", "--json", "--rules", "/missing/a"}, "check", 2},
        Situation{"CheckUsageError", "", {"check", "--json", "--seconds", "0"}, "check", 2},
        Situation{"Explain", "", {"explain", "--json"}, "explain", 0},
        Situation{"ExplainRule", "", {"explain", "--json", "link-down"}, "explain", 0},
        Situation{"ExplainUsageError", "", {"explain", "--json", "4"}, "explain", 2},
        Situation{"NoVerb", "", {"--json"}, "envelope", 2}),
    [](testing::TestParamInfo<Situation> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(QzagentDocuments, OfVerbsThatWriteFilesSatisfyTheirSchemas)
{
    ScratchFolder const folder;
    std::string const bundle = folder.path() / "bundle";
    ProcessResult const bundled =
        runAgentOn(oneAdapter + "[adapter.port.statistics]\ntx_frames = 1\n[diagnostics]\n",
                   {"bundle", "--json", "--seconds", "0", "--output", bundle});
    EXPECT_TRUE(satisfies(bundled.mOutput, "bundle"));
    EXPECT_EQ(documentOf(bundled)["exit_status"], 0);
    for (std::string const verb : {"repair", "convert"})
    {
        ProcessResult const result = runAgent({verb, "--json", bundle, "--output", folder.path() / verb});
        EXPECT_TRUE(satisfies(result.mOutput, verb));
        EXPECT_EQ(result.mExitStatus, 0);
        // Both keep the documents.
        EXPECT_EQ(runAgent({"show", "--document", "ports", folder.path() / verb}).mOutput,
                  runAgent({"show", "--document", "ports", bundle}).mOutput);
    }
}

TEST(QzagentDocuments, AdaptersSatisfyTheSchemaWithHostileNames)
{
    EXPECT_TRUE(satisfies(runAgent({"adapters", "--json"}, hostileHbaapi()).mOutput, "adapters"));
}

TEST(QzagentDocuments, PortsSatisfyTheSchemaWithHostileValues)
{
    EXPECT_TRUE(satisfies(runAgent({"ports", "--json"}, hostileHbaapi()).mOutput, "ports"));
}

TEST(QzagentDocuments, InventorySatisfiesTheSchemaWithHostileValues)
{
    EXPECT_TRUE(satisfies(runAgent({"inventory", "--json"}, hostileHbaapi()).mOutput, "inventory"));
}
}  // namespace
