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
using qzsim::entry;
using qzsim::HbaSimulation;
using qzsim::silentEntry;
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

// The calls of the first version use those of the second, and drop the sizes and the SCSI status.

HBA_STATUS sendReportLuns(HBA_HANDLE aHandle, HBA_WWN aTarget, void* aResponse, HBA_UINT32 aResponseSize,
                          void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return entry<&HbaSimulation::reportLuns>(
        qzsim::ScsiAddress{aHandle, std::nullopt, aTarget},
        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

HBA_STATUS sendScsiInquiry(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun,
                           HBA_UINT8 aIsVitalProductData, HBA_UINT32 aPage, void* aResponse,
                           HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return entry<&HbaSimulation::inquiry>(
        qzsim::ScsiAddress{aHandle, std::nullopt, aTarget}, aLun, aIsVitalProductData, aPage,
        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

HBA_STATUS sendReadCapacity(HBA_HANDLE aHandle, HBA_WWN aTarget, HBA_UINT64 aLun, void* aResponse,
                            HBA_UINT32 aResponseSize, void* aSense, HBA_UINT32 aSenseSize)
{
    HBA_UINT8 status = 0;
    return entry<&HbaSimulation::readCapacity>(
        qzsim::ScsiAddress{aHandle, std::nullopt, aTarget}, aLun,
        qzsim::ScsiBuffers{aResponse, &aResponseSize, &status, aSense, &aSenseSize});
}

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
    aTable->FreeLibraryHandler = entry<&HbaSimulation::free>;
    aTable->GetNumberOfAdaptersHandler = entry<&HbaSimulation::numberOfAdapters, 0>;
    aTable->GetAdapterNameHandler = entry<&HbaSimulation::adapterName>;
    aTable->OpenAdapterHandler = entry<&HbaSimulation::openAdapter, HBA_HANDLE_INVALID>;
    aTable->CloseAdapterHandler = silentEntry<&HbaSimulation::closeAdapter>;
    aTable->GetAdapterAttributesHandler = entry<&HbaSimulation::adapterAttributes>;
    aTable->GetAdapterPortAttributesHandler = entry<&HbaSimulation::portAttributes>;
    aTable->GetPortStatisticsHandler = entry<&HbaSimulation::portStatistics>;
    aTable->GetDiscoveredPortAttributesHandler = entry<&HbaSimulation::discoveredPortAttributes>;
    aTable->GetPortAttributesByWWNHandler = entry<&HbaSimulation::portAttributesByWwn>;
    aTable->RefreshInformationHandler = silentEntry<&HbaSimulation::refresh>;
    aTable->GetFcpTargetMappingHandler = entry<&HbaSimulation::targetMapping>;
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
    }
    return status;
}
