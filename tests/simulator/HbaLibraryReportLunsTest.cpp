// Responses of the simulated targets to REPORT LUNS.
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "tests/simulator/HbaQueryFixture.h"

using testing::Each;
using testing::ElementsAre;

namespace
{
using Bytes = std::vector<std::uint8_t>;

constexpr char const* target = "50:00:00:00:00:00:00:01";
constexpr char const* otherTarget = "50:00:00:00:00:00:00:02";
constexpr HBA_STATUS checkCondition = HBA_STATUS_SCSI_CHECK_CONDITION;

class HbaLibraryReportLuns : public HbaQueryFixture
{
protected:
    HBA_STATUS reportLuns(char const* aPort, Bytes& aResponse, Bytes& aSense)
    {
        return mTable.ReportLUNsHandler(mHandle, wwn(aPort), aResponse.data(), sizeOf(aResponse),
                                        aSense.data(), sizeOf(aSense));
    }

    HBA_STATUS reportLuns(char const* aPort)
    {
        Bytes sense(18, fill);
        return reportLuns(aPort, mResponse, sense);
    }

    /// @return a buffer of this size after a target has written its response
    Bytes response(std::size_t aSize)
    {
        mResponse.assign(aSize, fill);
        EXPECT_EQ(reportLuns(target), ok);
        return mResponse;
    }

    static HBA_UINT32 sizeOf(Bytes const& aBytes) { return static_cast<HBA_UINT32>(aBytes.size()); }

    Bytes mResponse = Bytes(24, fill);
};

TEST_F(HbaLibraryReportLuns, ListsTheLunsOfTheTarget)
{
    EXPECT_THAT(response(24),
                ElementsAre(0, 0, 0, 16, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x41, 44, 0, 0, 0, 0, 0, 0));
}

TEST_F(HbaLibraryReportLuns, ListsALunThatIsNotMapped)
{
    ASSERT_EQ(load("[[adapter]]\nname = \"a\"\n[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
                   "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\n"
                   "[[adapter.port.remote.lun]]\nlun = 7\nmapped = false\n"),
              ok);
    mHandle = open("a");
    EXPECT_THAT(response(16), ElementsAre(0, 0, 0, 8, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0));
}

TEST_F(HbaLibraryReportLuns, DoesNotWriteTheRestOfALargerBuffer)
{
    Bytes const bytes = response(30);
    EXPECT_EQ(bytes[23], 0);
    EXPECT_THAT(Bytes(bytes.begin() + 24, bytes.end()), Each(fill));
}

TEST_F(HbaLibraryReportLuns, ReportsTheFullListLengthWhenTheBufferIsTooSmall)
{
    EXPECT_THAT(response(23),
                ElementsAre(0, 0, 0, 16, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x41, 44, 0, 0, 0, 0, 0));
    EXPECT_THAT(response(9), ElementsAre(0, 0, 0, 16, 0, 0, 0, 0, 0));
    EXPECT_THAT(response(8), ElementsAre(0, 0, 0, 16, 0, 0, 0, 0));
    EXPECT_THAT(response(4), ElementsAre(0, 0, 0, 16));
}

TEST_F(HbaLibraryReportLuns, TruncatesTheLengthFieldForATinyBuffer)
{
    EXPECT_THAT(response(3), ElementsAre(0, 0, 0));
    EXPECT_THAT(response(1), ElementsAre(0));
    EXPECT_THAT(response(0), ElementsAre());
}

TEST_F(HbaLibraryReportLuns, QueriesTheNamedTarget)
{
    ASSERT_EQ(reportLuns(otherTarget), ok);
    EXPECT_EQ(mResponse[3], 8);
}

TEST_F(HbaLibraryReportLuns, RefusesANameThatTheAdapterDoesNotSee)
{
    EXPECT_EQ(reportLuns("50:00:00:00:00:00:00:03"), badName);
    EXPECT_EQ(reportLuns("10:00:00:00:00:00:00:01"), badName) << "a port of the adapter itself";
    EXPECT_THAT(mResponse, Each(fill));
}

TEST_F(HbaLibraryReportLuns, RefusesAnInitiator)
{
    EXPECT_EQ(reportLuns("10:00:00:00:00:00:00:09"), HBA_STATUS{HBA_STATUS_ERROR_NOT_A_TARGET});
}

TEST_F(HbaLibraryReportLuns, RefusesAHandleThatIsNotOpen)
{
    mTable.CloseAdapterHandler(mHandle);
    EXPECT_EQ(reportLuns(target), badHandle);
}

TEST_F(HbaLibraryReportLuns, RefusesNullBuffers)
{
    EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn(target), nullptr, 8, mResponse.data(), 8), badArgument);
    EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn(target), mResponse.data(), 8, nullptr, 8), badArgument);
}

TEST_F(HbaLibraryReportLuns, AcceptsNullBuffersOfSizeZero)
{
    EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn(target), nullptr, 0, nullptr, 0), ok);
}

TEST_F(HbaLibraryReportLuns, FailingCallDoesNotWriteTheBuffers)
{
    loadWith(fault("HBA_SendReportLUNs", busy));
    Bytes sense(18, fill);
    EXPECT_EQ(reportLuns(target, mResponse, sense), busy);
    EXPECT_THAT(mResponse, Each(fill));
    EXPECT_THAT(sense, Each(fill));
}

TEST_F(HbaLibraryReportLuns, CheckConditionReturnsSenseData)
{
    loadWith(fault("HBA_SendReportLUNs", checkCondition));
    Bytes sense(19, fill);
    EXPECT_EQ(reportLuns(target, mResponse, sense), checkCondition);
    EXPECT_THAT(mResponse, Each(fill));
    EXPECT_THAT(sense, ElementsAre(0x70, 0, 6, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x3f, 0x0e, 0, 0, 0, 0, fill));
}

TEST_F(HbaLibraryReportLuns, CheckConditionReturnsTheSenseDataOfTheFault)
{
    loadWith(fault("HBA_SendReportLUNs", checkCondition) + "sense_key = 2\nasc = 0x3a\nascq = 1\n");
    Bytes sense(18, fill);
    EXPECT_EQ(reportLuns(target, mResponse, sense), checkCondition);
    EXPECT_THAT(sense, ElementsAre(0x70, 0, 2, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x3a, 1, 0, 0, 0, 0));
}

TEST_F(HbaLibraryReportLuns, CallMaySucceedWithoutWritingTheBuffers)
{
    loadWith("[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 1\nuntouched = true\n");
    Bytes sense(18, fill);
    EXPECT_EQ(reportLuns(target, mResponse, sense), ok);
    EXPECT_THAT(mResponse, Each(fill));
    EXPECT_THAT(sense, Each(fill));
}

TEST_F(HbaLibraryReportLuns, SenseDataIsTruncatedToItsBuffer)
{
    loadWith(fault("HBA_SendReportLUNs", checkCondition, "\"1-2\""));
    Bytes sense(3, fill);
    EXPECT_EQ(reportLuns(target, mResponse, sense), checkCondition);
    EXPECT_THAT(sense, ElementsAre(0x70, 0, 6));
    EXPECT_EQ(mTable.ReportLUNsHandler(mHandle, wwn(target), mResponse.data(), 8, nullptr, 0),
              checkCondition);
}

TEST_F(HbaLibraryReportLuns, FaultOfOneTargetDoesNotAffectOthers)
{
    loadWith(fault("HBA_SendReportLUNs", busy) + "port_wwn = \"50:00:00:00:00:00:00:02\"\nadapter = \"a\"\n");
    EXPECT_EQ(reportLuns(target), ok);
    EXPECT_EQ(reportLuns(otherTarget), busy);
    EXPECT_EQ(reportLuns(otherTarget), ok);
}
}  // namespace
