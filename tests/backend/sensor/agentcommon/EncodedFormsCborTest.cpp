// Another CBOR library reads the encoded records.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/backend/sensor/agentcommon/CborElements.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"

using testing::ElementsAre;

namespace
{
TEST(EncodedForms, AnotherCborLibraryReadsAName)
{
    Bytes const name = someBytes(8);
    EXPECT_THAT(cborElementsOf(encodedFormOf(QZCWorldWideName(name.data()))),
                ElementsAre("bytes 1 2 3 4 5 6 7 8"));
}

TEST(EncodedForms, AnotherCborLibraryReadsAScopeEvent)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(*eventOf(3, 7))), ElementsAre("3", "7"));
}

TEST(EncodedForms, AnotherCborLibraryReadsLatencyData)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(latencies())),
                ElementsAre("1000", "4104", "35", "1", "10", "2", "0", "120", "880", "0", "0", "0", "0", "0",
                            "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0", "0"));
}

TEST_F(ScopeData, AnotherCborLibraryReadsARecordOfAnEvent)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(QZCScopeData(mEvent))), ElementsAre("3", "7", "false", "0"));
}

TEST_F(ScopeData, AnotherCborLibraryReadsARecordWithNames)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "0"));
}

TEST_F(ScopeData, AnotherCborLibraryReadsARecordWithPayload)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(withPayload({0xaa, 0xbb}))),
                ElementsAre("3", "7", "false", "1", "bytes 170 187"));
}

TEST_F(ScopeData, AnotherCborLibraryReadsARecordWithNamesAndPayload)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(withBoth({0xaa}))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "1",
                            "bytes 170"));
}
}  // namespace
