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
};

constexpr CallEntry calls[] = {
    {"HBA_LoadLibrary", Call::loadLibrary, Concern::library},
    {"HBA_FreeLibrary", Call::freeLibrary, Concern::library},
    {"HBA_GetAdapterName", Call::getAdapterName, Concern::adapter},
    {"HBA_OpenAdapter", Call::openAdapter, Concern::adapter},
    {"HBA_GetAdapterAttributes", Call::getAdapterAttributes, Concern::adapter},
    {"HBA_GetAdapterPortAttributes", Call::getAdapterPortAttributes, Concern::adapter},
    {"HBA_GetDiscoveredPortAttributes", Call::getDiscoveredPortAttributes, Concern::adapter},
    {"HBA_GetPortAttributesByWWN", Call::getPortAttributesByWwn, Concern::adapter},
    {"HBA_GetPortStatistics", Call::getPortStatistics, Concern::adapter},
    {"HBA_GetFcpTargetMapping", Call::getFcpTargetMapping, Concern::adapter},
    {"HBA_SendReportLUNs", Call::sendReportLuns, Concern::target},
    {"HBA_SendScsiInquiry", Call::sendScsiInquiry, Concern::target},
    {"HBA_SendReadCapacity", Call::sendReadCapacity, Concern::target},
    {"VQM_GetLibVer", Call::getLibVer, Concern::diagnosticLibrary},
    {"VQM_InitDiagEnv", Call::initDiagEnv, Concern::diagnosticLibrary},
    {"VQM_FreeDiagEnv", Call::freeDiagEnv, Concern::diagnosticLibrary},
    {"VQM_GetDrvInfo", Call::getDrvInfo, Concern::board},
    {"VQM_GetLinkInfo", Call::getLinkInfo, Concern::board},
    {"RegisterForEvent", Call::registerForEvent, Concern::board},
    {"unRegisterForEvent", Call::unregisterForEvent, Concern::board},
    {"VQM_QZ_RegisterForEvent", Call::quazorRegisterForEvent, Concern::board},
    {"VQM_QZ_unRegisterForEvent", Call::quazorUnregisterForEvent, Concern::board},
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

bool writesMemory(Call aCall) { return concernsAdapter(aCall) && aCall != Call::openAdapter; }

bool concernsTarget(Call aCall) { return entryOf(aCall).mConcern == Concern::target; }

bool concernsBoard(Call aCall) { return entryOf(aCall).mConcern == Concern::board; }
}  // namespace qzsim
