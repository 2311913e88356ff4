/// @file
/// The agent's assumptions about the event records of the vendor library. No other file depends on
/// them, so an agent for another vendor library replaces this pair of files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct QZ_event;

namespace qzagent
{
/// In a registration, stands for every category or every subcategory. No event has this number.
constexpr unsigned char anyCategory = 0xff;

/// Largest payload that the agent accepts, in bytes.
constexpr std::uint32_t mostPayloadBytes = std::uint32_t{64} << 20U;

/// The payload of an event as its record describes it. The vendor library owns the bytes.
struct VqmPayload
{
    unsigned char const* mBytes;
    std::uint64_t mLength;
};

/// Where an event record has its payload and the length of the payload. A record has the byte order of the host.
class EventLayout
{
public:
    struct Length
    {
        std::size_t mOffset;         ///< of the number in the record
        std::size_t mSize;           ///< of the number: 1, 2, 4 or 8 bytes; 0 for a fixed length
        std::uint64_t mFixedLength;  ///< of every payload, when there is no number
    };

    enum class Place
    {
        record,  ///< the payload begins in the record
        pointer  ///< the record has a pointer to the payload
    };

    struct Payload
    {
        std::size_t mOffset;  ///< of the payload or the pointer in the record
        Place mPlace;
    };

    /// The layout of the simulator's records.
    EventLayout();

    EventLayout(Length const& aLength, Payload const& aPayload) : mLength(aLength), mPayload(aPayload) {}

    /// @return the layout in words, for messages
    std::string description() const;

    /// Number of bytes from the start of a record that must be readable for payloadIn().
    std::size_t size() const noexcept;

    /// @param aRecord the start of the record
    /// @return the payload, which is not checked
    VqmPayload payloadIn(unsigned char const* aRecord) const noexcept;

private:
    Length mLength;
    Payload mPayload;
};

/// @return whether the vendor library is the simulator. It must be loaded
bool isSimulator();
}  // namespace qzagent
