/// @file
/// Guards that release what is loaded and opened through the layer over the vendor library, also after an exception.
#pragma once

#include <exception>
#include <functional>
#include <utility>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tools/qzagent/cli/Failure.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
/// Keeps the vendor library loaded.
class LoadedLibvqm
{
public:
    /// @throws QZCNotFoundEx when the vendor library cannot be loaded
    LoadedLibvqm() { mLibvqm.LIBVQM_LoadLibrary(); }
    ~LoadedLibvqm()
    {
        if (mIsLoaded)
        {
            mLibvqm.LIBVQM_FreeLibrary();
        }
    }
    LoadedLibvqm(LoadedLibvqm const&) = delete;
    LoadedLibvqm& operator=(LoadedLibvqm const&) = delete;

    /// Calls a method of the layer and passes on its exceptions. After QZCNotAllowedEx the vendor library is no longer
    /// loaded.
    /// @throws QZCNotAllowedEx when the vendor library lacks a function
    template <typename Operation, typename... Arguments>
    auto call(Operation aOperation, Arguments&&... aArguments)
    {
        try
        {
            return std::invoke(aOperation, mLibvqm, std::forward<Arguments>(aArguments)...);
        }
        catch (QZCNotAllowedEx const&)
        {
            // The vendor library lacks a function, so the layer has freed it.
            mIsLoaded = false;
            throw;
        }
    }

    /// @return whether methods of the layer may still be called
    bool isLoaded() const { return mIsLoaded; }

private:
    QZCLibvqmAbs mLibvqm;
    bool mIsLoaded = true;
};

/// Keeps the diagnostic environment of the vendor library open.
class DiagnosticEnvironment
{
public:
    /// @param aReport receives the failure when the environment cannot be closed
    /// @throws QZCNotAllowedEx when the vendor library lacks a function
    /// @throws QZCNoMemoryEx when memory is exhausted
    DiagnosticEnvironment(LoadedLibvqm& aLibrary, Report& aReport) : mLibrary(aLibrary), mReport(aReport)
    {
        try
        {
            mLibrary.call(&QZCLibvqmAbs::LIBVQM_Init);
        }
        catch (QZCNoMemoryEx const&)
        {
            // The environment is already open: LIBVQM_Init() reads the versions last.
            close();
            throw;
        }
    }
    ~DiagnosticEnvironment() { close(); }
    DiagnosticEnvironment(DiagnosticEnvironment const&) = delete;
    DiagnosticEnvironment& operator=(DiagnosticEnvironment const&) = delete;

private:
    void close()
    {
        if (!mLibrary.isLoaded())
        {
            return;
        }
        try
        {
            mLibrary.call(&QZCLibvqmAbs::LIBVQM_Close);
        }
        catch (std::exception const& exception)
        {
            mReport.addFailure(failureOf(exception));
        }
    }

    LoadedLibvqm& mLibrary;
    Report& mReport;
};
}  // namespace qzagent
