#include "simulator/EntryPoint.h"

#include <fmt/format.h>

#include "simulator/Environment.h"
#include "simulator/ScenarioError.h"
#include "simulator/ScenarioReader.h"

namespace qzsim
{
Scenario readScenarioOfEnvironment()
{
    char const* const path = scenarioOfEnvironment();
    if (path == nullptr)
    {
        throw ScenarioError(
            fmt::format("{} names no scenario, and must hold the path of one", scenarioVariable));
    }
    return readScenario(path);
}

Strikes openStrikesOfEnvironment(Scenario const& aScenario)
{
    char const* const path = strikesOfEnvironment();
    return path == nullptr ? Strikes() : Strikes(path, aScenario.mFaults.size());
}
}  // namespace qzsim
