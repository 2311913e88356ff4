// Attributes of adapters and ports that the simulated HBA library reports.
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Wwn.h"
#include "tests/simulator/HbaQueryFixture.h"

using qzsim::textOf;

namespace
{

class HbaLibraryPorts : public HbaQueryFixture
{
protected:
    HBA_STATUS attributes(HBA_HANDLE aHandle)
    {
        return mTable.GetAdapterAttributesHandler(aHandle, &mAttributes);
    }

    HBA_STATUS port(HBA_UINT32 aIndex)
    {
        return mTable.GetAdapterPortAttributesHandler(mHandle, aIndex, &mPort);
    }

    HBA_STATUS discovered(HBA_UINT32 aPort, HBA_UINT32 aIndex)
    {
        return mTable.GetDiscoveredPortAttributesHandler(mHandle, aPort, aIndex, &mPort);
    }

    HBA_STATUS named(char const* aName)
    {
        return mTable.GetPortAttributesByWWNHandler(mHandle, wwn(aName), &mPort);
    }

    HBA_ADAPTERATTRIBUTES mAttributes = filledWith<HBA_ADAPTERATTRIBUTES>(fill);
    HBA_PORTATTRIBUTES mPort = filledWith<HBA_PORTATTRIBUTES>(fill);
};

TEST_F(HbaLibraryPorts, AdapterAttributesFillTheWholeRecord)
{
    ASSERT_EQ(attributes(mHandle), ok);
    EXPECT_STREQ(mAttributes.Model, "EX-1");
    EXPECT_EQ(mAttributes.Model[sizeof mAttributes.Model - 1], '\0')
        << "the rest of the field is not cleared";
    EXPECT_STREQ(mAttributes.Manufacturer, "");
    EXPECT_EQ(mAttributes.VendorSpecificID, 7U);
    EXPECT_EQ(mAttributes.NumberOfPorts, 2U);
    EXPECT_STREQ(mAttributes.DriverName, "");
}

TEST_F(HbaLibraryPorts, CountsMayDifferFromWhatExists)
{
    load(
        "number_of_adapters = 4294967295\n[[adapter]]\nname = \"a\"\nnumber_of_ports = 4294967295\n"
        "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\nnumber_of_discovered_ports = "
        "4294967295\n");
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 4294967295U);
    EXPECT_EQ(name(0).mStatus, ok);
    EXPECT_EQ(name(1).mStatus, badIndex);
    mHandle = open("a");
    ASSERT_EQ(attributes(mHandle), ok);
    EXPECT_EQ(mAttributes.NumberOfPorts, 4294967295U);
    ASSERT_EQ(port(0), ok);
    EXPECT_EQ(mPort.NumberofDiscoveredPorts, 4294967295U);
    EXPECT_EQ(port(1), badIndex);
    EXPECT_EQ(discovered(0, 0), badIndex);
}

TEST_F(HbaLibraryPorts, CountsMayBeLowerThanWhatExists)
{
    std::string const scenario = fabric;
    load("number_of_adapters = 0\n[[adapter]]\nnumber_of_ports = 0\n" +
         scenario.substr(scenario.find("name")));
    EXPECT_EQ(mTable.GetNumberOfAdaptersHandler(), 0U);
    mHandle = open("a");
    ASSERT_EQ(attributes(mHandle), ok);
    EXPECT_EQ(mAttributes.NumberOfPorts, 0U);
    EXPECT_EQ(port(1), ok);
}

TEST_F(HbaLibraryPorts, AdapterMayHaveNoPorts)
{
    EXPECT_EQ(attributes(open("b")), ok);
    EXPECT_EQ(mAttributes.NumberOfPorts, 0U);
}

TEST_F(HbaLibraryPorts, PortsAreInScenarioOrder)
{
    ASSERT_EQ(port(0), ok);
    EXPECT_EQ(textOf(mPort.PortWWN), "10:00:00:00:00:00:00:01");
    EXPECT_EQ(mPort.NumberofDiscoveredPorts, 2U);
    ASSERT_EQ(port(1), ok);
    EXPECT_EQ(mPort.PortFcId, 0x12U);
}

TEST_F(HbaLibraryPorts, RefusesAPortIndexOutOfRange)
{
    EXPECT_EQ(port(2), badIndex);
    EXPECT_EQ(port(0xffffffffU), badIndex);
    EXPECT_TRUE(isStill(fill, mPort)) << "something was written";
}

TEST_F(HbaLibraryPorts, DiscoveredPortsAreTheRemotePortsOfThePort)
{
    ASSERT_EQ(discovered(0, 1), ok);
    EXPECT_EQ(textOf(mPort.PortWWN), "10:00:00:00:00:00:00:09");
    ASSERT_EQ(discovered(1, 0), ok);
    EXPECT_EQ(textOf(mPort.PortWWN), "50:00:00:00:00:00:00:02");
}

TEST_F(HbaLibraryPorts, RefusesADiscoveredPortIndexOutOfRange)
{
    EXPECT_EQ(discovered(0, 2), badIndex);
    EXPECT_EQ(discovered(2, 0), badIndex);
    EXPECT_TRUE(isStill(fill, mPort)) << "something was written";
}

TEST_F(HbaLibraryPorts, FindsAPortOfTheAdapterByName)
{
    ASSERT_EQ(named("10:00:00:00:00:00:00:02"), ok);
    EXPECT_EQ(mPort.PortFcId, 0x12U);
}

TEST_F(HbaLibraryPorts, FindsTheFirstRemotePortWithAName)
{
    ASSERT_EQ(named("50:00:00:00:00:00:00:01"), ok);
    EXPECT_EQ(mPort.PortFcId, 0x21U);
}

TEST_F(HbaLibraryPorts, RefusesANameThatTheAdapterDoesNotSee)
{
    EXPECT_EQ(named("50:00:00:00:00:00:00:03"), badName);
    mHandle = open("b");
    EXPECT_EQ(named("10:00:00:00:00:00:00:01"), badName);
    EXPECT_TRUE(isStill(fill, mPort)) << "something was written";
}

TEST_F(HbaLibraryPorts, RefusesAHandleThatIsNotOpen)
{
    mTable.CloseAdapterHandler(mHandle);
    EXPECT_EQ(attributes(mHandle), badHandle);
    EXPECT_EQ(port(0), badHandle);
    EXPECT_EQ(discovered(0, 0), badHandle);
    EXPECT_EQ(named("10:00:00:00:00:00:00:01"), badHandle);
}

TEST_F(HbaLibraryPorts, RefusesQueriesAfterTheLibraryIsFreed)
{
    mTable.FreeLibraryHandler();
    EXPECT_EQ(attributes(mHandle), badHandle);
    EXPECT_EQ(port(0), badHandle);
}

TEST_F(HbaLibraryPorts, RefusesNullRecords)
{
    EXPECT_EQ(mTable.GetAdapterAttributesHandler(mHandle, nullptr), badArgument);
    EXPECT_EQ(mTable.GetAdapterPortAttributesHandler(mHandle, 0, nullptr), badArgument);
    EXPECT_EQ(mTable.GetDiscoveredPortAttributesHandler(mHandle, 0, 0, nullptr), badArgument);
    EXPECT_EQ(mTable.GetPortAttributesByWWNHandler(mHandle, wwn("10:00:00:00:00:00:00:01"), nullptr),
              badArgument);
}

TEST_F(HbaLibraryPorts, FailingAdapterQueryDoesNotWriteTheRecord)
{
    loadWith(fault("HBA_GetAdapterAttributes", busy));
    EXPECT_EQ(attributes(mHandle), busy);
    EXPECT_TRUE(isStill(fill, mAttributes)) << "something was written";
    EXPECT_EQ(attributes(mHandle), ok);
}

TEST_F(HbaLibraryPorts, FailingPortQueryDoesNotWriteTheRecord)
{
    loadWith(fault("HBA_GetAdapterPortAttributes", busy, "2"));
    EXPECT_EQ(port(0), ok);
    mPort = filledWith<HBA_PORTATTRIBUTES>(fill);
    EXPECT_EQ(port(1), busy);
    EXPECT_TRUE(isStill(fill, mPort)) << "something was written";
}

TEST_F(HbaLibraryPorts, DiscoveredPortQueriesFailAsScheduled)
{
    loadWith(fault("HBA_GetDiscoveredPortAttributes", busy, "\"1-2\""));
    EXPECT_EQ(discovered(0, 0), busy);
    EXPECT_EQ(discovered(0, 1), busy);
    EXPECT_EQ(discovered(1, 0), ok);
}

TEST_F(HbaLibraryPorts, QueriesByNameFailAsScheduled)
{
    loadWith(fault("HBA_GetPortAttributesByWWN", busy));
    EXPECT_EQ(named("10:00:00:00:00:00:00:01"), busy);
    EXPECT_EQ(named("10:00:00:00:00:00:00:01"), ok);
}

TEST_F(HbaLibraryPorts, RefusedCallIsNotCounted)
{
    loadWith(fault("HBA_GetAdapterPortAttributes", busy));
    port(7);
    mTable.GetAdapterPortAttributesHandler(mHandle, 0, nullptr);
    EXPECT_EQ(port(0), busy);
}
}  // namespace
