// Writes the first three events of category 3, subcategory 7, at board 0 to standard output, encoded as scope data.
#include <cstdio>
#include <ctime>
#include <exception>
#include <future>
#include <mutex>
#include <new>

#include <hbaapi.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "simulator/include/QzEvent.h"

namespace
{
struct Catch
{
    QZCPointer<QZCScopeEvent> mKind{new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New};
    std::mutex mMutex;
    unsigned int mMissing = 3;
    QZCEncodableOutStream mEncoded;
    std::promise<void> mIsComplete;
};

/// Runs on threads of the diagnostic library. An exception must not enter it: noexcept ends the process instead.
void take(unsigned int, HBA_wwn, unsigned int, unsigned int, void* aCatch, QZ_event* aEvent) noexcept
{
    auto& caught = *static_cast<Catch*>(aCatch);
    std::lock_guard<std::mutex> const lock(caught.mMutex);
    if (caught.mMissing > 0)
    {
        QZCScopeData const data(caught.mKind, aEvent->mPayload, aEvent->mLength, aEvent->mLength);
        data.encode(caught.mEncoded);
        if (--caught.mMissing == 0)
        {
            caught.mIsComplete.set_value();
        }
    }
}
}  // namespace

int main()
try
{
    Catch caught;
    unsigned char const kind[] = {3, 7};  // a scope event can only be created from its encoded form
    QZCEncodableInStream in(kind, sizeof kind);
    caught.mKind->decode(in);
    QZCLibvqmAbs libvqm;
    libvqm.LIBVQM_LoadLibrary();
    libvqm.LIBVQM_Init();
    QZCPointer<QZCWorldWideName> first;
    QZCPointer<QZCWorldWideName> second;  // name of the port, which the registration needs
    libvqm.LIBVQM_GetAdapterInfo(0, first, second);
    unsigned int id = 0;
    if (!libvqm.LIBVQM_IsQzapiSupported() ||
        libvqm.LIBVQM_QzapiRegEvent(0, second, caught.mKind, &caught, &id, &take) != QZ_OK)
    {
        std::fputs("event_catcher: cannot register for Quazor events of board 0\n", stderr);
        return 1;
    }
    caught.mIsComplete.get_future().wait();
    libvqm.LIBVQM_QzapiUnregEvent(0, second, id);  // after this, no callback runs
    libvqm.LIBVQM_Close();
    libvqm.LIBVQM_FreeLibrary();

    QZCBuffer const& bytes = caught.mEncoded.getEncoded();
    return std::fwrite(bytes, 1, bytes.getLength(), stdout) == bytes.getLength() ? 0 : 1;
}
catch (std::exception const& exception)
{
    std::fprintf(stderr, "event_catcher: %s\n", exception.what());
    return 1;
}
