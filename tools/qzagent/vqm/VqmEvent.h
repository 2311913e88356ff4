/// @file
/// What this agent assumes about the vendor library's events. Their records and results are the vendor's own, so no
/// other file depends on them: for a real vendor library this pair of files is what changes.
#pragma once

#include <cstddef>

struct QZ_event;

namespace qzagent
{
/// In a registration: events of every category, or of every subcategory. No event has this number.
constexpr unsigned char anyCategory = 0xff;

/// The bytes of an event, which belong to the vendor library.
struct VqmPayload
{
    unsigned char const* mBytes;
    std::size_t mLength;
};

/// @param aEvent may be null
/// @return the event's bytes while its callback runs; none for an event that has none
VqmPayload payloadOf(QZ_event const* aEvent);

/// Whether the vendor library accepted a registration or its end.
bool isAccepted(unsigned int aResult);
}  // namespace qzagent
