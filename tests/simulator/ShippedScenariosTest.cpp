// Checks that the shipped scenarios do what their comments say.
#include <string>

#include <gtest/gtest.h>

#include "tests/simulator/Qzsim.h"

namespace
{
std::string outputOf(std::string const& aScenario, Arguments aCommand, Arguments const& aSteps)
{
    aCommand.insert(aCommand.begin(), {"--verify", "--scenario", shipped(aScenario)});
    aCommand.insert(aCommand.end(), aSteps.begin(), aSteps.end());
    ProcessResult const result = runQzsim(aCommand);
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    return result.mOutput;
}

/// @return the output of hba_probe for these steps, after it has loaded the adapters of the scenario
std::string probed(std::string const& aScenario, Arguments const& aSteps)
{
    return outputOf(aScenario, {HBA_PROBE, "load", "count"}, aSteps);
}

/// @return the output of vqm_probe for these steps, after it has opened the diagnostic library
std::string probedDiagnostics(std::string const& aScenario, Arguments const& aSteps)
{
    return outputOf(aScenario, {VQM_PROBE, "open=/usr/lib/libvqm.so", "version", "init", "driver=0"}, aSteps);
}

TEST(ShippedScenarios, TwoAdaptersAnswerEveryQuery)
{
    EXPECT_EQ(probed("two-adapters.toml", {"open=example-fc-0", "attributes", "port=0", "port=1",
                                           "mappings=8", "luns=50:00:00:00:ab:00:00:01"}),
              "load: 0\ncount: 2\nopen example-fc-0: 1\nattributes: 0 \"EX-2200\" with 2 ports\n"
              "port 0: 0 id 010100, sees 2\n  port 0: 0 id 010200\n  port 1: 0 id 010300\n"
              "port 1: 0 id 020100, sees 1\n  port 0: 0 id 020200\n"
              "mappings: 0 of 8\nluns: 0, 32 bytes, sense key 0\n");
}

TEST(ShippedScenarios, SecondOfTwoAdaptersSeesNoPorts)
{
    EXPECT_EQ(probed("two-adapters.toml", {"open=example-fc-1", "attributes", "port=0", "mappings=8"}),
              "load: 0\ncount: 2\nopen example-fc-1: 1\nattributes: 0 \"EX-2100\" with 1 ports\n"
              "port 0: 0 id 000000, sees 0\nmappings: 0 of 0\n");
}

TEST(ShippedScenarios, LargeFabricHasThousandsOfLuns)
{
    EXPECT_EQ(probed("large-fabric.toml",
                     {"open=example-fc-0", "mappings=256", "mappings=40000", "luns=50:00:00:00:ab:00:00:14"}),
              "load: 0\ncount: 1\nopen example-fc-0: 1\nmappings: 7 of 40000\nmappings: 0 of 40000\n"
              "luns: 0, 40000 bytes, sense key 0\n");
}

TEST(ShippedScenarios, BusyAdapterAnswersAfterRetries)
{
    std::string const luns = "luns=50:00:00:00:ab:00:00:01";
    EXPECT_EQ(
        probed("busy-adapter.toml",
               {"open=example-fc-0", "mappings=8", "mappings=8", "mappings=8", luns, luns, luns}),
        "load: 0\ncount: 1\nopen example-fc-0: 1\nmappings: 10 of 8\nmappings: 10 of 8\nmappings: 0 of 8\n"
        "luns: 9, 0 bytes, sense key 6\nluns: 10, 0 bytes, sense key 0\nluns: 0, 64 bytes, sense key 0\n");
}

TEST(ShippedScenarios, ProgramOfTheSecondVersionSeesATargetDisappearForAMoment)
{
    EXPECT_EQ(
        probed(
            "second-version.toml",
            {"open=example-fc-0", "mappingsV2=10:00:00:00:c9:00:00:01", "mappingsV2=10:00:00:00:c9:00:00:01",
             "fc4Statistics=10:00:00:00:c9:00:00:01", "watchTargets=10:00:00:00:c9:00:00:01", "await=2"}),
        "load: 0\ncount: 1\nopen example-fc-0: 1\nmappings V2: 0 of 1, id 010200, luid 0103000850000000ab\n"
        "mappings V2: 7 of 2, id 010200, luid 0103000850000000ab\nFC-4 statistics: 0, 5000\nwatch targets: "
        "0\n"
        "target event: 401 of 1 at 1\ntarget event: 402 of 1 at 1\nevents: all\n");
}

TEST(ShippedScenarios, FaultyPortFailsToReportItsAttributes)
{
    EXPECT_EQ(probed("faulty-port.toml", {"open=example-fc-0", "attributes", "port=0", "port=1"}),
              "load: 0\ncount: 1\nopen example-fc-0: 1\nattributes: 0 \"\" with 2 ports\n"
              "port 0: 0 id 010100, sees 0\nport 1: 1 id 000000, sees 0\n");
}

TEST(ShippedScenarios, UnsupportedAdapterNeverReportsItsAttributes)
{
    EXPECT_EQ(
        probed("unsupported-adapter.toml",
               {"open=example-fc-0", "attributes", "open=example-fc-1", "attributes", "attributes"}),
        "load: 0\ncount: 2\nopen example-fc-0: 1\nattributes: 0 \"\" with 1 ports\nopen example-fc-1: 2\n"
        "attributes: 2 \"\" with 0 ports\nattributes: 2 \"\" with 0 ports\n");
}

TEST(ShippedScenarios, FailingNameIsFoundByCountingAgain)
{
    EXPECT_EQ(probed("failing-name.toml", {"name=1", "count", "name=2", "free"}),
              "load: 0\ncount: 2\nname 1: 10 \"\"\ncount: 3\nname 2: 0 \"example-fc-1\"\nfree: 0\n");
}

TEST(ShippedScenarios, DiagnosticEventsHasOneBoardPerAdapter)
{
    std::string const boards =
        "open /usr/lib/libvqm.so: there\nversion: 2.1.0\ninit: 2, driver \"4.0.12\"\n"
        "driver 0: 0 version 4 features 0x100\n"
        "link 0: 0 first 20:00:00:00:c9:00:00:00 second 10:00:00:00:c9:00:00:01\n"
        "link 1: 0 first 20:00:00:00:c9:00:00:10 second 10:00:00:00:c9:00:00:11\n";
    EXPECT_EQ(probedDiagnostics("diagnostic-events.toml", {"link=0", "link=1"}), boards);
    EXPECT_EQ(probed("diagnostic-events.toml", {"name=0", "name=1"}),
              "load: 0\ncount: 2\nname 0: 0 \"example-fc-0\"\nname 1: 0 \"example-fc-1\"\n");
}

TEST(ShippedScenarios, DiagnosticEventsHasThreeSources)
{
    EXPECT_EQ(probedDiagnostics("diagnostic-events.toml", {"plain=0", "plain=1", "events=111", "free"}),
              "open /usr/lib/libvqm.so: there\nversion: 2.1.0\ninit: 2, driver \"4.0.12\"\n"
              "driver 0: 0 version 4 features 0x100\nplain 0: 0\nplain 1: 0\n"
              "100 of plain board 0 category 3/7 context length 64\n"
              "10 of plain board 0 category 4/1 context length 3\n"
              "1 of plain board 1 category 5/0 context length 0\nfree\n");
}

TEST(ShippedScenarios, NoQuazorDriverSendsOnlyPlainEvents)
{
    EXPECT_EQ(probedDiagnostics("no-quazor.toml", {"plain=0", "events=5", "free"}),
              "open /usr/lib/libvqm.so: there\nversion: 2.1.0\ninit: 2, driver \"3.2.0\"\n"
              "driver 0: 0 version 4 features 0x0\nplain 0: 0\n"
              "5 of plain board 0 category 3/7 context length 16\nfree\n");
}

TEST(ShippedScenarios, NoAdaptersScenarioLoadsWithoutAdapters)
{
    EXPECT_EQ(probed("no-adapters.toml", {"name=0", "free"}), "load: 0\ncount: 0\nname 0: 6 \"\"\nfree: 0\n");
}
}  // namespace
