#include <cstring>
#include <ctime>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "backend/common/include/Clib.h"
#include "tests/integration/OpenAdapterRoad.h"
#include "tests/support/LogCapture.h"

using testing::Contains;
using testing::ElementsAre;

namespace
{
std::vector<unsigned long> gSleeps;
std::vector<HBA_UINT32> gRooms;
}  // namespace

// Takes the place of the framework's: busy adapters are not waited for.
void ClibSleepMS(unsigned long aMilliseconds) { gSleeps.push_back(aMilliseconds); }

// Stands before the common library's: it notes how many entries each request has room for.
extern "C" HBA_STATUS HBA_GetFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
{
    gRooms.push_back(aMapping->NumberOfEntries);
    using Function = HBA_STATUS (*)(HBA_HANDLE, HBA_FCPTARGETMAPPING*);
    static auto const next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "HBA_GetFcpTargetMapping"));
    return next(aHandle, aMapping);
}

namespace
{
class OneArray : public OpenAdapterRoad
{
};
class ManyMappings : public OpenAdapterRoad
{
protected:
    ManyMappings() { gRooms.clear(); }
};
class LunLists : public OpenAdapterRoad
{
};
class BusyAdapter : public OpenAdapterRoad
{
};
class UnsupportedAdapter : public OpenAdapterRoad
{
};
class FaultyPort : public OpenAdapterRoad
{
};

TEST_F(OneArray, TellsTheAttributesOfTheAdapter)
{
    auto const found = attributes();
    EXPECT_STREQ(found->Manufacturer, "Example Adapters");
    EXPECT_STREQ(found->DriverVersion, "2.4.1");
    EXPECT_EQ(found->NumberOfPorts, 2u);
}

TEST_F(OneArray, TellsTheAttributesOfEachPortInOrder)
{
    auto const found = ports();
    ASSERT_EQ(mNumberOfPorts, 2u);
    EXPECT_EQ(found[0].PortFcId, 0x010100u);
    EXPECT_EQ(found[0].PortState, HBA_PORTSTATE_ONLINE);
    EXPECT_EQ(found[1].PortFcId, 0x020100u);
    EXPECT_EQ(found[1].PortState, HBA_PORTSTATE_LINKDOWN);
}

TEST_F(OneArray, TellsItsTargetMappingsInOneRequest)
{
    auto const found = mappings();
    ASSERT_EQ(found->NumberOfEntries, 8u);
    HBA_WWN const target = targetNumbered(1);
    EXPECT_EQ(std::memcmp(&found->entry[0].FcpId.PortWWN, &target, sizeof target), 0);
    EXPECT_THAT(gRooms, ElementsAre(256u));
}

TEST_F(ManyMappings, AreAskedForAgainWithExactlyTheRoomTheyNeed)
{
    auto const found = mappings();
    EXPECT_EQ(found->NumberOfEntries, 300u);
    EXPECT_THAT(gRooms, ElementsAre(256u, 300u));
}

TEST_F(ManyMappings, AreAllThereAfterTheSecondRequest)
{
    auto const found = mappings();
    ASSERT_EQ(found->NumberOfEntries, 300u);
    HBA_FCPSCSIENTRY const* const entries = found->entry;
    for (unsigned int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(entries[i].ScsiId.ScsiOSLun, i);
    }
}

TEST_F(LunLists, ThatDoNotFitGetABufferOfTheirOwnSize)
{
    Response response;
    reportLuns(response, 1);
    EXPECT_EQ(response.mSize, 72u) << "the header and 64 bytes of list";
    auto const* const bytes = static_cast<unsigned char const*>(response.mBlock);
    EXPECT_THAT(std::vector<unsigned char>(bytes, bytes + 4), ElementsAre(0, 0, 0, 64));
    EXPECT_EQ(bytes[response.mSize - 7], 7u) << "the last LUN";
}

TEST_F(LunLists, Of4096BytesAreAccepted)
{
    Response response;
    reportLuns(response, 2);
    EXPECT_EQ(response.mSize, 4104u);
}

TEST_F(LunLists, Of4104BytesAreRefused)
{
    Response response;
    expectHbaapiEx("HBA_SendReportLUNs method failed", [&] { reportLuns(response, 3); });
    EXPECT_EQ(response.mSize, smallSize);
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_SendReportLUNs").trace("HBA_SendReportLUNs method Failed")));
}

TEST_F(BusyAdapter, IsAskedTheSameEverySecondUntilItAnswersTheFifthTime)
{
    EXPECT_EQ(mappings()->NumberOfEntries, 8u);
    EXPECT_THAT(gSleeps, ElementsAre(1000ul, 1000ul, 1000ul, 1000ul));
    EXPECT_THAT(gRooms, ElementsAre(256u, 256u, 256u, 256u, 256u));
}

TEST_F(UnsupportedAdapter, IsNoErrorInTheLog)
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

TEST_F(FaultyPort, FailsTheWholeListOfPorts)
{
    expectHbaapiEx("HBA_GetAdapterPortAttributes method failed", [this] { ports(); });
    EXPECT_EQ(mNumberOfPorts, 2u);
    EXPECT_THAT(mLog.lines(), Contains(logOf("HA_GetAdapterPorts")
                                           .error("Failed to get port #%d attributes - %s",
                                                  "Failed to get port #1 attributes - HBA_STATUS_ERROR")));
}
}  // namespace
