/// @file
/// Records that tests pass to the code under test.
#pragma once

#include <array>
#include <new>

#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LatencyData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/Bytes.h"

/// A scope event of these numbers.
inline QZCPointer<QZCScopeEvent> eventOf(unsigned char aCategory, unsigned char aSubcategory)
{
    return qz::makeScopeEvent(aCategory, aSubcategory);
}

/// A name with these 8 bytes.
inline QZCPointer<QZCWorldWideName> nameOf(std::array<unsigned char, 8> const& aBytes)
{
    return QZCPointer<QZCWorldWideName>(new (std::nothrow) QZCWorldWideName(aBytes.data()), QZPST_Individual,
                                        QZPAT_New);
}

/// Latency data with a thousand I/Os.
inline QZCLatencyData latencies()
{
    unsigned int const buckets[] = {0, 120, 880};
    return QZCLatencyData(1000, 4104, 0, 35, 1, 10, 2, buckets, 3);
}

/// The encoded form of a record.
template <typename Record>
Bytes encodedFormOf(Record const& aRecord)
{
    QZCEncodableOutStream out;
    aRecord.encode(out);
    return bytesOf(out.getEncoded());
}
