#include <ctime>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/Wwn.h"
#include "backend/common/include/Clib.h"
#include "tests/integration/OpenAdapterFixture.h"
#include "tests/support/LogCapture.h"

using testing::Contains;
using testing::ElementsAre;

namespace
{
std::vector<unsigned long> gSleeps;
std::vector<HBA_UINT32> gRooms;
}  // namespace

// Replaces the framework's function, so that a test does not wait for a busy adapter.
void ClibSleepMS(unsigned long aMilliseconds) { gSleeps.push_back(aMilliseconds); }

// Interposes the common library's function to record how many entries each request has room for.
extern "C" HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
{
    gRooms.push_back(aMapping->NumberOfEntries);
    using Function = HBA_STATUS (*)(HBA_HANDLE, HBA_FCPTARGETMAPPING*);
    static auto const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "HBA_GetFcpTargetMapping"));
    return next(aHandle, aMapping);
}

namespace
{
class OneArray : public OpenAdapterFixture
{
};
class ManyMappings : public OpenAdapterFixture
{
protected:
    ManyMappings() { gRooms.clear(); }
};
class LunLists : public OpenAdapterFixture
{
};
class BusyAdapter : public OpenAdapterFixture
{
};
class UnsupportedAdapter : public OpenAdapterFixture
{
};
class FaultyPort : public OpenAdapterFixture
{
};

TEST_F(OneArray, AttributesDescribeTheAdapter)
{
    auto const found = attributes();
    EXPECT_STREQ(found->Manufacturer, "Example Adapters");
    EXPECT_STREQ(found->DriverVersion, "2.4.1");
    EXPECT_EQ(found->NumberOfPorts, 2u);
}

TEST_F(OneArray, PortAttributesComeInPortOrder)
{
    auto const found = ports();
    ASSERT_EQ(mNumberOfPorts, 2u);
    EXPECT_EQ(found[0].PortFcId, 0x010100u);
    EXPECT_EQ(found[0].PortState, HBA_PORTSTATE_ONLINE);
    EXPECT_EQ(found[1].PortFcId, 0x020100u);
    EXPECT_EQ(found[1].PortState, HBA_PORTSTATE_LINKDOWN);
}

TEST_F(OneArray, OneRequestReturnsAllTargetMappings)
{
    auto const found = mappings();
    ASSERT_EQ(found.size(), 8u);
    EXPECT_EQ(qz::Wwn(found.begin()->FcpId.PortWWN), qz::Wwn(targetNumbered(1)));
    EXPECT_THAT(gRooms, ElementsAre(256u));
}

TEST_F(ManyMappings, SecondRequestHasExactlyTheRoomThatTheFirstAnswerReports)
{
    auto const found = mappings();
    EXPECT_EQ(found.size(), 300u);
    EXPECT_THAT(gRooms, ElementsAre(256u, 300u));
}

TEST_F(ManyMappings, SecondRequestReturnsEveryMapping)
{
    auto const found = mappings();
    ASSERT_EQ(found.size(), 300u);
    for (unsigned int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(found.begin()[i].ScsiId.ScsiOSLun, i);
    }
}

TEST_F(LunLists, ListThatDoesNotFitGetsABufferOfItsSize)
{
    reportLuns(1);
    EXPECT_EQ(mResponse.size(), 72u) << "the header and 64 bytes of list";
    unsigned char const* const bytes = mResponse.bytes();
    EXPECT_THAT(std::vector<unsigned char>(bytes, bytes + 4), ElementsAre(0, 0, 0, 64));
    EXPECT_EQ(bytes[mResponse.size() - 7], 7u) << "the last LUN";
}

TEST_F(LunLists, AcceptsAListOf4096Bytes)
{
    reportLuns(2);
    EXPECT_EQ(mResponse.size(), 4104u);
}

TEST_F(LunLists, RefusesAListOf4104Bytes)
{
    expectHbaapiEx("HBA_SendReportLUNs method failed", [this] { reportLuns(3); });
    EXPECT_EQ(mResponse.size(), SmallLunReport::initialSize);
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_SendReportLUNs").trace("HBA_SendReportLUNs method Failed")));
}

TEST_F(BusyAdapter, SameRequestIsRepeatedEverySecondUntilTheFifthSucceeds)
{
    EXPECT_EQ(mappings().size(), 8u);
    EXPECT_THAT(gSleeps, ElementsAre(1000ul, 1000ul, 1000ul, 1000ul));
    EXPECT_THAT(gRooms, ElementsAre(256u, 256u, 256u, 256u, 256u));
}

TEST_F(UnsupportedAdapter, AttributesFailWithoutAnErrorLine)
{
    expectHbaapiEx("HBA_GetAdapterAttributes encounter non-supported Adapter", [this] { attributes(); });
    ExpectedLog const expected = logOf("HA_GetAdapterAttributes");
    EXPECT_THAT(mLog.lines(),
                ElementsAre(expected.entered(), expected.trace("Going to get adapter attributes"),
                            expected.info("Encountered non-supported Adapter - %s",
                                          "Encountered non-supported Adapter - "
                                          "HBA_STATUS_ERROR_NOT_SUPPORTED"),
                            expected.left()));
}

TEST_F(FaultyPort, OneFailingPortFailsTheWholePortList)
{
    expectHbaapiEx("HBA_GetAdapterPortAttributes method failed", [this] { ports(); });
    EXPECT_EQ(mNumberOfPorts, 2u);
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_GetAdapterPorts")
                                           .error("Failed to get port #%d attributes - %s",
                                                  "Failed to get port #1 attributes - HBA_STATUS_ERROR")));
}
}  // namespace
