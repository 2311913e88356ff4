/// @file
/// Memory for exceptions.
#pragma once

#include <exception>

namespace qzsim
{
/// Makes the runtime of C++ allocate what the exceptions of this thread need. If the program does not link the runtime, the
/// dynamic linker otherwise allocates it at the first exception of the thread, and aborts when memory has run out.
inline void reserveMemoryForExceptions()
{
    [[maybe_unused]] int const volatile exceptions = std::uncaught_exceptions();
}
}  // namespace qzsim
