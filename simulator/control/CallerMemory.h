/// @file
/// Writes answers into the memory of a caller, in the shape that a fault gives them.
#pragma once

#include <cstddef>
#include <ctime>

#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// A buffer of the caller.
struct CallerMemory
{
    void* mStart;
    std::size_t mSize;
};

/// Content of memory that the library overwrites although the answer does not reach it.
constexpr unsigned char garbage = 0xdb;

/// Writes as much of the content as fits.
/// @return the number of bytes of the content that were written
std::size_t writeBytes(CallerMemory const& aMemory, void const* aContent, std::size_t aSize,
                       AnswerShape const& aShape = {});
}  // namespace qzsim
