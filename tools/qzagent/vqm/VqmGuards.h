/// @file
/// What is loaded and opened through the layer over the vendor's diagnostic library is released again, also on the
/// way of an exception.
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
class LoadedLibvqm
{
public:
    /// @throws QZCNotFoundEx as LIBVQM_LoadLibrary()
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

    /// Calls an operation of the layer.
    /// @throws as the operation
    template <typename Operation, typename... Arguments>
    auto call(Operation aOperation, Arguments&&... aArguments)
    {
        try
        {
            return std::invoke(aOperation, mLibvqm, std::forward<Arguments>(aArguments)...);
        }
        catch (QZCNotAllowedEx const&)
        {
            // The library lacked a function, and the layer has freed it for that.
            mIsLoaded = false;
            throw;
        }
    }

    /// Whether operations may still be called.
    bool isLoaded() const { return mIsLoaded; }

private:
    QZCLibvqmAbs mLibvqm;
    bool mIsLoaded = true;
};

class DiagnosticEnvironment
{
public:
    /// @param aReport told when the environment cannot be closed
    /// @throws as LIBVQM_Init()
    DiagnosticEnvironment(LoadedLibvqm& aLibrary, Report& aReport) : mLibrary(aLibrary), mReport(aReport)
    {
        try
        {
            mLibrary.call(&QZCLibvqmAbs::LIBVQM_Init);
        }
        catch (QZCNoMemoryEx const&)
        {
            // The environment is open by then: the versions are read last.
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
