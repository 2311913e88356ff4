/// @file
/// The simulated adapters behind the calls of the HBA library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <hbaapi.h>

#include "simulator/control/Faults.h"
#include "simulator/control/Strikes.h"
#include "simulator/hba/AdapterEventSource.h"
#include "simulator/hba/Answers.h"
#include "simulator/hba/Handles.h"
#include "simulator/hba/Refusals.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/world/World.h"

namespace qzsim
{
/// @name Callbacks of the HBA API
/// @{
using AdapterCallback = void (*)(void* aData, HBA_WWN aPort, HBA_UINT32 aType);
using PortCallback = void (*)(void* aData, HBA_WWN aPort, HBA_UINT32 aType, HBA_UINT32 aFabricPortId);
using TargetCallback = void (*)(void* aData, HBA_WWN aPort, HBA_WWN aTarget, HBA_UINT32 aType);
using LinkCallback = void (*)(void* aData, HBA_WWN aAdapter, HBA_UINT32 aType, void* aBuffer,
                              HBA_UINT32 aSize);
/// @}

/// The remote port that a SCSI command is sent to.
struct ScsiAddress
{
    HBA_HANDLE mHandle;
    std::optional<HBA_WWN> mPort;  ///< the port of the adapter; nothing in calls of the first version
    HBA_WWN mTarget;
};

/// The memory of the caller for the answer to a SCSI command. The sizes are those of the buffers, and receive the number
/// of bytes that were written.
struct ScsiBuffers
{
    void* mResponse;
    HBA_UINT32* mResponseSize;
    HBA_UINT8* mStatus;  ///< receives the SCSI status
    void* mSense;
    HBA_UINT32* mSenseSize;
};

/// One method for each call of the HBA API. Any thread may call them, also while a fault delays the call of another
/// thread. A call that is refused for its arguments is not counted. A call that the scenario makes fail has no effect
/// other than its status.
class HbaSimulation
{
public:
    /// Replaces what was loaded before by the world. If that was the same world, it continues: its changes need not be
    /// applied again, and faults that have started keep their counts.
    /// @param aStrikes counts each call that a fault makes fail
    HBA_STATUS load(World aWorld, Strikes aStrikes);

    /// Discards everything except the counts of calls, which last as long as the library stays in the process.
    HBA_STATUS free();

    /// Discards everything. No callback runs after this, except the one that makes this call.
    void end() noexcept;

    /// @name Around a fork
    /// The child process has what is loaded and open, and the counts of calls. It receives no events until it registers
    /// a callback.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

    /// @return the number of adapters; 0 when the call fails
    HBA_UINT32 numberOfAdapters();

    /// @param aName receives up to 256 bytes
    HBA_STATUS adapterName(HBA_UINT32 aIndex, char* aName);

    /// @return the new handle; 0 when no adapter has the name, or the call fails
    HBA_HANDLE openAdapter(char const* aName);

    /// @param aName   the name of the adapter or of one of its ports
    /// @param aHandle receives the new handle, or 0 when no adapter or several adapters have the name
    HBA_STATUS openAdapterByWwn(HBA_HANDLE* aHandle, HBA_WWN const& aName);

    /// @name Calls whose status the HBA API does not return
    /// @{
    HBA_STATUS closeAdapter(HBA_HANDLE aHandle);

    /// Has no effect: every call sees the world as it is.
    HBA_STATUS refresh(HBA_HANDLE aHandle);
    /// @}

    HBA_STATUS adapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes);
    HBA_STATUS portAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTATTRIBUTES* aAttributes);
    HBA_STATUS discoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aDiscoveredPort,
                                        HBA_PORTATTRIBUTES* aAttributes);

    /// Looks for the name among the ports of the adapter first, then among their remote ports.
    HBA_STATUS portAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN const& aName, HBA_PORTATTRIBUTES* aAttributes);

    HBA_STATUS portStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS* aStatistics);
    HBA_STATUS fc4Statistics(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT8 aType,
                             HBA_FC4STATISTICS* aStatistics);

    /// @param aLun as in the target mappings. The name of its device is ignored
    HBA_STATUS fcpStatistics(HBA_HANDLE aHandle, HBA_SCSIID const* aLun, HBA_FC4STATISTICS* aStatistics);

    /// @param aMapping its NumberOfEntries receives the number of mappings, even when the scenario makes the call fail
    ///                 with HBA_STATUS_ERROR_MORE_DATA. The scenario may give a wrong number then
    HBA_STATUS targetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping);

    /// Same as above, for the LUNs behind one port.
    HBA_STATUS targetMappingV2(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_FCPTARGETMAPPINGV2* aMapping);

    /// @name SCSI commands
    /// A LUN that the target does not have ends with a check condition.
    /// @param aLun as FcpLun of the target mappings
    /// @{
    HBA_STATUS reportLuns(ScsiAddress const& aAddress, ScsiBuffers const& aBuffers);

    /// Answers for the standard data. A vital product page ends with a check condition.
    HBA_STATUS inquiry(ScsiAddress const& aAddress, HBA_UINT64 aLun, HBA_UINT8 aIsVitalProductData,
                       HBA_UINT32 aPage, ScsiBuffers const& aBuffers);
    HBA_STATUS readCapacity(ScsiAddress const& aAddress, HBA_UINT64 aLun, ScsiBuffers const& aBuffers);
    /// @}

    /// @name Events
    /// Callbacks run on a thread of the library.
    /// @param aHandle receives the handle of the registration
    /// @{
    HBA_STATUS registerForAdapterAddEvents(AdapterCallback aCallback, void* aData,
                                           HBA_CALLBACKHANDLE* aHandle);
    HBA_STATUS registerForAdapterEvents(AdapterCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                        HBA_CALLBACKHANDLE* aHandle);
    HBA_STATUS registerForPortEvents(PortCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                     HBA_WWN const& aPort, HBA_CALLBACKHANDLE* aHandle);

    /// The scenario sends the events, whatever the limits of the counters are.
    /// @param aType HBA_EVENT_PORT_STAT_THRESHOLD or HBA_EVENT_PORT_STAT_GROWTH
    HBA_STATUS registerForPortStatEvents(AdapterCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                         HBA_WWN const& aPort, HBA_UINT32 aType, HBA_CALLBACKHANDLE* aHandle);

    /// @param aTarget nothing: all remote ports of the port
    HBA_STATUS registerForTargetEvents(TargetCallback aCallback, void* aData, HBA_HANDLE aAdapter,
                                       HBA_WWN const& aPort, std::optional<HBA_WWN> const& aTarget,
                                       HBA_CALLBACKHANDLE* aHandle);

    /// @param aBuffer receives the payload of an event, truncated to its size, before the callback
    HBA_STATUS registerForLinkEvents(LinkCallback aCallback, void* aData, CallerMemory const& aBuffer,
                                     HBA_HANDLE aAdapter, HBA_CALLBACKHANDLE* aHandle);

    /// Does not wait for a running callback.
    HBA_STATUS removeCallback(HBA_CALLBACKHANDLE aHandle);
    /// @}

private:
    /// Protected by the mutex.
    struct Loaded
    {
        World mWorld;
        Handles mHandles;
        std::unique_ptr<AdapterEventSource> mEvents;  ///< set once
    };

    /// What a call works with. It does not change while the call is under way, and survives a free.
    struct Present
    {
        std::shared_ptr<Loaded> mLoaded;
        std::shared_ptr<Scenario const> mScenario;

        explicit operator bool() const { return mLoaded != nullptr; }
    };

    /// Waits while the world is paused.
    /// @return what is loaded; false when nothing is
    Present loaded();

    /// Applies what has changed in the world that is loaded. The caller holds the mutex.
    void advance();

    /// Ends the events and unloads.
    void discard();

    /// Counts the call. Prints and waits if the fault that covers it says so.
    Reaction react(Call aCall, std::string const& aAdapter = {}, std::string const& aPort = {});

    /// Same as react().
    /// @return the status that the call must return; nothing when it answers as usual
    std::optional<HBA_STATUS> fault(Call aCall, std::string const& aAdapter = {});

    HBA_HANDLE open(Loaded& aLoaded, std::size_t aAdapter);

    /// A call for an open adapter.
    struct Query
    {
        Call mCall;
        Behaviour mBehaviour;
        Loaded& mLoaded;
        std::size_t mIndex;  ///< of the adapter
        Adapter const& mAdapter;

        HBA_STATUS refused(Reason aReason) const { return refusalOf(aReason, mCall, mBehaviour); }
    };

    using Action = std::function<HBA_STATUS(Query const& aQuery)>;

    /// Handles a call for an open adapter.
    /// @param aIsGood whether the other arguments of the call are valid
    /// @param aAction performs the call and returns its status
    HBA_STATUS withAdapter(Call aCall, HBA_HANDLE aHandle, bool aIsGood, Action const& aAction);

    /// Handles a call that copies a record of the adapter.
    /// @param aFind    returns the record of an adapter; null when it does not exist
    /// @param aMissing why there is no such record
    template <typename Record, typename Find>
    HBA_STATUS copyRecord(Call aCall, HBA_HANDLE aHandle, Record* aRecord, Find aFind, Reason aMissing);

    /// Handles a call that reads counters.
    /// @param aFind returns the statistics, which may be absent, or the reason why there is no such port or LUN
    template <typename Record, typename Find>
    HBA_STATUS readCounters(Call aCall, HBA_HANDLE aHandle, bool aIsGood, Record* aRecord, Find aFind);

    /// @param aPort only LUNs behind this port; nothing: behind all ports
    template <typename Mapping>
    HBA_STATUS mapTargets(Call aCall, HBA_HANDLE aHandle, std::optional<HBA_WWN> const& aPort,
                          Mapping* aMapping);

    /// A SCSI command to send.
    struct Command
    {
        Call mCall;
        ScsiAddress mAddress;
        std::optional<HBA_UINT64> mLun;  ///< nothing for a command to the target itself
        ScsiBuffers mBuffers;
    };

    /// The response to a SCSI command, or the sense data of its check condition.
    using ScsiResult = std::variant<std::vector<std::uint8_t>, Sense>;

    /// @param aLun of the command; 0 for a command to the target itself
    using Respond =
        std::function<ScsiResult(RemotePort const& aTarget, std::uint16_t aLun, AnswerShape const& aShape)>;

    HBA_STATUS send(Command const& aCommand, Respond const& aRespond);

    /// Sends the command to a target that exists.
    HBA_STATUS sendTo(RemotePort const& aTarget, Query const& aQuery, Command const& aCommand,
                      Respond const& aRespond);

    /// What a registration covers, or why there is no such port.
    using Coverage = std::variant<EventRegistration, Reason>;

    /// Handles a registration for events of an adapter.
    HBA_STATUS registerFor(Call aCall, HBA_HANDLE aAdapter, bool aIsGood, HBA_CALLBACKHANDLE* aHandle,
                           std::function<Coverage(Adapter const& aAdapter)> const& aCover);

    /// @return the behaviour of the loaded scenario
    Behaviour behaviour();

    std::mutex mMutex;
    Faults mFaults;
    std::shared_ptr<Loaded> mLoaded;           ///< null when nothing is loaded
    std::optional<World> mFormerWorld;         ///< of what was loaded before
    std::shared_ptr<Scenario const> mCurrent;  ///< whose faults are scheduled
};
}  // namespace qzsim
