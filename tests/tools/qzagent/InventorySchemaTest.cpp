#include <ostream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/qzagent/Agent.h"

namespace
{
/// A change to one place in the document of the two adapters.
struct PatchedPlace
{
    char const* mName;
    char const* mPlace;
    char const* mValue;  ///< null to take the place away
};

std::ostream& operator<<(std::ostream& arOut, PatchedPlace const& aChange) { return arOut << aChange.mName; }

class QzagentInventorySchema : public testing::TestWithParam<PatchedPlace>
{
};

nlohmann::json patchOf(PatchedPlace const& aChange)
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
        PatchedPlace{"NoAdapters", "/adapters", nullptr},
        PatchedPlace{"SurplusKeyInAdapter", "/adapters/0/y", "1"},
        PatchedPlace{"NeitherPortsNorFailures", "/adapters/0/ports", nullptr},
        PatchedPlace{"NoPorts", "/adapters/0/ports", "[]"},
        PatchedPlace{"PortsWithoutAttributes", "/adapters/0/attributes", nullptr},
        PatchedPlace{"NoFailures", "/adapters/0/failures", "[]"},
        PatchedPlace{"FailureWithoutCode", "/adapters/0/failures", R"([{"exception": "x", "text": "y"}])"},
        PatchedPlace{"EmptyText", "/adapters/0/attributes/model", R"("")"},
        PatchedPlace{"NullText", "/adapters/0/attributes/model", "null"},
        PatchedPlace{"ZeroVendorId", "/adapters/0/attributes/vendor_specific_id", R"("0x00000000")"},
        PatchedPlace{"ZeroName", "/adapters/0/attributes/node_wwn", R"("00:00:00:00:00:00:00:00")"},
        PatchedPlace{"UpperCaseName", "/adapters/0/attributes/node_wwn", R"("10:00:00:00:C9:00:00:01")"},
        PatchedPlace{"SurplusKeyInPort", "/adapters/0/ports/0/y", "1"},
        PatchedPlace{"OtherState", "/adapters/0/ports/0/state", R"("UP")"},
        PatchedPlace{"OtherSpeed", "/adapters/0/ports/0/supported_speeds/0", R"("3GBIT")"},
        PatchedPlace{"ZeroFcId", "/adapters/0/ports/0/fc_id", R"("0x000000")"},
        PatchedPlace{"SurplusKeyInRemotePort", "/adapters/0/ports/0/remote_ports/0/y", "1"},
        PatchedPlace{"NeitherReportNorFailure", "/adapters/0/ports/0/remote_ports/0/reported_luns", nullptr},
        PatchedPlace{"ReportOfNoTarget", "/adapters/0/ports/0/remote_ports/0/mapped_luns", nullptr},
        PatchedPlace{"LunTwice", "/adapters/0/ports/0/remote_ports/0/mapped_luns", "[1, 1]"},
        PatchedPlace{"LunOfFifteenBits", "/adapters/0/ports/0/remote_ports/0/mapped_luns", "[16384]"},
        PatchedPlace{"NoTargetUnderTheAdapter", "/adapters/0/remote_ports/-",
                     R"({"port_wwn": "50:00:00:00:ab:00:00:09"})"}),
    [](testing::TestParamInfo<PatchedPlace> const& aInfo) { return std::string(aInfo.param.mName); });
}  // namespace
