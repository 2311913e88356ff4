/// @file
/// Random elements of all types and sizes, to write to a stream and read from it.
#pragma once

#include <cstddef>
#include <random>
#include <type_traits>
#include <variant>
#include <vector>

#include "backend/common/include/EncodableStream.h"
#include "tests/backend/common/Streams.h"
#include "tests/support/Bytes.h"

/// One element of a stream.
using Element = std::variant<bool, unsigned char, unsigned int, Bytes>;

/// Returns the same elements on each call.
inline std::vector<Element> randomElements(std::size_t aCount)
{
    std::mt19937 random(20260504);
    std::vector<Element> elements;
    while (elements.size() < aCount)
    {
        // Numbers of every magnitude are equally likely.
        auto const number = static_cast<unsigned int>(random() >> random() % 32);
        switch (random() % 4)
        {
            case 0:
                elements.emplace_back(number % 2 == 0);
                break;
            case 1:
                elements.emplace_back(static_cast<unsigned char>(number));
                break;
            case 2:
                elements.emplace_back(number);
                break;
            default:
                elements.emplace_back(someBytes(number % 1000));
                break;
        }
    }
    return elements;
}

/// Extracts the next element of the stream, with the type of the expected one.
inline Element extracted(QZCEncodableInStream& aIn, Element const& aExpected)
{
    return std::visit(
        [&](auto const& aTyped) -> Element
        {
            using Type = std::decay_t<decltype(aTyped)>;
            std::conditional_t<std::is_same<Type, Bytes>::value, BufferHandle, Type> value{};
            aIn >> value;
            return contentOf(value);
        },
        aExpected);
}
