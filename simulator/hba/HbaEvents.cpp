// The calls that register callbacks for events.
#include <ctime>
#include <functional>
#include <optional>
#include <utility>
#include <variant>

#include <hbaapi.h>

#include "simulator/hba/AdapterEventSource.h"
#include "simulator/hba/Answers.h"
#include "simulator/hba/HbaSimulation.h"
#include "simulator/scenario/AdapterEvents.h"

namespace qzsim
{
namespace
{
std::function<void(AdapterEvent const&)> simple(AdapterCallback aCallback, void* aData)
{
    return [=](AdapterEvent const& aEvent) { aCallback(aData, aEvent.mPort, aEvent.mType); };
}

bool isTypeOfStatistics(HBA_UINT32 aType)
{
    return aType == HBA_EVENT_PORT_STAT_THRESHOLD || aType == HBA_EVENT_PORT_STAT_GROWTH;
}
}  // namespace

HBA_STATUS HbaSimulation::registerForAdapterAddEvents(AdapterCallback aCallback, void* aData,
                                                      HBA_CALLBACKHANDLE* aHandle)
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return HBA_STATUS_ERROR;
    }
    if (auto const absence = absenceOf(Call::registerForAdapterAddEvents, loaded.mScenario->mBehaviour))
    {
        return *absence;
    }
    if (aCallback == nullptr || aHandle == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    if (auto const status = fault(Call::registerForAdapterAddEvents))
    {
        return *status;
    }
    *aHandle = loaded.mLoaded->mEvents->add({EventGroup::adapterAdd, std::nullopt, std::nullopt, std::nullopt,
                                             std::nullopt, simple(aCallback, aData)});
    return HBA_STATUS_OK;
}

HBA_STATUS HbaSimulation::registerForAdapterEvents(AdapterCallback aCallback, void* aData,
                                                   HBA_HANDLE aAdapter, HBA_CALLBACKHANDLE* aHandle)
{
    return registerFor(Call::registerForAdapterEvents, aAdapter, aCallback != nullptr, aHandle,
                       [&](Adapter const&) -> Coverage
                       {
                           return EventRegistration{EventGroup::adapter, std::nullopt,
                                                    std::nullopt,        std::nullopt,
                                                    std::nullopt,        simple(aCallback, aData)};
                       });
}

HBA_STATUS HbaSimulation::registerForPortEvents(PortCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                                HBA_WWN const& aPort, HBA_CALLBACKHANDLE* aHandle)
{
    auto const callback = [=](AdapterEvent const& aEvent)
    { aCallback(aData, aEvent.mPort, aEvent.mType, aEvent.mFabricPortId); };
    return registerFor(Call::registerForAdapterPortEvents, aAdapter, aCallback != nullptr, aHandle,
                       [&](Adapter const& aFound) -> Coverage
                       {
                           if (!indexOfPortNamed(aPort, aFound))
                           {
                               return Reason::port;
                           }
                           return EventRegistration{EventGroup::port, std::nullopt, aPort,
                                                    std::nullopt,     std::nullopt, callback};
                       });
}

HBA_STATUS HbaSimulation::registerForPortStatEvents(AdapterCallback aCallback, void* aData,
                                                    HBA_HANDLE aAdapter, HBA_WWN const& aPort,
                                                    HBA_UINT32 aType, HBA_CALLBACKHANDLE* aHandle)
{
    bool const isGood = aCallback != nullptr && isTypeOfStatistics(aType);
    return registerFor(Call::registerForAdapterPortStatEvents, aAdapter, isGood, aHandle,
                       [&](Adapter const& aFound) -> Coverage
                       {
                           if (!indexOfPortNamed(aPort, aFound))
                           {
                               return Reason::port;
                           }
                           return EventRegistration{
                               EventGroup::portStatistics, std::nullopt, aPort, std::nullopt, aType,
                               simple(aCallback, aData)};
                       });
}

HBA_STATUS HbaSimulation::registerForTargetEvents(TargetCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                                  HBA_WWN const& aPort, std::optional<HBA_WWN> const& aTarget,
                                                  HBA_CALLBACKHANDLE* aHandle)
{
    auto const callback = [=](AdapterEvent const& aEvent)
    { aCallback(aData, aEvent.mPort, aEvent.mRemotePort, aEvent.mType); };
    return registerFor(Call::registerForTargetEvents, aAdapter, aCallback != nullptr, aHandle,
                       [&](Adapter const& aFound) -> Coverage
                       {
                           auto const port = indexOfPortNamed(aPort, aFound);
                           if (!port)
                           {
                               return Reason::port;
                           }
                           if (aTarget && remotePortNamed(*aTarget, aFound.mPorts[*port]) == nullptr)
                           {
                               return Reason::target;
                           }
                           return EventRegistration{EventGroup::target, std::nullopt, aPort, aTarget,
                                                    std::nullopt,       callback};
                       });
}

HBA_STATUS HbaSimulation::registerForLinkEvents(LinkCallback aCallback, void* aData,
                                                CallerMemory const& aBuffer, HBA_HANDLE aAdapter,
                                                HBA_CALLBACKHANDLE* aHandle)
{
    bool const isGood = aCallback != nullptr && (aBuffer.mStart != nullptr || aBuffer.mSize == 0);
    auto const callback = [=](AdapterEvent const& aEvent)
    {
        std::size_t const size = writeBytes(aBuffer, aEvent.mPayload.data(), aEvent.mPayload.size());
        aCallback(aData, aEvent.mPort, aEvent.mType, aBuffer.mStart, static_cast<HBA_UINT32>(size));
    };
    return registerFor(Call::registerForLinkEvents, aAdapter, isGood, aHandle,
                       [&](Adapter const&) -> Coverage
                       {
                           return EventRegistration{EventGroup::link, std::nullopt, std::nullopt,
                                                    std::nullopt,     std::nullopt, callback};
                       });
}

HBA_STATUS HbaSimulation::removeCallback(HBA_CALLBACKHANDLE aHandle)
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return HBA_STATUS_ERROR;
    }
    if (auto const absence = absenceOf(Call::removeCallback, loaded.mScenario->mBehaviour))
    {
        return *absence;
    }
    if (auto const status = fault(Call::removeCallback))
    {
        return *status;
    }
    return loaded.mLoaded->mEvents->remove(aHandle) ? HBA_STATUS_OK : HBA_STATUS_ERROR_INVALID_HANDLE;
}

HBA_STATUS HbaSimulation::registerFor(Call aCall, HBA_HANDLE aAdapter, bool aIsGood,
                                      HBA_CALLBACKHANDLE* aHandle,
                                      std::function<Coverage(Adapter const& aAdapter)> const& aCover)
{
    return withAdapter(aCall, aAdapter, aIsGood && aHandle != nullptr,
                       [&](Query const& aQuery)
                       {
                           Coverage coverage = aCover(aQuery.mAdapter);
                           if (auto const* const reason = std::get_if<Reason>(&coverage))
                           {
                               return aQuery.refused(*reason);
                           }
                           if (auto const status = fault(aCall, aQuery.mAdapter.mName))
                           {
                               return *status;
                           }
                           auto& registration = std::get<EventRegistration>(coverage);
                           registration.mAdapter = aQuery.mIndex;
                           *aHandle = aQuery.mLoaded.mEvents->add(std::move(registration));
                           return HBA_STATUS{HBA_STATUS_OK};
                       });
}
}  // namespace qzsim
