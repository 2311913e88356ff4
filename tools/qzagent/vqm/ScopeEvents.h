/// @file
/// Kinds of events, which the library makes from their encoded form alone.
#pragma once

#include <new>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qzagent
{
/// The largest number of a category or a subcategory that the kind of an event can have.
constexpr unsigned int largestCategory = 0xff;

/// @throws QZCNoMemoryEx
inline QZCPointer<QZCScopeEvent> scopeEventOf(unsigned char aCategory, unsigned char aSubcategory)
{
    QZCPointer<QZCScopeEvent> const event(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New);
    QZCEncodableOutStream out;
    out << aCategory << aSubcategory;
    QZCBuffer const& encoded = out.getEncoded();
    QZCEncodableInStream in(encoded, encoded.getLength());
    event->decode(in);
    return event;
}
}  // namespace qzagent
