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
#include "simulator/hba/Answers.h"
#include "simulator/hba/TargetMapping.h"
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

HBA_PORTATTRIBUTES const* attributesOfPortNamed(HBA_WWN const& aName, Adapter const& aAdapter)
{
    if (auto const port = indexOfPortNamed(aName, aAdapter))
    {
        return &aAdapter.mPorts[*port].mAttributes;
    }
    for (Port const& port : aAdapter.mPorts)
    {
        if (RemotePort const* const remotePort = remotePortNamed(aName, port))
        {
            return &remotePort->mAttributes;
        }
    }
    return nullptr;
}

bool isName(HBA_WWN const& aName, Adapter const& aAdapter)
{
    std::uint64_t const name = numberOf(aName);
    return numberOf(aAdapter.mAttributes.NodeWWN) == name ||
           std::any_of(aAdapter.mPorts.begin(), aAdapter.mPorts.end(),
                       [name](Port const& aPort) {
                           return numberOf(aPort.mAttributes.NodeWWN) == name ||
                                  numberOf(aPort.mAttributes.PortWWN) == name;
                       });
}

template <typename Record>
using CountersOrReason = std::variant<std::optional<GrowingCounters<Record>>, Reason>;

/// libhbalinux makes all counters unavailable before it looks for the port.
template <typename Record>
void clearCounters(Record* aRecord, Behaviour aBehaviour)
{
    if (aRecord != nullptr && aBehaviour == Behaviour::libhbalinux)
    {
        *aRecord = emptyStatistics<Record>().mStart;
    }
}

bool isSame(HBA_SCSIID const& aOne, HBA_SCSIID const& aOther)
{
    return aOne.ScsiBusNumber == aOther.ScsiBusNumber && aOne.ScsiTargetNumber == aOther.ScsiTargetNumber &&
           aOne.ScsiOSLun == aOther.ScsiOSLun;
}
}  // namespace

HBA_STATUS HbaSimulation::load(World aWorld, Strikes aStrikes)
{
    discard();
    std::shared_ptr<Scenario const> scenario;
    {
        std::lock_guard const lock(mMutex);
        bool const isContinued = mFormerWorld && aWorld.isLike(*mFormerWorld);
        if (isContinued)
        {
            std::swap(aWorld, *mFormerWorld);
        }
        mFormerWorld.reset();
        scenario = aWorld.at(timeSinceStart());
        mCurrent = scenario;
        isContinued ? mFaults.update(scenario->mFaults)
                    : mFaults.schedule(scenario->mFaults, std::move(aStrikes));
    }
    auto const status = fault(Call::loadLibrary);
    {
        std::lock_guard const lock(mMutex);
        aWorld.called(Call::loadLibrary, mFaults.callsOf(Call::loadLibrary), timeSinceStart());
        if (status)
        {
            mFormerWorld = std::move(aWorld);
            return *status;
        }
    }
    Handles handles(scenario->mBehaviour, scenario->mAdapters.size());
    AdapterEventSource::Feed const feed = [this]
    {
        std::lock_guard const lock(mMutex);
        if (mLoaded)
        {
            advance();
        }
    };
    auto events = std::make_unique<AdapterEventSource>(
        aWorld.original().mAdapters, aWorld.canChange() ? feed : AdapterEventSource::Feed());
    auto const loaded =
        std::make_shared<Loaded>(Loaded{std::move(aWorld), std::move(handles), std::move(events)});
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
    discard();
    return HBA_STATUS_OK;
}

void HbaSimulation::end() noexcept
{
    discard();
    std::lock_guard const lock(mMutex);
    mFormerWorld.reset();
    mCurrent.reset();
    mFaults = {};
}

void HbaSimulation::beforeFork()
{
    mMutex.lock();
    if (mLoaded)
    {
        mLoaded->mEvents->beforeFork();
    }
}

void HbaSimulation::afterForkInParent()
{
    if (mLoaded)
    {
        mLoaded->mEvents->afterForkInParent();
    }
    mMutex.unlock();
}

void HbaSimulation::afterForkInChild()
{
    if (mLoaded)
    {
        mLoaded->mEvents->afterForkInChild();
    }
    mMutex.unlock();
}

HBA_UINT32 HbaSimulation::numberOfAdapters()
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return 0;
    }
    Reaction const reaction = react(Call::getNumberOfAdapters);
    return statusOf(reaction) ? 0
                              : reaction.mShape.mCount.value_or(qzsim::numberOfAdapters(*loaded.mScenario));
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
    Reaction const reaction = react(Call::getAdapterName, name);
    if (auto const status = statusOf(reaction))
    {
        return *status;
    }
    constexpr std::size_t sizeOfCommonLibrary = 256;  // the buffer of the common library
    std::size_t const size = reaction.mShape.mHasGarbage ? sizeOfCommonLibrary : name.size() + 1;
    writeBytes({aName, size}, name.c_str(), name.size() + 1, reaction.mShape);
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
    return open(*loaded.mLoaded, static_cast<std::size_t>(found - adapters.begin()));
}

HBA_STATUS HbaSimulation::openAdapterByWwn(HBA_HANDLE* aHandle, HBA_WWN const& aName)
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return HBA_STATUS_ERROR;
    }
    if (auto const absence = absenceOf(Call::openAdapterByWwn, loaded.mScenario->mBehaviour))
    {
        return *absence;
    }
    if (aHandle == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    *aHandle = HBA_HANDLE_INVALID;
    std::vector<Adapter> const& adapters = loaded.mScenario->mAdapters;
    auto const isNamed = [&aName](Adapter const& aAdapter) { return isName(aName, aAdapter); };
    auto const found = std::find_if(adapters.begin(), adapters.end(), isNamed);
    if (found == adapters.end())
    {
        return HBA_STATUS_ERROR_ILLEGAL_WWN;
    }
    if (std::any_of(found + 1, adapters.end(), isNamed))
    {
        return HBA_STATUS_ERROR_AMBIGUOUS_WWN;
    }
    if (auto const status = fault(Call::openAdapterByWwn, found->mName))
    {
        return *status;
    }
    *aHandle = open(*loaded.mLoaded, static_cast<std::size_t>(found - adapters.begin()));
    return *aHandle == HBA_HANDLE_INVALID ? HBA_STATUS_ERROR : HBA_STATUS_OK;
}

HBA_STATUS HbaSimulation::closeAdapter(HBA_HANDLE aHandle)
{
    return withAdapter(Call::closeAdapter, aHandle, true,
                       [&](Query const& aQuery)
                       {
                           auto const status = fault(aQuery.mCall, aQuery.mAdapter.mName);
                           if (!status)
                           {
                               std::lock_guard const lock(mMutex);
                               aQuery.mLoaded.mHandles.close(aHandle);
                           }
                           return status.value_or(HBA_STATUS_OK);
                       });
}

HBA_STATUS HbaSimulation::refresh(HBA_HANDLE aHandle)
{
    return withAdapter(Call::refreshInformation, aHandle, true,
                       [&](Query const& aQuery)
                       { return fault(aQuery.mCall, aQuery.mAdapter.mName).value_or(HBA_STATUS_OK); });
}

HBA_STATUS HbaSimulation::adapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getAdapterAttributes, aHandle, aAttributes,
        [](Adapter const& aAdapter) { return &aAdapter.mAttributes; }, Reason::index);
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
        Reason::index);
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
        Reason::index);
}

HBA_STATUS HbaSimulation::portAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN const& aName,
                                              HBA_PORTATTRIBUTES* aAttributes)
{
    return copyRecord(
        Call::getPortAttributesByWwn, aHandle, aAttributes,
        [&aName](Adapter const& aAdapter) { return attributesOfPortNamed(aName, aAdapter); }, Reason::name);
}

HBA_STATUS HbaSimulation::portStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort,
                                         HBA_PORTSTATISTICS* aStatistics)
{
    return readCounters(Call::getPortStatistics, aHandle, true, aStatistics,
                        [&](Adapter const& aAdapter) -> CountersOrReason<HBA_PORTSTATISTICS>
                        {
                            Port const* const port = elementAt(aAdapter.mPorts, aPort);
                            if (port == nullptr)
                            {
                                return Reason::index;
                            }
                            return port->mStatistics;
                        });
}

HBA_STATUS HbaSimulation::fc4Statistics(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT8 aType,
                                        HBA_FC4STATISTICS* aStatistics)
{
    constexpr HBA_UINT8 fcp = 0x08;
    bool const isType = aType == fcp || behaviour() == Behaviour::libhbalinux;
    return readCounters(Call::getFc4Statistics, aHandle, true, aStatistics,
                        [&](Adapter const& aAdapter) -> CountersOrReason<HBA_FC4STATISTICS>
                        {
                            auto const port = indexOfPortNamed(aPort, aAdapter);
                            if (!port)
                            {
                                return Reason::port;
                            }
                            if (!isType)
                            {
                                return Reason::fc4Type;
                            }
                            return aAdapter.mPorts[*port].mFc4Statistics;
                        });
}

HBA_STATUS HbaSimulation::fcpStatistics(HBA_HANDLE aHandle, HBA_SCSIID const* aLun,
                                        HBA_FC4STATISTICS* aStatistics)
{
    return readCounters(Call::getFcpStatistics, aHandle, aLun != nullptr, aStatistics,
                        [&](Adapter const& aAdapter) -> CountersOrReason<HBA_FC4STATISTICS>
                        {
                            for (MappedLun const& lun : mappedLunsOf(aAdapter, std::nullopt))
                            {
                                if (isSame(mappingOf(lun, aAdapter.mLunStyle).ScsiId, *aLun))
                                {
                                    return dataOf(lun.mLun, *lun.mPort).mStatistics;
                                }
                            }
                            return Reason::lun;
                        });
}

HBA_STATUS HbaSimulation::targetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping)
{
    return mapTargets(Call::getFcpTargetMapping, aHandle, std::nullopt, aMapping);
}

HBA_STATUS HbaSimulation::targetMappingV2(HBA_HANDLE aHandle, HBA_WWN const& aPort,
                                          HBA_FCPTARGETMAPPINGV2* aMapping)
{
    return mapTargets(Call::getFcpTargetMappingV2, aHandle, aPort, aMapping);
}

void HbaSimulation::discard()
{
    std::shared_ptr<Loaded> loaded;
    {
        std::lock_guard const lock(mMutex);
        loaded.swap(mLoaded);
        if (loaded)
        {
            mFormerWorld = std::move(loaded->mWorld);
        }
    }
    // Without the lock: callbacks may call the library.
    if (loaded)
    {
        loaded->mEvents->end();
    }
}

void HbaSimulation::advance()
{
    World& world = mLoaded->mWorld;
    auto const scenario = world.at(timeSinceStart());
    if (scenario != mCurrent)
    {
        mFaults.update(scenario->mFaults);
        mCurrent = scenario;
    }
    mLoaded->mEvents->update(world.isPaused(), world.adapterEvents());
}

HbaSimulation::Present HbaSimulation::loaded()
{
    std::unique_lock lock(mMutex);
    for (; mLoaded; waitInPause(lock))
    {
        advance();
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
        reaction = reactionTo(aCall,
                              [&]
                              {
                                  Reaction counted = mFaults.next(aCall, aAdapter, aPort);
                                  if (mLoaded)
                                  {
                                      mLoaded->mWorld.called(aCall, mFaults.callsOf(aCall), timeSinceStart());
                                  }
                                  return counted;
                              });
    }
    printAndWait(reaction);
    return reaction;
}

std::optional<HBA_STATUS> HbaSimulation::fault(Call aCall, std::string const& aAdapter)
{
    return statusOf(react(aCall, aAdapter));
}

HBA_HANDLE HbaSimulation::open(Loaded& aLoaded, std::size_t aAdapter)
{
    std::lock_guard const lock(mMutex);
    return aLoaded.mHandles.open(aAdapter);
}

Behaviour HbaSimulation::behaviour()
{
    auto const loaded = this->loaded();
    return loaded ? loaded.mScenario->mBehaviour : Behaviour::standard;
}

HBA_STATUS HbaSimulation::withAdapter(Call aCall, HBA_HANDLE aHandle, bool aIsGood, Action const& aAction)
{
    auto const loaded = this->loaded();
    if (!loaded)
    {
        return HBA_STATUS_ERROR_INVALID_HANDLE;
    }
    Behaviour const behaviour = loaded.mScenario->mBehaviour;
    if (auto const absence = absenceOf(aCall, behaviour))
    {
        return *absence;
    }
    std::optional<std::size_t> adapter;
    {
        std::lock_guard const lock(mMutex);
        adapter = loaded.mLoaded->mHandles.adapterOf(aHandle);
    }
    if (!adapter)
    {
        return refusalOf(Reason::handle, aCall, behaviour);
    }
    return aIsGood
               ? aAction({aCall, behaviour, *loaded.mLoaded, *adapter, loaded.mScenario->mAdapters[*adapter]})
               : HBA_STATUS_ERROR_ARG;
}

template <typename Record, typename Find>
HBA_STATUS HbaSimulation::copyRecord(Call aCall, HBA_HANDLE aHandle, Record* aRecord, Find aFind,
                                     Reason aMissing)
{
    return withAdapter(aCall, aHandle, aRecord != nullptr,
                       [&](Query const& aQuery)
                       {
                           Record const* const record = aFind(aQuery.mAdapter);
                           if (record == nullptr)
                           {
                               return aQuery.refused(aMissing);
                           }
                           Reaction const reaction = react(aCall, aQuery.mAdapter.mName);
                           if (auto const status = statusOf(reaction))
                           {
                               return *status;
                           }
                           writeRecord(*record, *aRecord, reaction.mShape);
                           return HBA_STATUS{HBA_STATUS_OK};
                       });
}

template <typename Record, typename Find>
HBA_STATUS HbaSimulation::readCounters(Call aCall, HBA_HANDLE aHandle, bool aIsGood, Record* aRecord,
                                       Find aFind)
{
    clearCounters(aRecord, behaviour());
    return withAdapter(aCall, aHandle, aIsGood && aRecord != nullptr,
                       [&](Query const& aQuery)
                       {
                           CountersOrReason<Record> const found = aFind(aQuery.mAdapter);
                           if (auto const* const reason = std::get_if<Reason>(&found))
                           {
                               return aQuery.refused(*reason);
                           }
                           Reaction const reaction = react(aCall, aQuery.mAdapter.mName);
                           if (auto const status = statusOf(reaction))
                           {
                               return *status;
                           }
                           auto const& counters = std::get<std::optional<GrowingCounters<Record>>>(found);
                           if (!counters)
                           {
                               return aQuery.refused(Reason::noStatistics);
                           }
                           writeCounters(statisticsAfter(timeSinceStart(), *counters), *aRecord,
                                         reaction.mShape);
                           return HBA_STATUS{HBA_STATUS_OK};
                       });
}

template <typename Mapping>
HBA_STATUS HbaSimulation::mapTargets(Call aCall, HBA_HANDLE aHandle, std::optional<HBA_WWN> const& aPort,
                                     Mapping* aMapping)
{
    return withAdapter(aCall, aHandle, aMapping != nullptr,
                       [&](Query const& aQuery)
                       {
                           Adapter const& adapter = aQuery.mAdapter;
                           auto const port = aPort ? indexOfPortNamed(*aPort, adapter) : std::nullopt;
                           if (aPort && !port)
                           {
                               return aQuery.refused(Reason::port);
                           }
                           Reaction const reaction = react(aCall, adapter.mName);
                           auto const status = statusOf(reaction);
                           if (status && *status != HBA_STATUS_ERROR_MORE_DATA)
                           {
                               return *status;
                           }
                           if (aQuery.mBehaviour == Behaviour::libhbalinux)
                           {
                               std::memset(static_cast<void*>(aMapping->entry), 0,
                                           aMapping->NumberOfEntries * sizeof aMapping->entry[0]);
                           }
                           return fillTargetMapping(mappedLunsOf(adapter, port), adapter.mLunStyle, reaction,
                                                    *aMapping);
                       });
}
}  // namespace qzsim
