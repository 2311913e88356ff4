// Runs the verb topology on simulated hosts and on files.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/Scenarios.h"

namespace
{
using testing::HasSubstr;
using testing::StartsWith;

std::string const hostWithFabric = adapterNamed("example-fc-0") + portNumbered(1) +
                                   "fabric_name = \"10:00:00:60:69:00:00:01\"\n" + targetNumbered(1, 3) +
                                   portNumbered(2) + "state = \"LINKDOWN\"\n";

class QzagentTopology : public CaptureFixture
{
protected:
    /// Writes the inventory of a host.
    std::string inventoryOf(std::string const& aScenario) const
    {
        return mFolder.write("inventory", runAgentOn(aScenario, {"inventory", "--json"}).mOutput);
    }
};

TEST_F(QzagentTopology, ShowsTheSameOfTheHostNowAsOfItsInventory)
{
    ProcessResult const live = runAgentOn(hostWithFabric, {"topology"});
    EXPECT_THAT(live.mOutput, StartsWith("ITEM           VALUE\n"
                                         "fabric         10:00:00:60:69:00:00:01\n"
                                         "├─adapter port 10:00:00:00:c9:00:00:01, example-fc-0, ONLINE"));
    EXPECT_THAT(live.mOutput, HasSubstr("\n└─remote port  50:00:00:00:ab:00:00:01, "));
    EXPECT_THAT(live.mOutput, HasSubstr(", 3 LUNs\n"
                                        "fabric         none or unknown\n"
                                        "└─adapter port 10:00:00:00:c9:00:00:02, example-fc-0, LINKDOWN"));
    EXPECT_EQ(live.mExitStatus, 0) << live.mErrors;
    ProcessResult const kept = runAgent({"topology", inventoryOf(hostWithFabric)});
    EXPECT_EQ(kept.mOutput, live.mOutput);
    EXPECT_EQ(kept.mErrors, "");
    EXPECT_EQ(kept.mExitStatus, 0);
}

TEST_F(QzagentTopology, ReadsABundleFromStandardInput)
{
    std::string const bundle = mFolder.path() / "bundle";
    runAgentOn(hostWithFabric, {"bundle", "--seconds", "0", "--output", bundle});
    EXPECT_EQ(runAgentIn("exec \"$@\" < '" + bundle + "'", {"topology", "-"}).mOutput,
              runAgent({"topology", inventoryOf(hostWithFabric)}).mOutput);
}

TEST_F(QzagentTopology, ReportsFailuresAndShowsTheRest)
{
    std::string const tree =
        "fabric         none or unknown\n"
        "├─adapter port 10:00:00:00:c9:00:00:01, example-fc-0, ONLINE";
    ProcessResult const live = runAgentOn(secondAdapterFails(), {"topology"});
    EXPECT_THAT(live.mOutput, HasSubstr(tree));
    EXPECT_THAT(
        live.mOutput,
        HasSubstr("\n└─adapter      example-fc-1\n  └─failed     HBA_STATUS_ERROR (1), HBA_OpenAdapter\n"));
    EXPECT_THAT(live.mErrors, StartsWith("qzagent: example-fc-1: "));
    EXPECT_EQ(live.mExitStatus, 1);
    std::string const inventory = inventoryOf(secondAdapterFails());
    ProcessResult const kept = runAgent({"topology", inventory});
    EXPECT_EQ(kept.mOutput, live.mOutput);
    EXPECT_EQ(kept.mErrors, "qzagent: " + inventory + ": the inventory is incomplete\n");
    EXPECT_EQ(kept.mExitStatus, 1);
}

TEST_F(QzagentTopology, OfAFileWithoutAdaptersSaysSo)
{
    ProcessResult const result = runAgent({"topology", inventoryOf(shippedScenario("no-adapters"))});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "qzagent: note: no adapters\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentTopology, FailsWithoutAnInventory)
{
    std::string const path = mFolder.write("none", "{}");
    for (std::string const option : {"--json", "--dot", "--svg"})
    {
        ProcessResult const result = runAgent({"topology", option, path});
        EXPECT_THAT(result.mErrors, HasSubstr(path));
        EXPECT_EQ(result.mExitStatus, 1);
    }
}

TEST_F(QzagentTopology, PrintsItsGraphInThreeForms)
{
    std::string const inventory = inventoryOf(hostWithFabric);
    ProcessResult const json = runAgent({"topology", "--json", inventory});
    EXPECT_TRUE(satisfies(json.mOutput, "topology"));
    nlohmann::json const nodes = documentOf(json)["nodes"];
    ASSERT_EQ(nodes.size(), 5);
    EXPECT_EQ(nodes[2], nlohmann::json::parse(R"({"kind": "fabric", "name": "10:00:00:60:69:00:00:01",
                                                  "details": "fabric", "down": false})"));
    EXPECT_EQ(nodes[4]["members"], nlohmann::json::parse(R"(["50:00:00:00:ab:00:00:01"])"));
    EXPECT_EQ(documentOf(json)["edges"].size(), 4);
    EXPECT_THAT(runAgent({"topology", "--dot", inventory}).mOutput,
                HasSubstr("\n2 [label=\"10:00:00:60:69:00:00:01\\nfabric\"]\n"));
    EXPECT_THAT(runAgent({"topology", "--svg", inventory}).mOutput,
                HasSubstr(">10:00:00:60:69:00:00:01</text>"));
}

TEST_F(QzagentTopology, DrawsColumnsWithoutGraphviz)
{
    std::string const inventory = inventoryOf(hostWithFabric);
    ProcessResult const result = runAgent({"topology", "--svg", inventory}, {{"PATH", mFolder.path()}});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    // Four columns of 190 pixels with 90 between them, and two ports; 10 pixels remain on each side.
    EXPECT_THAT(result.mOutput, HasSubstr(" width=\"1050\" height=\"128\" "));
}

TEST_F(QzagentTopology, PrintsOnlyOneForm)
{
    for (Arguments const& options : {Arguments{"--dot", "--svg"}, {"--dot", "--json"}, {"--svg", "--json"}})
    {
        ProcessResult const result = runAgent({"topology", options[0], options[1]});
        EXPECT_EQ(result.mErrors,
                  "qzagent: only one of --dot, --svg and --json can be given; see qzagent "
                  "topology --help\n");
        EXPECT_EQ(result.mExitStatus, 2);
    }
}
}  // namespace
