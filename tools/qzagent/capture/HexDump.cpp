#include "tools/qzagent/capture/HexDump.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::size_t bytesPerLine = 16;

void appendHex(std::string& aText, unsigned char aByte)
{
    constexpr char digits[] = "0123456789abcdef";
    aText += digits[aByte >> 4];
    aText += digits[aByte & 0xf];
}

char shownAs(unsigned char aByte) { return aByte >= ' ' && aByte <= '~' ? static_cast<char>(aByte) : '.'; }

std::string lineOf(qz::Bytes aBytes, std::size_t aOffset)
{
    std::string hex;
    std::string characters;
    std::size_t const end = std::min(aBytes.mSize, aOffset + bytesPerLine);
    for (std::size_t i = aOffset; i < end; ++i)
    {
        hex += i == aOffset + bytesPerLine / 2 ? "  " : " ";
        appendHex(hex, aBytes.mData[i]);
        characters += shownAs(aBytes.mData[i]);
    }
    return fmt::format("  {:08x} {:<{}}  |{}|\n", aOffset, hex, 3 * bytesPerLine + 1, characters);
}
}  // namespace

std::string hexOf(qz::Bytes aBytes)
{
    std::string hex;
    hex.reserve(2 * aBytes.mSize);
    for (unsigned char const byte : aBytes)
    {
        appendHex(hex, byte);
    }
    return hex;
}

std::string hexDumpOf(qz::Bytes aBytes)
{
    std::string dump;
    for (std::size_t offset = 0; offset < aBytes.mSize; offset += bytesPerLine)
    {
        dump += lineOf(aBytes, offset);
    }
    return dump;
}
}  // namespace qzagent
