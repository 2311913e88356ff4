/// @file
/// Counts the allocations of this program, including those of the framework.
#pragma once

#include <cstddef>

namespace frameworkcheck
{
/// Number of calls of operator new so far.
std::size_t allocations();
}  // namespace frameworkcheck
