#include "simulator/scenario/ScenarioReader.h"

#include "simulator/scenario/AdapterReader.h"
#include "simulator/scenario/DiagnosticsReader.h"
#include "simulator/scenario/FaultReader.h"
#include "simulator/scenario/TableReader.h"
#include "simulator/scenario/TomlValue.h"
#include "simulator/scenario/ValueReader.h"

namespace qzsim
{
namespace
{
// "fault" comes last: faults refer to adapters and boards.
constexpr Key<Scenario> scenarioKeys[] = {
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

Scenario readScenario(std::string const& aPath)
{
    Scenario scenario;
    readTable(readToml(aPath), "the scenario", scenarioKeys, scenario);
    return scenario;
}
}  // namespace qzsim
