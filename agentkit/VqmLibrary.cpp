#include "agentkit/include/VqmLibrary.h"

#include <exception>
#include <utility>

#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace qz
{
namespace
{
// The layer's state belongs to the process, so this does as well.
unsigned int gObjects = 0;    // how many VqmLibrary objects there are
unsigned int gOwnedLoad = 0;  // the number of the load that is theirs to free; 0 when there is none

bool isCurrent(unsigned int aLoad)
{
    return aLoad == QZCLibvqmAbs::LIBVQM_GetLoadNumber() && QZCLibvqmAbs::LIBVQM_IsLoaded();
}
}  // namespace

VqmLibrary::VqmLibrary()
{
    if (!mLayer.LIBVQM_IsLoaded())
    {
        mLayer.LIBVQM_LoadLibrary();
        gOwnedLoad = QZCLibvqmAbs::LIBVQM_GetLoadNumber();
    }
    mLoad = QZCLibvqmAbs::LIBVQM_GetLoadNumber();
    ++gObjects;
}

VqmLibrary::~VqmLibrary()
{
    --gObjects;
    if (gObjects == 0 && isCurrent(gOwnedLoad))
    {
        mLayer.LIBVQM_FreeLibrary();
    }
}

bool VqmLibrary::isLoaded() const { return isCurrent(mLoad); }

QZCLibvqmAbs& VqmLibrary::layer()
{
    if (!isLoaded())
    {
        throw QZCNotAllowedEx("LIBVQM is not loaded", 9);
    }
    return mLayer;
}

VqmEnvironment::VqmEnvironment(VqmLibrary& aLibrary) : mLibrary(aLibrary)
{
    try
    {
        mLibrary.layer().LIBVQM_Init();
    }
    catch (std::exception const&)
    {
        // Unless the library lacked a function, and is freed, the environment is open: the versions are read last.
        closeQuietly();
        throw;
    }
}

VqmEnvironment::~VqmEnvironment() { closeQuietly(); }

void VqmEnvironment::close()
{
    if (std::exchange(mIsOpen, false) && mLibrary.isLoaded())
    {
        mLibrary.layer().LIBVQM_Close();
    }
}

void VqmEnvironment::closeQuietly() noexcept
{
    try
    {
        close();
    }
    catch (std::exception const&)
    {
        // The layer has logged it.
    }
}

BoardNames VqmEnvironment::names(unsigned int aBoard)
{
    BoardNames names;
    mLibrary.layer().LIBVQM_GetAdapterInfo(aBoard, names.mFirst, names.mSecond);
    return names;
}

VqmRegistration VqmRegistration::quazor(VqmLibrary& aLibrary, unsigned int aBoard,
                                        QZCPointer<QZCWorldWideName> const& aPort,
                                        QZCPointer<QZCScopeEvent> const& aEvent, void* aContext,
                                        QZQzapiCallback aCallback)
{
    unsigned int identifier = 0;
    unsigned int const result =
        aLibrary.layer().LIBVQM_QzapiRegEvent(aBoard, aPort, aEvent, aContext, &identifier, aCallback);
    return VqmRegistration(aLibrary, aBoard, result, identifier, aPort);
}

VqmRegistration VqmRegistration::plain(VqmLibrary& aLibrary, unsigned int aBoard, unsigned int aSecond,
                                       void* aThird, unsigned int aFourth, QZVqmCallback aCallback)
{
    unsigned int const result =
        aLibrary.layer().LIBVQM_VqmRegEvent(aBoard, aSecond, aThird, aFourth, aCallback);
    return VqmRegistration(aLibrary, aBoard, result, aSecond, {});
}

VqmRegistration::VqmRegistration(VqmLibrary& aLibrary, unsigned int aBoard, unsigned int aResult,
                                 unsigned int aIdentifier, QZCPointer<QZCWorldWideName> const& aPort)
    : mLibrary(&aLibrary),
      mBoard(aBoard),
      mResult(aResult),
      mIdentifier(aIdentifier),
      mPort(aPort),
      mIsActive(aResult == accepted)
{
}

VqmRegistration::VqmRegistration(VqmRegistration&& aOther) noexcept
    : mLibrary(aOther.mLibrary),
      mBoard(aOther.mBoard),
      mResult(aOther.mResult),
      mIdentifier(aOther.mIdentifier),
      mPort(aOther.mPort),
      mIsActive(std::exchange(aOther.mIsActive, false))
{
}

VqmRegistration::~VqmRegistration()
{
    try
    {
        end();
    }
    catch (std::exception const&)
    {
        // The layer has logged it.
    }
}

unsigned int VqmRegistration::end()
{
    if (!std::exchange(mIsActive, false) || !mLibrary->isLoaded())
    {
        return accepted;
    }
    QZCLibvqmAbs& layer = mLibrary->layer();
    return mPort != nullptr ? layer.LIBVQM_QzapiUnregEvent(mBoard, mPort, mIdentifier)
                            : layer.LIBVQM_VqmUnregEvent(mBoard, mIdentifier);
}
}  // namespace qz
