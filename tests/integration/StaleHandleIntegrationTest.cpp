#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/OpenAdapterFixture.h"
#include "tests/support/LogCapture.h"

using testing::Contains;

namespace
{
class StaleHandle : public OpenAdapterFixture
{
};

TEST_F(StaleHandle, AttributesQueryFailsAndLogsTheStatus)
{
    mHbaapi.HA_CloseAdapter(mHandle);
    expectHbaapiEx("HBA_GetAdapterAttributes method failed", [this] { attributes(); });
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_GetAdapterAttributes")
                                           .error("Failed to get adapter attributes - %s",
                                                  "Failed to get adapter attributes - "
                                                  "HBA_STATUS_ERROR_INVALID_HANDLE")));
}

TEST_F(StaleHandle, PortsQueryFailsAndLogsTheStatus)
{
    auto const adapter = attributes();
    mHbaapi.HA_CloseAdapter(mHandle);
    expectHbaapiEx("HBA_GetAdapterPortAttributes method failed",
                   [&] { mHbaapi.HA_GetAdapterPorts(mHandle, adapter.get(), mNumberOfPorts); });
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_GetAdapterPorts")
                                           .error("Failed to get port #%d attributes - %s",
                                                  "Failed to get port #0 attributes - "
                                                  "HBA_STATUS_ERROR_INVALID_HANDLE")));
}

TEST_F(StaleHandle, MappingsQueryFailsAndLogsTheStatus)
{
    mHbaapi.HA_CloseAdapter(mHandle);
    expectHbaapiEx("HBA_GetFcpTargetMapping method failed", [this] { mappings(); });
    EXPECT_THAT(
        mLog.lines(),
        Contains(logOf("HA_GetTargetMappings")
                     .error("Failed to get <%d> target mappings - %s",
                            "Failed to get <256> target mappings - HBA_STATUS_ERROR_INVALID_HANDLE")));
}

TEST_F(StaleHandle, ReportLunsFailsAndLogsTheStatus)
{
    mHbaapi.HA_CloseAdapter(mHandle);
    expectHbaapiEx("HBA_SendReportLUNs method failed", [this] { reportLuns(1); });
    EXPECT_EQ(mResponse.size(), SmallLunReport::initialSize);
    EXPECT_THAT(mLog.lines(),
                Contains(logOf("HA_SendReportLUNs")
                             .trace("Failed SendReportLUNs - %s",
                                    "Failed SendReportLUNs - HBA_STATUS_ERROR_INVALID_HANDLE")));
}
}  // namespace
