/// @file
/// The layer over the adapter vendor's diagnostic library.
#pragma once

// hbaapi.h uses struct tm without including its header.
#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

/// The vendor library's event record. It is the vendor's to define; here it is only named.
/// @ingroup layers
struct QZ_event;

/// Callback of the plain event interface. Runs on a thread of the vendor library's; must not throw. What the
/// arguments are is the vendor's to say.
/// @ingroup layers
typedef void (*QZVqmCallback)(unsigned int aValue, ...);

/// Callback of the Quazor event interface: board, port name, category, subcategory and context of the
/// registration, then the event, which is the vendor library's and valid during the call. Runs on a thread of
/// the vendor library's; must not throw.
/// @ingroup layers
typedef void (*QZQzapiCallback)(unsigned int aBoardId, HBA_wwn aPortWwn, unsigned int aCategory,
                                unsigned int aSubcategory, void* apContext, QZ_event* apEvent);

/// The agent's layer over the closed diagnostic library, which is loaded at run time from
/// "/usr/lib/libvqm.so" and each of whose functions is looked up at the moment of its call.
///
/// The state belongs to the process, not to the object: all objects share one loaded library, and an object
/// may be made wherever the layer is needed.
///
/// | State       | Entered by                                    | Left by                              |
/// |-------------|-----------------------------------------------|--------------------------------------|
/// | unloaded    | process start, LIBVQM_FreeLibrary(), a missing symbol | LIBVQM_LoadLibrary()         |
/// | loaded      | LIBVQM_LoadLibrary()                          | LIBVQM_Init()                        |
/// | initialised | LIBVQM_Init()                                 | LIBVQM_Close(), LIBVQM_FreeLibrary() |
///
/// Library and driver version are processed once in a process, by the first LIBVQM_Init() that gets that far,
/// and the Quazor verdict outlives closing, freeing and loading again. No operation consults the verdict:
/// asking LIBVQM_IsQzapiSupported() before the Quazor calls is the caller's affair.
///
/// Order of use: LIBVQM_LoadLibrary(), LIBVQM_Init(), the others, LIBVQM_Close(), LIBVQM_FreeLibrary().
/// Except for LIBVQM_IsQzapiSupported() all operations trace "Entered" and "Left"; of those that throw only
/// LIBVQM_LoadLibrary() traces "Left". Every failure but that of memory is logged before it is thrown.
/// docs/logging.md has the lines.
///
/// Errors of every operation that calls the vendor library: QZCNotAllowedEx "dlsym Failed", code 9, when the
/// library lacks the function; the library is then freed as by LIBVQM_FreeLibrary(), and needs to be loaded
/// anew. docs/architecture.md has what each operation does in each state.
/// Assertions: LIBVQM_Init(), LIBVQM_Close(), LIBVQM_GetNumberOfAdapters() and the operations on adapters and
/// events need a loaded library.
/// Thread-safety: called from one thread at a time. Callbacks come from the vendor library, on threads of its
/// own.
/// @ingroup layers
class QZCLibvqmAbs
{
public:
    /// Construction and destruction do nothing: neither loads, closes or frees anything.
    /// @{
    QZCLibvqmAbs();
    virtual ~QZCLibvqmAbs();
    /// @}

    /// Opens the vendor library, also when it is open already; each opening counts, and one closing undoes
    /// one.
    /// @throws QZCNotFoundEx "No libvqm located", code 8; a library that was loaded before then still counts
    ///         as loaded, but nothing is found in it any more: the functions are looked up among those that
    ///         the program itself and its libraries export
    void LIBVQM_LoadLibrary();

    /// Closes the vendor library, in whatever state. Registrations that are left are the vendor library's
    /// affair. To free twice closes the same handle twice, which the caller must not do. Never throws.
    void LIBVQM_FreeLibrary();

    /// Opens the diagnostic environment, counts the adapters and, once in a process and only with adapters
    /// present, reads and logs the versions and settles the Quazor verdict.
    /// @throws QZCNotAllowedEx, code 9; QZCNoMemoryEx "Out of Memory", code 2. Asserts that no version text
    ///         has more than 8 parts
    void LIBVQM_Init();

    /// Frees the diagnostic environment; the adapter count stays as it is.
    /// @throws QZCNotAllowedEx, code 9
    void LIBVQM_Close();

    /// @return the verdict: whether the driver offers Quazor events. False until LIBVQM_Init() has run with
    ///         an adapter present. May be called at any time
    bool LIBVQM_IsQzapiSupported();

    /// Asks the driver of board 0 whether it offers Quazor events.
    /// @param acrDriverVersion not read: the driver's feature list alone decides
    /// @return whether it does; false also when the driver gives no answer or an old one
    /// @throws QZCNotAllowedEx "LIBVQM is not loaded" or "dlsym Failed", code 9
    bool DoesDriverSupportQzapi(QZCPointer<QZCDepVersion> const& acrDriverVersion);

    /// Tells how many adapters there are; asks nobody. Never throws.
    /// @return the adapter count of the last LIBVQM_Init(); 0 after LIBVQM_FreeLibrary()
    unsigned int LIBVQM_GetNumberOfAdapters();

    /// Reads the two World Wide Names of an adapter.
    /// @param aBoardId    the vendor library's number of the adapter, not checked
    /// @param arFirstWwn  set to a new name; what it held before is let go
    /// @param arSecondWwn set to a new name; what it held before is let go
    /// @throws QZCNotFoundEx "Failed to find information of an adapter", code 8, when the vendor library
    ///         answers anything but 0, which is logged as an error; QZCNotAllowedEx, code 9;
    ///         QZCNoMemoryEx "Out of Memory", code 2. Both outputs are then as before
    void LIBVQM_GetAdapterInfo(unsigned int aBoardId, QZCPointer<QZCWorldWideName>& arFirstWwn,
                               QZCPointer<QZCWorldWideName>& arSecondWwn);

    /// Registers for plain events. The meaning of the arguments is the vendor library's; all are passed
    /// through unchecked.
    /// @param aBoardId  the vendor library's number of the adapter
    /// @param aSecond   as the vendor library takes it
    /// @param apThird   as the vendor library takes it; not owned
    /// @param aFourth   as the vendor library takes it
    /// @param aCallback called by the vendor library, on a thread of its own, until the registration ends
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx, code 9
    unsigned int LIBVQM_VqmRegEvent(unsigned int aBoardId, unsigned int aSecond, void* apThird,
                                    unsigned int aFourth, QZVqmCallback aCallback);

    /// Ends a registration for plain events. Whether a callback may still run then is the vendor library's to
    /// say.
    /// @param aBoardId the vendor library's number of the adapter, not checked
    /// @param aSecond  as it was registered
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx, code 9
    unsigned int LIBVQM_VqmUnregEvent(unsigned int aBoardId, unsigned int aSecond);

    /// Registers for Quazor events of one kind at one port.
    /// @param aBoardId        the vendor library's number of the adapter, not checked
    /// @param acrPortWwn      the port; live handle (asserted), not kept
    /// @param acrScopeEvent   the kind of event; live handle (asserted), not kept
    /// @param apContext       handed to the callback; not owned
    /// @param apRegistrationId where the vendor library stores the new registration's identifier; not
    ///                        checked, not kept here
    /// @param aCallback       called by the vendor library, on a thread of its own, until the registration
    ///                        ends
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx, code 9
    unsigned int LIBVQM_QzapiRegEvent(unsigned int aBoardId, QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                      QZCPointer<QZCScopeEvent> const& acrScopeEvent, void* apContext,
                                      unsigned int* apRegistrationId, QZQzapiCallback aCallback);

    /// Ends a registration for Quazor events. Whether a callback may still run then is the vendor library's
    /// to say.
    /// @param aBoardId        the vendor library's number of the adapter, not checked
    /// @param acrPortWwn      the port; live handle (asserted), not kept
    /// @param aRegistrationId the identifier that the registration gave
    /// @return the vendor library's result, unchanged
    /// @throws QZCNotAllowedEx, code 9
    unsigned int LIBVQM_QzapiUnregEvent(unsigned int aBoardId, QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                        unsigned int aRegistrationId);

    /// Tells whether the vendor library is loaded, so that the operations that assert it may be called. Traces nothing;
    /// may be called at any time. Never throws.
    /// @return true from LIBVQM_LoadLibrary() until LIBVQM_FreeLibrary(), also after a missing symbol freed it: then
    ///         false
    static bool LIBVQM_IsLoaded();

private:
    void __initLibvqm();
    void __processLibvqmVersion();
    void __processDriverVersion();
};
