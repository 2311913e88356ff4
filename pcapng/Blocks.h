/// @file
/// What the blocks of a pcapng file say.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "agentkit/include/Bytes.h"

namespace pcapng
{
using qz::Bytes;

/// Nanoseconds since 1970-01-01 UTC.
using Time = std::uint64_t;

/// Begins a section: who wrote it, and where. Empty texts are absent from the file.
struct Section
{
    std::string mHardware;
    std::string mSystem;
    std::string mApplication;
    std::string mComment;
};

/// Describes an interface. Its number is its position among the interfaces of its section. Packets and statistics
/// must follow it.
struct Interface
{
    std::uint16_t mLinkType = 0;
    std::string mName;
    std::string mDescription;
};

/// Everything about a packet except its data.
struct PacketHead
{
    std::uint32_t mInterface = 0;
    Time mTime = 0;
    std::optional<std::uint64_t>
        mDropCount;  ///< packets of the interface that were lost since its previous one
    std::optional<std::uint64_t> mId;
};

/// Counts of an interface up to a time.
struct Statistics
{
    std::uint32_t mInterface = 0;
    Time mTime = 0;
    std::optional<Time> mStart;
    std::optional<Time> mEnd;
    std::optional<std::uint64_t> mReceived;
    std::optional<std::uint64_t> mDropped;
};
}  // namespace pcapng
