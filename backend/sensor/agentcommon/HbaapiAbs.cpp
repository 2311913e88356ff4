// The library and its adapters: loading, naming, opening. The queries on an open adapter stand in
// HbaapiQueries.cpp.
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

#include <ctime>

#include <hbaapi.h>

#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/HbaStatusNames.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "HbaapiAbs"

static unsigned int const sgNameSize = 256;

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
