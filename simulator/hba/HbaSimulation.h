/// @file
/// The simulated adapters as a vendor library answers for them.
#pragma once

#include <cstddef>
#include <ctime>
#include <mutex>
#include <optional>
#include <string>

#include <hbaapi.h>

#include "simulator/control/Faults.h"
#include "simulator/control/Strikes.h"
#include "simulator/hba/Handles.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Scenario.h"

namespace qzsim
{
/// Memory of the caller's that an answer is written to.
struct CallerMemory
{
    void* mStart;
    std::size_t mSize;
};

/// One method for each call of the HBA API, callable from any thread. A call refused for its arguments is
/// not counted; one that the scenario makes fail does nothing but answer its status.
class HbaSimulation
{
public:
    /// Forgets what was loaded before and takes on the scenario.
    /// @param aStrikes told of every fault that strikes
    HBA_STATUS load(Scenario aScenario, Strikes aStrikes);

    /// Forgets everything but the counts of calls, which last as long as the library stays in the process.
    HBA_STATUS free();

    HBA_UINT32 numberOfAdapters();

    /// @param aName takes 256 bytes
    HBA_STATUS adapterName(HBA_UINT32 aIndex, char* aName);

    /// The new handle; 0 for a name that no adapter has.
    HBA_HANDLE openAdapter(char const* aName);

    void closeAdapter(HBA_HANDLE aHandle);

    HBA_STATUS adapterAttributes(HBA_HANDLE aHandle, HBA_ADAPTERATTRIBUTES* aAttributes);
    HBA_STATUS portAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_PORTATTRIBUTES* aAttributes);
    HBA_STATUS discoveredPortAttributes(HBA_HANDLE aHandle, HBA_UINT32 aPort, HBA_UINT32 aDiscoveredPort,
                                        HBA_PORTATTRIBUTES* aAttributes);

    /// Of a port of the adapter or else of the first of that name that its ports have discovered.
    HBA_STATUS portAttributesByWwn(HBA_HANDLE aHandle, HBA_WWN const& aName, HBA_PORTATTRIBUTES* aAttributes);

    /// @param aMapping when the scenario makes the call fail with HBA_STATUS_ERROR_MORE_DATA, its
    ///                 NumberOfEntries is still set to the number there are
    HBA_STATUS targetMapping(HBA_HANDLE aHandle, HBA_FCPTARGETMAPPING* aMapping);

    /// @param aResponse takes as much of the response as it has room for
    /// @param aSense    takes as much of the sense data as it has room for when the scenario makes the call
    ///                  fail with HBA_STATUS_SCSI_CHECK_CONDITION
    HBA_STATUS reportLuns(HBA_HANDLE aHandle, HBA_WWN const& aPort, CallerMemory aResponse,
                          CallerMemory aSense);

private:
    struct Loaded
    {
        Scenario mScenario;
        Handles mHandles;
    };

    /// Counts the call; the status that the scenario wants, HBA_STATUS_OK when it wants none.
    HBA_STATUS fault(Call aCall, std::string const& aAdapter = {}, std::string const& aPort = {});

    /// The adapter that was opened; null when the handle is not open.
    Adapter const* adapterOf(HBA_HANDLE aHandle) const;

    /// Answers a call with a record of the adapter.
    /// @param aFind     returns the record of an adapter; null when the call asks for one that is not there
    /// @param aNotThere what is then answered
    template <typename Record, typename Find>
    HBA_STATUS copyRecord(Call aCall, HBA_HANDLE aHandle, Record* aRecord, Find aFind, HBA_STATUS aNotThere);

    std::mutex mMutex;
    Faults mFaults;
    std::optional<Loaded> mLoaded;
};
}  // namespace qzsim
