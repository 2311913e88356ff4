/// @file
/// Writes CBOR (RFC 8949) into memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "agentkit/include/Bytes.h"

namespace qzsim
{
/// Appends one item after another. Maps and arrays have no count: they end where end() is called.
class CborWriter
{
public:
    CborWriter() { mBytes.reserve(usualSize); }

    void number(std::uint64_t aValue) { head(unsignedType, aValue); }
    void number(std::int64_t aValue);
    void text(std::string_view aText);
    void bytes(qz::Bytes aBytes);
    void null() { mBytes.push_back(nullItem); }
    void beginMap() { mBytes.push_back(openMap); }
    void beginArray() { mBytes.push_back(openArray); }
    void end() { mBytes.push_back(breakItem); }

    std::vector<unsigned char> const& content() const { return mBytes; }

private:
    static constexpr std::size_t usualSize = 1024;
    static constexpr unsigned char unsignedType = 0x00;
    static constexpr unsigned char negativeType = 0x20;
    static constexpr unsigned char bytesType = 0x40;
    static constexpr unsigned char textType = 0x60;
    static constexpr unsigned char openArray = 0x9f;
    static constexpr unsigned char openMap = 0xbf;
    static constexpr unsigned char nullItem = 0xf6;
    static constexpr unsigned char breakItem = 0xff;

    void head(unsigned char aType, std::uint64_t aValue);

    std::vector<unsigned char> mBytes;
};
}  // namespace qzsim
