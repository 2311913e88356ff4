#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include <hbaapi.h>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/Clib.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "HbaapiAbs"

static unsigned int const sgNameSize = 256;

static unsigned int const sgFirstNumEntries = 256;
static unsigned int const sgMaxBusyRetries = 4;
static unsigned long const sgBusyWaitMS = 1000;

static unsigned int const sgSenseSize = 256;
static unsigned int const sgReportLunsHeaderSize = 8;
static unsigned int const sgLunSize = 8;
static unsigned int const sgMaxLunListLength = 4096;
static unsigned int const sgMaxReportLunsRetries = 4;

static char const* const sgHbaStatusNames[] = {
    "HBA_STATUS_OK",
    "HBA_STATUS_ERROR",
    "HBA_STATUS_ERROR_NOT_SUPPORTED",
    "HBA_STATUS_ERROR_INVALID_HANDLE",
    "HBA_STATUS_ERROR_ARG",
    "HBA_STATUS_ERROR_ILLEGAL_WWN",
    "HBA_STATUS_ERROR_ILLEGAL_INDEX",
    "HBA_STATUS_ERROR_MORE_DATA",
    "HBA_STATUS_ERROR_STALE_DATA",
    "HBA_STATUS_SCSI_CHECK_CONDITION",
    "HBA_STATUS_ERROR_BUSY",
    "HBA_STATUS_ERROR_TRY_AGAIN",
    "HBA_STATUS_ERROR_UNAVAILABLE",
    "HBA_STATUS_ERROR_ELS_REJECT",
    "HBA_STATUS_ERROR_INVALID_LUN",
    "HBA_STATUS_ERROR_INCOMPATIBLE",
    "HBA_STATUS_ERROR_AMBIGUOUS_WWN",
    "HBA_STATUS_ERROR_LOCAL_BUS",
    "HBA_STATUS_ERROR_LOCAL_TARGET",
    "HBA_STATUS_ERROR_LOCAL_LUN",
    "HBA_STATUS_ERROR_LOCAL_SCSIID_BOUND",
    "HBA_STATUS_ERROR_TARGET_FCID",
    "HBA_STATUS_ERROR_TARGET_NODE_WWN",
    "HBA_STATUS_ERROR_TARGET_PORT_WWN",
    "HBA_STATUS_ERROR_TARGET_LUN",
    "HBA_STATUS_ERROR_TARGET_LUID",
    "HBA_STATUS_ERROR_NO_SUCH_BINDING",
    "HBA_STATUS_ERROR_NOT_A_TARGET",
    "HBA_STATUS_ERROR_UNSUPPORTED_FC4",
    "HBA_STATUS_ERROR_INCAPABLE",
    "HBA_STATUS_ERROR_TARGET_BUSY",
};

static_assert(sizeof sgHbaStatusNames / sizeof sgHbaStatusNames[0] == HBA_STATUS_ERROR_TARGET_BUSY + 1,
              "a name for each status");

static char const* __sGetStatusName(HBA_STATUS aStatus)
{
    return aStatus <= HBA_STATUS_ERROR_TARGET_BUSY ? sgHbaStatusNames[aStatus] : "Invalid Hbaapi Status Code";
}

QZCHbaapiAbs::QZCHbaapiAbs() {}

QZCHbaapiAbs::~QZCHbaapiAbs() {}

void QZCHbaapiAbs::HA_LoadHbaapi()
{
    QZ_LOG_ENTERED();
    QZ_LOG_TRACE("Going to open HBAAPI library");
    HBA_STATUS const status = HBA_LoadLibrary();
    if (status != HBA_STATUS_OK)
    {
        QZ_LOG_ERROR("Failed to load HBAAPI library : %s", __sGetStatusName(status));
        QZ_LOG_LEFT();
        // Deliberately not QZCHbaapiEx: the agent cannot continue without the library.
        throw QZCExitConditionEx("Can't load HBAAPI library!", 19);
    }
    QZ_LOG_LEFT();
}

void QZCHbaapiAbs::HA_FreeHbaapi()
{
    QZ_LOG_ENTERED();
    HBA_FreeLibrary();
    QZ_LOG_LEFT();
}

unsigned int QZCHbaapiAbs::HA_GetNumberOfAdapters()
{
    QZ_LOG_ENTERED();
    unsigned int const count = HBA_GetNumberOfAdapters();
    QZ_LOG_LEFT();
    return count;
}

unsigned int QZCHbaapiAbs::HA_OpenAdapter(char* apName)
{
    QZ_LOG_ENTERED();
    QZ_LOG_TRACE("Going to open adapter, adapter name = <%s>", apName);
    HBA_HANDLE const handle = HBA_OpenAdapter(apName);
    if (handle == HBA_HANDLE_INVALID)
    {
        QZ_LOG_ERROR("Failed to open adapter, adapter name = <%s>", apName);
        QZ_LOG_LEFT();
        throw QZCHbaapiEx("HBA_OpenAdapter method failed", 802);
    }
    QZ_LOG_LEFT();
    return handle;
}

void QZCHbaapiAbs::HA_CloseAdapter(unsigned int aHandle)
{
    QZ_LOG_ENTERED();
    QZ_LOG_TRACE("Going to close adapter...");
    HBA_CloseAdapter(aHandle);
    QZ_LOG_TRACE("Closed adapter");
    QZ_LOG_LEFT();
}

void QZCHbaapiAbs::HA_RefreshAdapter(unsigned int aHandle)
{
    QZ_LOG_ENTERED();
    QZ_LOG_TRACE("Going to refresh adapter's information...");
    HBA_RefreshInformation(aHandle);
    QZ_LOG_TRACE("Refreshed adapter's information");
    QZ_LOG_LEFT();
}

void QZCHbaapiAbs::HA_GetAdapterNames(unsigned int aCount, QZCVector<QZCString>& arNames)
{
    QZ_LOG_ENTERED();
    for (unsigned int i = 0; i < aCount; ++i)
    {
        // An HBA library may fill 256 bytes. The byte after them terminates a name without a terminator.
        char name[sgNameSize + 1] = {};
        QZ_LOG_TRACE("Going to get adapter name, # = <%d>", i);
        HBA_STATUS const status = HBA_GetAdapterName(i, name);
        if (status != HBA_STATUS_OK)
        {
            QZ_LOG_ERROR("Failed to get adapter #%d name - %s", i, __sGetStatusName(status));
            QZ_LOG_LEFT();
            throw QZCExitConditionEx("HBA_GetAdapterName method failed", 19);
        }
        QZ_LOG_TRACE("Adapter name: %s", name);
        arNames.push_back(QZCString(name));
    }
    QZ_LOG_LEFT();
}

HBA_ADAPTERATTRIBUTES* QZCHbaapiAbs::HA_GetAdapterAttributes(unsigned int aHandle)
{
    QZ_LOG_ENTERED();
    HBA_ADAPTERATTRIBUTES* const attributes = new (std::nothrow) HBA_ADAPTERATTRIBUTES;
    if (attributes == nullptr)
    {
        QZ_LOG_ERROR("Failed to allocate adapter attributes");
        QZ_LOG_LEFT();
        throw QZCHaltEx("No memory for adapter attributes", 1);
    }
    QZ_LOG_TRACE("Going to get adapter attributes");
    HBA_STATUS const status = HBA_GetAdapterAttributes(aHandle, attributes);
    if (status != HBA_STATUS_OK)
    {
        delete attributes;
        if (status == HBA_STATUS_ERROR_NOT_SUPPORTED)
        {
            // A kind of adapter that is not supported is a fact about the host and not an error.
            QZ_LOG_INFORMATION("Encountered non-supported Adapter - %s", __sGetStatusName(status));
            QZ_LOG_LEFT();
            throw QZCHbaapiEx("HBA_GetAdapterAttributes encounter non-supported Adapter", 802);
        }
        QZ_LOG_ERROR("Failed to get adapter attributes - %s", __sGetStatusName(status));
        QZ_LOG_LEFT();
        throw QZCHbaapiEx("HBA_GetAdapterAttributes method failed", 802);
    }
    if (attributes->NumberOfPorts == 0)
    {
        QZ_LOG_ERROR("No ports on the adapter");
        delete attributes;
        QZ_LOG_LEFT();
        throw QZCHbaapiEx("ZERO Ports on the Adapter", 802);
    }
    QZ_LOG_LEFT();
    return attributes;
}

/// @return an array of aNumPorts records, not cleared, or null
static HBA_PORTATTRIBUTES* __sAllocatePorts(unsigned int aNumPorts)
{
    // The non-throwing new throws as well if the size of the array overflows. With 64-bit addresses the size never
    // overflows, so the branches are excluded from the coverage.
    std::uint64_t const size = std::uint64_t{aNumPorts} * sizeof(HBA_PORTATTRIBUTES);
    std::uint64_t const limit = PTRDIFF_MAX;
    return size <= limit ? new (std::nothrow) HBA_PORTATTRIBUTES[aNumPorts] : nullptr;  // GCOVR_EXCL_BR_LINE
}

HBA_PORTATTRIBUTES* QZCHbaapiAbs::HA_GetAdapterPorts(unsigned int aHandle,
                                                     HBA_ADAPTERATTRIBUTES const* apAttributes,
                                                     unsigned int& arNumberOfPorts)
{
    QZ_LOG_ENTERED();
    arNumberOfPorts = apAttributes->NumberOfPorts;
    QZ_ASSERT(0 < arNumberOfPorts);
    HBA_PORTATTRIBUTES* const ports = __sAllocatePorts(arNumberOfPorts);
    if (ports == nullptr)
    {
        QZ_LOG_ERROR("Failed to allocate port attributes ptr array");
        QZ_LOG_LEFT();
        throw QZCHaltEx("No memory for Port Attributes", 1);
    }
    QZ_LOG_NOTICE("Adapter has %d ports", arNumberOfPorts);
    for (unsigned int i = 0; i < arNumberOfPorts; ++i)
    {
        QZ_LOG_TRACE("Going to get port attributes");
        HBA_STATUS const status = HBA_GetAdapterPortAttributes(aHandle, i, &ports[i]);
        if (status != HBA_STATUS_OK)
        {
            QZ_LOG_ERROR("Failed to get port #%d attributes - %s", i, __sGetStatusName(status));
            delete[] ports;
            // Deliberately without the trace "Left".
            throw QZCHbaapiEx("HBA_GetAdapterPortAttributes method failed", 802);
        }
    }
    QZ_LOG_LEFT();
    return ports;
}

/// @return a zeroed block from malloc for aNumEntries entries, or null
static HBA_FCPTargetMapping* __sAllocateMapping(unsigned int aNumEntries)
{
    std::uint64_t const size =
        offsetof(HBA_FCPTargetMapping, entry) + std::uint64_t{aNumEntries} * sizeof(HBA_FCPSCSIENTRY);
    if (size > SIZE_MAX)
    {
        return nullptr;
    }
    void* const block = std::malloc(static_cast<std::size_t>(size));
    if (block != nullptr)
    {
        std::memset(block, 0, static_cast<std::size_t>(size));
    }
    return static_cast<HBA_FCPTargetMapping*>(block);
}

/// Requests the target mappings once. If arMapping is null, it first allocates a block for acNumEntries entries.
/// After any status except OK and MORE_DATA it frees the block and sets arMapping to null.
static HBA_STATUS __sGetTargetMappings(HBA_HANDLE aHandle, unsigned int const acNumEntries,
                                       HBA_FCPTargetMapping*& arMapping)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(acNumEntries > 0);
    if (arMapping == nullptr)
    {
        QZ_LOG_TRACE("Allocating memory for target mappings");
        arMapping = __sAllocateMapping(acNumEntries);
        if (arMapping == nullptr)
        {
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        arMapping->NumberOfEntries = acNumEntries;
    }
    QZ_LOG_TRACE("Going to invoke HBA_GetFcpTargetMapping for mappings");
    HBA_STATUS const status = HBA_GetFcpTargetMapping(aHandle, arMapping);
    QZ_LOG_TRACE("The status of get fcp target mapping: %s", __sGetStatusName(status));
    if (status != HBA_STATUS_OK && status != HBA_STATUS_ERROR_MORE_DATA)
    {
        std::free(arMapping);
        arMapping = nullptr;
    }
    QZ_LOG_LEFT();
    return status;
}

HBA_FCPTargetMapping* QZCHbaapiAbs::HA_GetTargetMappings(unsigned int aHandle,
                                                         HBA_FCPTargetMapping*& arMapping)
{
    QZ_LOG_ENTERED();
    unsigned int numBusy = 0;
    unsigned int numEntries = arMapping != nullptr ? arMapping->NumberOfEntries : sgFirstNumEntries;
    HBA_STATUS status;
    do
    {
        status = __sGetTargetMappings(aHandle, numEntries, arMapping);
        if (status == HBA_STATUS_ERROR_MORE_DATA)
        {
            QZ_ASSERT(arMapping->NumberOfEntries > 1);
            numEntries = arMapping->NumberOfEntries;
            std::free(arMapping);
            arMapping = nullptr;
        }
        else if (status == HBA_STATUS_ERROR_BUSY)
        {
            // The wait follows every busy answer, including the last one.
            ++numBusy;
            ClibSleepMS(sgBusyWaitMS);
        }
        // How often the adapter may ask for more room is deliberately not limited.
    } while (status == HBA_STATUS_ERROR_MORE_DATA ||
             (status == HBA_STATUS_ERROR_BUSY && numBusy <= sgMaxBusyRetries));
    if (status != HBA_STATUS_OK)
    {
        QZ_LOG_ERROR("Failed to get <%d> target mappings - %s", numEntries, __sGetStatusName(status));
        QZ_LOG_LEFT();
        throw QZCHbaapiEx("HBA_GetFcpTargetMapping method failed", 802);
    }
    QZ_LOG_LEFT();
    return arMapping;
}

/// @return the length of the LUN list in bytes, which is the first field of a REPORT LUNS response
static unsigned int __sGetLunListLength(void const* apResponse)
{
    unsigned int length;
    ClibMemcpy(&length, apResponse, sizeof length);
    return ClibNtohl(length);
}

// All log lines of this method are trace lines, even those of failures. Their texts are fixed.
void QZCHbaapiAbs::HA_SendReportLUNs(unsigned int aHandle, HBA_wwn aPortWwn, void** apBuffer,
                                     unsigned int* apSize)
{
    QZ_LOG_ENTERED();
    unsigned char sense[sgSenseSize];
    ClibMemset(*apBuffer, 0, *apSize);
    ClibMemset(sense, 0, sgSenseSize);
    unsigned int numAttempts = 0;
    HBA_STATUS status;
    do
    {
        status = HBA_SendReportLUNs(aHandle, aPortWwn, *apBuffer, *apSize, sense, sgSenseSize);
        if (status == HBA_STATUS_OK || status == HBA_STATUS_ERROR_MORE_DATA)
        {
            unsigned int const length = __sGetLunListLength(*apBuffer);
            if (length > sgMaxLunListLength)
            {
                QZ_LOG_TRACE("HBA_SendReportLUNs method Failed");
                QZ_LOG_LEFT();
                throw QZCHbaapiEx("HBA_SendReportLUNs method failed", 802);
            }
            QZ_LOG_TRACE("Size got from SendReportLuns = %d\n", length);
            unsigned int const needed = length + sgReportLunsHeaderSize;
            if (*apSize < needed)
            {
                // The block is deliberately larger than its recorded size, and deliberately not zeroed.
                unsigned int const blockSize = length * sgLunSize + sgReportLunsHeaderSize;
                std::free(*apBuffer);
                *apBuffer = std::malloc(blockSize);
                if (*apBuffer == nullptr)
                {
                    QZ_LOG_TRACE("Allocating %u bytes of memory Failed", blockSize);
                    QZ_LOG_LEFT();
                    throw QZCHbaapiEx("Malloc Failed in HA_SendReportLUNs", 802);
                }
                status = HBA_STATUS_ERROR_MORE_DATA;
                *apSize = needed;
            }
        }
        ++numAttempts;
    } while (status == HBA_STATUS_ERROR_MORE_DATA ||
             ((status == HBA_STATUS_SCSI_CHECK_CONDITION || status == HBA_STATUS_ERROR_BUSY) &&
              numAttempts <= sgMaxReportLunsRetries));
    if (status != HBA_STATUS_OK)
    {
        QZ_LOG_TRACE("Failed SendReportLUNs - %s", __sGetStatusName(status));
        // Deliberately without the trace "Left".
        throw QZCHbaapiEx("HBA_SendReportLUNs method failed", 802);
    }
    QZ_LOG_LEFT();
}
