// The HBA library: C entry points, and their registration with the common library of the HBA API.
#include <ctime>
#include <optional>
#include <utility>

#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/control/Strikes.h"
#include "simulator/hba/HbaSimulation.h"
#include "simulator/library/EntryPoint.h"
#include "simulator/library/HbaEntryPoints.h"
#include "simulator/library/Lifetime.h"
#include "simulator/world/World.h"

qzsim::HbaSimulation& qzsim::hbaSimulation() { return simulation<HbaSimulation>(); }

namespace
{
using qzsim::statusOfCall;
using Lifetime = qzsim::Lifetime<qzsim::HbaSimulation>;

[[gnu::constructor]] void load() { Lifetime::load(); }

[[gnu::destructor]] void unload() { Lifetime::unload(); }

HBA_UINT32 getVersion() { return HBA_LIBVERSION; }

HBA_STATUS loadLibrary()
{
    return qzsim::answerOf<HBA_STATUS>(
        HBA_STATUS_ERROR,
        []
        {
            qzsim::World world = qzsim::World::ofEnvironment();
            qzsim::Strikes strikes = qzsim::openStrikesOfEnvironment(world.original());
            return qzsim::hbaSimulation().load(std::move(world), std::move(strikes));
        });
}

HBA_STATUS freeLibrary() { return statusOfCall(&qzsim::HbaSimulation::free); }

HBA_UINT32 getNumberOfAdapters()
{
    return qzsim::answerOf<HBA_UINT32>(0, [] { return qzsim::hbaSimulation().numberOfAdapters(); });
}

HBA_STATUS getAdapterName(HBA_UINT32 aIndex, char* aName)
{
    return statusOfCall(&qzsim::HbaSimulation::adapterName, aIndex, aName);
}

HBA_HANDLE openAdapter(char* aName)
{
    return qzsim::answerOf<HBA_HANDLE>(HBA_HANDLE_INVALID,
                                       [=] { return qzsim::hbaSimulation().openAdapter(aName); });
}

void closeAdapter(HBA_HANDLE aHandle)
{
    qzsim::answerOf<HBA_STATUS>(HBA_STATUS_ERROR,
                                [=]
                                {
                                    qzsim::hbaSimulation().closeAdapter(aHandle);
                                    return HBA_STATUS_OK;
                                });
}

HBA_STATUS getAdapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
{
    return statusOfCall(&qzsim::HbaSimulation::adapterAttributes, aHandle, aAttributes);
}

HBA_STATUS getAdapterPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTATTRIBUTES* aAttributes)
{
    return statusOfCall(&qzsim::HbaSimulation::portAttributes, aHandle, aPort, aAttributes);
}

HBA_STATUS getDiscoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aDiscoveredPort,
                                       HBA_PORTATTRIBUTES* aAttributes)
{
    return statusOfCall(&qzsim::HbaSimulation::discoveredPortAttributes, aHandle, aPort, aDiscoveredPort,
                        aAttributes);
}

HBA_STATUS getPortAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN aName, HBA_PORTATTRIBUTES* aAttributes)
{
    return statusOfCall(&qzsim::HbaSimulation::portAttributesByWwn, aHandle, aName, aAttributes);
}

HBA_STATUS getPortStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS* aStatistics)
{
    return statusOfCall(&qzsim::HbaSimulation::portStatistics, aHandle, aPort, aStatistics);
}

HBA_STATUS getFcpTargetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
{
    return statusOfCall(&qzsim::HbaSimulation::targetMapping, aHandle, aMapping);
}

// The calls of the first version use those of the second, and drop the sizes and the SCSI status.

HBA_STATUS sendReportLuns(HBA_HANDLE aHandle, HBA_WWN aTarget, void* aResponse, HBA_UINT32 aResponseSize,
                          void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return statusOfCall(&qzsim::HbaSimulation::reportLuns, qzsim::ScsiAddress{aHandle, std::nullopt, aTarget},
                        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

HBA_STATUS sendScsiInquiry(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun,
                           HBA_UINT8 aIsVitalProductData, HBA_UINT32 aPage, void* aResponse,
                           HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return statusOfCall(&qzsim::HbaSimulation::inquiry, qzsim::ScsiAddress{aHandle, std::nullopt, aTarget},
                        aLun, aIsVitalProductData, aPage,
                        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

HBA_STATUS sendReadCapacity(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun, void* aResponse,
                            HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return statusOfCall(&qzsim::HbaSimulation::readCapacity,
                        qzsim::ScsiAddress{aHandle, std::nullopt, aTarget}, aLun,
                        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

// Every call reads the scenario as it is at that time, so there is nothing to refresh.
void refreshInformation(HBA_HANDLE) {}

/// Fills either version of the entry table. For a null entry the common library returns
/// HBA_STATUS_ERROR_NOT_SUPPORTED.
template <typename Table>
HBA_STATUS fillTable(Table* aTable)
{
    if (aTable == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    *aTable = Table{};
    aTable->GetVersionHandler = getVersion;
    aTable->LoadLibraryHandler = loadLibrary;
    aTable->FreeLibraryHandler = freeLibrary;
    aTable->GetNumberOfAdaptersHandler = getNumberOfAdapters;
    aTable->GetAdapterNameHandler = getAdapterName;
    aTable->OpenAdapterHandler = openAdapter;
    aTable->CloseAdapterHandler = closeAdapter;
    aTable->GetAdapterAttributesHandler = getAdapterAttributes;
    aTable->GetAdapterPortAttributesHandler = getAdapterPortAttributes;
    aTable->GetPortStatisticsHandler = getPortStatistics;
    aTable->GetDiscoveredPortAttributesHandler = getDiscoveredPortAttributes;
    aTable->GetPortAttributesByWWNHandler = getPortAttributesByWwn;
    aTable->RefreshInformationHandler = refreshInformation;
    aTable->GetFcpTargetMappingHandler = getFcpTargetMapping;
    aTable->ReportLUNsHandler = sendReportLuns;
    aTable->ScsiInquiryHandler = sendScsiInquiry;
    aTable->ReadCapacityHandler = sendReadCapacity;
    return HBA_STATUS_OK;
}
}  // namespace

extern "C" HBA_STATUS HBA_RegisterLibrary(HBA_ENTRYPOINTS* aTable) { return fillTable(aTable); }

extern "C" HBA_STATUS HBA_RegisterLibraryV2(HBA_ENTRYPOINTSV2* aTable)
{
    HBA_STATUS const status = fillTable(aTable);
    if (status == HBA_STATUS_OK)
    {
        qzsim::addSecondVersion(*aTable);
        qzsim::addEventCalls(*aTable);
    }
    return status;
}
