/// @file
/// The numbers of the pcapng format.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace pcapng
{
enum class BlockType : std::uint32_t
{
    interfaceDescription = 1,
    obsoletePacket = 2,
    simplePacket = 3,
    nameResolution = 4,
    interfaceStatistics = 5,
    enhancedPacket = 6,
    journalEntry = 9,
    decryptionSecrets = 10,
    firstSystemCall = 0x201,  // this and the following types are for tools that trace system calls
    lastSystemCall = 0x2ff,
    custom = 0xbad,
    customPrivate = 0x40000bad,
    sectionHeader = 0x0a0d0d0a,  // the same in both byte orders
};

/// Whether a search for a block accepts the type. Any other number may be data.
constexpr bool isUsual(std::uint32_t aType)
{
    switch (static_cast<BlockType>(aType))
    {
        case BlockType::interfaceDescription:
        case BlockType::simplePacket:
        case BlockType::nameResolution:
        case BlockType::interfaceStatistics:
        case BlockType::enhancedPacket:
        case BlockType::sectionHeader:
            return true;
        default:
            return false;
    }
}

constexpr std::uint32_t byteOrderMagic = 0x1a2b3c4d;
constexpr std::uint16_t majorVersion = 1;

/// Every field, option and block begins at a multiple of this size.
constexpr std::size_t alignment = 4;

/// Type and total length before the body, and the total length again after it.
constexpr std::size_t blockHeadSize = 8;
constexpr std::size_t blockTailSize = 4;
constexpr std::size_t smallestBlock = blockHeadSize + blockTailSize;

/// The fields of a packet before its data, and the positions of two of them.
constexpr std::size_t packetHeadSize = 20;
constexpr std::size_t capturedSizeAt = 12;
constexpr std::size_t originalSizeAt = 16;

/// A packet lost fewer bytes than this when it was truncated.
constexpr std::uint32_t mostTruncated = std::uint32_t{1} << 28U;

/// Whether the sizes of a packet fit its block. A block of one byte order can look like a block of the other order three
/// bytes beside it, because most numbers are small. Its sizes then have bytes of the time or of the data.
/// @param aBody     size in bytes
/// @param aOriginal size before the packet was truncated
constexpr bool arePacketSizes(std::uint64_t aBody, std::uint32_t aCaptured, std::uint32_t aOriginal)
{
    return aBody >= packetHeadSize && aCaptured <= aBody - packetHeadSize && aOriginal >= aCaptured &&
           aOriginal - aCaptured < mostTruncated;
}

enum class Option : std::uint16_t
{
    end = 0,
    comment = 1,

    // of a section header
    hardware = 2,
    system = 3,
    application = 4,

    // of an interface description
    name = 2,
    description = 3,
    timeResolution = 9,
    timeOffset = 14,

    // of a packet
    dropCount = 4,
    packetId = 5,

    // of interface statistics
    startTime = 2,
    endTime = 3,
    received = 4,
    dropped = 5,
};

/// The size in bytes that readers require of an option; 0 for any size.
constexpr std::size_t fixedSizeOf(BlockType aType, std::uint16_t aOption)
{
    constexpr std::size_t ofInterface[] = {0, 0, 0, 0, 8, 16, 6, 8, 8, 1, 4, 0, 0, 1, 8};
    constexpr std::size_t ofPacket[] = {0, 0, 4, 0, 8, 8, 4};
    constexpr std::size_t ofStatistics[] = {0, 0, 8, 8, 8, 8, 8, 8, 8};
    switch (aType)
    {
        case BlockType::interfaceDescription:
            return aOption < std::size(ofInterface) ? ofInterface[aOption] : 0;
        case BlockType::enhancedPacket:
            return aOption < std::size(ofPacket) ? ofPacket[aOption] : 0;
        case BlockType::interfaceStatistics:
            return aOption < std::size(ofStatistics) ? ofStatistics[aOption] : 0;
        default:
            return 0;
    }
}

constexpr std::size_t paddingAfter(std::size_t aSize) { return (alignment - aSize % alignment) % alignment; }
}  // namespace pcapng
