/// @file
/// Registrations for the events of the vendor library.
#pragma once

#include <cstddef>
#include <ctime>
#include <vector>

#include <hbaapi.h>

#include "agentkit/include/VqmLibrary.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/EventIntake.h"
#include "tools/qzagent/vqm/VqmBoards.h"

struct QZ_event;

namespace qzagent
{
/// The events to register for.
struct EventKind
{
    unsigned char mCategory;     ///< anyCategory for every category
    unsigned char mSubcategory;  ///< anyCategory for every subcategory
    bool mIsPlain;               ///< true for the plain interface, false for the Quazor interface
};

/// The callback of the Quazor interface. Runs on a thread that the vendor library chooses, and must not block that
/// thread, so it only queues the event.
/// @param aIntake the EventIntake that receives the event
void takeQuazorEvent(unsigned int aBoard, HBA_wwn aPort, unsigned int aCategory, unsigned int aSubcategory,
                     void* aIntake, QZ_event* aEvent);

/// Registers boards for events, and unregisters them when it is destroyed.
class VqmRegistrations
{
public:
    /// @param aIntake receives the events; must outlive the vendor library, which may send events after it was asked to
    ///                unregister
    /// @param aReport receives refused registrations and unregistrations
    VqmRegistrations(qz::VqmLibrary& aLibrary, EventKind const& aKind, EventIntake& aIntake, Report& aReport)
        : mLibrary(aLibrary), mKind(aKind), mIntake(aIntake), mReport(aReport)
    {
    }
    ~VqmRegistrations();
    VqmRegistrations(VqmRegistrations const&) = delete;
    VqmRegistrations& operator=(VqmRegistrations const&) = delete;

    /// Registers a board.
    /// @param aBoard a board with names; the Quazor interface registers for the port with its second name
    /// @throws QZCNotAllowedEx when the vendor library lacks a function
    /// @throws QZCNoMemoryEx when memory is exhausted
    void add(Board const& aBoard);

    /// @return whether no board is registered
    bool isEmpty() const { return mBoards.empty(); }

    /// Number of registered boards.
    std::size_t size() const { return mBoards.size(); }

private:
    struct RegisteredBoard
    {
        unsigned int mBoard;
        qz::VqmRegistration mRegistration;
    };

    qz::VqmRegistration registrationOf(Board const& aBoard);
    void end(RegisteredBoard& aBoard);
    void reportRefusal(char const* aFunction, char const* aRefused, unsigned int aBoard,
                       unsigned int aResult);
    char const* registeringFunction() const;
    char const* unregisteringFunction() const;

    qz::VqmLibrary& mLibrary;
    EventKind const mKind;
    EventIntake& mIntake;
    Report& mReport;
    std::vector<RegisteredBoard> mBoards;
};
}  // namespace qzagent
