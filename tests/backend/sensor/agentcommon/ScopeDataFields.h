/// @file
/// Access to the private fields of scope data by their offsets in memory.
#pragma once

#include <cstddef>
#include <cstring>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"

// The offsets of the fields from the start of the object.
constexpr std::size_t handleSize = sizeof(QZCPointer<QZCBuffer>);
constexpr std::size_t eventPosition = sizeof(void*);
constexpr std::size_t dataPosition = eventPosition + handleSize;
constexpr std::size_t flagPosition = dataPosition + handleSize;
constexpr std::size_t secondPosition = flagPosition + sizeof(void*);
constexpr std::size_t firstPosition = secondPosition + handleSize;
constexpr std::size_t sizePosition = firstPosition + handleSize;

inline unsigned char fieldByte(QZCScopeData const& aData, std::size_t aPosition)
{
    return reinterpret_cast<unsigned char const*>(&aData)[aPosition];
}

inline unsigned int numberAt(QZCScopeData const& aData, std::size_t aPosition)
{
    unsigned int number;
    std::memcpy(&number, reinterpret_cast<unsigned char const*>(&aData) + aPosition, sizeof number);
    return number;
}

inline void const* pointerAt(QZCScopeData const& aData, std::size_t aPosition)
{
    void const* pointer;
    std::memcpy(&pointer, reinterpret_cast<unsigned char const*>(&aData) + aPosition, sizeof pointer);
    return pointer;
}

/// Sets the record's payload size without adding payload. Such a record must not be encoded.
inline void accountFor(QZCScopeData& aData, unsigned int aSize)
{
    std::memcpy(reinterpret_cast<unsigned char*>(&aData) + sizePosition, &aSize, sizeof aSize);
}
