// The HBA library: C entry points of the calls for events.
#include <ctime>
#include <optional>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/HbaEntryPoints.h"

namespace
{
using qzsim::HbaSimulation;
using qzsim::statusOfCall;

HBA_STATUS removeCallback(HBA_CALLBACKHANDLE aHandle)
{
    return statusOfCall(&HbaSimulation::removeCallback, aHandle);
}

HBA_STATUS registerForAdapterAddEvents(qzsim::AdapterCallback aCallback, void* aData,
                                       HBA_CALLBACKHANDLE* aHandle)
{
    return statusOfCall(&HbaSimulation::registerForAdapterAddEvents, aCallback, aData, aHandle);
}

HBA_STATUS registerForAdapterEvents(qzsim::AdapterCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                    HBA_CALLBACKHANDLE* aHandle)
{
    return statusOfCall(&HbaSimulation::registerForAdapterEvents, aCallback, aData, aAdapter, aHandle);
}

HBA_STATUS registerForAdapterPortEvents(qzsim::PortCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                        HBA_WWN aPort, HBA_CALLBACKHANDLE* aHandle)
{
    return statusOfCall(&HbaSimulation::registerForPortEvents, aCallback, aData, aAdapter, aPort, aHandle);
}

HBA_STATUS registerForAdapterPortStatEvents(qzsim::AdapterCallback aCallback, void* aData,
                                            HBA_HANDLE aAdapter, HBA_WWN aPort, HBA_PORTSTATISTICS,
                                            HBA_UINT32 aType, HBA_CALLBACKHANDLE* aHandle)
{
    return statusOfCall(&HbaSimulation::registerForPortStatEvents, aCallback, aData, aAdapter, aPort, aType,
                        aHandle);
}

HBA_STATUS registerForTargetEvents(qzsim::TargetCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                   HBA_WWN aPort, HBA_WWN aTarget, HBA_CALLBACKHANDLE* aHandle,
                                   HBA_UINT32 aIsForAllTargets)
{
    auto const target = aIsForAllTargets == 0 ? std::optional(aTarget) : std::nullopt;
    return statusOfCall(&HbaSimulation::registerForTargetEvents, aCallback, aData, aAdapter, aPort, target,
                        aHandle);
}

HBA_STATUS registerForLinkEvents(qzsim::LinkCallback aCallback, void* aData, void* aBuffer, HBA_UINT32 aSize,
                                 HBA_HANDLE aAdapter, HBA_CALLBACKHANDLE* aHandle)
{
    return statusOfCall(&HbaSimulation::registerForLinkEvents, aCallback, aData,
                        qzsim::CallerMemory{aBuffer, aSize}, aAdapter, aHandle);
}
}  // namespace

void qzsim::addEventCalls(HBA_ENTRYPOINTSV2& aTable)
{
    aTable.RemoveCallbackHandler = removeCallback;
    aTable.RegisterForAdapterAddEventsHandler = registerForAdapterAddEvents;
    aTable.RegisterForAdapterEventsHandler = registerForAdapterEvents;
    aTable.RegisterForAdapterPortEventsHandler = registerForAdapterPortEvents;
    aTable.RegisterForAdapterPortStatEventsHandler = registerForAdapterPortStatEvents;
    aTable.RegisterForTargetEventsHandler = registerForTargetEvents;
    aTable.RegisterForLinkEventsHandler = registerForLinkEvents;
}
