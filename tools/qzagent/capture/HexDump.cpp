#include "tools/qzagent/capture/HexDump.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <string>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::array<char, 512> makeDigitPairs()
{
    constexpr char digits[] = "0123456789abcdef";
    std::array<char, 512> pairs{};
    for (std::size_t byte = 0; byte < pairs.size() / 2; ++byte)
    {
        pairs[2 * byte] = digits[byte / 16];
        pairs[2 * byte + 1] = digits[byte % 16];
    }
    return pairs;
}

/// The two digits of every byte, one after another.
constexpr std::array<char, 512> digitPairs = makeDigitPairs();

char shownAs(unsigned char aByte) { return aByte >= ' ' && aByte <= '~' ? static_cast<char>(aByte) : '.'; }

void appendDumpLine(std::string& aText, qz::Bytes aBytes, std::size_t aOffset)
{
    fmt::format_to(std::back_inserter(aText), "  {:08x} ", aOffset);
    for (std::size_t i = 0; i < bytesPerDumpLine; ++i)
    {
        aText += i == bytesPerDumpLine / 2 ? "  " : " ";
        if (i < aBytes.mSize)
        {
            appendHex(aText, {aBytes.mData + i, 1});
        }
        else
        {
            aText += "  ";
        }
    }
    aText += "  |";
    std::transform(aBytes.begin(), aBytes.end(), std::back_inserter(aText), shownAs);
    aText += "|\n";
}
}  // namespace

void appendHex(std::string& aText, qz::Bytes aBytes)
{
    std::size_t place = aText.size();
    aText.resize(place + 2 * aBytes.mSize);
    for (unsigned char const byte : aBytes)
    {
        std::size_t const pair = std::size_t{2} * byte;
        aText[place] = digitPairs[pair];
        aText[place + 1] = digitPairs[pair + 1];
        place += 2;
    }
}

std::string hexOf(qz::Bytes aBytes)
{
    std::string hex;
    appendHex(hex, aBytes);
    return hex;
}

void appendHexDump(std::string& aText, qz::Bytes aBytes, std::size_t aOffset)
{
    for (std::size_t done = 0; done < aBytes.mSize; done += bytesPerDumpLine)
    {
        appendDumpLine(aText, {aBytes.mData + done, std::min(bytesPerDumpLine, aBytes.mSize - done)},
                       aOffset + done);
    }
}
}  // namespace qzagent
