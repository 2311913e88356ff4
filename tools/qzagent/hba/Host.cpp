#include "tools/qzagent/hba/Host.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <numeric>
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

/// @return the names of the adapters, up to the first name that cannot be read
std::vector<std::string> namesOf(QZCHbaapiAbs& aHbaapi, Report& aReport)
{
    QZCVector<QZCString> names;
    reportFailure(aReport,
                  [&]
                  {
                      unsigned int const count = aHbaapi.HA_GetNumberOfAdapters();
                      expectAtMost(mostAdapters, count, adaptersOfLibrary);
                      if (count == 0)
                      {
                          expectPlausibleLibraries();
                      }
                      aHbaapi.HA_GetAdapterNames(count, names);
                  });
    std::vector<std::string> result;
    for (QZCString const& name : names)
    {
        result.emplace_back(name.get());
    }
    return result;
}

std::vector<std::size_t> allIndexes(std::size_t aCount)
{
    std::vector<std::size_t> indexes(aCount);
    std::iota(indexes.begin(), indexes.end(), std::size_t{0});
    return indexes;
}

void reportNone(Report& aReport, std::optional<std::string> const& aWanted,
                std::vector<std::string> const& aNames)
{
    if (aWanted)
    {
        std::string const suggestion = suggestionFor(*aWanted, aNames);
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
    std::vector<std::string> names;
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
                      reportFailure(aReport,
                                    [&]
                                    {
                                        names = namesOf(api.layer(), aReport);
                                        for (std::size_t const index :
                                             aWanted ? wantedAdapters(api, names, *aWanted, aReport)
                                                     : allIndexes(names.size()))
                                        {
                                            isVisited = true;
                                            aVisit(api, index, names[index]);
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
