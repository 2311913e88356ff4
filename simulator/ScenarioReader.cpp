#include "simulator/ScenarioReader.h"

#include "simulator/AdapterReader.h"
#include "simulator/DiagnosticsReader.h"
#include "simulator/FaultReader.h"
#include "simulator/TableReader.h"
#include "simulator/TomlValue.h"

namespace qzsim
{
namespace
{
// The faults name adapters and boards, which must be known by then.
constexpr Key<Scenario> scenarioKeys[] = {
    {"adapter", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mAdapters = readAdapters(aValue); }},
    {"diagnostics", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mDiagnostics = readDiagnostics(aValue); }},
    {"fault", Presence::optional,
     [](TomlValue const& aValue, Scenario& aScenario) { aScenario.mFaults = readFaults(aValue, aScenario); }},
};
}  // namespace

Scenario readScenario(std::string const& aPath)
{
    Scenario scenario;
    readTable(readToml(aPath), "the scenario", scenarioKeys, scenario);
    return scenario;
}
}  // namespace qzsim
