/// @file
/// Common code of the entry points of both simulated libraries.
#pragma once

#include <cstdio>
#include <exception>

#include "simulator/control/ExceptionMemory.h"
#include "toml/TomlValue.h"

namespace qzsim
{
/// Runs the action. An exception must not leave a C function, so it is reported on standard error.
/// @return the result of the action; aFailure when it throws
template <typename Answer, typename Action>
Answer answerOf(Answer aFailure, Action aAction) noexcept
{
    reserveMemoryForExceptions();
    try
    {
        return aAction();
    }
    catch (std::exception const& error)
    {
        std::fprintf(stderr, "libqzsim: %s\n", tomlfile::escaped(error.what()).c_str());
        return aFailure;
    }
}
}  // namespace qzsim
