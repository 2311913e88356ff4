/// @file
/// What the entry points of both simulated libraries have in common.
#pragma once

#include <cstdio>
#include <exception>

namespace qzsim
{
/// Returns what the action returns, or the other answer when it throws: no exception may cross into C.
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
