#include "backend/sensor/agentcommon/include/LibvqmAbs.h"

#include <ctime>
#include <new>

#include <dlfcn.h>
#include <hbaapi.h>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/Clib.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

#define QZ_LOG_FILE "LibvqmAbs"

typedef QZCLibvqmRecords Records;

// The vendor library's functions.
typedef void VQM_GetLibVer(char* apText);
typedef unsigned int VQM_InitDiagEnv(void* apTable, unsigned int aCapacity);
typedef void VQM_FreeDiagEnv();
typedef unsigned int VQM_GetDrvInfo(unsigned int aBoardId, void* apRecord);
typedef unsigned int VQM_GetLinkInfo(unsigned int aBoardId, void* apRecord);
typedef unsigned int RegisterForEvent(unsigned int aBoardId, unsigned int aSecond, void* apThird,
                                      unsigned int aFourth, QZVqmCallback aCallback, void* apSixth);
typedef unsigned int unRegisterForEvent(unsigned int aBoardId, unsigned int aSecond);
typedef unsigned int VQM_QZ_RegisterForEvent(unsigned int aBoardId, HBA_wwn aPortWwn, unsigned int aCategory,
                                             unsigned int aSubcategory, void* apContext,
                                             unsigned int* apRegistrationId, QZQzapiCallback aCallback);
typedef unsigned int VQM_QZ_unRegisterForEvent(unsigned int aBoardId, HBA_wwn aPortWwn,
                                               unsigned int aRegistrationId);

static bool sgLoaded = false;
static unsigned int sgLoadNumber = 0;
static void* sgLibHandle = nullptr;
static unsigned int sgNumAdapters = 0;
// The vendor library may fill all bytes except the last one, which terminates a version text without a terminator.
alignas(Records::sgAlignment) static unsigned char sgDiagEnvTable[Records::sgDiagEnvTableSize + 1];
static bool sgQzapiSupported = false;
static bool sgLibvqmVersionProcessed = false;
static bool sgDriverVersionProcessed = false;

/// Logs an error with the name of the operation that needs the vendor library as the function.
#define QZ_LOG_ERROR_OF(apOperation, ...) \
    PrintLogMessageWithTimeStamp(QZLL_Error, "-E-", __LINE__, apOperation, QZ_LOG_FILE, __VA_ARGS__)

static char const* __sGetLinkerError()
{
    char const* const text = dlerror();
    return text != nullptr ? text : "none";
}

/// Looks up a symbol of the vendor library. Every call of the vendor library starts here. The address is not kept
/// between calls, so that no call uses an address of a library that was closed.
/// @param apOperation the operation that needs the symbol; a failure is logged under its name
static void* __sFindSymbol(QZCLibvqmAbs& arLayer, char const* apSymbol, char const* apOperation)
{
    if (!sgLoaded)
    {
        QZ_LOG_ERROR_OF(apOperation, "LIBVQM is not loaded");
        throw QZCNotAllowedEx("LIBVQM is not loaded", 9);
    }
    dlerror();
    void* const symbol = dlsym(sgLibHandle, apSymbol);
    if (symbol == nullptr)
    {
        QZ_LOG_ERROR_OF(apOperation, "Can't find %s (error %s)", apSymbol, __sGetLinkerError());
        // If one function is missing, the others are not trusted either.
        arLayer.LIBVQM_FreeLibrary();
        sgLoaded = false;
        throw QZCNotAllowedEx("dlsym Failed", 9);
    }
    return symbol;
}

template <typename Function>
static Function* __sFindFunction(QZCLibvqmAbs& arLayer, char const* apSymbol, char const* apOperation)
{
    return reinterpret_cast<Function*>(__sFindSymbol(arLayer, apSymbol, apOperation));
}

QZCLibvqmAbs::QZCLibvqmAbs() {}

QZCLibvqmAbs::~QZCLibvqmAbs() {}

void QZCLibvqmAbs::LIBVQM_LoadLibrary()
{
    QZ_LOG_ENTERED();
    QZ_LOG_TRACE("Going to call dlopen");
    sgLibHandle = dlopen("/usr/lib/libvqm.so", RTLD_LAZY);
    if (sgLibHandle == nullptr)
    {
        QZ_LOG_NOTICE("Could not load libVqm. Error: %s", __sGetLinkerError());
        QZ_LOG_LEFT();
        throw QZCNotFoundEx("No libvqm located", 8);
    }
    QZ_LOG_TRACE("Call to dlopen was successful");
    if (!sgLoaded)
    {
        ++sgLoadNumber;
    }
    sgLoaded = true;
    QZ_LOG_LEFT();
}

void QZCLibvqmAbs::LIBVQM_FreeLibrary()
{
    QZ_LOG_ENTERED();
    sgLoaded = false;
    sgNumAdapters = 0;
    // dlclose() of a null handle crashes the process. Every other handle is passed on unchecked.
    if (sgLibHandle != nullptr)
    {
        dlclose(sgLibHandle);
    }
    QZ_LOG_LEFT();
}

void QZCLibvqmAbs::LIBVQM_Init()
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    __initLibvqm();
    if (sgNumAdapters == 0)
    {
        // Without adapters the versions are never processed in this process.
        sgLibvqmVersionProcessed = true;
        sgDriverVersionProcessed = true;
        QZ_LOG_LEFT();
        return;
    }
    if (!sgLibvqmVersionProcessed)
    {
        __processLibvqmVersion();
    }
    if (!sgQzapiSupported)
    {
        sgDriverVersionProcessed = true;
    }
    else if (!sgDriverVersionProcessed)
    {
        __processDriverVersion();
    }
    QZ_LOG_LEFT();
}

void QZCLibvqmAbs::LIBVQM_Close()
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    __sFindFunction<VQM_FreeDiagEnv>(*this, "VQM_FreeDiagEnv", __func__)();
    QZ_LOG_LEFT();
}

bool QZCLibvqmAbs::LIBVQM_IsLoaded() { return sgLoaded; }

unsigned int QZCLibvqmAbs::LIBVQM_GetLoadNumber() { return sgLoadNumber; }

bool QZCLibvqmAbs::LIBVQM_IsQzapiSupported() { return sgQzapiSupported; }

void QZCLibvqmAbs::__initLibvqm()
{
    QZ_LOG_ENTERED();
    sgNumAdapters = __sFindFunction<VQM_InitDiagEnv>(*this, "VQM_InitDiagEnv", __func__)(
        sgDiagEnvTable, Records::sgDiagEnvCapacity);
    QZ_LOG_LEFT();
}

/// @return a new version record, parsed from the text
static QZCPointer<QZCDepVersion> __sMakeVersion(char const* apText)
{
    QZCString const text(apText);
    return QZCPointer<QZCDepVersion>(new (std::nothrow) QZCDepVersion(text), QZPST_Individual, QZPAT_New);
}

void QZCLibvqmAbs::__processLibvqmVersion()
{
    QZ_LOG_ENTERED();
    VQM_GetLibVer* const getLibVer = __sFindFunction<VQM_GetLibVer>(*this, "VQM_GetLibVer", __func__);
    // The vendor library may fill all bytes except the last one, which terminates a text without a terminator.
    alignas(Records::sgAlignment) char text[Records::sgLibraryVersionSize + 1];
    ClibMemset(text, 0, sizeof text);
    getLibVer(text);
    QZ_LOG_INFORMATION("Found Libvqm version : %s", text);
    QZCPointer<QZCDepVersion> const version = __sMakeVersion(text);
    // Every version that can be parsed is sufficient.
    sgQzapiSupported = true;
    sgLibvqmVersionProcessed = true;
    QZ_LOG_LEFT();
}

void QZCLibvqmAbs::__processDriverVersion()
{
    QZ_LOG_ENTERED();
    if (sgNumAdapters == 0)
    {
        QZ_LOG_NOTICE("No NRX Adapters Found");
        QZ_LOG_LEFT();
        return;
    }
    char const* const text = reinterpret_cast<char const*>(sgDiagEnvTable + Records::sgDriverVersionPosition);
    QZ_LOG_INFORMATION("KWRT Driver Version - %s", text);
    QZCPointer<QZCDepVersion> const version = __sMakeVersion(text);
    sgQzapiSupported = DoesDriverSupportQzapi(version);
    sgDriverVersionProcessed = true;
    QZ_LOG_LEFT();
}

bool QZCLibvqmAbs::DoesDriverSupportQzapi(QZCPointer<QZCDepVersion> const&)
{
    QZ_LOG_ENTERED();
    bool isSupported = false;
    alignas(Records::sgAlignment) unsigned char record[Records::sgDriverInfoSize];
    ClibMemset(record, 0, sizeof record);
    record[Records::sgDriverInfoVersionPosition] = Records::sgDriverInfoVersion;
    unsigned int const result = __sFindFunction<VQM_GetDrvInfo>(*this, "VQM_GetDrvInfo", __func__)(0, record);
    if (result == 0 && record[Records::sgDriverInfoVersionPosition] >= Records::sgDriverInfoVersion)
    {
        unsigned long long featureList;
        ClibMemcpy(&featureList, record + Records::sgFeatureListPosition, sizeof featureList);
        QZ_LOG_NOTICE("FeatureList is %llu", featureList);
        isSupported = (featureList & Records::sgQuazorFeature) != 0;
    }
    QZ_LOG_NOTICE("Driver supports Quazor: %s", isSupported ? "true" : "false");
    QZ_LOG_LEFT();
    return isSupported;
}

unsigned int QZCLibvqmAbs::LIBVQM_GetNumberOfAdapters()
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    QZ_LOG_LEFT();
    return sgNumAdapters;
}

/// @return a new name, made from 8 bytes
static QZCPointer<QZCWorldWideName> __sMakeName(unsigned char const* apBytes)
{
    return QZCPointer<QZCWorldWideName>(new (std::nothrow) QZCWorldWideName(apBytes), QZPST_Individual,
                                        QZPAT_New);
}

void QZCLibvqmAbs::LIBVQM_GetAdapterInfo(unsigned int aBoardId, QZCPointer<QZCWorldWideName>& arFirstWwn,
                                         QZCPointer<QZCWorldWideName>& arSecondWwn)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    alignas(Records::sgAlignment) unsigned char record[Records::sgLinkInfoSize];
    ClibMemset(record, 0, sizeof record);
    if (__sFindFunction<VQM_GetLinkInfo>(*this, "VQM_GetLinkInfo", __func__)(aBoardId, record) != 0)
    {
        QZ_LOG_ERROR("Cannot get information about adapterwith board id %u", aBoardId);
        throw QZCNotFoundEx("Failed to find information of an adapter", 8);
    }
    // Both names are made before either output changes, so a failure changes neither.
    QZCPointer<QZCWorldWideName> const first = __sMakeName(record + Records::sgFirstWwnPosition);
    QZCPointer<QZCWorldWideName> const second = __sMakeName(record + Records::sgSecondWwnPosition);
    arFirstWwn = first;
    arSecondWwn = second;
    QZ_LOG_LEFT();
}

unsigned int QZCLibvqmAbs::LIBVQM_VqmRegEvent(unsigned int aBoardId, unsigned int aSecond, void* apThird,
                                              unsigned int aFourth, QZVqmCallback aCallback)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    unsigned int const result = __sFindFunction<RegisterForEvent>(*this, "RegisterForEvent", __func__)(
        aBoardId, aSecond, apThird, aFourth, aCallback, nullptr);
    QZ_LOG_LEFT();
    return result;
}

unsigned int QZCLibvqmAbs::LIBVQM_VqmUnregEvent(unsigned int aBoardId, unsigned int aSecond)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    unsigned int const result =
        __sFindFunction<unRegisterForEvent>(*this, "unRegisterForEvent", __func__)(aBoardId, aSecond);
    QZ_LOG_LEFT();
    return result;
}

/// @return the name in the type that the vendor library takes
static HBA_wwn __sGetWwn(QZCPointer<QZCWorldWideName> const& acrName)
{
    HBA_wwn wwn;
    ClibMemcpy(wwn.wwn, acrName->getBinaryForm(), sizeof wwn.wwn);
    return wwn;
}

unsigned int QZCLibvqmAbs::LIBVQM_QzapiRegEvent(unsigned int aBoardId,
                                                QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                                QZCPointer<QZCScopeEvent> const& acrScopeEvent,
                                                void* apContext, unsigned int* apRegistrationId,
                                                QZQzapiCallback aCallback)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    // The name is read before the lookup and the event after it. This order decides which failure is reported if a
    // handle is empty and the function is missing.
    HBA_wwn const portWwn = __sGetWwn(acrPortWwn);
    VQM_QZ_RegisterForEvent* const registerForEvent =
        __sFindFunction<VQM_QZ_RegisterForEvent>(*this, "VQM_QZ_RegisterForEvent", __func__);
    unsigned int const category = acrScopeEvent->getCategory();
    unsigned int const subcategory = acrScopeEvent->getSubcategory();
    unsigned int const result =
        registerForEvent(aBoardId, portWwn, category, subcategory, apContext, apRegistrationId, aCallback);
    QZ_LOG_LEFT();
    return result;
}

unsigned int QZCLibvqmAbs::LIBVQM_QzapiUnregEvent(unsigned int aBoardId,
                                                  QZCPointer<QZCWorldWideName> const& acrPortWwn,
                                                  unsigned int aRegistrationId)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(true == sgLoaded);
    HBA_wwn const portWwn = __sGetWwn(acrPortWwn);
    unsigned int const result = __sFindFunction<VQM_QZ_unRegisterForEvent>(
        *this, "VQM_QZ_unRegisterForEvent", __func__)(aBoardId, portWwn, aRegistrationId);
    QZ_LOG_LEFT();
    return result;
}
