/// @file
/// What the entry points of both vendor libraries have in common.
#pragma once

#include <cstdio>
#include <exception>

#include "simulator/Scenario.h"
#include "simulator/Strikes.h"

namespace qzsim
{
/// What the action returns; the other answer when it throws, as no exception may cross into C.
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

/// Throws ScenarioError.
Scenario readScenarioOfEnvironment();

/// Throws std::runtime_error.
Strikes openStrikesOfEnvironment(Scenario const& aScenario);
}  // namespace qzsim
