/// @file
/// The layer over the SNIA HBA API.
#pragma once

// hbaapi.h uses struct tm without including its header.
#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"

/// The agent's layer over the HBA API, the standard C interface to Fibre Channel host bus adapters.
///
/// Each method wraps one call of the HBA API (or a short sequence) and traces "Entered" and "Left" around it.
/// A failure that the method reports is logged, by its status name where there is one, and then thrown; which
/// answers are ignored is said below. The objects keep no state: what is loaded
/// and open is the HBA API library's own, so any number of objects behave as one.
///
/// An adapter is known by its index, from 0 to the adapter count minus one, which serves to fetch its name;
/// and, once opened by that name, by its `HBA_HANDLE`, which the caller keeps and passes back.
///
/// Order of use, which is not enforced: HA_LoadHbaapi(), HA_GetNumberOfAdapters(), HA_GetAdapterNames(),
/// HA_OpenAdapter(), any queries, HA_CloseAdapter(), HA_FreeHbaapi(). A call out of order is answered by the
/// HBA API library, and its answer handled like any other.
///
/// The agent brings the HBA API library: it links it, or loads it globally before this library.
/// Thread-safety: the layer has no state and takes no locks; concurrent calls are as safe as the HBA API
/// library makes them.
class QZCHbaapiAbs
{
public:
    /// Construction and destruction do nothing: neither loads or frees anything.
    /// @{
    QZCHbaapiAbs();
    virtual ~QZCHbaapiAbs();
    /// @}

    /// Loads the HBA API library, which loads the vendor libraries that the host is configured for.
    /// @throws QZCExitConditionEx "Can't load HBAAPI library!", code 19
    virtual void HA_LoadHbaapi();

    /// Frees the HBA API library. Its answer is ignored; never throws.
    virtual void HA_FreeHbaapi();

    /// @return the adapter count, as the HBA API library gives it
    virtual unsigned int HA_GetNumberOfAdapters();

    /// Opens an adapter.
    /// @param apName its name as HA_GetAdapterNames() gave it, terminated; not kept. It is modifiable only
    ///               because the standard's call takes it so
    /// @return its handle, never 0; released with HA_CloseAdapter()
    /// @throws QZCHbaapiEx "HBA_OpenAdapter method failed", code 802
    virtual unsigned int HA_OpenAdapter(char* apName);

    /// Closes an adapter. Never throws.
    /// @param aHandle any number; what the HBA API library makes of a bad one is ignored
    virtual void HA_CloseAdapter(unsigned int aHandle);

    /// Makes the HBA API library read the adapter's information anew. Never throws.
    /// @param aHandle any number; what the HBA API library makes of a bad one is ignored
    virtual void HA_RefreshAdapter(unsigned int aHandle);

    /// Appends the names of the adapters with the indexes 0 to aCount - 1, in this order.
    /// @param aCount  how many names to fetch, usually HA_GetNumberOfAdapters()
    /// @param arNames list to append to; it is not cleared first, and keeps what was appended before a
    ///                failure
    /// @throws QZCExitConditionEx "HBA_GetAdapterName method failed", code 19; QZCNoMemoryEx "Out of
    ///         Memory", code 2
    virtual void HA_GetAdapterNames(unsigned int aCount, QZCVector<QZCString>& arNames);
};
