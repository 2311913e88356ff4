/// @file
/// Makes scope events from their numbers. The library itself only decodes them.
#pragma once

#include <new>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qzagent
{
/// The largest category or subcategory that a scope event can have.
constexpr unsigned int largestCategory = 0xff;

/// @throws QZCNoMemoryEx when memory is exhausted
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
