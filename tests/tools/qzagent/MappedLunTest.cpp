#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "tools/qzagent/hba/Lun.h"
#include "tools/qzagent/hba/MappedLun.h"

using qzagent::Lun;
using qzagent::lunOf;
using qzagent::lunStyleOf;
using testing::ElementsAre;

namespace
{
using LunBytes = std::array<unsigned char, qzagent::lunSize>;

HBA_FCPSCSIENTRY scsiEntry(HBA_UINT32 aOsLun, LunBytes const& aBytes)
{
    HBA_FCPSCSIENTRY entry{};
    entry.ScsiId.ScsiOSLun = aOsLun;
    std::memcpy(&entry.FcpId.FcpLun, aBytes.data(), aBytes.size());
    return entry;
}

HBA_FCPSCSIENTRY integerEntry(HBA_UINT32 aOsLun, HBA_UINT64 aFcpLun)
{
    HBA_FCPSCSIENTRY entry{};
    entry.ScsiId.ScsiOSLun = aOsLun;
    entry.FcpId.FcpLun = aFcpLun;
    return entry;
}

/// The LUNs of an adapter with these mappings.
std::vector<Lun> mappedLuns(std::vector<HBA_FCPSCSIENTRY> const& aEntries)
{
    std::size_t const size =
        offsetof(HBA_FCPTargetMapping, entry) + aEntries.size() * sizeof(HBA_FCPSCSIENTRY);
    std::unique_ptr<HBA_FCPTargetMapping, qz::BlockRelease> block(
        static_cast<HBA_FCPTargetMapping*>(std::malloc(size)));
    block->NumberOfEntries = static_cast<HBA_UINT32>(aEntries.size());
    std::copy(aEntries.begin(), aEntries.end(), static_cast<HBA_FCPSCSIENTRY*>(block->entry));
    qz::TargetMappings const mappings(std::move(block));
    std::vector<Lun> luns;
    for (HBA_FCPSCSIENTRY const& entry : aEntries)
    {
        luns.push_back(lunOf(entry, lunStyleOf(mappings)));
    }
    return luns;
}

TEST(QzagentMappedLun, EightBytesWithTheSystemsNumberGiveTheirLun)
{
    EXPECT_THAT(mappedLuns({scsiEntry(0, {0, 0}), scsiEntry(1, {0, 1}), scsiEntry(300, {0x41, 0x2c})}),
                ElementsAre(Lun(0u), Lun(1u), Lun(300u)));
}

TEST(QzagentMappedLun, EightBytesWithTheNumberThatLinuxGivesThemGiveTheirLun)
{
    EXPECT_THAT(mappedLuns({scsiEntry(1, {0, 1}), scsiEntry(16684, {0x41, 0x2c}),
                            scsiEntry(0x00020001, {0, 1, 0, 2})}),
                ElementsAre(Lun(1u), Lun(300u), Lun("0001000200000000")));
}

TEST(QzagentMappedLun, IntegerGivesTheLunThatHasThisNumberInLinux)
{
    EXPECT_THAT(mappedLuns({integerEntry(0, 0), integerEntry(1, 1), integerEntry(16684, 16684)}),
                ElementsAre(Lun(0u), Lun(1u), Lun(300u)));
}

TEST(QzagentMappedLun, IntegerGivesTheLevelsThatLinuxEncodesInIt)
{
    EXPECT_THAT(mappedLuns({integerEntry(1, 1), integerEntry(0x00020001, 0x00020001)}),
                ElementsAre(Lun(1u), Lun("0001000200000000")));
}

TEST(QzagentMappedLun, MappingThatFitsBothStylesGivesTheSameLunInBoth)
{
    EXPECT_THAT(mappedLuns({integerEntry(0x4141, 0x4141)}), ElementsAre(Lun(0x141u)));
    EXPECT_THAT(mappedLuns({integerEntry(0x4141, 0x4141), integerEntry(1, 1)}),
                ElementsAre(Lun(0x141u), Lun(1u)));
}

TEST(QzagentMappedLun, AllMappingsGiveDigitsWhenOneFitsNeitherStyle)
{
    EXPECT_THAT(mappedLuns({scsiEntry(1, {0, 1}), scsiEntry(7, {0, 2})}),
                ElementsAre(Lun("0001000000000000"), Lun("0002000000000000")));
}

TEST(QzagentMappedLun, AllMappingsGiveDigitsWhenTheirStylesDiffer)
{
    std::vector<Lun> const luns = mappedLuns({scsiEntry(1, {0, 1}), integerEntry(3, 3)});
    EXPECT_EQ(luns.at(0), Lun("0001000000000000"));
    EXPECT_TRUE(std::holds_alternative<std::string>(luns.at(1)));
}

TEST(DeviceOf, IsEmptyForADeviceThatTheLibraryDoesNotKnow)
{
    HBA_FCPSCSIENTRY entry{};
    std::strcpy(entry.ScsiId.OSDeviceName, "Unknown");
    EXPECT_EQ(qzagent::deviceOf(entry), "");
    std::strcpy(entry.ScsiId.OSDeviceName, "/dev/sda");
    EXPECT_EQ(qzagent::deviceOf(entry), "/dev/sda");
}
}  // namespace
