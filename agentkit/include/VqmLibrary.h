/// @file
/// Owners of what QZCLibvqmAbs loads, opens and registers.
///
/// The layer's state belongs to the process, and a missing function frees the library at once. So each owner asks,
/// before it calls the layer, whether what it acquired is still there: no order of failures and destructions calls an
/// operation for which the layer would end the process.
#pragma once

#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace qz
{
/// The loaded vendor library. The first such object loads it and the last one frees it, unless a missing function has
/// freed it before; the next object then loads it again.
///
/// A library that the program loaded itself, through QZCLibvqmAbs, stays the program's: these objects use it and do not
/// free it.
/// Thread-safety: one thread at a time uses objects of this file.
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
    /// @throws QZCNotAllowedEx "LIBVQM is not loaded", code 9, when the library was freed: the layer would end the process
    QZCLibvqmAbs& layer();

private:
    QZCLibvqmAbs mLayer;
    unsigned int mLoad;  ///< which of the process's loads this object uses
};

/// The two names of a board.
/// @ingroup agentkit
struct BoardNames
{
    QZCPointer<QZCWorldWideName> mFirst;   ///< the first name
    QZCPointer<QZCWorldWideName> mSecond;  ///< the port's name: the one to register for
};

/// The open diagnostic environment, of which there is one at a time.
///
/// All calls except close() and the destructor throw QZCNotAllowedEx "LIBVQM is not loaded", code 9, after the library was
/// freed.
/// @ingroup agentkit
class VqmEnvironment
{
public:
    /// Opens the environment.
    /// @param aLibrary outlives this object
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9; QZCNoMemoryEx "Out of Memory", code 2.
    ///         The environment is closed again then, if the library can still be called
    explicit VqmEnvironment(VqmLibrary& aLibrary);

    /// Closes the environment as close() does; a failure is ignored, since the layer has logged it.
    ~VqmEnvironment();

    VqmEnvironment(VqmEnvironment const&) = delete;
    VqmEnvironment& operator=(VqmEnvironment const&) = delete;

    /// Closes the environment, unless it is closed or the library was freed. For programs that report a failure to
    /// close.
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9; the environment counts as closed then
    void close();

    /// @return how many boards there are, numbered from 0
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

/// A registration for events, which ends when this object goes.
///
/// Whether a callback may still run after the end is the vendor library's to say.
/// @ingroup agentkit
class VqmRegistration
{
public:
    /// What the vendor library answers when it accepts a registration. Any other answer registers nothing.
    static constexpr unsigned int accepted = 0;

    /// Registers for Quazor events of one kind at one port.
    /// @param aLibrary  outlives the registration
    /// @param aBoard    the board's number
    /// @param aPort     the port's name, BoardNames::mSecond: events of other ports do not come
    /// @param aEvent    the kind of event, from makeScopeEvent()
    /// @param aContext  handed to the callback
    /// @param aCallback called by the vendor library, on whatever thread it chooses; must not throw
    /// @return the registration, which the vendor library may have refused
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9
    static VqmRegistration quazor(VqmLibrary& aLibrary, unsigned int aBoard,
                                  QZCPointer<QZCWorldWideName> const& aPort,
                                  QZCPointer<QZCScopeEvent> const& aEvent, void* aContext,
                                  QZQzapiCallback aCallback);

    /// Registers for plain events. What the arguments mean is the vendor library's to say.
    /// @param aLibrary  outlives the registration
    /// @param aBoard    the board's number
    /// @param aSecond   passed through; ends the registration as well
    /// @param aThird    passed through
    /// @param aFourth   passed through
    /// @param aCallback called by the vendor library, on whatever thread it chooses; must not throw
    /// @return the registration, which the vendor library may have refused
    /// @throws QZCNotAllowedEx "dlsym Failed" or "LIBVQM is not loaded", code 9
    static VqmRegistration plain(VqmLibrary& aLibrary, unsigned int aBoard, unsigned int aSecond,
                                 void* aThird, unsigned int aFourth, QZVqmCallback aCallback);

    /// Takes over a registration.
    /// @param aOther left without one
    VqmRegistration(VqmRegistration&& aOther) noexcept;

    /// Ends the registration as end() does; a failure is ignored, since the layer has logged it.
    ~VqmRegistration();

    VqmRegistration(VqmRegistration const&) = delete;
    VqmRegistration& operator=(VqmRegistration const&) = delete;

    /// @return the vendor library's answer to the registration
    unsigned int result() const { return mResult; }

    /// @return whether the registration is active
    bool isActive() const { return mIsActive && mLibrary->isLoaded(); }

    /// Ends the registration, unless it has ended or the library was freed. For programs that report a failure to end
    /// it.
    /// @return the vendor library's answer; `accepted` when there was nothing to end
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9; the registration counts as ended then
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
