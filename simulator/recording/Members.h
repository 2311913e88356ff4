/// @file
/// Members of the arguments and results of recorded calls. A member that is missing or of another kind has an empty value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "simulator/recording/Values.h"

namespace qzsim
{
using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_binary() ? Bytes(found->get_binary()) : Bytes();
}

template <typename Value>
Value valueOf(Json const& aObject, char const* aName)
{
    Value value{};
    auto const found = aObject.find(aName);
    if (found != aObject.end())
    {
        readValue(*found, value);
    }
    return value;
}

inline std::string textOfValue(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    if (found == aObject.end())
    {
        return {};
    }
    Bytes const bytes = bytesOf(aObject, aName);  // of a text that is not ASCII
    return found->is_string() ? found->get<std::string>() : std::string(bytes.begin(), bytes.end());
}
}  // namespace qzsim
