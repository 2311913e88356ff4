/// @file
/// The simulated boards as the vendor's diagnostic library answers for them.
#pragma once

#include <ctime>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

#include <hbaapi.h>

#include "simulator/control/Faults.h"
#include "simulator/diagnostic/DiagnosticEnvironment.h"
#include "simulator/include/QzEvent.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Diagnostics.h"

namespace qzsim
{
/// Callback of the plain event interface: board, category, subcategory, context, event.
using PlainCallback = void (*)(unsigned int aBoard, ...);

/// Callback of the Quazor event interface.
using QuazorCallback = void (*)(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, QZ_event* aEvent);

/// One method for each call of the diagnostic library, callable from any thread, also from within callbacks. A
/// call refused for its arguments is not counted; one that the scenario makes fail does nothing but answer its
/// result. What the results mean stands in QzEvent.h; when several would do, the one with the lowest number is
/// answered.
///
/// The scenario that the environment names is read by open(), or else by the first call that needs one; these
/// throw std::runtime_error when that fails.
class DiagnosticSimulation
{
public:
    /// @param aText takes 128 bytes
    void libraryVersion(char* aText);

    /// Opens the diagnostic environment, unless it is open.
    /// @param aTable takes a record for each board, as far as there is room; may be null when there is none
    /// @return the number of boards
    unsigned int open(void* aTable, unsigned int aCapacity);

    /// Closes the environment. Afterwards no callback runs but the one that calls this.
    void close();

    /// @param aRecord takes 152 bytes
    unsigned int driverInfo(unsigned int aBoard, void* aRecord);

    /// @param aRecord takes 168 bytes
    unsigned int linkInfo(unsigned int aBoard, void* aRecord);

    unsigned int registerPlain(unsigned int aBoard, unsigned int aCategory, void* aContext,
                               unsigned int aSubcategory, PlainCallback aCallback);
    unsigned int unregisterPlain(unsigned int aBoard, unsigned int aCategory);
    unsigned int registerQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, unsigned int* aId,
                                QuazorCallback aCallback);
    unsigned int unregisterQuazor(unsigned int aBoard, HBA_WWN const& aPort, unsigned int aId);

    /// Closes the environment, whatever the scenario says, and forgets everything. Never throws.
    void end() noexcept;

    /// @name Around a fork
    /// The new process is left without an environment.
    /// @{
    void beforeFork();
    void afterForkInParent();
    void afterForkInChild();
    /// @}

private:
    using Environment = std::shared_ptr<DiagnosticEnvironment>;

    /// What the call asks for.
    struct Request
    {
        Call mCall;
        unsigned int mBoard;
        std::optional<HBA_WWN> mPort;  ///< if it asks for one
        bool mIsGood;                  ///< whether the other arguments are
    };

    void load();
    void loadFirst();

    /// What the call is refused with, or QZ_OK.
    QZ_result refusalOf(Request const& aRequest) const;

    /// Answers a call for a board.
    /// @param aAction does what the call is for with the environment and returns its result
    template <typename Action>
    unsigned int answer(Request const& aRequest, Action aAction);

    /// Closes the environment that is open: from then on no callback of it begins.
    void closeEnvironment();

    /// Lets go of the closed environments all of whose threads have ended.
    void dropEnded();

    std::mutex mMutex;
    Faults mFaults;
    std::optional<Diagnostics> mDiagnostics;
    Environment mEnvironment;                ///< null when none is open
    std::list<Environment> mClosed = {};     ///< those some of whose threads may not have ended yet
    std::list<Environment> mAbandoned = {};  ///< those whose threads are not in this process
};
}  // namespace qzsim
