#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/backend/sensor/agentcommon/ScopeDataFields.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/LogCapture.h"
#include "tests/support/VirtualSlots.h"

using testing::ElementsAre;
using testing::ExitedWithCode;

namespace
{
using ScopeDataDeathTest = ScopeData;

TEST_F(ScopeData, SizeIsZeroForOnePayloadLengthWithoutNames)
{
    QZCScopeData data = withPayload(mTen);
    for (auto const& [accounted, size] :
         {std::pair{4294967291u, 16u}, std::pair{4294967292u, 16u}, std::pair{4294967293u, 0u},
          std::pair{4294967294u, 16u}, std::pair{4294967295u, 16u}})
    {
        accountFor(data, accounted);
        ASSERT_EQ(data.eventDataSize(), accounted);
        EXPECT_EQ(data.size(), size) << accounted << " bytes";
    }
}

TEST_F(ScopeData, SizeIsZeroForOnePayloadLengthWithNames)
{
    QZCScopeData data = withBoth(mTen);
    for (auto const& [accounted, size] :
         {std::pair{4294967291u, 16u}, std::pair{4294967292u, 0u}, std::pair{4294967293u, 16u},
          std::pair{4294967294u, 16u}, std::pair{4294967295u, 16u}})
    {
        accountFor(data, accounted);
        EXPECT_EQ(data.size(), size) << accounted << " bytes";
    }
}

TEST_F(ScopeData, SizesWrapAround)
{
    QZCScopeData data = withBoth(mTen);
    accountFor(data, 4294967295u);
    EXPECT_EQ(data.encodeSize(), 34u);
}

TEST_F(ScopeDataDeathTest, EncodingMissingPayloadEndsTheProcess)
{
    QZCScopeData data(mEvent);
    accountFor(data, 1);
    LogLine const assertion =
        ExpectedLog("operator*", "backend/common/include/Pointer").assertion("0 != mPointer");
    EXPECT_EXIT(
        {
            echoLogLines();
            encodedFormOf(data);
        },
        ExitedWithCode(1), onlyTheseLines({assertion}));
}

TEST_F(ScopeData, VirtualTableKeepsTheOrderOfOperations)
{
    QZCScopeData const data(mEvent);
    EXPECT_THAT(virtualSlots(&data, 4),
                ElementsAre("QZCScopeData::~QZCScopeData()", "QZCScopeData::~QZCScopeData()",
                            "QZCScopeData::size() const", "QZCScopeData::eventDataSize() const"));
}

TEST_F(ScopeData, FieldsAreInOrder)
{
    QZCScopeData const data = withBoth(mTen);
    EXPECT_EQ(pointerAt(data, eventPosition), &*mEvent);
    EXPECT_NE(pointerAt(data, dataPosition), nullptr);
    EXPECT_EQ(fieldByte(data, flagPosition), 1);
    EXPECT_EQ(pointerAt(data, secondPosition), &*mSecond);
    EXPECT_EQ(pointerAt(data, firstPosition), &*mFirst);
    EXPECT_EQ(numberAt(data, sizePosition), 10u);
    EXPECT_EQ(sizeof data, sizePosition + sizeof(void*)) << "no other field";
}

TEST_F(ScopeData, MissingNamesAndPayloadAreEmptyHandles)
{
    QZCScopeData const data(mEvent);
    EXPECT_EQ(pointerAt(data, dataPosition), nullptr);
    EXPECT_EQ(fieldByte(data, flagPosition), 0);
    EXPECT_EQ(pointerAt(data, secondPosition), nullptr);
    EXPECT_EQ(pointerAt(data, firstPosition), nullptr);
}
}  // namespace
