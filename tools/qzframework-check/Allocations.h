/// @file
/// Counts the allocations of this program, the framework's included.
#pragma once

#include <cstddef>

namespace frameworkcheck
{
/// How often operator new was called so far.
std::size_t allocations();
}  // namespace frameworkcheck
