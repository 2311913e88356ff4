/// @file
/// Makes the C heap run out of memory. A test program that links this has its own malloc and calloc, except in a build
/// with sanitizers, which have theirs.
#pragma once

/// While it lives, malloc and calloc give null.
class MallocFailure
{
public:
    /// Whether this build supports it. If not, an object has no effect.
    static bool isPossible();

    MallocFailure();
    ~MallocFailure();
    MallocFailure(MallocFailure const&) = delete;
    MallocFailure& operator=(MallocFailure const&) = delete;
};
