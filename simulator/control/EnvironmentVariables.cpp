#include "simulator/control/EnvironmentVariables.h"

#include <cstdlib>

#include <fmt/format.h>

#include "simulator/scenario/ScenarioError.h"
#include "simulator/scenario/ScenarioReader.h"

namespace qzsim
{
char const* environment(char const* aVariable)
{
    char const* const value = std::getenv(aVariable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

char const* scenarioOfEnvironment() { return environment(scenarioVariable); }

Scenario readScenarioOfEnvironment()
{
    char const* const path = scenarioOfEnvironment();
    if (path == nullptr)
    {
        throw ScenarioError(
            fmt::format("{} is not set; it must hold the path of a scenario", scenarioVariable));
    }
    return readScenario(path);
}

Strikes openStrikesOfEnvironment(Scenario const& aScenario)
{
    char const* const path = environment(strikesVariable);
    return path == nullptr ? Strikes() : Strikes(path, aScenario.mFaults.size());
}
}  // namespace qzsim
