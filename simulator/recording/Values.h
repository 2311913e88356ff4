/// @file
/// Values of calls in recordings.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include <nlohmann/json.hpp>

#include "simulator/recording/CborWriter.h"
#include "simulator/recording/Fields.h"

namespace qzsim
{
using Json = nlohmann::json;

/// @return whether a text can be a CBOR text; a library may write any bytes
inline bool isPlainText(std::string_view aText)
{
    constexpr unsigned char firstPrintable = 0x20;
    constexpr unsigned char firstBeyond = 0x7f;
    return std::all_of(aText.begin(), aText.end(),
                       [](char aCharacter)
                       {
                           auto const byte = static_cast<unsigned char>(aCharacter);
                           return byte >= firstPrintable && byte < firstBeyond;
                       });
}

inline void writeText(CborWriter& aWriter, std::string_view aText)
{
    if (isPlainText(aText))
    {
        aWriter.text(aText);
    }
    else
    {
        aWriter.bytes({reinterpret_cast<unsigned char const*>(aText.data()), aText.size()});
    }
}

/// Bytes without the zero bytes at their end.
inline void writeBytes(CborWriter& aWriter, void const* aBytes, std::size_t aSize)
{
    auto const* const bytes = static_cast<unsigned char const*>(aBytes);
    while (aSize != 0 && bytes[aSize - 1] == 0)
    {
        --aSize;
    }
    aWriter.bytes({bytes, aSize});
}

/// Fills an area from a text or bytes, and the rest of it with zero bytes.
inline void readBytes(Json const& aValue, void* aBytes, std::size_t aSize)
{
    auto* const bytes = static_cast<unsigned char*>(aBytes);
    std::size_t size = 0;
    if (auto const* const text = aValue.get_ptr<std::string const*>())
    {
        size = std::min(aSize, text->size());
        std::memcpy(bytes, text->data(), size);
    }
    else if (aValue.is_binary())
    {
        size = std::min(aSize, aValue.get_binary().size());
        std::copy_n(aValue.get_binary().begin(), size, bytes);
    }
    std::memset(bytes + size, 0, aSize - size);
}

template <typename Value>
constexpr bool isNumber = std::is_integral_v<Value> || std::is_enum_v<Value>;

/// @name A number, World Wide Name, text, row of bytes or structure
/// @{
template <typename Value>
void writeValue(CborWriter& aWriter, Value& aValue)
{
    if constexpr (isNumber<Value>)
    {
        aWriter.number(
            static_cast<std::conditional_t<std::is_signed_v<Value>, std::int64_t, std::uint64_t>>(aValue));
    }
    else if constexpr (std::is_same_v<Value, HBA_WWN>)
    {
        aWriter.bytes({aValue.wwn, sizeof aValue.wwn});
    }
    else if constexpr (std::is_array_v<Value> && std::is_same_v<std::remove_extent_t<Value>, char>)
    {
        writeText(aWriter, {aValue, ::strnlen(aValue, sizeof aValue)});
    }
    else if constexpr (std::is_array_v<Value>)
    {
        writeBytes(aWriter, aValue, sizeof aValue);
    }
    else
    {
        aWriter.beginMap();
        visitFields(aValue,
                    [&](char const* aName, auto& aField)
                    {
                        aWriter.text(aName);
                        writeValue(aWriter, aField);
                    });
        aWriter.end();
    }
}

/// A value of another kind than expected leaves the memory as it is.
template <typename Value>
void readValue(Json const& aJson, Value& aValue)
{
    if constexpr (isNumber<Value>)
    {
        aValue = aJson.is_number_unsigned()  ? static_cast<Value>(aJson.get<std::uint64_t>())
                 : aJson.is_number_integer() ? static_cast<Value>(aJson.get<std::int64_t>())
                                             : aValue;
    }
    else if constexpr (std::is_same_v<Value, HBA_WWN>)
    {
        readBytes(aJson, aValue.wwn, sizeof aValue.wwn);
    }
    else if constexpr (std::is_array_v<Value>)
    {
        readBytes(aJson, aValue, sizeof aValue);
    }
    else if (aJson.is_object())
    {
        visitFields(aValue,
                    [&](char const* aName, auto& aField)
                    {
                        if (auto const found = aJson.find(aName); found != aJson.end())
                        {
                            readValue(*found, aField);
                        }
                    });
    }
}
/// @}
}  // namespace qzsim
