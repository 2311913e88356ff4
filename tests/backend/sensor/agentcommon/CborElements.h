/// @file
/// Encoded forms as another CBOR library reads them.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <cbor.h>
#include <gtest/gtest.h>

#include "tests/support/Bytes.h"

inline void releaseItem(cbor_item_t* aItem) { cbor_decref(&aItem); }

inline std::string describeItem(cbor_item_t const* aItem)
{
    if (cbor_isa_uint(aItem))
    {
        return std::to_string(cbor_get_int(aItem));
    }
    if (cbor_is_bool(aItem))
    {
        return cbor_get_bool(aItem) ? "true" : "false";
    }
    if (!cbor_isa_bytestring(aItem) || !cbor_bytestring_is_definite(aItem))
    {
        return "type " + std::to_string(cbor_typeof(aItem));
    }
    std::string bytes = "bytes";
    for (std::size_t i = 0; i < cbor_bytestring_length(aItem); ++i)
    {
        bytes += " " + std::to_string(cbor_bytestring_handle(aItem)[i]);
    }
    return bytes;
}

/// The elements that another CBOR library reads from the bytes.
inline std::vector<std::string> cborElementsOf(Bytes const& aEncoded)
{
    std::vector<std::string> elements;
    for (std::size_t position = 0; position < aEncoded.size();)
    {
        cbor_load_result result;
        std::unique_ptr<cbor_item_t, void (*)(cbor_item_t*)> const item(
            cbor_load(&aEncoded[position], aEncoded.size() - position, &result), &releaseItem);
        if (!item)
        {
            ADD_FAILURE() << "no readable element at byte " << position;
            return elements;
        }
        elements.push_back(describeItem(item.get()));
        position += result.read;
    }
    return elements;
}
