#include "simulator/diagnostic/DiagnosticEnvironment.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace qzsim
{
DiagnosticEnvironment::DiagnosticEnvironment(Diagnostics aDiagnostics, EventSource::Feed aFeed)
    : mDiagnostics(std::move(aDiagnostics))
{
    for (EventSeries const& series : mDiagnostics.mEvents)
    {
        mSources.emplace_back(series, mRegistrations);
    }
    if (aFeed)
    {
        mSources.emplace_back(std::move(aFeed), mRegistrations);
    }
}

QZ_result DiagnosticEnvironment::add(Registration aRegistration, unsigned int* aId)
{
    Registration const registration = aRegistration;
    QZ_result const result = mRegistrations.add(std::move(aRegistration), aId);
    if (result != QZ_OK)
    {
        return result;
    }
    try
    {
        startSourcesFor(registration);
    }
    catch (std::system_error const&)
    {
        registration.mPort ? mRegistrations.removeQuazor(registration.mBoard, *registration.mPort, *aId)
                           : mRegistrations.removePlain(registration.mBoard, registration.mCategory);
        throw;
    }
    return QZ_OK;
}

void DiagnosticEnvironment::startSourcesFor(Registration const& aRegistration)
{
    for (EventSource& source : mSources)
    {
        if (source.isFor(aRegistration))
        {
            source.start();
        }
    }
}

void DiagnosticEnvironment::setPaused(bool aIsPaused)
{
    for (EventSource& source : mSources)
    {
        source.setPaused(aIsPaused);
    }
}

void DiagnosticEnvironment::close()
{
    for (EventSource& source : mSources)
    {
        source.stop();
    }
    mRegistrations.close();
}

bool DiagnosticEnvironment::hasEnded() const
{
    return std::all_of(mSources.begin(), mSources.end(),
                       [](EventSource const& aSource) { return aSource.hasEnded(); });
}

bool DiagnosticEnvironment::join()
{
    bool areAllJoined = true;
    for (EventSource& source : mSources)
    {
        areAllJoined = source.join() && areAllJoined;
    }
    return areAllJoined;
}

void DiagnosticEnvironment::beforeFork() { mRegistrations.lock(); }

void DiagnosticEnvironment::afterForkInParent() { mRegistrations.unlock(); }

void DiagnosticEnvironment::afterForkInChild()
{
    for (EventSource& source : mSources)
    {
        source.abandon();
    }
    mRegistrations.closeLocked();
    mRegistrations.unlock();
}
}  // namespace qzsim
