/// @file
/// The simulated boards behind the calls of the diagnostic library.
#pragma once

#include <cstdint>
#include <ctime>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/control/Faults.h"
#include "simulator/diagnostic/DiagnosticEnvironment.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/world/World.h"

namespace qzsim
{
/// Callback of the plain event interface: board, category, subcategory, context, event.
using PlainCallback = void (*)(unsigned int aBoard, ...);

/// Callback of the Quazor event interface.
using QuazorCallback = void (*)(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, QZ_event* aEvent);

/// One method for each call of the diagnostic library. Any thread may call them, also from inside a callback, and while a
/// fault delays the call of another thread. A call that is refused for its arguments is not counted. A call that the scenario makes fail has no effect other than its
/// result. QzEvent.h defines the results.
///
/// open() reads the scenario that the environment names. A call before the first open() reads it too.
/// @throws std::runtime_error from every call that has to read the scenario and cannot
class DiagnosticSimulation
{
public:
    /// @param aText receives 128 bytes
    void libraryVersion(char* aText);

    /// Opens the diagnostic environment, unless it is open.
    /// @param aTable    receives one record per board, at most aCapacity; may be null
    /// @param aCapacity number of records that the table has room for
    /// @return the number of boards
    unsigned int open(void* aTable, unsigned int aCapacity);

    /// Closes the environment. After this, no callback runs except the one that makes this call.
    void close();

    /// @param aRecord receives 152 bytes; its first byte has the version that the scenario requires, if it requires one
    unsigned int driverInfo(unsigned int aBoard, void* aRecord);

    /// @param aRecord receives 168 bytes
    unsigned int linkInfo(unsigned int aBoard, void* aRecord);

    unsigned int registerPlain(unsigned int aBoard, unsigned int aCategory, void* aContext,
                               unsigned int aSubcategory, PlainCallback aCallback);
    unsigned int unregisterPlain(unsigned int aBoard, unsigned int aCategory);
    unsigned int registerQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, unsigned int* aId,
                                QuazorCallback aCallback);
    unsigned int unregisterQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId);

    /// Closes the environment even if the scenario makes VQM_FreeDiagEnv fail, waits for its callbacks, and discards all
    /// state.
    void end() noexcept;

    /// @name Around a fork
    /// The child process has no open environment.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    using Environment = std::shared_ptr<DiagnosticEnvironment>;

    /// The call to answer, and its arguments.
    struct Request
    {
        Call mCall;
        unsigned int mBoard;
        std::optional<HBA_WWN> mPort;  ///< nothing when the call has no port argument
        bool mIsGood;                  ///< whether the other arguments are valid
    };

    void load();
    void loadFirst();

    /// Reads the scenario unless it was read, and applies the changes that are due.
    void advance();

    /// Same as above. Waits while the world is paused.
    void advance(std::unique_lock<std::mutex>& aLock);

    /// @return the events that changes have sent since the last call
    std::vector<EventSeries> takeEvents();

    /// @return the boards and versions
    Diagnostics const& diagnostics() const { return mScenario->mDiagnostics; }

    /// Counts the call.
    Reaction count(Call aCall, std::string const& aBoard = {});

    /// Same as above. Releases the lock while it prints and waits as the fault that covers it says.
    Reaction react(Call aCall, std::unique_lock<std::mutex>& aLock);

    /// @return whether this is a driver information record of the version that the scenario requires
    bool isRecord(void const* aRecord);

    /// @return the result that the call is refused with; QZ_OK when it is not refused
    QZ_result refusalOf(Request const& aRequest) const;

    /// Handles a call for a board: refuses it, makes it fail, or performs it.
    /// @param aAction performs the call on the environment and the boards, and returns its result. It gives its answer the
    ///                shape that it receives
    template <typename Action>
    unsigned int answer(Request const& aRequest, Action aAction);

    /// Closes the open environment: none of its callbacks starts after this.
    void closeEnvironment();

    /// Moves the open environment, whose threads may still run, to the end of a list.
    void retireTo(std::list<Environment>& aList);

    /// @return a closed environment with a running callback; null for none
    Environment busyEnvironment();

    /// Destroys the closed environments whose threads have all ended.
    void dropEnded();

    std::mutex mMutex;
    Faults mFaults;
    std::optional<World> mWorld;
    std::shared_ptr<Scenario const> mScenario;  ///< null without a world
    std::vector<EventSeries> mEvents;           ///< that changes have sent
    Environment mEnvironment;                   ///< null when no environment is open
    std::list<Environment> mPlace = {};      ///< of the open environment in mClosed: closing needs no memory
    std::list<Environment> mClosed = {};     ///< closed environments with threads that may still run
    std::list<Environment> mAbandoned = {};  ///< environments with threads that cannot be joined
};
}  // namespace qzsim
