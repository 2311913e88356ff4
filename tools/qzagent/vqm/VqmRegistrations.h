/// @file
/// Registrations for the events of the vendor's diagnostic library.
#pragma once

#include <vector>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/EventQueue.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmGuards.h"

namespace qzagent
{
/// The events that are wanted.
struct EventKind
{
    unsigned char mCategory;     ///< 255 for any
    unsigned char mSubcategory;  ///< 255 for any
    bool mIsPlain;               ///< by the plain interface, not by the Quazor one
};

/// Registers board by board, and ends its registrations when it goes.
class VqmRegistrations
{
public:
    /// @param aQueue  where the events go; outlives the library, which may not keep to the end of a registration
    /// @param aReport told what is refused
    VqmRegistrations(LoadedLibvqm& aLibrary, EventKind const& aKind, EventQueue& aQueue, Report& aReport)
        : mLibrary(aLibrary), mKind(aKind), mQueue(aQueue), mReport(aReport)
    {
    }
    ~VqmRegistrations();
    VqmRegistrations(VqmRegistrations const&) = delete;
    VqmRegistrations& operator=(VqmRegistrations const&) = delete;

    /// @param aBoard with names; the second one is taken for that of its port
    /// @throws QZCNotAllowedEx, QZCNoMemoryEx
    void add(Board const& aBoard);

    bool isEmpty() const { return mRegistrations.empty(); }

private:
    struct Registration
    {
        unsigned int mBoard;
        QZCPointer<QZCWorldWideName> mPort;
        unsigned int mId;  ///< of a Quazor registration
    };

    unsigned int begin(Registration& aRegistration);
    void end(Registration const& aRegistration);
    void reportRefusal(char const* aRefused, unsigned int aBoard, unsigned int aResult);

    LoadedLibvqm& mLibrary;
    EventKind const mKind;
    EventQueue& mQueue;
    Report& mReport;
    std::vector<Registration> mRegistrations;
};
}  // namespace qzagent
