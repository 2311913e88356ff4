#include "tools/qzagent/hba/MappedLun.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <variant>

#include <fmt/format.h>

#include "tools/qzagent/hba/HbaFields.h"

namespace qzagent
{
namespace
{
using LunBytes = std::array<unsigned char, lunSize>;

constexpr unsigned int bitsOfLevel = 16;

LunBytes bytesOf(HBA_FCPSCSIENTRY const& aEntry)
{
    LunBytes bytes{};
    std::memcpy(bytes.data(), &aEntry.FcpId.FcpLun, bytes.size());
    return bytes;
}

std::uint64_t integerOf(HBA_FCPSCSIENTRY const& aEntry)
{
    std::uint64_t integer = 0;
    std::memcpy(&integer, &aEntry.FcpId.FcpLun, sizeof integer);
    return integer;
}

// Linux reads each level, of two bytes, as a big-endian number; the first level is the lowest part of the integer.

std::uint64_t linuxInteger(LunBytes const& aBytes)
{
    std::uint64_t integer = 0;
    for (std::size_t i = lunSize; i > 0; i -= 2)
    {
        auto const level = static_cast<unsigned int>(aBytes[i - 2] << CHAR_BIT | aBytes[i - 1]);
        integer = integer << bitsOfLevel | level;
    }
    return integer;
}

LunBytes bytesOfLinuxInteger(std::uint64_t aInteger)
{
    LunBytes bytes{};
    for (std::size_t i = 0; i < lunSize; i += 2)
    {
        bytes[i] = static_cast<unsigned char>(aInteger >> CHAR_BIT);
        bytes[i + 1] = static_cast<unsigned char>(aInteger);
        aInteger >>= bitsOfLevel;
    }
    return bytes;
}

bool fitsScsi(HBA_FCPSCSIENTRY const& aEntry)
{
    LunBytes const bytes = bytesOf(aEntry);
    return lunOf(bytes.data()) == Lun(aEntry.ScsiId.ScsiOSLun) ||
           linuxInteger(bytes) == aEntry.ScsiId.ScsiOSLun;
}

bool fitsInteger(HBA_FCPSCSIENTRY const& aEntry) { return integerOf(aEntry) == aEntry.ScsiId.ScsiOSLun; }
}  // namespace

LunStyle lunStyleOf(qz::TargetMappings const& aMappings)
{
    if (std::all_of(aMappings.begin(), aMappings.end(), fitsScsi))
    {
        return LunStyle::scsi;
    }
    return std::all_of(aMappings.begin(), aMappings.end(), fitsInteger) ? LunStyle::integer
                                                                        : LunStyle::unknown;
}

std::string deviceOf(HBA_FCPSCSIENTRY const& aEntry)
{
    char const* const name = aEntry.ScsiId.OSDeviceName;
    std::string device(name, ::strnlen(name, sizeof aEntry.ScsiId.OSDeviceName));
    return isKnownText(device) ? device : std::string();
}

Lun lunOf(HBA_FCPSCSIENTRY const& aEntry, LunStyle aStyle)
{
    LunBytes const bytes = bytesOf(aEntry);
    switch (aStyle)
    {
        case LunStyle::scsi:
            return lunOf(bytes.data());
        case LunStyle::integer:
            return lunOf(bytesOfLinuxInteger(integerOf(aEntry)).data());
        default:
            return fmt::format("{:02x}", fmt::join(bytes, ""));
    }
}
}  // namespace qzagent
