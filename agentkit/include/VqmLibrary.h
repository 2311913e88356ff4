/// @file
/// Owners of what QZCLibvqmAbs loads, opens and registers.
///
/// The state of the layer belongs to the process, and a missing function frees the library immediately. Before an owner
/// calls the layer, it therefore checks that its library is still loaded, and that nobody has loaded another one since.
/// No order of failures, loads and destructions then calls an operation that would end the process.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace qz
{
/// The loaded vendor library. The first object loads it and the last one frees it. If a missing function has freed it
/// before, the next object loads it again.
///
/// If the program has loaded the library itself through QZCLibvqmAbs, these objects use it and do not free it. That
/// includes a load that follows a missing function: the objects of the lost library then leave the new one alone.
/// Thread-safety: only one thread at a time may use the objects of this file.
/// @ingroup agentkit
class VqmLibrary
{
public:
    /// Loads the vendor library if it is not loaded.
    /// @throws QZCNotFoundEx "No libvqm located", code 8
    VqmLibrary();

    /// Frees the vendor library when this is the last object.
    ~VqmLibrary();

    VqmLibrary(VqmLibrary const&) = delete;
    VqmLibrary& operator=(VqmLibrary const&) = delete;

    /// @return whether the library that this object loaded or found is still loaded, so that operations may be called
    bool isLoaded() const;

    /// @return the layer, for calls that these classes do not have
    /// @throws QZCNotAllowedEx "LIBVQM is not loaded", code 9, when the library was freed
    QZCLibvqmAbs& layer();

private:
    QZCLibvqmAbs mLayer;
    unsigned int mLoad;  ///< the number of the load that this object uses
};

/// The two names of a board.
/// @ingroup agentkit
struct BoardNames
{
    QZCPointer<QZCWorldWideName> mFirst;   ///< the first name
    QZCPointer<QZCWorldWideName> mSecond;  ///< the port's name: the one to register for
};

/// The open diagnostic environment. Only one can be open at a time.
///
/// After the library was freed, all calls except close() and the destructor throw QZCNotAllowedEx "LIBVQM is not
/// loaded", code 9.
/// @ingroup agentkit
class VqmEnvironment
{
public:
    /// Opens the environment.
    /// @param aLibrary must outlive this object
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9; QZCNoMemoryEx "Out of Memory", code 2.
    ///         If the library is still loaded, the environment is closed again
    explicit VqmEnvironment(VqmLibrary& aLibrary);

    /// Closes the environment as close() does. A failure is ignored, because the layer has logged it.
    ~VqmEnvironment();

    VqmEnvironment(VqmEnvironment const&) = delete;
    VqmEnvironment& operator=(VqmEnvironment const&) = delete;

    /// Closes the environment, unless it is closed or the library was freed. Programs that report a failure
    /// to close call this.
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9; the environment then counts as closed
    void close();

    /// @return number of boards; they are numbered from 0
    unsigned int numberOfBoards() { return mLibrary.layer().LIBVQM_GetNumberOfAdapters(); }

    /// @return whether the driver supports Quazor events
    bool supportsQuazorEvents() { return mLibrary.layer().LIBVQM_IsQzapiSupported(); }

    /// Reads the names of a board.
    /// @param aBoard the board's number
    /// @return the names
    /// @throws as QZCLibvqmAbs::LIBVQM_GetAdapterInfo()
    BoardNames names(unsigned int aBoard);

    /// @return the library
    VqmLibrary& library() { return mLibrary; }

private:
    void closeQuietly() noexcept;

    VqmLibrary& mLibrary;
    bool mIsOpen = true;
};

/// A registration for events, which the destructor ends.
///
/// The vendor library defines whether a callback may still run after the end.
/// @ingroup agentkit
class VqmRegistration
{
public:
    /// What the vendor library answers when it accepts a registration. Any other answer registers nothing.
    static constexpr unsigned int accepted = 0;

    /// Registers for Quazor events of one kind at one port.
    /// @param aLibrary  must outlive the registration
    /// @param aBoard    the board's number
    /// @param aPort     the port's name, BoardNames::mSecond; only its events arrive
    /// @param aEvent    the kind of event, from makeScopeEvent()
    /// @param aContext  passed to the callback
    /// @param aCallback called by the vendor library on a thread of its choice; must not throw
    /// @return the registration, which the vendor library may have refused
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9
    static VqmRegistration quazor(VqmLibrary& aLibrary, unsigned int aBoard,
                                  QZCPointer<QZCWorldWideName> const& aPort,
                                  QZCPointer<QZCScopeEvent> const& aEvent, void* aContext,
                                  QZQzapiCallback aCallback);

    /// Registers for plain events. The vendor library defines the arguments.
    /// @param aLibrary  must outlive the registration
    /// @param aBoard    the board's number
    /// @param aSecond   passed through, also when the registration ends
    /// @param aThird    passed through
    /// @param aFourth   passed through
    /// @param aCallback called by the vendor library on a thread of its choice; must not throw
    /// @return the registration, which the vendor library may have refused
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9
    static VqmRegistration plain(VqmLibrary& aLibrary, unsigned int aBoard, unsigned int aSecond,
                                 void* aThird, unsigned int aFourth, QZVqmCallback aCallback);

    /// Takes over a registration.
    /// @param aOther has no registration afterwards
    VqmRegistration(VqmRegistration&& aOther) noexcept;

    /// Ends the registration as end() does. A failure is ignored, because the layer has logged it.
    ~VqmRegistration();

    VqmRegistration(VqmRegistration const&) = delete;
    VqmRegistration& operator=(VqmRegistration const&) = delete;

    /// @return the vendor library's answer to the registration
    unsigned int result() const { return mResult; }

    /// @return whether the registration is active
    bool isActive() const { return mIsActive && mLibrary->isLoaded(); }

    /// Ends the registration, unless it has ended or the library was freed. Programs that report a failure to
    /// end it call this.
    /// @return the vendor library's answer; `accepted` when no registration was active
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9; the registration then counts as ended
    unsigned int end();

private:
    VqmRegistration(VqmLibrary& aLibrary, unsigned int aBoard, unsigned int aResult, unsigned int aIdentifier,
                    QZCPointer<QZCWorldWideName> const& aPort);

    VqmLibrary* mLibrary;
    unsigned int mBoard;
    unsigned int mResult;
    unsigned int mIdentifier;            ///< of a Quazor registration; in a plain one its second argument
    QZCPointer<QZCWorldWideName> mPort;  ///< empty in a plain registration
    bool mIsActive;
};
}  // namespace qz
