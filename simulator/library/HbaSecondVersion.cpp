// The HBA library: what the second version of the HBA API added to the entry table.
#include <ctime>
#include <optional>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/HbaEntryPoints.h"

namespace
{
using qzsim::entry;
using qzsim::HbaSimulation;

HBA_STATUS scsiInquiryV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                         HBA_UINT8 aSecondByte, HBA_UINT8 aPage, void* aResponse, HBA_UINT32* aResponseSize,
                         HBA_UINT8* aStatus, void* aSense, HBA_UINT32* aSenseSize)
{
    return entry<&HbaSimulation::inquiry>(
        qzsim::ScsiAddress{aHandle, aPort, aTarget}, aLun, aSecondByte, aPage,
        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS scsiReportLunsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, void* aResponse,
                            HBA_UINT32* aResponseSize, HBA_UINT8* aStatus, void* aSense,
                            HBA_UINT32* aSenseSize)
{
    return entry<&HbaSimulation::reportLuns>(
        qzsim::ScsiAddress{aHandle, aPort, aTarget},
        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS scsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                              void* aResponse, HBA_UINT32* aResponseSize, HBA_UINT8* aStatus, void* aSense,
                              HBA_UINT32* aSenseSize)
{
    return entry<&HbaSimulation::readCapacity>(
        qzsim::ScsiAddress{aHandle, aPort, aTarget}, aLun,
        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS registerForAdapterPortStatEvents(qzsim::AdapterCallback aCallback, void* aData,
                                            HBA_HANDLE aAdapter, HBA_WWN aPort, HBA_PORTSTATISTICS,
                                            HBA_UINT32 aType, HBA_CALLBACKHANDLE* aHandle)
{
    return entry<&HbaSimulation::registerForPortStatEvents>(aCallback, aData, aAdapter, aPort, aType,
                                                            aHandle);
}

HBA_STATUS registerForTargetEvents(qzsim::TargetCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                   HBA_WWN aPort, HBA_WWN aTarget, HBA_CALLBACKHANDLE* aHandle,
                                   HBA_UINT32 aIsForAllTargets)
{
    auto const target = aIsForAllTargets == 0 ? std::optional(aTarget) : std::nullopt;
    return entry<&HbaSimulation::registerForTargetEvents>(aCallback, aData, aAdapter, aPort, target, aHandle);
}

HBA_STATUS registerForLinkEvents(qzsim::LinkCallback aCallback, void* aData, void* aBuffer, HBA_UINT32 aSize,
                                 HBA_HANDLE aAdapter, HBA_CALLBACKHANDLE* aHandle)
{
    return entry<&HbaSimulation::registerForLinkEvents>(aCallback, aData, qzsim::CallerMemory{aBuffer, aSize},
                                                        aAdapter, aHandle);
}

// The common library does not call this function: it counts the adapters again.
void refreshAdapterConfiguration() {}
}  // namespace

void qzsim::addSecondVersion(HBA_ENTRYPOINTSV2& aTable)
{
    aTable.OpenAdapterByWWNHandler = entry<&HbaSimulation::openAdapterByWwn>;
    aTable.GetFcpTargetMappingV2Handler = entry<&HbaSimulation::targetMappingV2>;
    aTable.RefreshAdapterConfigurationHandler = refreshAdapterConfiguration;
    aTable.ScsiInquiryV2Handler = scsiInquiryV2;
    aTable.ScsiReportLUNsV2Handler = scsiReportLunsV2;
    aTable.ScsiReadCapacityV2Handler = scsiReadCapacityV2;
    aTable.GetFC4StatisticsHandler = entry<&HbaSimulation::fc4Statistics>;
    aTable.GetFCPStatisticsHandler = entry<&HbaSimulation::fcpStatistics>;
    aTable.RemoveCallbackHandler = entry<&HbaSimulation::removeCallback>;
    aTable.RegisterForAdapterAddEventsHandler = entry<&HbaSimulation::registerForAdapterAddEvents>;
    aTable.RegisterForAdapterEventsHandler = entry<&HbaSimulation::registerForAdapterEvents>;
    aTable.RegisterForAdapterPortEventsHandler = entry<&HbaSimulation::registerForPortEvents>;
    aTable.RegisterForAdapterPortStatEventsHandler = registerForAdapterPortStatEvents;
    aTable.RegisterForTargetEventsHandler = registerForTargetEvents;
    aTable.RegisterForLinkEventsHandler = registerForLinkEvents;
}
