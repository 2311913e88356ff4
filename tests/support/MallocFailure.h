/// @file
/// Makes malloc fail by replacing it in the test program, except in builds with sanitizers, which replace it
/// themselves.
#pragma once

/// During its lifetime, malloc returns null.
class MallocFailure
{
public:
    /// Whether this build replaces malloc. If not, malloc works as usual.
    static bool isPossible();

    MallocFailure();
    ~MallocFailure();
    MallocFailure(MallocFailure const&) = delete;
    MallocFailure& operator=(MallocFailure const&) = delete;
};
