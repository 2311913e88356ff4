/// @file
/// The diagnostic environment of the vendor library, with its failures in the report.
#pragma once

#include <exception>
#include <functional>
#include <utility>

#include "agentkit/include/VqmLibrary.h"
#include "tools/qzagent/cli/CurrentStep.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmVersions.h"

namespace qzagent
{
/// Keeps the environment open, and reports when it cannot be closed, also after an exception.
class ReportedEnvironment
{
public:
    /// @throws as qz::VqmEnvironment
    ReportedEnvironment(qz::VqmLibrary& aLibrary, Report& aReport)
        : mEnvironment(opening(aLibrary)), mReport(aReport)
    {
    }
    ~ReportedEnvironment()
    {
        setCurrentCall("VQM_FreeDiagEnv");
        try
        {
            mEnvironment.close();
        }
        catch (std::exception const& exception)
        {
            mReport.addFailure(failureOf(exception));
        }
    }
    ReportedEnvironment(ReportedEnvironment const&) = delete;
    ReportedEnvironment& operator=(ReportedEnvironment const&) = delete;

    qz::VqmEnvironment& operator*() { return mEnvironment; }
    qz::VqmEnvironment* operator->() { return &mEnvironment; }

private:
    static qz::VqmLibrary& opening(qz::VqmLibrary& aLibrary)
    {
        setCurrentCall("VQM_InitDiagEnv");
        return aLibrary;
    }

    qz::VqmEnvironment mEnvironment;
    Report& mReport;
};

/// @param aVersions  set to the versions of the vendor library and its driver
/// @param aOnVersion called after each version, because a later call of the library may hang
/// @throws as qz::VqmEnvironment
inline ReportedEnvironment openEnvironment(
    qz::VqmLibrary& aLibrary, Report& aReport, LibvqmVersions& aVersions,
    std::function<void()> aOnVersion = [] {})
{
    LibvqmVersionLog const log(aReport.errors(), aVersions, std::move(aOnVersion));
    return {aLibrary, aReport};
}
}  // namespace qzagent
