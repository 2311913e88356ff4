// Writes the first three events of category 3, subcategory 7 at board 0 to standard output, as encoded scope
// data: a capture.
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <exception>
#include <future>
#include <mutex>
#include <new>
#include <stdexcept>

#include <hbaapi.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
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

/// Runs on threads of the vendor's library, into which no exception may go: one ends the process.
void take(unsigned int, HBA_wwn, unsigned int, unsigned int, void* apCatch, QZ_event* apEvent) noexcept
{
    auto& caught = *static_cast<Catch*>(apCatch);
    std::lock_guard<std::mutex> const lock(caught.mMutex);
    if (caught.mMissing > 0)
    {
        QZCScopeData const data(caught.mKind, apEvent->mPayload, apEvent->mLength, apEvent->mLength);
        data.encode(caught.mEncoded);
        if (--caught.mMissing == 0)
        {
            caught.mIsComplete.set_value();
        }
    }
}

void require(bool aCondition, char const* aComplaint)
{
    if (!aCondition)
    {
        throw std::runtime_error(aComplaint);
    }
}

void catchEvents(QZCLibvqmAbs& arLibvqm, Catch& arCatch)
{
    arLibvqm.LIBVQM_Init();
    require(arLibvqm.LIBVQM_IsQzapiSupported(), "no board, or its driver offers no Quazor events");
    QZCPointer<QZCWorldWideName> node;
    QZCPointer<QZCWorldWideName> port;
    arLibvqm.LIBVQM_GetAdapterInfo(0, node, port);
    unsigned int id = 0;
    require(arLibvqm.LIBVQM_QzapiRegEvent(0, port, arCatch.mKind, &arCatch, &id, &take) == QZ_OK,
            "the registration is refused");
    arCatch.mIsComplete.get_future().wait();
    require(arLibvqm.LIBVQM_QzapiUnregEvent(0, port, id) == QZ_OK, "the registration cannot be ended");
    arLibvqm.LIBVQM_Close();
}

/// Frees the library, with what is left of environment and registrations, also when something fails.
void loadAndCatchEvents(Catch& arCatch)
{
    QZCLibvqmAbs libvqm;
    try
    {
        libvqm.LIBVQM_LoadLibrary();
        catchEvents(libvqm, arCatch);
        libvqm.LIBVQM_FreeLibrary();
    }
    catch (QZCNotAllowedEx const&)
    {
        throw;  // The library lacks a function, and the layer has freed it for that.
    }
    catch (std::exception const&)
    {
        libvqm.LIBVQM_FreeLibrary();
        throw;
    }
}

void write(QZCBuffer const& aEncoded)
{
    std::size_t const written = std::fwrite(aEncoded, 1, aEncoded.getLength(), stdout);
    require(written == aEncoded.getLength() && std::fflush(stdout) == 0, "cannot write standard output");
}
}  // namespace

int main()
{
    try
    {
        Catch caught;
        unsigned char const kind[] = {3, 7};  // encoded, as a kind of events is made from that form alone
        QZCEncodableInStream in(kind, sizeof kind);
        caught.mKind->decode(in);
        loadAndCatchEvents(caught);
        write(caught.mEncoded.getEncoded());
        return 0;
    }
    catch (std::exception const& exception)
    {
        std::fprintf(stderr, "event_catcher: %s\n", exception.what());
        return 1;
    }
}
