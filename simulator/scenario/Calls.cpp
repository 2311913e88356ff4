#include "simulator/scenario/Calls.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include <fmt/format.h>

namespace qzsim
{
namespace
{
enum class Concern
{
    library,
    adapter,
    target,
    diagnosticLibrary,
    board
};

struct CallEntry
{
    std::string_view mName;
    Call mCall;
    Concern mConcern;
    Content mContent;
};

constexpr CallEntry calls[] = {
    {"HBA_LoadLibrary", Call::loadLibrary, Concern::library, Content::nothing},
    {"HBA_FreeLibrary", Call::freeLibrary, Concern::library, Content::nothing},
    {"HBA_GetNumberOfAdapters", Call::getNumberOfAdapters, Concern::library, Content::number},
    {"HBA_GetAdapterName", Call::getAdapterName, Concern::adapter, Content::text},
    {"HBA_OpenAdapter", Call::openAdapter, Concern::adapter, Content::nothing},
    {"HBA_CloseAdapter", Call::closeAdapter, Concern::adapter, Content::nothing},
    {"HBA_RefreshInformation", Call::refreshInformation, Concern::adapter, Content::nothing},
    {"HBA_GetAdapterAttributes", Call::getAdapterAttributes, Concern::adapter, Content::record},
    {"HBA_GetAdapterPortAttributes", Call::getAdapterPortAttributes, Concern::adapter, Content::record},
    {"HBA_GetDiscoveredPortAttributes", Call::getDiscoveredPortAttributes, Concern::adapter, Content::record},
    {"HBA_GetPortAttributesByWWN", Call::getPortAttributesByWwn, Concern::adapter, Content::record},
    {"HBA_GetPortStatistics", Call::getPortStatistics, Concern::adapter, Content::counters},
    {"HBA_GetFcpTargetMapping", Call::getFcpTargetMapping, Concern::adapter, Content::mappings},
    {"HBA_SendReportLUNs", Call::sendReportLuns, Concern::target, Content::luns},
    {"HBA_SendScsiInquiry", Call::sendScsiInquiry, Concern::target, Content::response},
    {"HBA_SendReadCapacity", Call::sendReadCapacity, Concern::target, Content::response},
    {"HBA_OpenAdapterByWWN", Call::openAdapterByWwn, Concern::adapter, Content::nothing},
    {"HBA_GetFcpTargetMappingV2", Call::getFcpTargetMappingV2, Concern::adapter, Content::mappings},
    {"HBA_ScsiReportLUNsV2", Call::scsiReportLunsV2, Concern::target, Content::luns},
    {"HBA_ScsiInquiryV2", Call::scsiInquiryV2, Concern::target, Content::response},
    {"HBA_ScsiReadCapacityV2", Call::scsiReadCapacityV2, Concern::target, Content::response},
    {"HBA_GetFC4Statistics", Call::getFc4Statistics, Concern::adapter, Content::counters},
    {"HBA_GetFCPStatistics", Call::getFcpStatistics, Concern::adapter, Content::counters},
    {"HBA_RegisterForAdapterAddEvents", Call::registerForAdapterAddEvents, Concern::library,
     Content::nothing},
    {"HBA_RegisterForAdapterEvents", Call::registerForAdapterEvents, Concern::adapter, Content::nothing},
    {"HBA_RegisterForAdapterPortEvents", Call::registerForAdapterPortEvents, Concern::adapter,
     Content::nothing},
    {"HBA_RegisterForAdapterPortStatEvents", Call::registerForAdapterPortStatEvents, Concern::adapter,
     Content::nothing},
    {"HBA_RegisterForTargetEvents", Call::registerForTargetEvents, Concern::adapter, Content::nothing},
    {"HBA_RegisterForLinkEvents", Call::registerForLinkEvents, Concern::adapter, Content::nothing},
    {"HBA_RemoveCallback", Call::removeCallback, Concern::library, Content::nothing},
    {"VQM_GetLibVer", Call::getLibVer, Concern::diagnosticLibrary, Content::text},
    {"VQM_InitDiagEnv", Call::initDiagEnv, Concern::diagnosticLibrary, Content::boards},
    {"VQM_FreeDiagEnv", Call::freeDiagEnv, Concern::diagnosticLibrary, Content::nothing},
    {"VQM_GetDrvInfo", Call::getDrvInfo, Concern::board, Content::record},
    {"VQM_GetLinkInfo", Call::getLinkInfo, Concern::board, Content::record},
    {"RegisterForEvent", Call::registerForEvent, Concern::board, Content::nothing},
    {"unRegisterForEvent", Call::unregisterForEvent, Concern::board, Content::nothing},
    {"VQM_QZ_RegisterForEvent", Call::quazorRegisterForEvent, Concern::board, Content::nothing},
    {"VQM_QZ_unRegisterForEvent", Call::quazorUnregisterForEvent, Concern::board, Content::nothing},
};

/// Every call has an entry.
CallEntry const& entryOf(Call aCall)
{
    return *std::find_if(std::begin(calls), std::end(calls),
                         [aCall](CallEntry const& aEntry) { return aEntry.mCall == aCall; });
}
}  // namespace

std::optional<Call> callNamed(std::string_view aName)
{
    auto const found = std::find_if(std::begin(calls), std::end(calls),
                                    [aName](CallEntry const& aEntry) { return aEntry.mName == aName; });
    return found == std::end(calls) ? std::nullopt : std::optional(found->mCall);
}

std::string nameOf(Call aCall) { return std::string(entryOf(aCall).mName); }

std::string namesOfCalls()
{
    std::vector<std::string_view> names;
    std::transform(std::begin(calls), std::end(calls), std::back_inserter(names),
                   [](CallEntry const& aEntry) { return aEntry.mName; });
    return fmt::format("{}", fmt::join(names, ", "));
}

bool isDiagnostic(Call aCall)
{
    Concern const concern = entryOf(aCall).mConcern;
    return concern == Concern::diagnosticLibrary || concern == Concern::board;
}

bool concernsAdapter(Call aCall)
{
    Concern const concern = entryOf(aCall).mConcern;
    return concern == Concern::adapter || concern == Concern::target;
}

Content contentOf(Call aCall) { return entryOf(aCall).mContent; }

bool concernsTarget(Call aCall) { return entryOf(aCall).mConcern == Concern::target; }

bool isRelease(Call aCall)
{
    constexpr Call releases[] = {Call::freeLibrary, Call::closeAdapter,       Call::removeCallback,
                                 Call::freeDiagEnv, Call::unregisterForEvent, Call::quazorUnregisterForEvent};
    return std::find(std::begin(releases), std::end(releases), aCall) != std::end(releases);
}

bool concernsBoard(Call aCall) { return entryOf(aCall).mConcern == Concern::board; }
}  // namespace qzsim
