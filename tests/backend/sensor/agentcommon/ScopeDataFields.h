/// @file
/// The fields of scope data, which it gives nobody, as they stand in memory.
#pragma once

#include <cstddef>
#include <cstring>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"

// Where the fields stand, from the start of the object.
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

/// Makes the record account for so many bytes without having them. Nothing may encode it then.
inline void accountFor(QZCScopeData& aData, unsigned int aSize)
{
    std::memcpy(reinterpret_cast<unsigned char*>(&aData) + sizePosition, &aSize, sizeof aSize);
}
