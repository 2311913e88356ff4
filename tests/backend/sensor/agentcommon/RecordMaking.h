/// @file
/// The objects that the tables of record operations use.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/sensor/agentcommon/ScopeDataRecords.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"

// A short text allocates a string and its count. A long one also allocates its characters.
inline Lost const shortText = {0, 1};
inline Lost const longText = {0, 0, 2};

/// The number of bytes that fit into a stream before it allocates memory.
constexpr unsigned int roomInside = 39;

/// A record under construction, the values to construct it from, the bytes to decode it from, and a stream.
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

/// Fills the stream until only this many bytes fit before it allocates memory.
template <typename Record>
void leaveRoom(Making<Record>& aMaking, unsigned int aLength)
{
    for (unsigned int i = aLength; i < roomInside; ++i)
    {
        aMaking.mOut << true;
    }
}

/// Fails the test unless the bytes are a proper prefix of the whole with at least aLeast bytes.
inline void expectBeginning(Bytes const& aBytes, Bytes const& aWhole, std::size_t aLeast)
{
    EXPECT_GE(aBytes.size(), aLeast);
    ASSERT_LT(aBytes.size(), aWhole.size());
    EXPECT_EQ(aBytes, Bytes(aWhole.begin(), aWhole.begin() + static_cast<std::ptrdiff_t>(aBytes.size())));
}
