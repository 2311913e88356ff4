#include "simulator/hba/HbaSimulation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "simulator/control/EnvironmentVariables.h"
#include "simulator/hba/TargetMapping.h"
#include "simulator/scenario/Scsi.h"
#include "simulator/scenario/Statistics.h"
#include "simulator/scenario/Wwn.h"

namespace qzsim
{
namespace
{
template <typename Element>
Element const* elementAt(std::vector<Element> const& aElements, std::size_t aIndex)
{
    return aIndex < aElements.size() ? &aElements[aIndex] : nullptr;
}

bool hasName(HBA_PORTATTRIBUTES const& aPort, HBA_WWN const& aName)
{
    return numberOf(aPort.PortWWN) == numberOf(aName);
}

RemotePort const* remotePortNamed(HBA_WWN const& aName, Adapter const& aAdapter)
{
    for (Port const& port : aAdapter.mPorts)
    {
        for (RemotePort const& remotePort : port.mRemotePorts)
        {
            if (hasName(remotePort.mAttributes, aName))
            {
                return &remotePort;
            }
        }
    }
    return nullptr;
}

HBA_PORTATTRIBUTES const* attributesOfPortNamed(HBA_WWN const& aName, Adapter const& aAdapter)
{
    for (Port const& port : aAdapter.mPorts)
    {
        if (hasName(port.mAttributes, aName))
        {
            return &port.mAttributes;
        }
    }
    RemotePort const* const remotePort = remotePortNamed(aName, aAdapter);
    return remotePort == nullptr ? nullptr : &remotePort->mAttributes;
}

/// @return the status that the call must return; nothing when it answers as usual
std::optional<HBA_STATUS> statusOf(Reaction const& aReaction)
{
    bool const isUsual = aReaction.mAnswer == HBA_STATUS_OK && !aReaction.mIsUntouched;
    return isUsual ? std::nullopt : aReaction.mAnswer;
}

bool isMissing(CallerMemory const& aMemory) { return aMemory.mStart == nullptr && aMemory.mSize != 0; }

void fill(CallerMemory const& aMemory, std::vector<std::uint8_t> const& aContent)
{
    std::size_t const size = std::min(aMemory.mSize, aContent.size());
    if (size != 0)
    {
        std::memcpy(aMemory.mStart, aContent.data(), size);
    }
}
/// The response to a SCSI command, or the sense data of its check condition.
using ScsiResult = std::variant<std::vector<std::uint8_t>, Sense>;

constexpr std::uint8_t illegalRequest = 0x05;  // sense key

HBA_STATUS answer(ScsiResult const& aResult, ScsiBuffers const& aBuffers)
{
    if (auto const* const sense = std::get_if<Sense>(&aResult))
    {
        fill(aBuffers.mSense, senseData(*sense));
        return HBA_STATUS_SCSI_CHECK_CONDITION;
    }
    fill(aBuffers.mResponse, std::get<std::vector<std::uint8_t>>(aResult));
    return HBA_STATUS_OK;
}
}  // namespace

HBA_STATUS HbaSimulation::load(World aWorld, Strikes aStrikes)
{
    auto const loaded = std::make_shared<Loaded>(Loaded{std::move(aWorld), {}});
    {
        std::lock_guard const lock(mMutex);
        mLoaded.reset();
        mCurrent = loaded->mWorld.at(timeSinceStart());
        mFaults.schedule(mCurrent->mFaults, std::move(aStrikes));
    }
    if (auto const status = fault(Call::loadLibrary))
    {
        return *status;
    }
    std::lock_guard const lock(mMutex);
    mLoaded = loaded;
    return HBA_STATUS_OK;
}

HBA_STATUS HbaSimulation::free()
{
    if (auto const status = fault(Call::freeLibrary))
    {
        return *status;
    }
    std::lock_guard const lock(mMutex);
    mLoaded.reset();
    return HBA_STATUS_OK;
}

HBA_UINT32 HbaSimulation::numberOfAdapters()
{
    auto const loaded = this->loaded();
    return loaded ? qzsim::numberOfAdapters(*loaded.mScenario) : 0;
}

HBA_STATUS HbaSimulation::adapterName(HBA_UINT32 aIndex, char* aName)
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return HBA_STATUS_ERROR;
    }
    if (aName == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    if (aIndex >= loaded.mScenario->mAdapters.size())
    {
        return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    }
    std::string const& name = loaded.mScenario->mAdapters[aIndex].mName;
    if (auto const status = fault(Call::getAdapterName, name))
    {
        return *status;
    }
    std::memcpy(aName, name.c_str(), name.size() + 1);
    return HBA_STATUS_OK;
}

HBA_HANDLE HbaSimulation::openAdapter(char const* aName)
{
    auto const loaded = this->loaded();
    if (!loaded || aName == nullptr)
    {
        return HBA_HANDLE_INVALID;
    }
    std::vector<Adapter> const& adapters = loaded.mScenario->mAdapters;
    auto const found = std::find_if(adapters.begin(), adapters.end(),
                                    [aName](Adapter const& aAdapter) { return aAdapter.mName == aName; });
    if (found == adapters.end() || fault(Call::openAdapter, found->mName))
    {
        return HBA_HANDLE_INVALID;
    }
    std::lock_guard const lock(mMutex);
    return loaded.mLoaded->mHandles.open(static_cast<std::size_t>(found - adapters.begin()));
}

void HbaSimulation::closeAdapter(HBA_HANDLE aHandle)
{
    std::lock_guard const lock(mMutex);
    if (mLoaded)
    {
        mLoaded->mHandles.close(aHandle);
    }
}

HBA_STATUS HbaSimulation::adapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getAdapterAttributes, aHandle, aAttributes,
        [](Adapter const& aAdapter) { return &aAdapter.mAttributes; }, HBA_STATUS_ERROR);
}

HBA_STATUS HbaSimulation::portAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                         HBA_PORTATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getAdapterPortAttributes, aHandle, aAttributes,
        [=](Adapter const& aAdapter)
        {
            Port const* const port = elementAt(aAdapter.mPorts, aPort);
            return port == nullptr ? nullptr : &port->mAttributes;
        },
        HBA_STATUS_ERROR_ILLEGAL_INDEX);
}

HBA_STATUS HbaSimulation::discoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                                   HBA_UINT32 aDiscoveredPort,
                                                   HBA_PORTATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getDiscoveredPortAttributes, aHandle, aAttributes,
        [=](Adapter const& aAdapter)
        {
            Port const* const port = elementAt(aAdapter.mPorts, aPort);
            RemotePort const* const remotePort =
                port == nullptr ? nullptr : elementAt(port->mRemotePorts, aDiscoveredPort);
            return remotePort == nullptr ? nullptr : &remotePort->mAttributes;
        },
        HBA_STATUS_ERROR_ILLEGAL_INDEX);
}

HBA_STATUS HbaSimulation::portAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN const& aName,
                                              HBA_PORTATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getPortAttributesByWwn, aHandle, aAttributes,
        [&aName](Adapter const& aAdapter) { return attributesOfPortNamed(aName, aAdapter); },
        HBA_STATUS_ERROR_ILLEGAL_WWN);
}

HBA_STATUS HbaSimulation::portStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                         HBA_PORTSTATISTICS* aStatistics)
{
    return withAdapter(aHandle, aStatistics != nullptr,
                       [&](Adapter const& aAdapter) -> HBA_STATUS
                       {
                           Port const* const port = elementAt(aAdapter.mPorts, aPort);
                           if (port == nullptr)
                           {
                               return HBA_STATUS_ERROR_ILLEGAL_INDEX;
                           }
                           if (auto const status = fault(Call::getPortStatistics, aAdapter.mName))
                           {
                               return *status;
                           }
                           if (!port->mStatistics)
                           {
                               return HBA_STATUS_ERROR_NOT_SUPPORTED;
                           }
                           *aStatistics = statisticsAfter(timeSinceStart(), *port->mStatistics);
                           return HBA_STATUS_OK;
                       });
}

HBA_STATUS HbaSimulation::targetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
{
    return withAdapter(aHandle, aMapping != nullptr,
                       [&](Adapter const& aAdapter)
                       {
                           Reaction const reaction = react(Call::getFcpTargetMapping, aAdapter.mName);
                           auto const status = statusOf(reaction);
                           if (status == HBA_STATUS_ERROR_MORE_DATA)
                           {
                               aMapping->NumberOfEntries = reaction.mCount.value_or(
                                   static_cast<HBA_UINT32>(numberOfMappings(aAdapter)));
                           }
                           return status ? *status : fillTargetMapping(aAdapter, *aMapping);
                       });
}

HBA_STATUS HbaSimulation::reportLuns(HBA_HANDLE aHandle, HBA_WWN const& aPort, ScsiBuffers const& aBuffers)
{
    return sendToTarget(Call::sendReportLuns, aHandle, aPort, aBuffers,
                        [](Adapter const&, RemotePort const& aTarget)
                        { return ScsiResult(reportLunsResponse(aTarget)); });
}

HBA_STATUS HbaSimulation::inquiry(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                                  HBA_UINT8 aIsVitalProductData, HBA_UINT32 aPage,
                                  ScsiBuffers const& aBuffers)
{
    constexpr Sense invalidFieldInCommand{illegalRequest, 0x24, 0};
    bool const isStandard = aIsVitalProductData == 0 && aPage == 0;
    return sendToLun(
        Call::sendScsiInquiry, aHandle, aPort, aLun, aBuffers,
        [=](LunData const& aData)
        { return isStandard ? ScsiResult(inquiryResponse(aData)) : ScsiResult(invalidFieldInCommand); });
}

HBA_STATUS HbaSimulation::readCapacity(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                                       ScsiBuffers const& aBuffers)
{
    return sendToLun(Call::sendReadCapacity, aHandle, aPort, aLun, aBuffers,
                     [](LunData const& aData) { return ScsiResult(readCapacityResponse(aData)); });
}

HbaSimulation::Present HbaSimulation::loaded()
{
    std::unique_lock lock(mMutex);
    for (; mLoaded; waitInPause(lock))
    {
        auto const scenario = mLoaded->mWorld.at(timeSinceStart());
        if (scenario != mCurrent)
        {
            mFaults.update(scenario->mFaults);
            mCurrent = scenario;
        }
        if (!mLoaded->mWorld.isPaused())
        {
            break;
        }
    }
    return {mLoaded, mCurrent};
}

Reaction HbaSimulation::react(Call aCall, std::string const& aAdapter, std::string const& aPort)
{
    Reaction reaction;
    {
        std::lock_guard const lock(mMutex);
        reaction = mFaults.next(aCall, aAdapter, aPort);
        if (mLoaded)
        {
            mLoaded->mWorld.called(aCall, mFaults.callsOf(aCall), timeSinceStart());
        }
    }
    printAndWait(reaction);
    return reaction;
}

std::optional<HBA_STATUS> HbaSimulation::fault(Call aCall, std::string const& aAdapter)
{
    return statusOf(react(aCall, aAdapter));
}

template <typename Action>
HBA_STATUS HbaSimulation::withAdapter(HBA_HANDLE aHandle, bool aIsGood, Action aAction)
{
    auto const loaded = this->loaded();
    std::optional<std::size_t> adapter;
    if (loaded)
    {
        std::lock_guard const lock(mMutex);
        adapter = loaded.mLoaded->mHandles.adapterOf(aHandle);
    }
    if (!adapter)
    {
        return HBA_STATUS_ERROR_INVALID_HANDLE;
    }
    return aIsGood ? aAction(loaded.mScenario->mAdapters[*adapter]) : HBA_STATUS_ERROR_ARG;
}

template <typename Respond>
HBA_STATUS HbaSimulation::sendToTarget(Call aCall, HBA_HANDLE aHandle, HBA_WWN const& aPort,
                                       ScsiBuffers const& aBuffers, Respond aRespond)
{
    return withAdapter(aHandle, !isMissing(aBuffers.mResponse) && !isMissing(aBuffers.mSense),
                       [&](Adapter const& aAdapter) -> HBA_STATUS
                       {
                           RemotePort const* const port = remotePortNamed(aPort, aAdapter);
                           if (port == nullptr)
                           {
                               return HBA_STATUS_ERROR_ILLEGAL_WWN;
                           }
                           if (port->mRole != Role::target)
                           {
                               return HBA_STATUS_ERROR_NOT_A_TARGET;
                           }
                           Reaction const reaction = react(aCall, aAdapter.mName, textOf(aPort));
                           auto const status = statusOf(reaction);
                           if (status == HBA_STATUS_SCSI_CHECK_CONDITION)
                           {
                               return answer(reaction.mSense.value_or(usualSense), aBuffers);
                           }
                           return status ? *status : answer(aRespond(aAdapter, *port), aBuffers);
                       });
}

template <typename Respond>
HBA_STATUS HbaSimulation::sendToLun(Call aCall, HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                                    ScsiBuffers const& aBuffers, Respond aRespond)
{
    constexpr Sense lunNotSupported{illegalRequest, 0x25, 0};
    return sendToTarget(aCall, aHandle, aPort, aBuffers,
                        [&](Adapter const& aAdapter, RemotePort const& aTarget)
                        {
                            auto const lun = lunOf(aTarget, aLun, aAdapter.mLunStyle);
                            return lun ? aRespond(dataOf(*lun, aTarget)) : ScsiResult(lunNotSupported);
                        });
}

template <typename Record, typename Find>
HBA_STATUS HbaSimulation::copyRecord(Call aCall, HBA_HANDLE aHandle, Record* aRecord, Find aFind,
                                     HBA_STATUS aMissing)
{
    return withAdapter(aHandle, aRecord != nullptr,
                       [&](Adapter const& aAdapter)
                       {
                           Record const* const record = aFind(aAdapter);
                           if (record == nullptr)
                           {
                               return aMissing;
                           }
                           if (auto const status = fault(aCall, aAdapter.mName))
                           {
                               return *status;
                           }
                           *aRecord = *record;
                           return HBA_STATUS{HBA_STATUS_OK};
                       });
}
}  // namespace qzsim
