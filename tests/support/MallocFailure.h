/// @file
/// Makes the C heap run out of memory. A test program that links this has its own malloc, but in a build with
/// sanitizers, which have theirs.
#pragma once

/// While it lives, malloc gives null.
class MallocFailure
{
public:
    /// Whether this build lets it. Where not, malloc goes on as ever.
    static bool isPossible();

    MallocFailure();
    ~MallocFailure();
    MallocFailure(MallocFailure const&) = delete;
    MallocFailure& operator=(MallocFailure const&) = delete;
};
