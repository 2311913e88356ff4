// Responses of simulated LUNs to INQUIRY and READ CAPACITY.
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scsi.h"
#include "tests/simulator/HbaQueryFixture.h"

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace
{
using LunResponse = std::vector<std::uint8_t>;

constexpr char const* disks = "50:00:00:00:00:00:00:01";
constexpr HBA_STATUS badScsi = HBA_STATUS_SCSI_CHECK_CONDITION;

/// A target with the LUNs 1 and 300, of which the second has its own data, and an initiator.
constexpr char const* diskTarget =
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nluns = [1, 300]\n"
    "inquiry_vendor = \"VENDOR78\"\ninquiry_product = \"PRODUCT\"\nblocks = 0x1000000\n"
    "[[adapter.port.remote.lun]]\nlun = 300\ninquiry_product = \"PRODUCT890123456\"\n"
    "inquiry_revision = \"R234\"\nblock_size = 4096\n"
    "[[adapter.port.remote]]\nport_wwn = \"10:00:00:00:00:00:00:09\"\nrole = \"initiator\"\n";

class HbaLibraryLuns : public HbaQueryFixture
{
protected:
    HbaLibraryLuns() { loadDisks(""); }

    /// Loads the target on an adapter with these lines.
    void loadDisks(std::string const& aLines, std::string const& aTables = "")
    {
        EXPECT_EQ(load("[[adapter]]\nname = \"a\"\n" + aLines + diskTarget + aTables), ok);
        mHandle = open("a");
    }

    /// @return the integer whose bytes in memory are these, followed by zeros
    static HBA_UINT64 memory(std::uint8_t aFirst, std::uint8_t aSecond)
    {
        std::uint8_t const bytes[sizeof(HBA_UINT64)] = {aFirst, aSecond};
        HBA_UINT64 number;
        std::memcpy(&number, bytes, sizeof number);
        return number;
    }

    HBA_STATUS inquiry(HBA_UINT64 aLun, char const* aPort = disks, HBA_UINT8 aEvpd = 0, HBA_UINT32 aPage = 0)
    {
        return mTable.ScsiInquiryHandler(mHandle, wwn(aPort), aLun, aEvpd, aPage, mResponse.data(),
                                         static_cast<HBA_UINT32>(mResponse.size()), mSense.data(),
                                         static_cast<HBA_UINT32>(mSense.size()));
    }

    HBA_STATUS readCapacity(HBA_UINT64 aLun, char const* aPort = disks)
    {
        return mTable.ReadCapacityHandler(mHandle, wwn(aPort), aLun, mResponse.data(),
                                          static_cast<HBA_UINT32>(mResponse.size()), mSense.data(),
                                          static_cast<HBA_UINT32>(mSense.size()));
    }

    /// @return vendor, product and revision of the response, each after a bar
    std::string texts() const
    {
        std::string const text(mResponse.begin(), mResponse.end());
        return '|' + text.substr(8, 8) + '|' + text.substr(16, 16) + '|' + text.substr(32, 4);
    }

    static auto isSense(std::uint8_t aKey, std::uint8_t aCode, std::uint8_t aQualifier)
    {
        return ElementsAreArray(
            LunResponse{0x70, 0, aKey, 0, 0, 0, 0, 10, 0, 0, 0, 0, aCode, aQualifier, 0, 0, 0, 0});
    }

    HBA_UINT64 const mLun1 = memory(0, 1);
    HBA_UINT64 const mLun300 = memory(0x41, 44);
    LunResponse mResponse = LunResponse(36, fill);
    LunResponse mSense = LunResponse(18, fill);
};

TEST_F(HbaLibraryLuns, InquiryDescribesADiskWithBlankPaddedTexts)
{
    ASSERT_EQ(inquiry(mLun1), ok);
    EXPECT_THAT(LunResponse(mResponse.begin(), mResponse.begin() + 8), ElementsAre(0, 0, 6, 2, 31, 0, 0, 0));
    EXPECT_EQ(texts(), "|VENDOR78|PRODUCT         |1.0 ");
    EXPECT_THAT(mSense, Each(fill));
}

TEST_F(HbaLibraryLuns, LunMayHaveItsOwnData)
{
    ASSERT_EQ(inquiry(mLun300), ok);
    EXPECT_EQ(texts(), "|VENDOR78|PRODUCT890123456|R234");
    mResponse.resize(8);
    ASSERT_EQ(readCapacity(mLun300), ok);
    EXPECT_THAT(mResponse, ElementsAre(0, 0xff, 0xff, 0xff, 0, 0, 0x10, 0));
}

TEST_F(HbaLibraryLuns, ReadCapacityReturnsTheLastBlockAndTheBlockSize)
{
    ASSERT_EQ(readCapacity(mLun1), ok);
    EXPECT_THAT(LunResponse(mResponse.begin(), mResponse.begin() + 8),
                ElementsAre(0, 0xff, 0xff, 0xff, 0, 0, 2, 0));
    EXPECT_THAT(LunResponse(mResponse.begin() + 8, mResponse.end()), Each(fill));
}

TEST_F(HbaLibraryLuns, LunsAreNamedInTheStyleOfTheAdapter)
{
    EXPECT_EQ(inquiry(1), mLun1 == 1 ? ok : badScsi);
    loadDisks("lun_style = \"integer\"\n");
    EXPECT_EQ(inquiry(1), ok);
    EXPECT_EQ(texts(), "|VENDOR78|PRODUCT         |1.0 ");
    EXPECT_EQ(inquiry(16684), ok);
    EXPECT_EQ(texts(), "|VENDOR78|PRODUCT890123456|R234");
    for (HBA_UINT64 const other :
         {HBA_UINT64{0}, HBA_UINT64{300}, HBA_UINT64{65537}, HBA_UINT64{-1}, mLun300})
    {
        EXPECT_EQ(inquiry(other), badScsi) << other;
    }
}

TEST_F(HbaLibraryLuns, UnknownLunEndsWithIllegalRequest)
{
    // LUN 0, LUN 300 in peripheral device addressing, and LUN 1 in flat space addressing
    for (HBA_UINT64 const lun : {memory(0, 0), memory(1, 44), memory(0x40, 1)})
    {
        mSense.assign(mSense.size(), fill);
        EXPECT_EQ(inquiry(lun), badScsi);
        EXPECT_THAT(mSense, isSense(5, 0x25, 0));
        mSense.assign(mSense.size(), fill);
        EXPECT_EQ(readCapacity(lun), badScsi);
        EXPECT_THAT(mSense, isSense(5, 0x25, 0));
    }
    EXPECT_THAT(mResponse, Each(fill));
}

TEST_F(HbaLibraryLuns, VitalProductDataAreAnInvalidFieldOfTheCommand)
{
    EXPECT_EQ(inquiry(mLun1, disks, 1, 0x80), badScsi);
    EXPECT_THAT(mSense, isSense(5, 0x24, 0));
    EXPECT_EQ(inquiry(mLun1, disks, 0, 0x80), badScsi);
    EXPECT_EQ(inquiry(mLun1, disks, 1, 0), badScsi);
    EXPECT_THAT(mResponse, Each(fill));
}

TEST_F(HbaLibraryLuns, ResponsesAreTruncatedToTheBuffer)
{
    mResponse.resize(10);
    ASSERT_EQ(inquiry(mLun1), ok);
    EXPECT_THAT(mResponse, ElementsAre(0, 0, 6, 2, 31, 0, 0, 0, 'V', 'E'));
    mResponse.resize(5);
    ASSERT_EQ(readCapacity(mLun1), ok);
    EXPECT_THAT(mResponse, ElementsAre(0, 0xff, 0xff, 0xff, 0));
}

TEST_F(HbaLibraryLuns, CommandsAreRefusedForABadArgument)
{
    EXPECT_EQ(inquiry(mLun1, "50:00:00:00:00:00:00:02"), badName);
    EXPECT_EQ(readCapacity(mLun1, "50:00:00:00:00:00:00:02"), badName);
    EXPECT_EQ(inquiry(mLun1, "10:00:00:00:00:00:00:09"), HBA_STATUS{HBA_STATUS_ERROR_NOT_A_TARGET});
    EXPECT_EQ(mTable.ScsiInquiryHandler(mHandle, wwn(disks), mLun1, 0, 0, nullptr, 8, nullptr, 0),
              badArgument);
    EXPECT_EQ(mTable.ReadCapacityHandler(mHandle, wwn(disks), mLun1, nullptr, 0, nullptr, 8), badArgument);
    mHandle += 1;
    EXPECT_EQ(inquiry(mLun1), badHandle);
    EXPECT_EQ(readCapacity(mLun1), badHandle);
}

TEST_F(HbaLibraryLuns, CommandsMayFailOnce)
{
    loadDisks("", fault("HBA_SendScsiInquiry", badScsi) + "sense_key = 2\nasc = 4\nascq = 1\n" +
                      fault("HBA_SendReadCapacity", busy) + "port_wwn = \"50:00:00:00:00:00:00:01\"\n");
    EXPECT_EQ(inquiry(mLun1), badScsi);
    EXPECT_THAT(mSense, isSense(2, 4, 1));
    mSense.assign(mSense.size(), fill);
    EXPECT_EQ(readCapacity(mLun1), busy);
    EXPECT_THAT(mSense, Each(fill));
    EXPECT_THAT(mResponse, Each(fill));
    EXPECT_EQ(inquiry(mLun1), ok);
    EXPECT_EQ(readCapacity(mLun1), ok);
}

TEST(ReadCapacityResponse, AllBitsOfTheLastBlockAreSetWhenItDoesNotFit)
{
    auto const lastBlockOf = [](std::uint64_t aBlocks)
    {
        qzsim::LunData lun;
        lun.mBlocks = aBlocks;
        LunResponse const response = qzsim::readCapacityResponse(lun);
        return LunResponse(response.begin(), response.begin() + 4);
    };
    EXPECT_THAT(lastBlockOf(1), ElementsAre(0, 0, 0, 0));
    EXPECT_THAT(lastBlockOf(0xffffffff), ElementsAre(0xff, 0xff, 0xff, 0xfe));
    EXPECT_THAT(lastBlockOf(0x100000000), ElementsAre(0xff, 0xff, 0xff, 0xff));
    EXPECT_THAT(lastBlockOf(0x100000001), ElementsAre(0xff, 0xff, 0xff, 0xff));
}

TEST(LunOf, FindsEveryLunInItsStyleAndAddressing)
{
    qzsim::RemotePort target{};
    for (std::uint16_t lun = 0; lun <= qzsim::highestLun; lun = static_cast<std::uint16_t>(lun + 17))
    {
        target.mLuns.push_back(lun);
    }
    for (auto const addressing : {qzsim::LunAddressing::automatic, qzsim::LunAddressing::flat})
    {
        target.mLunAddressing = addressing;
        for (auto const style : {qzsim::LunStyle::scsi, qzsim::LunStyle::integer})
        {
            for (std::uint16_t const lun : target.mLuns)
            {
                EXPECT_EQ(lunOf(target, qzsim::fcpLun(lun, addressing, style), style), lun);
            }
        }
    }
}
}  // namespace
