/// @file
/// Common code of the entry points of both simulated libraries.
#pragma once

#include <cstdio>
#include <exception>

namespace qzsim
{
/// Runs the action. An exception must not leave a C function, so it is reported on standard error.
/// @return the result of the action; aFailure when it throws
template <typename Answer, typename Action>
Answer answerOf(Answer aFailure, Action aAction) noexcept
{
    try
    {
        return aAction();
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "libqzsim: %s\n", error.what());
        return aFailure;
    }
}
}  // namespace qzsim
