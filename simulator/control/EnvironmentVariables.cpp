#include "simulator/control/EnvironmentVariables.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "simulator/scenario/ScenarioReader.h"
namespace qzsim
{
namespace
{
/// The clock is the same in all processes of the host.
std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }

std::optional<std::chrono::nanoseconds> startOfEnvironment()
{
    char const* const text = environment(startVariable);
    if (text == nullptr)
    {
        return std::nullopt;
    }
    std::chrono::nanoseconds::rep start = 0;
    auto const [end, error] = std::from_chars(text, text + std::strlen(text), start);
    return error == std::errc() ? std::optional(std::chrono::nanoseconds(start)) : std::nullopt;
}
}  // namespace

char const* environment(char const* aVariable)
{
    char const* const value = std::getenv(aVariable);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

std::string startTime() { return std::to_string(now().count()); }

std::chrono::nanoseconds timeSinceStart()
{
    static std::chrono::nanoseconds const firstCall = now();
    return std::max(std::chrono::nanoseconds::zero(), now() - startOfEnvironment().value_or(firstCall));
}

char const* scenarioOfEnvironment() { return environment(scenarioVariable); }

tomlfile::TomlValue readContentOfEnvironment()
{
    char const* const path = scenarioOfEnvironment();
    if (path == nullptr)
    {
        throw std::runtime_error(
            fmt::format("{} is not set; it must hold the path of a scenario", scenarioVariable));
    }
    char const* const name = environment(scenarioNameVariable);
    return tomlfile::readToml(name == nullptr ? path : name, tomlfile::contentOf(path));
}

Scenario readScenarioOfEnvironment() { return readScenario(readContentOfEnvironment()); }

Strikes openStrikesOfEnvironment(Scenario const& aScenario)
{
    char const* const path = environment(strikesVariable);
    return path == nullptr ? Strikes() : Strikes(path, aScenario.mFaults.size());
}
}  // namespace qzsim
