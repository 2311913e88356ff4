/// @file
/// Calls of the functions of the HBA API with arguments that differ from each other. The pointers must not be used.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

#include <hbaapi.h>

/// @return the argument at that place of a call
template <typename Value>
Value hbaArgument(std::size_t aIndex)
{
    static std::array<unsigned char, 16> areas = {};
    if constexpr (std::is_pointer_v<Value>)
    {
        return reinterpret_cast<Value>(&areas[aIndex]);
    }
    else if constexpr (std::is_enum_v<Value>)
    {
        return static_cast<Value>(1);  // not every number is a value of an enumeration
    }
    else
    {
        Value value;
        std::memset(&value, static_cast<int>(aIndex + 1), sizeof value);
        return value;
    }
}

template <typename... Parameters, std::size_t... indexes>
std::tuple<Parameters...> hbaArguments(std::index_sequence<indexes...>)
{
    return {hbaArgument<Parameters>(indexes)...};
}

/// @return the arguments with which callHba() calls the function
template <typename Result, typename... Parameters>
std::tuple<Parameters...> hbaArguments(Result (*)(Parameters...))
{
    return hbaArguments<Parameters...>(std::index_sequence_for<Parameters...>());
}

/// Calls the function.
/// @return its result; none when it has none
template <typename Result, typename... Parameters>
std::optional<HBA_UINT32> callHba(Result (*aFunction)(Parameters...))
{
    if constexpr (std::is_void_v<Result>)
    {
        std::apply(aFunction, hbaArguments(aFunction));
        return std::nullopt;
    }
    else
    {
        return std::apply(aFunction, hbaArguments(aFunction));
    }
}
