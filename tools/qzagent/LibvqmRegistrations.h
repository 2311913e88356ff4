/// @file
/// Registrations for the events of the vendor's diagnostic library.
#pragma once

#include <vector>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tools/qzagent/EventQueue.h"
#include "tools/qzagent/LibvqmBoards.h"
#include "tools/qzagent/LibvqmGuards.h"
#include "tools/qzagent/Report.h"

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
class LibvqmRegistrations
{
public:
    /// @param arQueue  where the events go; outlives the library, which may not keep to the end of a registration
    /// @param arReport told what is refused
    LibvqmRegistrations(LoadedLibvqm& arLibrary, EventKind const& aKind, EventQueue& arQueue,
                        Report& arReport)
        : mLibrary(arLibrary), mKind(aKind), mQueue(arQueue), mReport(arReport)
    {
    }
    ~LibvqmRegistrations();
    LibvqmRegistrations(LibvqmRegistrations const&) = delete;
    LibvqmRegistrations& operator=(LibvqmRegistrations const&) = delete;

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

    unsigned int begin(Registration& arRegistration);
    void end(Registration const& aRegistration);
    void reportRefusal(char const* aRefused, unsigned int aBoard, unsigned int aResult);

    LoadedLibvqm& mLibrary;
    EventKind const mKind;
    EventQueue& mQueue;
    Report& mReport;
    std::vector<Registration> mRegistrations;
};
}  // namespace qzagent
