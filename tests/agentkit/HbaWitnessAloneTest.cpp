// The witness in a program without a common library: the dynamic linker of the test finds nothing.
#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaWitness.h"
#include "agentkit/testing/FakeVqm.h"
#include "tests/agentkit/FakeCommonLibrary.h"
#include "tests/agentkit/HbaArguments.h"

namespace
{
#define QZ_EXPECT_UNAVAILABLE(count, function)                          \
    {                                                                   \
        std::uint64_t const before = qz::lastHbaCall().mNumber;         \
        EXPECT_EQ(callHba(function), unavailable) << #function;         \
        EXPECT_STREQ(qz::lastHbaCall().mFunction, #function);           \
        EXPECT_EQ(qz::lastHbaCall().mStatus, unavailable) << #function; \
        EXPECT_EQ(qz::lastHbaCall().mNumber, before + 1) << #function;  \
    }

TEST(HbaWitness, AnswersThatTheHbaApiIsUnavailableWithoutACommonLibrary)
{
    constexpr HBA_STATUS unavailable = HBA_STATUS_ERROR_UNAVAILABLE;
    qz::FakeVqm const linker;
    QZ_HBA_STATUS_FUNCTIONS(QZ_EXPECT_UNAVAILABLE)
}

#define QZ_EXPECT_ZERO_OR_NOTHING(count, function) EXPECT_EQ(callHba(function).value_or(0), 0u) << #function;

TEST(HbaWitness, AnswersZeroOrDoesNothingWithoutACommonLibrary)
{
    qz::FakeVqm const linker;
    QZ_HBA_OTHER_FUNCTIONS(QZ_EXPECT_ZERO_OR_NOTHING)
}

TEST(HbaWitness, OpensNoAdapterWithoutACommonLibrary)
{
    qz::FakeVqm const linker;
    char name[] = "qz-0";
    EXPECT_EQ(HBA_OpenAdapter(name), 0u);
    EXPECT_EQ(qz::lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR));
}

TEST(HbaWitness, WritesNoScsiStatusWithoutACommonLibrary)
{
    qz::FakeVqm const linker;
    unsigned char block[8];
    HBA_UINT32 size = sizeof block;
    HBA_UINT8 scsiStatus = 0x77;
    EXPECT_EQ(HBA_ScsiInquiryV2(1, {}, {}, 0, 0, 0, block, &size, &scsiStatus, block, &size),
              static_cast<HBA_STATUS>(HBA_STATUS_ERROR_UNAVAILABLE));
    EXPECT_EQ(scsiStatus, 0x77);
    EXPECT_FALSE(qz::lastHbaCall().mScsiStatus.has_value());
}
}  // namespace
