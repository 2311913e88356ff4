/// @file
/// The simulated adapters behind the calls of the HBA library.
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include <hbaapi.h>

#include "simulator/control/Faults.h"
#include "simulator/control/Strikes.h"
#include "simulator/hba/Handles.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/world/World.h"

namespace qzsim
{
/// A buffer of the caller that receives a response.
struct CallerMemory
{
    void* mStart;
    std::size_t mSize;
};

/// The buffers of a call that sends a SCSI command.
struct ScsiBuffers
{
    CallerMemory mResponse;  ///< receives the response, truncated to its size
    CallerMemory mSense;     ///< receives the sense data of a check condition, truncated to its size
};

/// One method for each call of the HBA API. Any thread may call them, also while a fault delays the call of another
/// thread. A call that is refused for its arguments is not counted. A call that the scenario makes fail has no effect
/// other than its status.
class HbaSimulation
{
public:
    /// Replaces what was loaded before by the world.
    /// @param aStrikes counts each call that a fault makes fail
    HBA_STATUS load(World aWorld, Strikes aStrikes);

    /// Discards everything except the counts of calls, which last as long as the library stays in the process.
    HBA_STATUS free();

    HBA_UINT32 numberOfAdapters();

    /// @param aName receives up to 256 bytes
    HBA_STATUS adapterName(HBA_UINT32 aIndex, char* aName);

    /// @return the new handle; 0 when no adapter has the name, or the call fails
    HBA_HANDLE openAdapter(char const* aName);

    void closeAdapter(HBA_HANDLE aHandle);

    HBA_STATUS adapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes);
    HBA_STATUS portAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTATTRIBUTES* aAttributes);
    HBA_STATUS discoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aDiscoveredPort,
                                        HBA_PORTATTRIBUTES* aAttributes);

    /// Looks for the name among the ports of the adapter first, then among their remote ports.
    HBA_STATUS portAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN const& aName, HBA_PORTATTRIBUTES* aAttributes);

    /// @return HBA_STATUS_ERROR_NOT_SUPPORTED when the port has no statistics
    HBA_STATUS portStatistics(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTSTATISTICS* aStatistics);

    /// @param aMapping its NumberOfEntries receives the number of mappings, even when the scenario makes the call fail
    ///                 with HBA_STATUS_ERROR_MORE_DATA. The scenario may give a wrong number then
    HBA_STATUS targetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping);

    HBA_STATUS reportLuns(HBA_HANDLE aHandle, HBA_WWN const& aPort, ScsiBuffers const& aBuffers);

    /// Answers for the standard data. A vital product page ends with a check condition.
    /// @param aLun as FcpLun of the target mappings
    HBA_STATUS inquiry(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                       HBA_UINT8 aIsVitalProductData, HBA_UINT32 aPage, ScsiBuffers const& aBuffers);

    /// @param aLun as FcpLun of the target mappings
    HBA_STATUS readCapacity(HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                            ScsiBuffers const& aBuffers);

private:
    /// Protected by the mutex.
    struct Loaded
    {
        World mWorld;
        Handles mHandles;
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

    /// Counts the call. Prints and waits if the fault that covers it says so.
    Reaction react(Call aCall, std::string const& aAdapter = {}, std::string const& aPort = {});

    /// Same as react().
    /// @return the status that the call must return; nothing when it answers as usual
    std::optional<HBA_STATUS> fault(Call aCall, std::string const& aAdapter = {});

    /// Handles a call for an open adapter.
    /// @param aIsGood whether the other arguments of the call are valid
    /// @param aAction performs the call on the adapter and returns its status
    template <typename Action>
    HBA_STATUS withAdapter(HBA_HANDLE aHandle, bool aIsGood, Action aAction);

    /// Handles a call that sends a SCSI command to a target.
    /// @param aRespond returns the response of the target to an adapter, or sense data
    template <typename Respond>
    HBA_STATUS sendToTarget(Call aCall, HBA_HANDLE aHandle, HBA_WWN const& aPort, ScsiBuffers const& aBuffers,
                            Respond aRespond);

    /// Same as above, for a command to a LUN. A LUN that the target does not have ends with a check condition.
    /// @param aRespond returns the response of the LUN, or sense data
    template <typename Respond>
    HBA_STATUS sendToLun(Call aCall, HBA_HANDLE aHandle, HBA_WWN const& aPort, HBA_UINT64 aLun,
                         ScsiBuffers const& aBuffers, Respond aRespond);

    /// Handles a call that copies a record of the adapter.
    /// @param aFind    returns the record of an adapter; null when it does not exist
    /// @param aMissing the status for a record that does not exist
    template <typename Record, typename Find>
    HBA_STATUS copyRecord(Call aCall, HBA_HANDLE aHandle, Record* aRecord, Find aFind, HBA_STATUS aMissing);

    std::mutex mMutex;
    Faults mFaults;
    std::shared_ptr<Loaded> mLoaded;           ///< null when nothing is loaded
    std::shared_ptr<Scenario const> mCurrent;  ///< whose faults are scheduled
};
}  // namespace qzsim
