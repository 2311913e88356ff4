#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/CborElements.h"
#include "tests/backend/sensor/agentcommon/Records.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"

using testing::ElementsAre;

namespace
{
TEST_F(ScopeData, OfAnEventIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(QZCScopeData(mEvent))), ElementsAre("3", "7", "false", "0"));
}

TEST_F(ScopeData, OfNamesIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(QZCScopeData(mEvent, mFirst, mSecond))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "0"));
}

TEST_F(ScopeData, OfPayloadIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(withPayload({0xaa, 0xbb}))),
                ElementsAre("3", "7", "false", "1", "bytes 170 187"));
}

TEST_F(ScopeData, OfBothIsReadByAnotherCborLibrary)
{
    EXPECT_THAT(cborElementsOf(encodedFormOf(withBoth({0xaa}))),
                ElementsAre("3", "7", "true", "bytes 16 0 0 0 201 0 0 1", "bytes 32 0 0 0 201 0 0 2", "1",
                            "bytes 170"));
}
}  // namespace
