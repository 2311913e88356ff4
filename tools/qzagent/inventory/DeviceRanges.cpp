#include "tools/qzagent/inventory/DeviceRanges.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
namespace
{
/// LUNs and devices that both count up.
struct DeviceRange
{
    Lun mFirst;
    Lun mLast;
    std::string mFirstDevice;
    std::string mLastDevice;
};

/// Counts the digits between two characters up, as a number whose first digit is the least of them.
/// @param aSize number of digits at the end of the text
/// @return false if the number gets longer; all digits are then the least one
bool countUp(std::string& aText, std::size_t aSize, char aLeast, char aGreatest)
{
    auto const end = aText.rbegin() + static_cast<std::ptrdiff_t>(aSize);
    auto const digit = std::find_if(aText.rbegin(), end, [=](char aDigit) { return aDigit != aGreatest; });
    std::fill(aText.rbegin(), digit, aLeast);
    if (digit == end)
    {
        return false;
    }
    ++*digit;
    return true;
}

std::size_t sizeOfEnd(std::string_view aText, std::string_view aDigits)
{
    return aText.size() - (aText.find_last_not_of(aDigits) + 1);
}

/// @return the name that follows a name such as "/dev/sdz" or "/dev/mapper/lun-9"; empty if it has no number at its end
std::string deviceAfter(std::string const& aDevice)
{
    std::string next = aDevice;
    constexpr std::string_view disk = "/dev/sd";
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz";
    constexpr std::string_view digits = "0123456789";
    if (aDevice.compare(0, disk.size(), disk) == 0 &&
        sizeOfEnd(std::string_view(aDevice).substr(disk.size()), letters) == aDevice.size() - disk.size())
    {
        return countUp(next, aDevice.size() - disk.size(), 'a', 'z') ? next : next + "a";
    }
    std::size_t const size = sizeOfEnd(aDevice, digits);
    if (size == 0)
    {
        return {};
    }
    return countUp(next, size, '0', '9') ? next : next.insert(next.size() - size, "1");
}

std::string textOfRange(DeviceRange const& aRange)
{
    std::string const first = textOf(Luns{aRange.mFirst});
    if (aRange.mFirst == aRange.mLast)
    {
        return fmt::format("{}: {}", first, aRange.mFirstDevice);
    }
    return fmt::format("{}-{}: {} to {}", first, textOf(Luns{aRange.mLast}), aRange.mFirstDevice,
                       aRange.mLastDevice);
}
}  // namespace

std::string textOfDevices(std::vector<MappedLun> const& aMapped)
{
    std::vector<DeviceRange> ranges;
    // The ranges by the device that would continue them. A LUN with several devices is in several ranges.
    std::unordered_map<std::string, std::size_t> rangeBefore;
    for (MappedLun const& lun : aMapped)
    {
        if (lun.mDevice.empty())
        {
            continue;
        }
        auto const found = rangeBefore.find(lun.mDevice);
        std::size_t index = ranges.size();
        if (found != rangeBefore.end() && follows(lun.mLun, ranges[found->second].mLast))
        {
            index = found->second;
            ranges[index].mLast = lun.mLun;
            ranges[index].mLastDevice = lun.mDevice;
        }
        else
        {
            ranges.push_back({lun.mLun, lun.mLun, lun.mDevice, lun.mDevice});
        }
        std::string next = deviceAfter(lun.mDevice);
        if (!next.empty())
        {
            rangeBefore[std::move(next)] = index;
        }
    }
    std::vector<std::string> texts(ranges.size());
    std::transform(ranges.begin(), ranges.end(), texts.begin(),
                   [](DeviceRange const& aRange) { return textOfRange(aRange); });
    return fmt::format("{}", fmt::join(texts, ", "));
}
}  // namespace qzagent
