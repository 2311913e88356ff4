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
/// A failure that the method reports is logged, by its status name where there is one, and then thrown; only
/// no memory for a name or for target mappings is thrown without a line. Which answers are ignored is said
/// below. docs/logging.md has the lines. The objects keep no state: what is loaded and open is the HBA API
/// library's own, so any number of objects behave as one.
///
/// An adapter is known by its index, from 0 to the adapter count minus one, which serves to fetch its name;
/// and, once opened by that name, by its `HBA_HANDLE`, which the caller keeps and passes back.
///
/// Order of use, which is not enforced: HA_LoadHbaapi(), HA_GetNumberOfAdapters(), HA_GetAdapterNames(),
/// HA_OpenAdapter(), any queries, HA_CloseAdapter(), HA_FreeHbaapi(). A call out of order is answered by the
/// HBA API library, and its answer handled like any other.
///
/// The agent brings the HBA API library: it links it, or loads it globally before this library.
/// Assertions: those of HA_GetAdapterPorts() and HA_GetTargetMappings().
/// Thread-safety: the layer has no state and takes no locks; concurrent calls are as safe as the HBA API
/// library makes them.
/// @ingroup layers
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

    /// Counts the adapters. Never throws.
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

    /// Fetches the attributes of an adapter.
    /// @param aHandle an open adapter's, from HA_OpenAdapter()
    /// @return a new record, the caller's, released with delete
    /// @throws QZCHbaapiEx, code 802: "HBA_GetAdapterAttributes encounter non-supported Adapter" when the
    ///         vendor library answers HBA_STATUS_ERROR_NOT_SUPPORTED (the one failure logged at info level);
    ///         "HBA_GetAdapterAttributes method failed" after any other status; "ZERO Ports on the Adapter".
    ///         QZCHaltEx "No memory for adapter attributes", code 1
    virtual HBA_ADAPTERATTRIBUTES* HA_GetAdapterAttributes(unsigned int aHandle);

    /// Fetches the attributes of all ports of an adapter.
    /// @param aHandle         an open adapter's, from HA_OpenAdapter()
    /// @param apAttributes    the adapter's attributes, not null, not kept; asserts that it has ports
    /// @param arNumberOfPorts set to their number, also when the method fails
    /// @return a new array of arNumberOfPorts records, the caller's, released with delete[]
    /// @throws QZCHbaapiEx "HBA_GetAdapterPortAttributes method failed", code 802, when one port fails (then
    ///         without the trace "Left"); QZCHaltEx "No memory for Port Attributes", code 1
    virtual HBA_PORTATTRIBUTES* HA_GetAdapterPorts(unsigned int aHandle,
                                                   HBA_ADAPTERATTRIBUTES const* apAttributes,
                                                   unsigned int& arNumberOfPorts);

    /// Fetches the FCP target mappings of an adapter. The block grows as often as the adapter asks for more,
    /// without limit; a busy adapter is asked again after one second, up to four times, so a call may take 5
    /// seconds.
    /// @param aHandle   an open adapter's, from HA_OpenAdapter()
    /// @param arMapping null, or a block from malloc whose NumberOfEntries is its capacity (asserted not 0);
    ///                  set to the block that holds the mappings, as many as its NumberOfEntries says: the
    ///                  caller's, released with free. After an exception it is null, and the block passed in
    ///                  is freed
    /// @return arMapping
    /// @throws QZCHbaapiEx "HBA_GetFcpTargetMapping method failed", code 802; QZCNoMemoryEx "Out of Memory",
    ///         code 2 (then without the trace "Left"). Asserts that an adapter that asks for more asks for at
    ///         least two entries
    virtual HBA_FCPTargetMapping* HA_GetTargetMappings(unsigned int aHandle,
                                                       HBA_FCPTargetMapping*& arMapping);

    /// Sends SCSI REPORT LUNS to a remote port. Not virtual.
    ///
    /// The response is the length of the LUN list in bytes (4 bytes, big-endian), 4 reserved bytes, and the
    /// list of 8 bytes a LUN. A buffer that is too small for it is replaced and the request repeated, without
    /// limit; check conditions and busy answers are tried again at once, as long as fewer than five attempts
    /// were made in all.
    /// @param aHandle   an open adapter's, from HA_OpenAdapter()
    /// @param aPortWwn  the remote port
    /// @param apBuffer  not null: the response buffer, from malloc, of at least 4 bytes. It is zeroed first;
    ///                  it may be freed and another from malloc, which may be larger than its size says, put
    ///                  in its place. The caller's, released with free
    /// @param apSize    not null: its size in bytes; set to the length of the response when the buffer is
    ///                  replaced. After an exception buffer and size still belong together, but after "Malloc
    ///                  Failed in HA_SendReportLUNs", when the buffer is null and the size unchanged
    /// @throws QZCHbaapiEx, code 802: "HBA_SendReportLUNs method failed" after another status (then without
    ///         the trace "Left") or for a list of more than 4096 bytes; "Malloc Failed in HA_SendReportLUNs"
    void HA_SendReportLUNs(unsigned int aHandle, HBA_wwn aPortWwn, void** apBuffer, unsigned int* apSize);
};
