#include "tools/qzagent/hba/Lun.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <variant>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::size_t lineWidth = 60;

constexpr unsigned int addressingMethod = 0xc0;
constexpr unsigned int peripheral = 0x00;
constexpr unsigned int flatSpace = 0x40;

/// @return whether the LUN has only its first level, the first two bytes
bool hasOneLevel(unsigned char const* aBytes)
{
    return std::all_of(aBytes + 2, aBytes + lunSize, [](unsigned char aByte) { return aByte == 0; });
}

std::string numberOf(Lun const& aLun)
{
    auto const* const number = std::get_if<unsigned int>(&aLun);
    return number != nullptr ? std::to_string(*number) : std::get<std::string>(aLun);
}

/// Texts in one line, with commas between them.
class ShortList
{
public:
    /// @return false, and adds nothing, if the line would be too long. The first text is always added
    bool add(std::string const& aText)
    {
        std::string const longer = mLine.empty() ? aText : mLine + ", " + aText;
        bool const isAdded = mLine.empty() || longer.size() <= lineWidth;
        mLine = isAdded ? longer : mLine;
        return isAdded;
    }

    std::string text() const { return mLine; }

    /// @param aRest number of things that are left out
    std::string textWithout(std::ptrdiff_t aRest) const
    {
        return fmt::format("{}, and {} more", mLine, aRest);
    }

private:
    std::string mLine;
};

/// @return the last LUN of the range that begins with the first
Luns::const_iterator lastOfRange(Luns::const_iterator aFirst, Luns::const_iterator aEnd)
{
    auto next = std::next(aFirst);
    while (next != aEnd && follows(*next, *aFirst))
    {
        aFirst = next++;
    }
    return aFirst;
}
}  // namespace

//       byte 0        byte 1    bytes 2 to 7
//   +---+--------+-----------+--------------+
//   | 00 |  bus  |    LUN    |      0       |   peripheral device addressing; a plain number when the bus is 0
//   +---+--------+-----------+--------------+
//   | 01 |        LUN        |      0       |   flat space addressing
//   +---+--------+-----------+--------------+
Lun lunOf(unsigned char const* aBytes)
{
    unsigned int const method = aBytes[0] & addressingMethod;
    unsigned int const number = (aBytes[0] & ~addressingMethod) << 8 | aBytes[1];
    bool const isPeripheral = method == peripheral && aBytes[0] == 0;
    if ((isPeripheral || method == flatSpace) && hasOneLevel(aBytes))
    {
        return number;
    }
    return fmt::format("{:02x}", fmt::join(aBytes, aBytes + lunSize, ""));
}

Lun lunNamed(std::string const& aName)
{
    return aName.size() == 2 * lunSize ? Lun(aName) : Lun(static_cast<unsigned int>(std::stoul(aName)));
}

Luns lunsIn(qz::LunReport const& aReport)
{
    Luns luns;
    for (auto const& lun : aReport.luns())
    {
        luns.insert(lunOf(lun.data()));
    }
    return luns;
}

bool follows(Lun const& aLun, Lun const& aOther)
{
    auto const* const number = std::get_if<unsigned int>(&aLun);
    auto const* const other = std::get_if<unsigned int>(&aOther);
    return number != nullptr && other != nullptr && *number == *other + 1;
}

Luns without(Luns const& aLuns, Luns const& aOthers)
{
    Luns difference;
    std::set_difference(aLuns.begin(), aLuns.end(), aOthers.begin(), aOthers.end(),
                        std::inserter(difference, difference.end()));
    return difference;
}

std::string textOf(std::vector<std::string> const& aTexts)
{
    ShortList list;
    for (auto text = aTexts.begin(); text != aTexts.end(); ++text)
    {
        if (!list.add(*text))
        {
            return list.textWithout(std::distance(text, aTexts.end()));
        }
    }
    return list.text();
}

std::string textOf(Luns const& aLuns)
{
    ShortList list;
    for (auto first = aLuns.begin(); first != aLuns.end();)
    {
        auto const last = lastOfRange(first, aLuns.end());
        std::string const range = first == last ? numberOf(*first) : numberOf(*first) + "-" + numberOf(*last);
        if (!list.add(range))
        {
            return list.textWithout(std::distance(first, aLuns.end()));
        }
        first = std::next(last);
    }
    return aLuns.empty() ? "none" : list.text();
}
}  // namespace qzagent
