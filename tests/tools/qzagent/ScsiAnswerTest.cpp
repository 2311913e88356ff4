#include <cstddef>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tools/qzagent/hba/ScsiAnswer.h"

namespace
{
constexpr std::size_t answerSize = 8;

/// @return the text of the failure of a command whose answer has only the bytes; empty if it does not fail
std::string failureAfter(std::string const& aBytes)
{
    qzagent::ScsiAnswer answer("A COMMAND", answerSize);
    std::memcpy(answer.buffer(), aBytes.data(), aBytes.size());
    try
    {
        answer.expectWhole(answer.written(answerSize), answerSize);
    }
    catch (QZCHbaapiEx const& exception)
    {
        EXPECT_EQ(exception.getCode(), 802u);
        return exception.what();
    }
    return "";
}

TEST(QzagentScsiAnswer, IsMissingIfTheBufferIsUnchanged)
{
    EXPECT_EQ(failureAfter(""), "A COMMAND: no answer, the HBA library left the buffer unchanged");
}

TEST(QzagentScsiAnswer, IsShortIfTheEndOfTheBufferIsUnchanged)
{
    EXPECT_EQ(failureAfter(std::string(1, 'a')), "A COMMAND: short answer, 1 of 8 bytes");
    EXPECT_EQ(failureAfter(std::string(7, '\0')), "A COMMAND: short answer, 7 of 8 bytes");
}

TEST(QzagentScsiAnswer, IsWholeIfTheLastByteIsWritten) { EXPECT_EQ(failureAfter(std::string(8, '\0')), ""); }

TEST(QzagentScsiAnswer, HasBigEndianNumbers)
{
    qzagent::ScsiAnswer answer("A COMMAND", answerSize);
    std::memcpy(answer.buffer(), "\xff\xff\xff\xff\x01\x02\x03\xf4", answerSize);
    EXPECT_EQ(answer.number(4), 0x010203f4u);
}
}  // namespace
