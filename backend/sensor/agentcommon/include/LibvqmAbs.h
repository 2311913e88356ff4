/// @file
/// The access layer over the adapter vendor's diagnostic library.
#pragma once

// hbaapi.h uses struct tm without including its header.
#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

/// The vendor library's event record. The vendor defines it. This header only declares its name.
/// @ingroup layers
struct QZ_event;

/// Callback of the plain event interface. The vendor defines the arguments. The vendor library chooses the thread,
/// which can be one of its own threads or the thread that registers or unregisters, during that call. The callback
/// must not throw.
/// @ingroup layers
typedef void (*QZVqmCallback)(unsigned int aValue, ...);

/// Callback of the Quazor event interface. The arguments are board, port name, category, subcategory and context of
/// the registration, and the event, which the vendor library owns and which is valid only during the call. The
/// vendor library chooses the thread, which can be one of its own threads or the thread that registers or
/// unregisters, during that call. The callback must not throw.
/// @ingroup layers
typedef void (*QZQzapiCallback)(unsigned int aBoardId, HBA_wwn aPortWwn, unsigned int aCategory,
                                unsigned int aSubcategory, void* apContext, QZ_event* apEvent);

/// The agent's access layer over the vendor library, the adapter vendor's closed diagnostic library. The layer
/// loads it at run time from "/usr/lib/libvqm.so" and looks up each function when it calls it.
///
/// The state belongs to the process and not to the object: all objects share one loaded library, so an object can
/// be made wherever the layer is needed.
///
/// | State       | Entered by                                    | Left by                              |
/// |-------------|-----------------------------------------------|--------------------------------------|
/// | unloaded    | process start, LIBVQM_FreeLibrary(), a missing symbol | LIBVQM_LoadLibrary()         |
/// | loaded      | LIBVQM_LoadLibrary()                          | LIBVQM_Init()                        |
/// | initialised | LIBVQM_Init()                                 | LIBVQM_Close(), LIBVQM_FreeLibrary() |
///
/// The library version and the driver version are processed once in a process, by the first LIBVQM_Init() that
/// reaches these steps. The Quazor verdict survives closing, freeing and loading again. No operation checks the
/// verdict: the caller is responsible for asking LIBVQM_IsQzapiSupported() before it uses the Quazor operations.
///
/// Order of use: LIBVQM_LoadLibrary(), LIBVQM_Init(), the others, LIBVQM_Close(), LIBVQM_FreeLibrary().
/// All operations except LIBVQM_IsQzapiSupported(), LIBVQM_IsLoaded() and LIBVQM_GetLoadNumber() trace "Entered" and
/// "Left". An operation that throws does not trace "Left", except LIBVQM_LoadLibrary(). Every failure except missing
/// memory is logged before it is thrown. docs/logging.md has the lines.
///
/// Every operation that calls the vendor library throws QZCNotAllowedEx "dlsym Failed", code 9, if the library lacks
/// the function. The layer has then closed the library as LIBVQM_FreeLibrary() does. After this exception do not
/// call LIBVQM_FreeLibrary(): it would close the same handle a second time, and the handle is no longer valid. Call
/// LIBVQM_LoadLibrary() before any other operation. docs/architecture.md lists what each operation does in each
/// state.
/// Assertions: LIBVQM_Init(), LIBVQM_Close(), LIBVQM_GetNumberOfAdapters() and the operations on adapters and
/// events assert that the library is loaded.
/// Thread-safety: only one thread may call the layer at a time. The vendor library calls the callbacks on threads of
/// its choice, see QZVqmCallback and QZQzapiCallback.
/// @ingroup layers
class QZCLibvqmAbs
{
public:
    /// Construction and destruction neither load, close nor free anything.
    /// @{
    QZCLibvqmAbs();
    virtual ~QZCLibvqmAbs();
    /// @}

    /// Opens the vendor library. If it is already loaded, this opens it once more and keeps only the new handle: the
    /// previous handle cannot be closed any more, and the library stays in memory until the process ends.
    /// @throws QZCNotFoundEx "No libvqm located", code 8. A library that was loaded before is then still treated as
    ///         loaded, but its handle is lost: functions are looked up among those that the program and its
    ///         libraries export, and LIBVQM_FreeLibrary() does not close the library
    void LIBVQM_LoadLibrary();

    /// Closes the handle of the last LIBVQM_LoadLibrary(), unless that failed or was never called. It does not end
    /// registrations. Do not call it twice for one load, nor after "dlsym Failed": it would close the same handle a
    /// second time. Throws nothing.
    void LIBVQM_FreeLibrary();

    /// Opens the diagnostic environment and gets the adapter count. Once in a process, and only if there are
    /// adapters, it also reads and logs the versions and decides the Quazor verdict.
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9; QZCNoMemoryEx "Out of Memory", code 2. Asserts that no version
    ///         text has more than 8 parts
    void LIBVQM_Init();

    /// Frees the diagnostic environment. The adapter count does not change.
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9
    void LIBVQM_Close();

    /// May be called at any time.
    /// @return the verdict: whether the driver supports Quazor events. It is false until LIBVQM_Init() has run with
    ///         an adapter present
    bool LIBVQM_IsQzapiSupported();

    /// Asks the driver of board 0 whether it supports Quazor events.
    /// @param acrDriverVersion not read: only the driver's feature list decides
    /// @return whether the driver supports them; false as well if the driver does not answer or its record has an old
    ///         version
    /// @throws QZCNotAllowedEx "LIBVQM is not loaded" or "dlsym Failed", code 9
    bool DoesDriverSupportQzapi(QZCPointer<QZCDepVersion> const& acrDriverVersion);

    /// Does not call the vendor library. Throws nothing.
    /// @return the adapter count of the last LIBVQM_Init(); 0 after LIBVQM_FreeLibrary()
    unsigned int LIBVQM_GetNumberOfAdapters();

    /// Gets the two World Wide Names of an adapter. The second is the name of the port. Register Quazor events for it,
    /// because the events of other ports do not arrive.
    /// @param aBoardId    the vendor library's number of the adapter, not checked
    /// @param arFirstWwn  set to a new name; its share of a previous name is released
    /// @param arSecondWwn set to a new name; its share of a previous name is released
    /// @throws QZCNotFoundEx "Failed to find information of an adapter", code 8, if the vendor library's result is
    ///         not 0, which is logged as an error; QZCNotAllowedEx "dlsym Failed", code 9;
    ///         QZCNoMemoryEx "Out of Memory", code 2. Both outputs are then unchanged
    void LIBVQM_GetAdapterInfo(unsigned int aBoardId, QZCPointer<QZCWorldWideName>& arFirstWwn,
                               QZCPointer<QZCWorldWideName>& arSecondWwn);

    /// Registers for plain events. The vendor library defines the arguments. The layer passes them on unchecked.
    /// @param aBoardId  the vendor library's number of the adapter
    /// @param aSecond   defined by the vendor library
    /// @param apThird   defined by the vendor library; not owned
    /// @param aFourth   defined by the vendor library
    /// @param aCallback called by the vendor library until the registration ends, possibly before this call returns
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9
    unsigned int LIBVQM_VqmRegEvent(unsigned int aBoardId, unsigned int aSecond, void* apThird,
                                    unsigned int aFourth, QZVqmCallback aCallback);

    /// Ends a registration for plain events. The vendor library defines whether a callback may still run afterwards.
    /// @param aBoardId the vendor library's number of the adapter, not checked
    /// @param aSecond  as it was registered
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9
    unsigned int LIBVQM_VqmUnregEvent(unsigned int aBoardId, unsigned int aSecond);

    /// Registers for Quazor events of one kind at one port.
    /// @param aBoardId        the vendor library's number of the adapter, not checked
    /// @param acrPortWwn      the port; live handle (asserted), not kept
    /// @param acrScopeEvent   the kind of event; live handle (asserted), not kept
    /// @param apContext       passed to the callback; not owned
    /// @param apRegistrationId where the vendor library stores the identifier of the new registration; not checked,
    ///                        not kept
    /// @param aCallback       called by the vendor library until the registration ends, possibly before this call
    ///                        returns
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9
    unsigned int LIBVQM_QzapiRegEvent(unsigned int aBoardId, QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                      QZCPointer<QZCScopeEvent> const& acrScopeEvent, void* apContext,
                                      unsigned int* apRegistrationId, QZQzapiCallback aCallback);

    /// Ends a registration for Quazor events. The vendor library defines whether a callback may still run afterwards.
    /// @param aBoardId        the vendor library's number of the adapter, not checked
    /// @param acrPortWwn      the port; live handle (asserted), not kept
    /// @param aRegistrationId the identifier of the registration
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx "dlsym Failed", code 9
    unsigned int LIBVQM_QzapiUnregEvent(unsigned int aBoardId, QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                        unsigned int aRegistrationId);

    /// May be called at any time. Throws nothing.
    /// @return whether the vendor library is loaded, so that the operations that assert it may be called. It is false
    ///         after LIBVQM_FreeLibrary(), and after an operation that did not find its function
    static bool LIBVQM_IsLoaded();

    /// Tells one load from the next: code that keeps what the library gave it compares the number with that of its own
    /// load. Loading the library once more while it is loaded does not change the number. May be called at any time.
    /// Throws nothing.
    /// @return number of times that the library was loaded while it was not loaded, so 0 before the first load
    static unsigned int LIBVQM_GetLoadNumber();

private:
    void __initLibvqm();
    void __processLibvqmVersion();
    void __processDriverVersion();
};
