#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{
using Names = std::vector<std::string>;

Names namesIn(ProcessResult const& aResult)
{
    nlohmann::json const document = documentOf(aResult);
    Names names;
    for (nlohmann::json const& adapter : document["adapters"])
    {
        names.push_back(adapter["name"]);
    }
    return names;
}

ProcessResult inventoryOf(std::string const& aScenario, std::string const& aAdapter)
{
    return runAgentOn(aScenario, {"inventory", "--json", "--adapter", aAdapter});
}

struct Selection
{
    char const* mName;
    char const* mAdapter;
};

std::ostream& operator<<(std::ostream& aOut, Selection const& aSelection) { return aOut << aSelection.mName; }

class QzagentSelection : public testing::TestWithParam<Selection>
{
};

TEST_P(QzagentSelection, SelectsTheSecondAdapter)
{
    ProcessResult const result = inventoryOf(shippedScenario("two-adapters"), GetParam().mAdapter);
    EXPECT_THAT(namesIn(result), ElementsAre("example-fc-1"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

INSTANTIATE_TEST_SUITE_P(Forms, QzagentSelection,
                         testing::Values(Selection{"Name", "example-fc-1"}, Selection{"Index", "1"},
                                         Selection{"NodeWwn", "20:00:00:00:c9:00:00:10"},
                                         Selection{"WwnWithoutColons", "20000000c9000010"},
                                         Selection{"WwnWithPrefix", "0x20000000C9000010"},
                                         Selection{"WwnWithLargePrefix", "0X20000000c9000010"},
                                         Selection{"PortWwn", "10:00:00:00:c9:00:00:11"},
                                         Selection{"UpperCase", "10:00:00:00:C9:00:00:11"}),
                         [](testing::TestParamInfo<Selection> const& aInfo)
                         { return std::string(aInfo.param.mName); });

TEST(QzagentWantedAdapter, NameTakesPrecedenceOverIndex)
{
    std::string const scenario =
        adapterNamed("example-fc-0") + adapterNamed("example-fc-1") + adapterNamed("1");
    EXPECT_THAT(namesIn(inventoryOf(scenario, "1")), ElementsAre("1"));
    EXPECT_THAT(namesIn(inventoryOf(scenario, "2")), ElementsAre("1"));
}

TEST(QzagentWantedAdapter, NameTakesPrecedenceOverWwn)
{
    std::string const wwn = "10:00:00:00:c9:00:00:01";
    std::string const scenario = adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed(wwn);
    EXPECT_THAT(namesIn(inventoryOf(scenario, wwn)), ElementsAre(wwn));
}

TEST(QzagentWantedAdapter, IndexIsANumberWithoutLeadingZeros)
{
    ProcessResult const result = inventoryOf(shippedScenario("two-adapters"), "01");
    EXPECT_THAT(namesIn(result), IsEmpty());
    EXPECT_EQ(result.mErrors, "qzagent: no adapter '01'; run qzagent adapters to list them\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWantedAdapter, IndexBehindTheLastAdapterIsAnError)
{
    EXPECT_EQ(inventoryOf(shippedScenario("two-adapters"), "2").mExitStatus, 1);
}

TEST(QzagentWantedAdapter, WwnSelectsAllAdaptersThatHaveIt)
{
    std::string const node = "node_wwn = \"20:00:00:00:c9:00:00:00\"\n";
    std::string const scenario = adapterNamed("example-fc-0") + node + portNumbered(1) +
                                 adapterNamed("example-fc-1") + portNumbered(2) +
                                 adapterNamed("example-fc-2") + node + portNumbered(3);
    EXPECT_THAT(namesIn(inventoryOf(scenario, "20:00:00:00:c9:00:00:00")),
                ElementsAre("example-fc-0", "example-fc-2"));
}

TEST(QzagentWantedAdapter, WwnOfZerosSelectsNoAdapter)
{
    EXPECT_THAT(
        namesIn(inventoryOf(adapterNamed("example-fc-0") + portNumbered(1), "00:00:00:00:00:00:00:00")),
        IsEmpty());
}

TEST(QzagentWantedAdapter, OtherAdaptersAreNotOpenedForAnIndex)
{
    std::string const trace =
        runAgentOn(shippedScenario("two-adapters"), {"inventory", "--adapter", "1", "--trace"}).mErrors;
    EXPECT_THAT(trace, HasSubstr("adapter name = <example-fc-1>"));
    EXPECT_THAT(trace, Not(HasSubstr("adapter name = <example-fc-0>")));
}

std::string const firstHasAPortAndSecondFails =
    adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed("example-fc-1") +
    fault("HBA_OpenAdapter", "1", "HBA_STATUS_ERROR", "adapter = \"example-fc-1\"\n");

TEST(QzagentWantedAdapter, FailuresOfTheSearchForAWwnAreNotReportedWhenAnAdapterMatches)
{
    ProcessResult const result = inventoryOf(firstHasAPortAndSecondFails, "10:00:00:00:c9:00:00:01");
    EXPECT_THAT(namesIn(result), ElementsAre("example-fc-0"));
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST(QzagentWantedAdapter, FailuresOfTheSearchForAWwnAreReportedWhenNoAdapterMatches)
{
    ProcessResult const result = inventoryOf(firstHasAPortAndSecondFails, "10:00:00:00:c9:00:00:77");
    EXPECT_EQ(result.mErrors,
              "qzagent: example-fc-1: QZCHbaapiEx: HBA_OpenAdapter method failed (code 802): "
              "HBA_STATUS_ERROR (1) in call 7, HBA_OpenAdapter\n"
              "qzagent: no adapter '10:00:00:00:c9:00:00:77'; run qzagent adapters to list them\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST(QzagentWantedAdapter, SimilarNameIsSuggested)
{
    EXPECT_EQ(inventoryOf(shippedScenario("two-adapters"), "exmaple-fc-1").mErrors,
              "qzagent: no adapter 'exmaple-fc-1'; did you mean 'example-fc-1'?\n");
}

TEST(QzagentWantedAdapter, LatencyMeasuresTheAdapterWithTheWwn)
{
    ProcessResult const result =
        runAgentOn(shippedScenario("two-adapters"),
                   {"latency", "--json", "--count", "1", "--adapter", "10:00:00:00:c9:00:00:11"});
    EXPECT_THAT(namesIn(result), ElementsAre("example-fc-1"));
}
}  // namespace
