// The witness in a program without a common library: the dynamic linker of the test finds nothing.
#include <cstdint>
#include <ctime>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaWitness.h"
#include "agentkit/testing/FakeVqm.h"

namespace
{
TEST(HbaWitness, AnswersThatTheHbaApiIsUnavailableWithoutACommonLibrary)
{
    qz::FakeVqm const linker;
    std::uint64_t const before = qz::lastHbaCall().mNumber;
    EXPECT_EQ(HBA_LoadLibrary(), static_cast<HBA_STATUS>(HBA_STATUS_ERROR_UNAVAILABLE));
    EXPECT_STREQ(qz::lastHbaCall().mFunction, "HBA_LoadLibrary");
    EXPECT_EQ(qz::lastHbaCall().mStatus, static_cast<HBA_STATUS>(HBA_STATUS_ERROR_UNAVAILABLE));
    EXPECT_EQ(qz::lastHbaCall().mNumber, before + 1);
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
