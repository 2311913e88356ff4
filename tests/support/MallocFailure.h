/// @file
/// Makes malloc and calloc fail by replacing them in the test program, except in builds with sanitizers, which replace
/// them themselves.
#pragma once

/// During its lifetime, malloc and calloc return null.
class MallocFailure
{
public:
    /// Whether this build replaces them. If not, they work as usual.
    static bool isPossible();

    MallocFailure();
    ~MallocFailure();
    MallocFailure(MallocFailure const&) = delete;
    MallocFailure& operator=(MallocFailure const&) = delete;
};
