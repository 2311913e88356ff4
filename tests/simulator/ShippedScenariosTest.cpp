// The scenarios that come with the simulator, as their comments promise.
#include <string>

#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"

namespace
{
/// What the probe prints that goes these steps with the adapters of the scenario loaded.
std::string probed(std::string const& aScenario, Arguments const& aSteps)
{
    Arguments command = {"--verify", "--scenario", shipped(aScenario), HBA_PROBE, "load", "count"};
    command.insert(command.end(), aSteps.begin(), aSteps.end());
    ProcessResult const result = qzsim(command);
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    return result.mOutput;
}

TEST(ShippedScenarios, TwoAdaptersDoAllTheyAreAsked)
{
    EXPECT_EQ(probed("two-adapters.toml", {"open=example-fc-0", "attributes", "port=0", "port=1",
                                           "mappings=8", "luns=50:00:00:00:ab:00:00:01"}),
              "load: 0\ncount: 2\nopen example-fc-0: 1\nattributes: 0 \"EX-2200\" with 2 ports\n"
              "port 0: 0 id 010100, sees 2\n  port 0: 0 id 010200\n  port 1: 0 id 010300\n"
              "port 1: 0 id 020100, sees 1\n  port 0: 0 id 020200\n"
              "mappings: 0 of 8\nluns: 0, 32 bytes, sense key 0\n");
}

TEST(ShippedScenarios, TheSecondOfTwoAdaptersSeesNothing)
{
    EXPECT_EQ(probed("two-adapters.toml", {"open=example-fc-1", "attributes", "port=0", "mappings=8"}),
              "load: 0\ncount: 2\nopen example-fc-1: 1\nattributes: 0 \"EX-2100\" with 1 ports\n"
              "port 0: 0 id 000000, sees 0\nmappings: 0 of 0\n");
}

TEST(ShippedScenarios, ALargeFabricHasThousandsOfLuns)
{
    EXPECT_EQ(probed("large-fabric.toml",
                     {"open=example-fc-0", "mappings=256", "mappings=40000", "luns=50:00:00:00:ab:00:00:14"}),
              "load: 0\ncount: 1\nopen example-fc-0: 1\nmappings: 7 of 40000\nmappings: 0 of 40000\n"
              "luns: 0, 40000 bytes, sense key 0\n");
}

TEST(ShippedScenarios, ABusyAdapterAnswersInTheEnd)
{
    std::string const luns = "luns=50:00:00:00:ab:00:00:01";
    EXPECT_EQ(
        probed("busy-adapter.toml",
               {"open=example-fc-0", "mappings=8", "mappings=8", "mappings=8", luns, luns, luns}),
        "load: 0\ncount: 1\nopen example-fc-0: 1\nmappings: 10 of 8\nmappings: 10 of 8\nmappings: 0 of 8\n"
        "luns: 9, 0 bytes, sense key 6\nluns: 10, 0 bytes, sense key 0\nluns: 0, 64 bytes, sense key 0\n");
}

TEST(ShippedScenarios, AFaultyPortDoesNotTellItsAttributes)
{
    EXPECT_EQ(probed("faulty-port.toml", {"open=example-fc-0", "attributes", "port=0", "port=1"}),
              "load: 0\ncount: 1\nopen example-fc-0: 1\nattributes: 0 \"\" with 2 ports\n"
              "port 0: 0 id 010100, sees 0\nport 1: 1 id 000000, sees 0\n");
}

TEST(ShippedScenarios, AnUnsupportedAdapterNeverTellsItsAttributes)
{
    EXPECT_EQ(
        probed("unsupported-adapter.toml",
               {"open=example-fc-0", "attributes", "open=example-fc-1", "attributes", "attributes"}),
        "load: 0\ncount: 2\nopen example-fc-0: 1\nattributes: 0 \"\" with 1 ports\nopen example-fc-1: 2\n"
        "attributes: 2 \"\" with 0 ports\nattributes: 2 \"\" with 0 ports\n");
}

TEST(ShippedScenarios, AFailingNameComesToLightWhenTheAdaptersAreCountedAgain)
{
    EXPECT_EQ(probed("failing-name.toml", {"name=1", "count", "name=2", "free"}),
              "load: 0\ncount: 2\nname 1: 10 \"\"\ncount: 3\nname 2: 0 \"example-fc-1\"\nfree: 0\n");
}

TEST(ShippedScenarios, AHostMayHaveNoAdapters)
{
    EXPECT_EQ(probed("no-adapters.toml", {"name=0", "free"}), "load: 0\ncount: 0\nname 0: 6 \"\"\nfree: 0\n");
}
}  // namespace
