/// @file
/// The agent's assumptions about the event records of the vendor library. No other file depends on
/// them, so an agent for another vendor library replaces this pair of files.
#pragma once

#include <cstddef>

struct QZ_event;

namespace qzagent
{
/// In a registration, stands for every category or every subcategory. No event has this number.
constexpr unsigned char anyCategory = 0xff;

/// The payload of an event. The vendor library owns the bytes.
struct VqmPayload
{
    unsigned char const* mBytes;
    std::size_t mLength;
};

/// @param aEvent may be null
/// @return the payload, valid until the event's callback returns; null and 0 for an event without payload
VqmPayload payloadOf(QZ_event const* aEvent);
}  // namespace qzagent
