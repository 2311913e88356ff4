#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"

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

char const* const oneAdapter = "[[adapter]]\nname = \"example-fc-0\"\n";

char const* const oneFailingAdapter = R"(
[[adapter]]
name = "example-fc-0"

[[adapter]]
name = "example-fc-1"

[[fault]]
call = "HBA_OpenAdapter"
adapter = "example-fc-1"
nth = 1
status = "HBA_STATUS_ERROR"
)";

char const* const failedLoad = R"(
[[fault]]
call = "HBA_LoadLibrary"
nth = 1
status = "HBA_STATUS_ERROR"
)";

class QzagentContract : public testing::TestWithParam<Situation>
{
};

TEST_P(QzagentContract, IsKeptByTheDocument)
{
    Situation const& situation = GetParam();
    ProcessResult const result = runAgentOn(situation.mScenario, situation.mArguments);
    EXPECT_TRUE(satisfies(result.mOutput, situation.mSchema));
    EXPECT_EQ(result.mExitStatus, situation.mExitStatus);
    EXPECT_EQ(documentOf(result)["exit_status"], situation.mExitStatus);
}

INSTANTIATE_TEST_SUITE_P(
    Situations, QzagentContract,
    testing::Values(
        Situation{"Adapters", oneAdapter, {"adapters", "--json"}, "adapters", 0},
        Situation{"NoAdapters", "", {"adapters", "--json"}, "adapters", 0},
        Situation{"OneFailingAdapter", oneFailingAdapter, {"adapters", "--json"}, "adapters", 1},
        Situation{"FailedLoad", failedLoad, {"adapters", "--json"}, "adapters", 1},
        Situation{"MisusedAdapters", "", {"adapters", "--json", "--bogus"}, "adapters", 2},
        Situation{"Inventory", shippedScenario("two-adapters"), {"inventory", "--json"}, "inventory", 0},
        Situation{"UnsupportedAdapter",
                  shippedScenario("unsupported-adapter"),
                  {"inventory", "--json"},
                  "inventory",
                  1},
        Situation{"FaultyPort", shippedScenario("faulty-port"), {"inventory", "--json"}, "inventory", 1},
        Situation{"LargeFabric", shippedScenario("large-fabric"), {"inventory", "--json"}, "inventory", 1},
        Situation{"UnknownAdapter",
                  oneAdapter,
                  {"inventory", "--json", "--adapter", "example-fc-9"},
                  "inventory",
                  1},
        Situation{"InventoryWithoutAdapters", "", {"inventory", "--json"}, "inventory", 0},
        Situation{"InventoryOfAFailedLoad", failedLoad, {"inventory", "--json"}, "inventory", 1},
        Situation{"MisusedInventory", "", {"inventory", "--json", "0"}, "inventory", 2},
        Situation{"Vendor", shippedScenario("diagnostic-events"), {"vendor", "--json"}, "vendor", 0},
        Situation{"VendorWithoutBoards", "", {"vendor", "--json"}, "vendor", 0},
        Situation{"FailingBoard",
                  shippedScenario("diagnostic-events") +
                      "[[fault]]\ncall = \"VQM_GetLinkInfo\"\nboard = 0\nnth = 1\nresult = 5\n",
                  {"vendor", "--json"},
                  "vendor",
                  1},
        Situation{"MisusedVendor", "", {"vendor", "--json", "0"}, "vendor", 2},
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
        Situation{"MisusedWatch", "", {"watch", "--json", "--count", "0"}, "watch", 2},
        Situation{"Explain", "", {"explain", "--json"}, "explain", 0},
        Situation{"MisusedExplain", "", {"explain", "--json", "3"}, "explain", 2},
        Situation{"NoVerb", "", {"--json"}, "envelope", 2}),
    [](testing::TestParamInfo<Situation> const& aInfo) { return std::string(aInfo.param.mName); });

TEST(QzagentContract, IsKeptWithHostileNames)
{
    EXPECT_TRUE(satisfies(runAgent({"adapters", "--json"}, hostileHbaapi()).mOutput, "adapters"));
}

TEST(QzagentContract, IsKeptWithHostileValues)
{
    EXPECT_TRUE(satisfies(runAgent({"inventory", "--json"}, hostileHbaapi()).mOutput, "inventory"));
}
}  // namespace
