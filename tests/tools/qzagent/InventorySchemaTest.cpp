#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/qzagent/Agent.h"

namespace
{
/// A change to one place in the document of the two adapters.
struct Change
{
    char const* mName;
    char const* mPlace;
    char const* mValue;  ///< null to take the place away
};

std::ostream& operator<<(std::ostream& arOut, Change const& aChange) { return arOut << aChange.mName; }

class QzagentInventorySchema : public testing::TestWithParam<Change>
{
};

nlohmann::json patchOf(Change const& aChange)
{
    nlohmann::json operation{{"op", aChange.mValue == nullptr ? "remove" : "add"}, {"path", aChange.mPlace}};
    if (aChange.mValue != nullptr)
    {
        operation["value"] = nlohmann::json::parse(aChange.mValue);
    }
    return nlohmann::json::array({operation});
}

TEST_P(QzagentInventorySchema, RefusesADocumentWithTheChange)
{
    nlohmann::json const document =
        documentOf(runAgentOn(shippedScenario("two-adapters"), {"inventory", "--json"}));
    ASSERT_TRUE(satisfies(document.dump(), "inventory"));
    nlohmann::json const changed = document.patch(patchOf(GetParam()));
    EXPECT_FALSE(satisfies(changed.dump(), "inventory")) << "although it is " << changed;
}

INSTANTIATE_TEST_SUITE_P(
    Changes, QzagentInventorySchema,
    testing::Values(
        Change{"NoAdapters", "/adapters", nullptr}, Change{"SurplusKeyInAdapter", "/adapters/0/y", "1"},
        Change{"NeitherPortsNorFailures", "/adapters/0/ports", nullptr},
        Change{"NoPorts", "/adapters/0/ports", "[]"},
        Change{"PortsWithoutAttributes", "/adapters/0/attributes", nullptr},
        Change{"NoFailures", "/adapters/0/failures", "[]"},
        Change{"FailureWithoutCode", "/adapters/0/failures", R"([{"exception": "x", "text": "y"}])"},
        Change{"EmptyText", "/adapters/0/attributes/model", R"("")"},
        Change{"NullText", "/adapters/0/attributes/model", "null"},
        Change{"ZeroVendorId", "/adapters/0/attributes/vendor_specific_id", R"("0x00000000")"},
        Change{"ZeroName", "/adapters/0/attributes/node_wwn", R"("00:00:00:00:00:00:00:00")"},
        Change{"UpperCaseName", "/adapters/0/attributes/node_wwn", R"("10:00:00:00:C9:00:00:01")"},
        Change{"SurplusKeyInPort", "/adapters/0/ports/0/y", "1"},
        Change{"OtherState", "/adapters/0/ports/0/state", R"("UP")"},
        Change{"OtherSpeed", "/adapters/0/ports/0/supported_speeds/0", R"("3GBIT")"},
        Change{"ZeroFcId", "/adapters/0/ports/0/fc_id", R"("0x000000")"},
        Change{"SurplusKeyInRemotePort", "/adapters/0/ports/0/remote_ports/0/y", "1"},
        Change{"NeitherReportNorFailure", "/adapters/0/ports/0/remote_ports/0/reported_luns", nullptr},
        Change{"ReportOfNoTarget", "/adapters/0/ports/0/remote_ports/0/mapped_luns", nullptr},
        Change{"LunTwice", "/adapters/0/ports/0/remote_ports/0/mapped_luns", "[1, 1]"},
        Change{"LunOfFifteenBits", "/adapters/0/ports/0/remote_ports/0/mapped_luns", "[16384]"},
        Change{"NoTargetUnderTheAdapter", "/adapters/0/remote_ports/-",
               R"({"port_wwn": "50:00:00:00:ab:00:00:09"})"}),
    [](testing::TestParamInfo<Change> const& aInfo) { return std::string(aInfo.param.mName); });
}  // namespace
