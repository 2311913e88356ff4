#include "tools/qzagent/hba/LogicalUnit.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <hbaapi.h>

#include "tools/qzagent/hba/HbaFields.h"
#include "tools/qzagent/hba/ScsiAnswer.h"

namespace qzagent
{
namespace
{
constexpr std::size_t inquirySize = 36;
constexpr std::size_t capacitySize = 8;

/// Calls a function that sends a SCSI command, and calls it once more if that is worthwhile.
/// @param aFunction name of the function
/// @param aSend     calls the function with the buffer for the sense data and its size
/// @throws QZCHbaapiEx if the function failed
template <typename Send>
void send(char const* aFunction, ScsiAnswer& aAnswer, Send aSend)
{
    auto const sendOnce = [&]
    {
        SenseBuffer sense{};
        aAnswer.clear();
        return aSend(sense.data(), static_cast<HBA_UINT32>(sense.size()));
    };
    HBA_STATUS status = sendOnce();
    if (mayBeRepeated(status))
    {
        status = sendOnce();
    }
    if (status != HBA_STATUS_OK)
    {
        failCommand(fmt::format("{} method failed", aFunction));
    }
}

/// @throws QZCHbaapiEx if the library wrote less than the whole buffer. Some libraries fill it with zeros first
void expectFull(ScsiAnswer const& aAnswer)
{
    std::size_t const found = aAnswer.written(aAnswer.size());
    if (found > 0 &&
        std::all_of(aAnswer.bytes(), aAnswer.bytes() + found, [](unsigned char aByte) { return aByte == 0; }))
    {
        aAnswer.fail("no answer, the HBA library filled the buffer with zeros");
    }
    aAnswer.expectWhole(found, aAnswer.size());
}

/// @return the text without the blanks that fill its field
std::string textIn(ScsiAnswer const& aAnswer, std::size_t aOffset, std::size_t aLength)
{
    std::string text(reinterpret_cast<char const*>(aAnswer.bytes()) + aOffset, aLength);
    text.erase(text.find_last_not_of(std::string(" \0", 2)) + 1);
    return text;
}

/// Counts the bytes that follow it, and is 0 in an answer that ends before it.
constexpr std::size_t additionalLength = 4;

void addText(Fields& aFields, char const* aName, std::string const& aText)
{
    if (!aText.empty())
    {
        aFields[aName] = aText;
    }
}

/// @param aDevice name such as "/dev/sda"
/// @return the size of the block device in bytes, if it is known
std::optional<std::uint64_t> sizeOfDevice(std::string const& aDevice)
{
    constexpr std::uint64_t sector = 512;  // whatever the block size of the device is
    std::string const folder = "/dev/";
    std::string const name = aDevice.substr(std::min(folder.size(), aDevice.size()));
    if (aDevice.compare(0, folder.size(), folder) != 0 || name.find('/') != std::string::npos)
    {
        return {};
    }
    std::ifstream file("/sys/class/block/" + name + "/size");
    std::uint64_t sectors = 0;
    return file >> sectors ? std::optional(sectors * sector) : std::nullopt;
}

std::string textOfSize(std::uint64_t aBytes)
{
    constexpr double step = 1024;
    auto size = static_cast<double>(aBytes);
    char const* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    for (; size >= step && unit + 1 < std::size(units); ++unit)
    {
        size /= step;
    }
    return unit == 0 ? fmt::format("{} bytes", aBytes) : fmt::format("{:.2f} {}", size, units[unit]);
}
}  // namespace

Fields inquire(LunAddress const& aLun)
{
    ScsiAnswer answer("INQUIRY", inquirySize);
    send("HBA_SendScsiInquiry", answer,
         [&](void* aSense, HBA_UINT32 aSenseSize)
         {
             return HBA_SendScsiInquiry(aLun.mAdapter, aLun.mPort.hbaWwn(), aLun.mFcpLun, 0, 0,
                                        answer.buffer(), inquirySize, aSense, aSenseSize);
         });
    expectFull(answer);
    answer.expectWhole(additionalLength + 1U + answer.bytes()[additionalLength], inquirySize);
    Fields fields{{"device_type", fmt::format("0x{:02x}", answer.bytes()[0] & 0x1fU)}};
    addText(fields, "vendor", textIn(answer, 8, 8));
    addText(fields, "product", textIn(answer, 16, 16));
    addText(fields, "revision", textIn(answer, 32, 4));
    return fields;
}

Fields readCapacity(LunAddress const& aLun, std::string const& aDevice)
{
    ScsiAnswer answer("READ CAPACITY", capacitySize);
    send("HBA_SendReadCapacity", answer,
         [&](void* aSense, HBA_UINT32 aSenseSize)
         {
             return HBA_SendReadCapacity(aLun.mAdapter, aLun.mPort.hbaWwn(), aLun.mFcpLun, answer.buffer(),
                                         capacitySize, aSense, aSenseSize);
         });
    expectFull(answer);
    std::uint64_t const blockSize = answer.number(sizeof(std::uint32_t));
    if (blockSize == 0)
    {
        answer.fail("the block size is 0");
    }
    std::uint64_t const lastBlock = answer.number(0);
    std::uint64_t const capacity = (lastBlock + 1) * blockSize;
    Fields fields{{"block_size_bytes", blockSize}};
    if (lastBlock != UINT32_MAX)
    {
        fields["capacity_bytes"] = capacity;
        return fields;
    }
    std::optional<std::uint64_t> const size = sizeOfDevice(aDevice);
    bool const isKnown = size && *size >= capacity;
    fields[isKnown ? "capacity_bytes" : "capacity_at_least_bytes"] = isKnown ? *size : capacity;
    return fields;
}

bool hasBlocks(Fields const& aUnit)
{
    auto const type = aUnit.find("device_type");
    char const* const types[] = {"0x00", "0x04", "0x05", "0x07", "0x0e", "0x14"};
    return type == aUnit.end() ||
           std::any_of(std::begin(types), std::end(types), [&](char const* aType) { return *type == aType; });
}

std::string textOfUnit(Fields const& aUnit)
{
    std::string text;
    for (char const* const name : {"vendor", "product", "revision"})
    {
        if (aUnit.contains(name))
        {
            text += (text.empty() ? "" : " ") + valueText(aUnit, name);
        }
    }
    if (!aUnit.contains("block_size_bytes"))
    {
        return text;
    }
    bool const isKnown = aUnit.contains("capacity_bytes");
    auto const size = aUnit[isKnown ? "capacity_bytes" : "capacity_at_least_bytes"].get<std::uint64_t>();
    return fmt::format("{}{}{}{}, {}-byte blocks", text, text.empty() ? "" : ", ", textOfSize(size),
                       isKnown ? "" : " or more", valueText(aUnit, "block_size_bytes"));
}
}  // namespace qzagent
