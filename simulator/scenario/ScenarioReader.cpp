#include "simulator/scenario/ScenarioReader.h"

#include "simulator/scenario/AdapterReader.h"
#include "simulator/scenario/DiagnosticsReader.h"
#include "simulator/scenario/FaultReader.h"
#include "toml/Named.h"
#include "toml/TableReader.h"
#include "toml/TomlValue.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::Key;
using tomlfile::Named;
using tomlfile::Presence;
using tomlfile::TomlValue;

constexpr Named<Behaviour> behaviours[] = {
    {"standard", Behaviour::standard},
    {"linux", Behaviour::libhbalinux},
};

// "fault" comes last: faults refer to adapters and boards.
constexpr Key<Scenario> scenarioKeys[] = {
    {"behaviour", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario)
     { aScenario.mBehaviour = readNamed(aValue, behaviours); }},
    {"number_of_adapters", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario)
     { aScenario.mNumberOfAdapters = readNumber(aValue, 0, highestNumber); }},
    {"adapter", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mAdapters = readAdapters(aValue); }},
    {"diagnostics", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mDiagnostics = readDiagnostics(aValue); }},
    {"fault", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mFaults = readFaults(aValue, aScenario); }},
};
}  // namespace

Scenario readScenario(std::string const& aPath) { return readScenario(aPath, tomlfile::contentOf(aPath)); }

Scenario readScenario(std::string const& aPath, std::string const& aContent)
{
    Scenario scenario;
    readTable(tomlfile::readToml(aPath, aContent), "the scenario", scenarioKeys, scenario);
    return scenario;
}
}  // namespace qzsim
