/// @file
/// The simulated adapters as a vendor library answers for them.
#pragma once

#include <ctime>
#include <mutex>
#include <optional>
#include <string>

#include <hbaapi.h>

#include "simulator/Calls.h"
#include "simulator/Faults.h"
#include "simulator/Handles.h"
#include "simulator/Scenario.h"

namespace qzsim
{
/// One method for each call of the HBA API, callable from any thread. A call refused for its arguments is
/// not counted; one that the scenario makes fail does nothing but answer its status.
class HbaSimulation
{
public:
    /// Forgets what was loaded before and takes on the scenario.
    HBA_STATUS load(Scenario aScenario);

    /// Forgets everything but the counts of calls, which last as long as the library stays in the process.
    HBA_STATUS free();

    HBA_UINT32 numberOfAdapters();

    /// @param aName takes 256 bytes
    HBA_STATUS adapterName(HBA_UINT32 aIndex, char* aName);

    /// The new handle; 0 for a name that no adapter has.
    HBA_HANDLE openAdapter(char const* aName);

    void closeAdapter(HBA_HANDLE aHandle);

private:
    struct Loaded
    {
        Scenario mScenario;
        Handles mHandles;
    };

    /// Counts the call; the status that the scenario wants, HBA_STATUS_OK when it wants none.
    HBA_STATUS fault(Call aCall, std::string const& aAdapter = {});

    std::mutex mMutex;
    Faults mFaults;
    std::optional<Loaded> mLoaded;
};
}  // namespace qzsim
