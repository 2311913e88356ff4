/// @file
/// State between VQM_InitDiagEnv and VQM_FreeDiagEnv: boards, registrations and event sources.
#pragma once

#include <list>

#include "simulator/diagnostic/EventSource.h"
#include "simulator/diagnostic/Registrations.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Any thread may call the methods, also from inside a callback.
class DiagnosticEnvironment
{
public:
    /// @param aFeed returns the events that changes of the world send; may be empty
    explicit DiagnosticEnvironment(Diagnostics aDiagnostics, EventSource::Feed aFeed = {});

    Registrations& registrations() { return mRegistrations; }

    /// Adds the registration and starts the sources that match it and have not started yet.
    /// @throws std::system_error when a thread cannot be created; the registration is then removed again
    QZ_result add(Registration aRegistration, unsigned int* aId);

    /// Makes all sources wait.
    void setPaused(bool aIsPaused);

    /// Ends all registrations and stops all sources: no callback starts after this. Does not wait.
    void close();

    /// @return whether all threads of the closed environment have ended
    bool hasEnded() const;

    /// Waits until all threads of the closed environment, except the calling one, have ended. Must be called before
    /// the environment is destroyed.
    /// @return whether all threads have ended
    bool join();

    /// @name Around a fork
    /// The environment's threads do not exist in the child process, so the child abandons the environment.
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
