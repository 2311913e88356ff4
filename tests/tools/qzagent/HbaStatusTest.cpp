#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tools/qzagent/hba/HbaStatus.h"

namespace
{
std::string shown(char const* aFunction, HBA_STATUS aStatus)
{
    return statusText(qzagent::statusOf(aFunction, aStatus));
}

std::string inSentence(char const* aFunction, HBA_STATUS aStatus)
{
    return statusText(aFunction, qzagent::statusOf(aFunction, aStatus));
}

TEST(QzagentHbaStatus, HasTheNameOfTheHeader)
{
    EXPECT_EQ(shown("HBA_GetAdapterName", HBA_STATUS_OK), "HBA_STATUS_OK (0)");
    EXPECT_EQ(shown("HBA_GetAdapterName", HBA_STATUS_ERROR_ILLEGAL_INDEX),
              "HBA_STATUS_ERROR_ILLEGAL_INDEX (6)");
    EXPECT_EQ(shown("HBA_SendReportLUNs", HBA_STATUS_ERROR_TARGET_PORT_WWN),
              "HBA_STATUS_ERROR_TARGET_PORT_WWN (23)");
    EXPECT_EQ(shown("HBA_SendReportLUNs", HBA_STATUS_ERROR_TARGET_BUSY), "HBA_STATUS_ERROR_TARGET_BUSY (30)");
}

TEST(QzagentHbaStatus, OfAScsiCommandIsAnErrnoValueWhenNoScsiCommandIsRejectedThatWay)
{
    EXPECT_EQ(shown("HBA_SendReportLUNs", 13), "errno EACCES (13), Permission denied");
    EXPECT_EQ(shown("HBA_SendScsiInquiry", 13), "errno EACCES (13), Permission denied");
    EXPECT_EQ(shown("HBA_ScsiReadCapacityV2", 6), "errno ENXIO (6), No such device or address");
    EXPECT_EQ(shown("HBA_SendReadCapacity", 19), "errno ENODEV (19), No such device");
}

TEST(QzagentHbaStatus, OfAScsiCommandHasBothReadingsWhenItCanBeAStatusOrAnErrnoValue)
{
    EXPECT_EQ(inSentence("HBA_SendReportLUNs", 2), "HBA_STATUS_ERROR_NOT_SUPPORTED (2), or errno ENOENT,");
    EXPECT_EQ(inSentence("HBA_SendScsiInquiry", 5), "HBA_STATUS_ERROR_ILLEGAL_WWN (5), or errno EIO,");
    EXPECT_EQ(inSentence("HBA_SendReadCapacity", 11), "HBA_STATUS_ERROR_TRY_AGAIN (11), or errno EAGAIN,");
    EXPECT_EQ(inSentence("HBA_ScsiReportLUNsV2", 12), "HBA_STATUS_ERROR_UNAVAILABLE (12), or errno ENOMEM,");
    EXPECT_EQ(inSentence("HBA_SendReportLUNs", 16), "HBA_STATUS_ERROR_AMBIGUOUS_WWN (16), or errno EBUSY,");
}

TEST(QzagentHbaStatus, HasOneReadingWhenItIsClear)
{
    EXPECT_EQ(inSentence("HBA_SendReportLUNs", 10), "HBA_STATUS_ERROR_BUSY (10)");
    EXPECT_EQ(inSentence("HBA_SendReportLUNs", 13), "errno EACCES (13), Permission denied");
    EXPECT_EQ(inSentence("HBA_GetAdapterAttributes", 2), "HBA_STATUS_ERROR_NOT_SUPPORTED (2)");
}

TEST(QzagentHbaStatus, OfAQueryIsNoRejectedRequest)
{
    EXPECT_EQ(shown("HBA_GetFcpTargetMapping", 13), "errno EACCES (13), Permission denied");
}

TEST(QzagentHbaStatus, OfARequestToARemotePortCanBeItsRejection)
{
    EXPECT_EQ(shown("HBA_SendRNID", 13), "HBA_STATUS_ERROR_ELS_REJECT (13)");
    EXPECT_EQ(shown("HBA_SendCTPassThruV2", 13), "HBA_STATUS_ERROR_ELS_REJECT (13)");
}

TEST(QzagentHbaStatus, OfABindingCanConcernTheBinding)
{
    EXPECT_EQ(shown("HBA_SetPersistentBindingV2", 19), "HBA_STATUS_ERROR_LOCAL_LUN (19)");
    EXPECT_EQ(shown("HBA_RemovePersistentBinding", 26), "HBA_STATUS_ERROR_NO_SUCH_BINDING (26)");
}

TEST(QzagentHbaStatus, BeyondTheHeaderIsAnErrnoValueOrANumber)
{
    EXPECT_EQ(shown("HBA_GetAdapterName", 110), "errno ETIMEDOUT (110), Connection timed out");
    EXPECT_EQ(shown("HBA_GetAdapterName", 4242), "status 4242");
    EXPECT_EQ(shown("HBA_GetAdapterName", 0xffffffff), "status 4294967295");
}
}  // namespace
