#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "HbaapiAbs"

static unsigned int const sgNameSize = 256;

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
        // Deliberately not QZCHbaapiEx: without the library the agent has nothing to go on with.
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
        // The byte beyond what a vendor library may fill ends a name that comes without a terminator.
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
