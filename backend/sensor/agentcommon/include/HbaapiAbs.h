/// @file
/// The access layer over the SNIA HBA API.
#pragma once

// hbaapi.h uses struct tm without including its header.
#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"

/// The agent's access layer over the HBA API, the standard C interface to Fibre Channel host bus adapters.
///
/// Each method wraps one call of the HBA API (or a short sequence) and traces "Entered" and "Left" around it.
/// A method that fails logs the failure, with the name of the status if there is one, and throws. Missing memory
/// for a name or for target mappings is thrown without a log line. The descriptions below say which statuses are
/// ignored. docs/logging.md has the lines. The objects have no state: the common library of the HBA API keeps
/// track of what is loaded and open, so all objects behave identically.
///
/// An adapter has an index, from 0 to the adapter count minus one, which is used only to get its name. An adapter
/// that was opened by name has an `HBA_HANDLE`, which the caller keeps and passes to each query.
///
/// Order of use: HA_LoadHbaapi(), HA_GetNumberOfAdapters(), HA_GetAdapterNames(), HA_OpenAdapter(), any queries,
/// HA_CloseAdapter(), HA_FreeHbaapi(). The layer does not enforce this order. It passes every call to the
/// common library and handles the status as usual.
///
/// The agent provides the common library: it links it, or loads it globally before this library.
/// Assertions: see HA_GetAdapterPorts() and HA_GetTargetMappings().
/// Thread-safety: the layer has no state and takes no locks. Concurrent calls are safe if the common library
/// allows them.
/// @ingroup layers
class QZCHbaapiAbs
{
public:
    /// Construction and destruction neither load nor free anything.
    /// @{
    QZCHbaapiAbs();
    virtual ~QZCHbaapiAbs();
    /// @}

    /// Loads the common library, which loads the HBA libraries that are configured on the host.
    /// @throws QZCExitConditionEx "Can't load HBAAPI library!", code 19
    virtual void HA_LoadHbaapi();

    /// Frees the common library. The status is ignored. Throws nothing.
    virtual void HA_FreeHbaapi();

    /// Throws nothing.
    /// @return the adapter count of the common library, unchanged
    virtual unsigned int HA_GetNumberOfAdapters();

    /// Opens an adapter.
    /// @param apName its name from HA_GetAdapterNames(), NUL-terminated, not kept. It is not const because the
    ///               function of the standard takes a modifiable text
    /// @return its handle, never 0. The caller closes it with HA_CloseAdapter()
    /// @throws QZCHbaapiEx "HBA_OpenAdapter method failed", code 802
    virtual unsigned int HA_OpenAdapter(char* apName);

    /// Closes an adapter. Throws nothing.
    /// @param aHandle any number, passed on unchecked
    virtual void HA_CloseAdapter(unsigned int aHandle);

    /// Makes the common library read the adapter's information again. Throws nothing.
    /// @param aHandle any number, passed on unchecked
    virtual void HA_RefreshAdapter(unsigned int aHandle);

    /// Appends the names of the adapters with the indexes 0 to aCount - 1, in this order.
    /// @param aCount  number of names to get, usually HA_GetNumberOfAdapters()
    /// @param arNames list to append to. It is not cleared first. After a failure it contains the names before
    ///                the failure
    /// @throws QZCExitConditionEx "HBA_GetAdapterName method failed", code 19; QZCNoMemoryEx "Out of
    ///         Memory", code 2
    virtual void HA_GetAdapterNames(unsigned int aCount, QZCVector<QZCString>& arNames);

    /// Gets the attributes of an adapter.
    /// @param aHandle handle of an open adapter, from HA_OpenAdapter()
    /// @return a new record. The caller owns it and releases it with delete
    /// @throws QZCHbaapiEx, code 802: "HBA_GetAdapterAttributes encounter non-supported Adapter" for the status
    ///         HBA_STATUS_ERROR_NOT_SUPPORTED (the only failure that is logged at information level);
    ///         "HBA_GetAdapterAttributes method failed" for any other status except OK;
    ///         "ZERO Ports on the Adapter". QZCHaltEx "No memory for adapter attributes", code 1
    virtual HBA_ADAPTERATTRIBUTES* HA_GetAdapterAttributes(unsigned int aHandle);

    /// Gets the attributes of all ports of an adapter.
    /// @param aHandle         handle of an open adapter, from HA_OpenAdapter()
    /// @param apAttributes    the adapter's attributes, not null, not kept; asserts that the adapter has ports
    /// @param arNumberOfPorts set to the number of ports, even if the method fails
    /// @return a new array of arNumberOfPorts records. The caller owns it and releases it with delete[]
    /// @throws QZCHbaapiEx "HBA_GetAdapterPortAttributes method failed", code 802, when the call for one port
    ///         fails (without the trace "Left"); QZCHaltEx "No memory for Port Attributes", code 1
    virtual HBA_PORTATTRIBUTES* HA_GetAdapterPorts(unsigned int aHandle,
                                                   HBA_ADAPTERATTRIBUTES const* apAttributes,
                                                   unsigned int& arNumberOfPorts);

    /// Gets the FCP target mappings of an adapter. The block is replaced by a larger one whenever the status is
    /// MORE_DATA, without limit. If the adapter is busy, the request is repeated after one second, up to four
    /// times. A call may take 5 seconds, because the wait follows the last busy answer too.
    /// @param aHandle   handle of an open adapter, from HA_OpenAdapter()
    /// @param arMapping null, or a block from malloc whose NumberOfEntries is its capacity (asserted not 0). Null is
    ///                  the safe choice for every call: an answer overwrites NumberOfEntries, so a block of an
    ///                  earlier call no longer states its capacity, and ends the process if it states 0. It is set to
    ///                  the block with the mappings, whose NumberOfEntries is their number. The caller owns the block
    ///                  and releases it with free. After an exception arMapping is null, and a block that was passed in
    ///                  has been freed
    /// @return arMapping
    /// @throws QZCHbaapiEx "HBA_GetFcpTargetMapping method failed", code 802; QZCNoMemoryEx "Out of Memory",
    ///         code 2 (without the trace "Left"). Asserts that the number of entries that comes with MORE_DATA is
    ///         at least two
    virtual HBA_FCPTargetMapping* HA_GetTargetMappings(unsigned int aHandle,
                                                       HBA_FCPTargetMapping*& arMapping);

    /// Sends SCSI REPORT LUNS to a remote port. Not virtual.
    ///
    /// The response contains the length of the LUN list in bytes (4 bytes, big-endian), 4 reserved bytes, and the
    /// list with 8 bytes for each LUN. If the buffer is too small, it is replaced and the request is repeated,
    /// without limit. Check conditions and busy answers are retried immediately while fewer than five attempts
    /// were made in total.
    ///
    /// The buffer that is passed in is zeroed before the first request. A replacement buffer is not zeroed. If the
    /// HBA library answers OK or MORE_DATA without writing to a replacement buffer, the layer reads
    /// uninitialised bytes as the length of the list: the method may then return with undefined contents, replace the
    /// buffer again, or throw. To avoid this, pass a buffer that is large enough for every list: 4104 bytes.
    /// @param aHandle   handle of an open adapter, from HA_OpenAdapter()
    /// @param aPortWwn  the remote port
    /// @param apBuffer  not null: points to the response buffer, which is from malloc and has at least 4 bytes. The
    ///                  method may free it and replace it by another block from malloc, which may be larger than
    ///                  its recorded size. The caller owns the buffer and releases it with free
    /// @param apSize    not null: points to the size of the buffer in bytes, which is set to the length of the response
    ///                  when the buffer is replaced. After an exception buffer and size are consistent, with one
    ///                  exception: after "Malloc Failed in HA_SendReportLUNs" the buffer is null and the size is
    ///                  unchanged. Do not pass both again as they are, because the method would zero that many bytes
    ///                  at a null pointer. Allocate a buffer first
    /// @throws QZCHbaapiEx, code 802: "HBA_SendReportLUNs method failed" for another final status (without the
    ///         trace "Left") or for a list of more than 4096 bytes; "Malloc Failed in HA_SendReportLUNs"
    void HA_SendReportLUNs(unsigned int aHandle, HBA_wwn aPortWwn, void** apBuffer, unsigned int* apSize);
};
