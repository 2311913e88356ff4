/// @file
/// What lasts from VQM_InitDiagEnv to VQM_FreeDiagEnv: the boards, who is registered, what sends the events.
#pragma once

#include <list>

#include "simulator/diagnostic/EventSource.h"
#include "simulator/diagnostic/Registrations.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Callable from any thread, also from within callbacks.
class DiagnosticEnvironment
{
public:
    explicit DiagnosticEnvironment(Diagnostics aDiagnostics);

    Diagnostics const& diagnostics() const { return mDiagnostics; }
    Registrations& registrations() { return mRegistrations; }

    /// Adds the registration and starts the clocks of the sources that nobody has wanted before. Throws
    /// std::system_error when no thread is to be had; the registration is then not there.
    QZ_result add(Registration aRegistration, unsigned int* aId);

    /// Ends all registrations and stops all sources: no callback begins from now on. Waits for nothing.
    void close();

    /// @return whether all threads of the closed environment have ended
    bool hasEnded() const;

    /// Waits until the threads of the closed environment have ended, but for the thread that asks. To be called
    /// before it is destroyed.
    /// @return whether all have
    bool join();

    /// @name Around a fork
    /// The new process has none of the environment's threads. All it can do is to leave everything as it is.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    void startSourcesFor(Registration const& aRegistration);

    Diagnostics const mDiagnostics;
    Registrations mRegistrations;
    std::list<EventSource> mSources;
};
}  // namespace qzsim
