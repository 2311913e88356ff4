#include "tools/qzagent/hba/Host.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/cli/Suggestion.h"
#include "tools/qzagent/hba/HbaConfiguration.h"
#include "tools/qzagent/hba/HbaLimits.h"
#include "tools/qzagent/hba/HbaStep.h"
#include "tools/qzagent/hba/WantedAdapters.h"

namespace qzagent
{
namespace
{
/// Calls the function, and reports its failure.
void reportFailure(Report& aReport, std::function<void()> const& aFunction)
{
    HbaStep const step;
    try
    {
        aFunction();
    }
    catch (std::exception const& exception)
    {
        aReport.addFailure(step.failureOf(exception));
    }
}

unsigned int countOf(QZCHbaapiAbs& aHbaapi)
{
    unsigned int const count = aHbaapi.HA_GetNumberOfAdapters();
    expectAtMost(mostAdapters, count, adaptersOfLibrary);
    if (count == 0)
    {
        expectPlausibleLibraries();
    }
    return count;
}

/// @return the names that can be read
AdapterNames namesOf(qz::HbaApi& aApi, Report& aReport)
{
    unsigned int count = 0;
    QZCVector<QZCString> names;
    AdapterNames result;
    reportFailure(aReport,
                  [&]
                  {
                      count = countOf(aApi.layer());
                      aApi.layer().HA_GetAdapterNames(count, names);
                  });
    for (QZCString const& name : names)
    {
        result.emplace(result.size(), name.get());
    }
    // The layer ends at the first name that cannot be read.
    for (std::size_t i = result.size() + 1; i < count; ++i)
    {
        reportFailure(aReport, [&] { result.emplace(i, aApi.adapterName(static_cast<unsigned int>(i))); });
    }
    return result;
}

Indexes indexesOf(AdapterNames const& aNames)
{
    Indexes indexes;
    for (auto const& [index, name] : aNames)
    {
        indexes.push_back(index);
    }
    return indexes;
}

void reportNone(Report& aReport, std::optional<std::string> const& aWanted, AdapterNames const& aNames)
{
    if (aWanted)
    {
        std::vector<std::string> names;
        for (auto const& [index, name] : aNames)
        {
            names.push_back(name);
        }
        std::string const suggestion = suggestionFor(*aWanted, names);
        aReport.addError(
            ExitCode::failed,
            fmt::format("no adapter '{}'{}", *aWanted,
                        suggestion.empty() ? "; run qzagent adapters to list them" : suggestion));
    }
    else if (aReport.exitCode() == ExitCode::success)
    {
        aReport.addNote("no adapters");
    }
}
}  // namespace

void visitAdapters(Report& aReport, std::optional<std::string> const& aWanted, Visit const& aVisit,
                   std::function<void()> const& aEnd)
{
    AdapterNames names;
    bool isVisited = false;
    bool isLoaded = false;
    qz::refuseUnansweredQueries(true);
    reportFailure(aReport,
                  [&]
                  {
                      setCurrentStep("loading of the HBA libraries");
                      qz::HbaApi api;
                      isLoaded = true;
                      reportUnusedLibraries(aReport);
                      setCurrentStep("adapters");
                      reportFailure(
                          aReport,
                          [&]
                          {
                              names = namesOf(api, aReport);
                              for (std::size_t const index :
                                   aWanted ? wantedAdapters(api, names, *aWanted, aReport) : indexesOf(names))
                              {
                                  isVisited = true;
                                  aVisit(api, index, names.at(index));
                              }
                          });
                      aEnd();
                      setCurrentStep("freeing of the HBA libraries");
                  });
    if (!isLoaded)
    {
        reportFailedLoad(aReport);
    }
    if (!isVisited)
    {
        reportNone(aReport, aWanted, names);
    }
}
}  // namespace qzagent
