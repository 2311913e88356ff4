#include "agentkit/include/HbaWitness.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <optional>
#include <tuple>

#include <dlfcn.h>
#include <hbaapi.h>

#include "agentkit/HbaCallRecord.h"
#include "agentkit/HbaFunction.h"

namespace
{
/// The common library's function of that name; null when the program is linked without one.
template <typename Function>
Function* nextFunction(char const* aName)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, aName));
}

/// Forwards a call of the HBA API.
/// @return its answer; the given one without a common library
template <typename Function, typename... Arguments>
typename qz::HbaFunction<Function>::Result forward(char const* aName,
                                                   std::tuple<Arguments...> const& aArguments,
                                                   HBA_UINT32 aWithoutLibrary)
{
    using Result = typename qz::HbaFunction<Function>::Result;
    qz::RunningHbaCall const running(aName);
    auto* const next = nextFunction<Function>(aName);
    return next == nullptr ? static_cast<Result>(aWithoutLibrary) : std::apply(next, aArguments);
}

/// Forwards a call that has no status. The last call remains.
template <typename Function, typename... Arguments>
typename qz::HbaFunction<Function>::Result forwardOther(char const* aName,
                                                        std::tuple<Arguments...> const& aArguments)
{
    return forward<Function>(aName, aArguments, 0);
}

/// Forwards a call and stores its status.
template <typename Function, typename... Arguments>
HBA_STATUS forwardStatus(char const* aName, std::tuple<Arguments...> const& aArguments)
{
    return qz::keepHbaCall(aName, forward<Function>(aName, aArguments, HBA_STATUS_ERROR_UNAVAILABLE));
}

std::atomic<bool> gRefusesUnanswered = false;

template <typename Block>
bool isZero(Block const& aBlock)
{
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&aBlock);
    return std::all_of(bytes, bytes + sizeof aBlock, [](unsigned char aByte) { return aByte == 0; });
}

/// The memory for the answer to a query, which shows whether the library writes into it: it is zero until then.
template <typename Answer>
class PreparedAnswer
{
public:
    explicit PreparedAnswer(Answer& aAnswer) : mAnswer(aAnswer) { std::memset(&mAnswer, 0, sizeof mAnswer); }

    bool isUnanswered() const { return isZero(mAnswer); }

private:
    Answer& mAnswer;
};

/// An adapter without ports may have no other attributes either, but it has a number of ports.
template <>
class PreparedAnswer<HBA_ADAPTERATTRIBUTES>
{
public:
    explicit PreparedAnswer(HBA_ADAPTERATTRIBUTES& aAttributes) : mAttributes(aAttributes)
    {
        std::memset(&mAttributes, 0, sizeof mAttributes);
        mAttributes.NumberOfPorts = impossible;
    }

    bool isUnanswered() const
    {
        bool const hasNumber = mAttributes.NumberOfPorts != impossible;
        mAttributes.NumberOfPorts = hasNumber ? mAttributes.NumberOfPorts : 0;
        return !hasNumber && isZero(mAttributes);
    }

private:
    static constexpr HBA_UINT32 impossible = 0xf7dbe59d;

    HBA_ADAPTERATTRIBUTES& mAttributes;
};

/// The caller sets the number of entries that have room.
template <>
class PreparedAnswer<HBA_FCPTARGETMAPPING>
{
public:
    explicit PreparedAnswer(HBA_FCPTARGETMAPPING& aMapping)
        : mMapping(aMapping), mRoom(aMapping.NumberOfEntries)
    {
        if (mRoom > 0)
        {
            mFirst.emplace(aMapping.entry[0]);
        }
    }

    bool isUnanswered() const
    {
        return mFirst && mMapping.NumberOfEntries == mRoom && mFirst->isUnanswered();
    }

private:
    HBA_FCPTARGETMAPPING const& mMapping;
    HBA_UINT32 const mRoom;
    std::optional<PreparedAnswer<HBA_FCPSCSIENTRY>> mFirst;
};

/// A counter may be 0 or all ones. The memory has another pattern during the call, and afterwards the values of the caller
/// in place of the counters that the library has not written.
template <>
class PreparedAnswer<HBA_PORTSTATISTICS>
{
public:
    explicit PreparedAnswer(HBA_PORTSTATISTICS& aStatistics) : mStatistics(aStatistics)
    {
        std::memcpy(mOfCaller.data(), &mStatistics, sizeof mStatistics);
        Counters patterns;
        patterns.fill(pattern);
        std::memcpy(&mStatistics, patterns.data(), sizeof mStatistics);
    }

    bool isUnanswered() const
    {
        Counters counters;
        std::memcpy(counters.data(), &mStatistics, sizeof mStatistics);
        bool const isUntouched = std::all_of(counters.begin(), counters.end(), &isPattern);
        std::transform(counters.begin(), counters.end(), mOfCaller.begin(), counters.begin(),
                       [](HBA_INT64 aCounter, HBA_INT64 aOfCaller)
                       { return isPattern(aCounter) ? aOfCaller : aCounter; });
        std::memcpy(&mStatistics, counters.data(), sizeof mStatistics);
        return isUntouched;
    }

private:
    using Counters = std::array<HBA_INT64, sizeof(HBA_PORTSTATISTICS) / sizeof(HBA_INT64)>;
    static_assert(sizeof(Counters) == sizeof(HBA_PORTSTATISTICS));

    static constexpr HBA_INT64 pattern = -0x5a17c3d2e4b69f81;

    static bool isPattern(HBA_INT64 aCounter) { return aCounter == pattern; }

    HBA_PORTSTATISTICS& mStatistics;
    Counters mOfCaller;
};

/// The common library may have read the name before, into memory of its own. No adapter has an empty name.
template <>
class PreparedAnswer<char>
{
public:
    explicit PreparedAnswer(char& aName) : mName(aName) { mName = '\0'; }

    bool isUnanswered() const { return mName == '\0'; }

private:
    char& mName;
};

/// Forwards a query. The last parameter points to the memory for the answer.
template <typename Function, typename... Arguments>
HBA_STATUS forwardQuery(char const* aName, std::tuple<Arguments...> const& aArguments)
{
    if (!gRefusesUnanswered)
    {
        return forwardStatus<Function>(aName, aArguments);
    }
    PreparedAnswer const answer(*std::get<sizeof...(Arguments) - 1>(aArguments));
    HBA_STATUS const status = forwardStatus<Function>(aName, aArguments);
    bool const isUnanswered = answer.isUnanswered();
    qz::gLastHbaCall.mIsUnanswered = status == HBA_STATUS_OK && isUnanswered;
    return qz::gLastHbaCall.mIsUnanswered ? HBA_STATUS_ERROR : status;
}

/// The SCSI status of a call, which the library writes only if the target answered.
class ScsiStatus
{
public:
    explicit ScsiStatus(HBA_UINT8* aDestination) : mDestination(aDestination) {}

    /// Where the library writes.
    HBA_UINT8* place() { return &mWritten; }

    /// Copies the status to the caller of the HBA API.
    /// @return the status; none when the library wrote none
    std::optional<HBA_UINT8> handOver() const
    {
        if (mWritten == reserved)
        {
            return std::nullopt;
        }
        if (mDestination != nullptr)
        {
            *mDestination = mWritten;
        }
        return mWritten;
    }

private:
    static constexpr HBA_UINT8 reserved = 0xff;  // no SCSI status has this value

    HBA_UINT8* mDestination;
    HBA_UINT8 mWritten = reserved;
};

/// Forwards a SCSI command. The last parameters are the sense data and their size.
template <typename Function, typename... Arguments>
HBA_STATUS forwardScsi(char const* aName, std::tuple<Arguments...> const& aArguments)
{
    constexpr std::size_t size = sizeof...(Arguments);
    HBA_STATUS const status = forwardStatus<Function>(aName, aArguments);
    qz::keepScsiAnswer(std::nullopt, std::get<size - 2>(aArguments), std::get<size - 1>(aArguments));
    return status;
}

/// Forwards a SCSI command. The last parameters point to the SCSI status, the sense data and their size.
template <typename Function, typename... Arguments>
HBA_STATUS forwardScsiV2(char const* aName, std::tuple<Arguments...> aArguments)
{
    constexpr std::size_t size = sizeof...(Arguments);
    ScsiStatus scsiStatus(std::get<size - 3>(aArguments));
    std::get<size - 3>(aArguments) = scsiStatus.place();
    HBA_STATUS const status = forwardStatus<Function>(aName, aArguments);
    HBA_UINT32 const* const senseSize = std::get<size - 1>(aArguments);
    qz::keepScsiAnswer(scsiStatus.handOver(), std::get<size - 2>(aArguments),
                       senseSize == nullptr ? 0 : *senseSize);
    return status;
}
}  // namespace

qz::HbaCall const& qz::lastHbaCall() noexcept { return gLastHbaCall; }

void qz::refuseUnansweredQueries(bool aRefuses) noexcept { gRefusesUnanswered = aRefuses; }

char const* qz::runningHbaCall() noexcept { return RunningHbaCall::newestName(); }

void qz::keepRunningHbaCall(std::atomic<char const*>& aPlace) noexcept
{
    RunningHbaCall::keepNewestName(aPlace);
}

/// Defines a function of the HBA API that has that number of parameters and forwards itself.
#define QZ_FORWARD(kind, count, function)                                                               \
    QZ_HBA_RESULT(function) function(QZ_HBA_PARAMETERS_##count(function))                               \
    {                                                                                                   \
        return forward##kind<decltype(function)>(#function, std::make_tuple(QZ_HBA_ARGUMENTS_##count)); \
    }

extern "C"
{
    HBA_HANDLE HBA_OpenAdapter(char* aName)
    {
        return qz::keepHbaOpening(
            forwardOther<decltype(HBA_OpenAdapter)>("HBA_OpenAdapter", std::make_tuple(aName)));
    }

    QZ_FORWARD(Status, 0, HBA_LoadLibrary)
    QZ_FORWARD(Status, 0, HBA_FreeLibrary)
    QZ_FORWARD(Query, 2, HBA_GetAdapterName)
    QZ_FORWARD(Status, 2, HBA_OpenAdapterByWWN)
    QZ_FORWARD(Query, 2, HBA_GetAdapterAttributes)
    QZ_FORWARD(Query, 3, HBA_GetAdapterPortAttributes)
    QZ_FORWARD(Query, 3, HBA_GetPortStatistics)
    QZ_FORWARD(Query, 4, HBA_GetDiscoveredPortAttributes)
    QZ_FORWARD(Query, 3, HBA_GetPortAttributesByWWN)
    QZ_FORWARD(Status, 6, HBA_SendCTPassThruV2)
    QZ_FORWARD(Status, 5, HBA_SendCTPassThru)
    QZ_FORWARD(Status, 3, HBA_GetEventBuffer)
    QZ_FORWARD(Status, 2, HBA_SetRNIDMgmtInfo)
    QZ_FORWARD(Status, 2, HBA_GetRNIDMgmtInfo)
    QZ_FORWARD(Status, 7, HBA_SendRNIDV2)
    QZ_FORWARD(Status, 5, HBA_SendRNID)
    QZ_FORWARD(Status, 7, HBA_SendRPL)
    QZ_FORWARD(Status, 8, HBA_SendRPS)
    QZ_FORWARD(Status, 6, HBA_SendSRL)
    QZ_FORWARD(Status, 5, HBA_SendRLS)
    QZ_FORWARD(Status, 7, HBA_SendLIRR)
    QZ_FORWARD(Status, 4, HBA_GetFC4Statistics)
    QZ_FORWARD(Status, 3, HBA_GetFCPStatistics)
    QZ_FORWARD(Query, 2, HBA_GetFcpTargetMapping)
    QZ_FORWARD(Status, 3, HBA_GetFcpTargetMappingV2)
    QZ_FORWARD(Status, 3, HBA_GetBindingCapability)
    QZ_FORWARD(Status, 3, HBA_GetBindingSupport)
    QZ_FORWARD(Status, 3, HBA_SetPersistentBindingV2)
    QZ_FORWARD(Status, 3, HBA_GetPersistentBindingV2)
    QZ_FORWARD(Status, 3, HBA_RemovePersistentBinding)
    QZ_FORWARD(Status, 2, HBA_GetFcpPersistentBinding)
    QZ_FORWARD(Status, 2, HBA_RemoveAllPersistentBindings)
    QZ_FORWARD(Status, 1, HBA_RemoveCallback)
    QZ_FORWARD(Status, 3, HBA_RegisterForAdapterAddEvents)
    QZ_FORWARD(Status, 4, HBA_RegisterForAdapterEvents)
    QZ_FORWARD(Status, 5, HBA_RegisterForAdapterPortEvents)
    QZ_FORWARD(Status, 7, HBA_RegisterForAdapterPortStatEvents)
    QZ_FORWARD(Status, 7, HBA_RegisterForTargetEvents)
    QZ_FORWARD(Status, 6, HBA_RegisterForLinkEvents)

    QZ_FORWARD(Scsi, 9, HBA_SendScsiInquiry)
    QZ_FORWARD(Scsi, 6, HBA_SendReportLUNs)
    QZ_FORWARD(Scsi, 7, HBA_SendReadCapacity)
    QZ_FORWARD(ScsiV2, 11, HBA_ScsiInquiryV2)
    QZ_FORWARD(ScsiV2, 8, HBA_ScsiReportLUNsV2)
    QZ_FORWARD(ScsiV2, 9, HBA_ScsiReadCapacityV2)

    QZ_FORWARD(Other, 0, HBA_GetVersion)
    QZ_FORWARD(Other, 0, HBA_GetNumberOfAdapters)
    QZ_FORWARD(Other, 1, HBA_CloseAdapter)
    QZ_FORWARD(Other, 0, HBA_RefreshAdapterConfiguration)
    QZ_FORWARD(Other, 1, HBA_RefreshInformation)
    QZ_FORWARD(Other, 2, HBA_ResetStatistics)
    QZ_FORWARD(Other, 2, HBA_GetVendorLibraryAttributes)
    QZ_FORWARD(Other, 1, HBA_GetWrapperLibraryAttributes)
}
