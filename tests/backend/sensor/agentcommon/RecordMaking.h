/// @file
/// Records as the tables of their operations make them.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"

// What is lost when an allocation of these fails, see Operation. A short text is a string and its count; a
// long one has characters of its own besides.
inline std::string const shortText = "01";
inline std::string const longText = "002";

/// What a stream takes before it grows.
constexpr unsigned int roomInside = 39;

/// What is made, records to make it of, bytes to read it from and a stream to write it to.
template <typename Record>
struct Making
{
    std::optional<Record> mRecord;
    EventHandle mEvent = eventOf(3, 7);
    NameHandle mFirst = nameOf(firstBytes);
    NameHandle mSecond = nameOf(secondBytes);
    Bytes mPayload = someBytes(100);
    Bytes mEncoded;
    QZCEncodableOutStream mOut;

    void decode()
    {
        QZCEncodableInStream in(mEncoded.data(), lengthOf(mEncoded));
        mRecord->decode(in);
    }
};

template <typename Record>
std::shared_ptr<Making<Record>> making()
{
    return std::make_shared<Making<Record>>();
}

template <typename Record>
void expectNothingMade(Making<Record> const& aMaking)
{
    EXPECT_FALSE(aMaking.mRecord);
}

/// A stream that takes so many bytes before it grows.
template <typename Record>
void leaveRoom(Making<Record>& aMaking, unsigned int aLength)
{
    for (unsigned int i = aLength; i < roomInside; ++i)
    {
        aMaking.mOut << true;
    }
}
