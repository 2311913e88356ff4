/// @file
/// Registrations for the events of the vendor library.
#pragma once

#include <vector>

#include "agentkit/include/EventQueue.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmGuards.h"

namespace qzagent
{
/// The events to register for.
struct EventKind
{
    unsigned char mCategory;     ///< anyCategory for every category
    unsigned char mSubcategory;  ///< anyCategory for every subcategory
    bool mIsPlain;               ///< true for the plain interface, false for the Quazor interface
};

/// Registers boards for events, and unregisters them when it is destroyed.
class VqmRegistrations
{
public:
    /// @param aQueue  receives the events; must outlive the vendor library, which may send events after it was asked to
    ///                unregister
    /// @param aReport receives refused registrations and unregistrations
    VqmRegistrations(LoadedLibvqm& aLibrary, EventKind const& aKind, qz::EventQueue& aQueue, Report& aReport)
        : mLibrary(aLibrary), mKind(aKind), mQueue(aQueue), mReport(aReport)
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
    bool isEmpty() const { return mRegistrations.empty(); }

private:
    struct Registration
    {
        unsigned int mBoard;
        QZCPointer<QZCWorldWideName> mPort;
        unsigned int mId;  ///< registration number of the Quazor interface
    };

    unsigned int begin(Registration& aRegistration);
    void end(Registration const& aRegistration);
    void reportRefusal(char const* aRefused, unsigned int aBoard, unsigned int aResult);

    LoadedLibvqm& mLibrary;
    EventKind const mKind;
    qz::EventQueue& mQueue;
    Report& mReport;
    std::vector<Registration> mRegistrations;
};
}  // namespace qzagent
