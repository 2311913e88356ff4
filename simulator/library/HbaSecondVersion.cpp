// The HBA library: C entry points of the calls that the second version of the HBA API added.
#include <ctime>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/HbaEntryPoints.h"

namespace
{
using qzsim::HbaSimulation;
using qzsim::statusOfCall;

HBA_STATUS openAdapterByWwn(HBA_HANDLE* aHandle, HBA_WWN aName)
{
    return statusOfCall(&HbaSimulation::openAdapterByWwn, aHandle, aName);
}

HBA_STATUS getFcpTargetMappingV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_FCPTARGETMAPPINGV2* aMapping)
{
    return statusOfCall(&HbaSimulation::targetMappingV2, aHandle, aPort, aMapping);
}

HBA_STATUS scsiInquiryV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                         HBA_UINT8 aSecondByte, HBA_UINT8 aPage, void* aResponse, HBA_UINT32* aResponseSize,
                         HBA_UINT8* aStatus, void* aSense, HBA_UINT32* aSenseSize)
{
    return statusOfCall(&HbaSimulation::inquiry, qzsim::ScsiAddress{aHandle, aPort, aTarget}, aLun,
                        aSecondByte, aPage,
                        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS scsiReportLunsV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, void* aResponse,
                            HBA_UINT32* aResponseSize, HBA_UINT8* aStatus, void* aSense,
                            HBA_UINT32* aSenseSize)
{
    return statusOfCall(&HbaSimulation::reportLuns, qzsim::ScsiAddress{aHandle, aPort, aTarget},
                        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS scsiReadCapacityV2(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT64 aLun,
                              void* aResponse, HBA_UINT32* aResponseSize, HBA_UINT8* aStatus, void* aSense,
                              HBA_UINT32* aSenseSize)
{
    return statusOfCall(&HbaSimulation::readCapacity, qzsim::ScsiAddress{aHandle, aPort, aTarget}, aLun,
                        qzsim::ScsiBuffers{aResponse, aResponseSize, aStatus, aSense, aSenseSize});
}

HBA_STATUS getFc4Statistics(HBA_HANDLE aHandle, HBA_WWN aPort, HBA_UINT8 aType,
                            HBA_FC4STATISTICS* aStatistics)
{
    return statusOfCall(&HbaSimulation::fc4Statistics, aHandle, aPort, aType, aStatistics);
}

HBA_STATUS getFcpStatistics(HBA_HANDLE aHandle, HBA_SCSIID const* aLun, HBA_FC4STATISTICS* aStatistics)
{
    return statusOfCall(&HbaSimulation::fcpStatistics, aHandle, aLun, aStatistics);
}

// Every call reads the scenario as it is at that time, so there is nothing to refresh.
void refreshAdapterConfiguration() {}
}  // namespace

void qzsim::addSecondVersion(HBA_ENTRYPOINTSV2& aTable)
{
    aTable.OpenAdapterByWWNHandler = openAdapterByWwn;
    aTable.GetFcpTargetMappingV2Handler = getFcpTargetMappingV2;
    aTable.RefreshAdapterConfigurationHandler = refreshAdapterConfiguration;
    aTable.ScsiInquiryV2Handler = scsiInquiryV2;
    aTable.ScsiReportLUNsV2Handler = scsiReportLunsV2;
    aTable.ScsiReadCapacityV2Handler = scsiReadCapacityV2;
    aTable.GetFC4StatisticsHandler = getFc4Statistics;
    aTable.GetFCPStatisticsHandler = getFcpStatistics;
}
