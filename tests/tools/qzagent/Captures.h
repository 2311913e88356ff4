/// @file
/// Captures for the agent to show, made by the library.
#pragma once

#include <string>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"

/// An encoded record of event 3 and 7 without names and payload.
inline std::string plainRecord()
{
    Bytes const encoded = encodedFormOf(QZCScopeData(eventOf(3, 7)));
    return {encoded.begin(), encoded.end()};
}

/// An encoded record of event 9 and 10 with names.
/// @param aPayload not empty
inline std::string fullRecord(std::string const& aPayload)
{
    Bytes const payload(aPayload.begin(), aPayload.end());
    Bytes const encoded = encodedFormOf(
        QZCScopeData(eventOf(9, 10), payload.data(), lengthOf(payload), lengthOf(payload),
                     nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 1}), nameOf({0x50, 0, 0, 0, 0xab, 0, 0, 1})));
    return {encoded.begin(), encoded.end()};
}
