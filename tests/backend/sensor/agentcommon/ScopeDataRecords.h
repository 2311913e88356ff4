/// @file
/// Scope data for tests, and its encoded form.
#pragma once

#include <array>
#include <string>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

using EventHandle = QZCPointer<QZCScopeEvent>;
using NameHandle = QZCPointer<QZCWorldWideName>;

inline std::array<unsigned char, 8> const firstBytes = {0x10, 0, 0, 0, 0xc9, 0, 0, 1};
inline std::array<unsigned char, 8> const secondBytes = {0x20, 0, 0, 0, 0xc9, 0, 0, 2};

inline Bytes const encodedEvent = {0x03, 0x07};
inline Bytes const encodedNames = {0x5a, 0, 0, 0, 8, 0x10, 0, 0, 0, 0xc9, 0, 0, 1,
                                   0x5a, 0, 0, 0, 8, 0x20, 0, 0, 0, 0xc9, 0, 0, 2};

/// Decodes the bytes into the record and returns the outcome.
inline std::string decodeInto(QZCScopeData& aData, Bytes const& aBytes)
{
    QZCEncodableInStream in(aBytes.data(), lengthOf(aBytes));
    return outcomeOf([&] { aData.decode(in); });
}

/// The encoded payload element, for payloads of less than 256 bytes.
inline Bytes encodedPayload(Bytes const& aPayload)
{
    return joined({0x5a, 0, 0, 0, static_cast<unsigned char>(aPayload.size())}, aPayload);
}

/// The encoded form of an event with the numbers 3 and 7.
inline Bytes encodedForm(bool aHasNames, Bytes const& aPayload)
{
    Bytes encoded = joined(encodedEvent, {static_cast<unsigned char>(aHasNames ? 0xf5 : 0xf4)});
    encoded = joined(encoded, aHasNames ? encodedNames : Bytes{});
    encoded = joined(encoded, {static_cast<unsigned char>(aPayload.empty() ? 0 : 1)});
    return joined(encoded, aPayload.empty() ? Bytes{} : encodedPayload(aPayload));
}

/// Records to construct scope data from. Their construction logs, so they are created before the log capture.
class ScopeData : public testing::Test
{
protected:
    static ExpectedLog logOf(char const* aFunction) { return ExpectedLog(aFunction, "ScopeData"); }

    QZCScopeData withPayload(Bytes const& aPayload) const
    {
        return QZCScopeData(mEvent, aPayload.data(), lengthOf(aPayload), lengthOf(aPayload));
    }

    QZCScopeData withBoth(Bytes const& aPayload) const
    {
        return QZCScopeData(mEvent, aPayload.data(), lengthOf(aPayload), lengthOf(aPayload), mFirst, mSecond);
    }

    EventHandle const mEvent = eventOf(3, 7);
    NameHandle const mFirst = nameOf(firstBytes);
    NameHandle const mSecond = nameOf(secondBytes);
    Bytes const mTen = someBytes(10);
};
