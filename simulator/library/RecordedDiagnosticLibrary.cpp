// The library that records and replays: C entry points of the diagnostic library.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <hbaapi.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"
#include "simulator/include/QzEvent.h"
#include "simulator/library/Recorded.h"
#include "simulator/library/RecordedLibraries.h"

namespace
{
using Records = QZCLibvqmRecords;
using qzsim::CallbackRegistration;
using qzsim::CborWriter;
using qzsim::In;
using qzsim::Json;
using qzsim::OutBytes;
using qzsim::session;

using PlainCallback = void (*)(unsigned int aBoard, ...);
using QuazorCallback = void (*)(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                unsigned int aSubcategory, void* aContext, QZ_event* aEvent);

std::string const gPath = qzsim::vendorLibraryPath;

/// Payloads of the simulator are smaller. The length in a record of another layout may be any number.
constexpr std::size_t largestPayload = std::size_t{16} << 20U;

/// @return the function of the diagnostic library that this one has the place of
template <typename Function>
Function* real(char const* aName)
{
    return reinterpret_cast<Function*>(qzsim::diagnosticFunction(aName));
}

/// Calls a function of the diagnostic library, or answers for it.
template <typename Function, typename... Arguments, typename... Parts>
unsigned int resultOf(char const* aName, bool (*aIsGood)(std::uint32_t), unsigned int aFailure,
                      std::tuple<Arguments...> const& aArguments, Parts... aParts)
{
    return qzsim::answerOf<unsigned int>(
        aFailure,
        [&]
        {
            auto const forward = [&]() -> std::uint32_t
            {
                if constexpr (std::is_void_v<decltype(std::apply(real<Function>(aName), aArguments))>)
                {
                    std::apply(real<Function>(aName), aArguments);
                    return 0;
                }
                else
                {
                    return std::apply(real<Function>(aName), aArguments);
                }
            };
            return session().call({gPath, aName, aFailure, aIsGood}, forward, aParts...);
        });
}

/// The driver information record: the version that the program passes is its first byte, and FeatureList is a number.
struct DriverInfo
{
    void* mRecord;

    unsigned char* bytes() const { return static_cast<unsigned char*>(mRecord); }

    void question(CborWriter& aWriter)
    {
        aWriter.text("version");
        mRecord == nullptr ? aWriter.null() : aWriter.number(std::uint64_t{*bytes()});
    }
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (!aIsGood || mRecord == nullptr)
        {
            return;
        }
        std::uint64_t features = 0;
        std::memcpy(&features, bytes() + Records::sgFeatureListPosition, sizeof features);
        OutBytes{"record", mRecord, Records::sgFeatureListPosition}.answer(aWriter, true);
        aWriter.text("features");
        aWriter.number(features);
    }
    void fill(Json const& aAnswer)
    {
        if (mRecord != nullptr && aAnswer.contains("record"))
        {
            std::uint64_t features = 0;
            qzsim::Out<std::uint64_t>{"features", &features}.fill(aAnswer);
            OutBytes{"record", mRecord, Records::sgFeatureListPosition}.fill(aAnswer);
            std::memcpy(bytes() + Records::sgFeatureListPosition, &features, sizeof features);
        }
    }
};

/// An area that the library fills if the call succeeds.
struct OutArea
{
    char const* mName;
    void* mBytes;
    std::size_t mSize;

    void question(CborWriter&) {}
    void answer(CborWriter& aWriter, bool aIsGood)
    {
        if (aIsGood)
        {
            OutBytes{mName, mBytes, mSize}.answer(aWriter, true);
        }
    }
    void fill(Json const& aAnswer) { OutBytes{mName, mBytes, mSize}.fill(aAnswer); }
};

/// Copies memory that may be unreadable, because the record of the event may have another layout.
bool copyMemory(void const* aFrom, void* aTo, std::size_t aSize)
{
    if (qzsim::isSimulatedDiagnosticLibrary())
    {
        std::memcpy(aTo, aFrom, aSize);
        return true;
    }
    iovec const local{aTo, aSize};
    iovec const remote{const_cast<void*>(aFrom), aSize};
    return ::process_vm_readv(::getpid(), &local, 1, &remote, 1, 0) == static_cast<ssize_t>(aSize);
}

/// Writes the payload; a null value for one that is unreadable.
void writePayload(CborWriter& aWriter, QZ_event const* aEvent)
{
    QZ_event event{};
    aWriter.text("payload");
    if (aEvent == nullptr || !copyMemory(aEvent, &event, sizeof event) || event.mLength > largestPayload)
    {
        aWriter.null();
        return;
    }
    std::vector<unsigned char> payload(event.mLength);
    bool const isRead = payload.empty() || copyMemory(event.mPayload, payload.data(), payload.size());
    isRead ? aWriter.bytes({payload.data(), payload.size()}) : aWriter.null();
}

/// Records an event.
template <typename... Parts>
void recordEvent(char const* aInterface, CallbackRegistration const& aRegistration, QZ_event const* aEvent,
                 Parts... aParts)
{
    CborWriter packet;
    qzsim::Recorder::begin(packet, "event", aInterface);
    packet.text("registration");
    packet.number(std::uint64_t{aRegistration.mNumber});
    packet.text("data");
    packet.beginMap();
    (aParts.question(packet), ...);
    writePayload(packet, aEvent);
    packet.end();
    session().recorder().write(gPath, packet);
}

using Number = In<unsigned int>;

void passPlainEvent(unsigned int aBoard, ...)
{
    std::va_list arguments;
    va_start(arguments, aBoard);
    auto const category = va_arg(arguments, unsigned int);
    auto const subcategory = va_arg(arguments, unsigned int);
    auto* const registration = static_cast<CallbackRegistration*>(va_arg(arguments, void*));
    auto* const event = static_cast<QZ_event*>(va_arg(arguments, void*));
    va_end(arguments);
    recordEvent("plain", *registration, event, Number{"board", aBoard}, Number{"category", category},
                Number{"subcategory", subcategory});
    reinterpret_cast<PlainCallback>(registration->mCallback)(aBoard, category, subcategory,
                                                             registration->mContext, event);
}

void passQuazorEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory, unsigned int aSubcategory,
                     void* aRegistration, QZ_event* aEvent)
{
    auto const& registration = *static_cast<CallbackRegistration const*>(aRegistration);
    recordEvent("quazor", registration, aEvent, Number{"board", aBoard}, In<HBA_WWN>{"port", aPort},
                Number{"category", aCategory}, Number{"subcategory", aSubcategory});
    reinterpret_cast<QuazorCallback>(registration.mCallback)(aBoard, aPort, aCategory, aSubcategory,
                                                             registration.mContext, aEvent);
}

unsigned int numberIn(Json const& aData, char const* aName)
{
    unsigned int value = 0;
    qzsim::Out<unsigned int>{aName, &value}.fill(aData);
    return value;
}

/// Calls the function with a recorded event.
template <typename Deliver>
void replayEvent(Json const& aData, Deliver aDeliver)
{
    static std::vector<std::uint8_t> const nothing;
    auto const payload = aData.find("payload");
    std::vector<std::uint8_t> const& bytes =
        payload != aData.end() && payload->is_binary() ? payload->get_binary() : nothing;
    QZ_event event{static_cast<unsigned int>(bytes.size()), bytes.empty() ? nullptr : bytes.data()};
    aDeliver(numberIn(aData, "category"), numberIn(aData, "subcategory"), &event);
}

std::string plainKey(unsigned int aBoard, unsigned int aCategory)
{
    return fmt::format("plain {} {}", aBoard, aCategory);
}

std::string quazorKey(unsigned int aBoard, unsigned int aId)
{
    return fmt::format("quazor {} {}", aBoard, aId);
}

/// Registers a callback of the program with the library, or for the events of the recording.
/// @param aForward registers with the library: the registration, which it passes to its callback
/// @param aReplay  starts the events of a replay
template <typename Callback, typename Forward, typename Replay, typename... Parts>
unsigned int registerCallback(char const* aName, Callback aCallback, void* aContext, Forward aForward,
                              Replay aReplay, Parts... aParts)
{
    return qzsim::answerOf<unsigned int>(
        QZ_NO_ENVIRONMENT,
        [&]
        {
            qzsim::ProgramCall const call{gPath, aName, QZ_NO_ENVIRONMENT, qzsim::isZero};
            if (session().isRecording())
            {
                CallbackRegistration& registration =
                    session().addRegistration(gPath, reinterpret_cast<void (*)()>(aCallback), aContext);
                return session().call(
                    call, [&] { return aForward(&registration); }, aParts...,
                    qzsim::OutRegistration{registration.mNumber});
            }
            qzsim::RecordedCall const* answer = nullptr;
            unsigned int const result = session().call(
                answer, call, [] { return 0U; }, aParts...);
            if (answer != nullptr && result == QZ_OK)
            {
                aReplay(*answer);
            }
            return result;
        });
}

void endEvents(std::string const& aKey = {})
{
    if (!session().isRecording())
    {
        session().events().stop(gPath, aKey);
    }
}
}  // namespace

// QZ_SIMULATOR_MARKER
extern "C" void QZSIM_IsSimulator() {}

extern "C" void VQM_GetLibVer(char* aText)
{
    resultOf<void(char*)>(__func__, qzsim::isAlwaysGood, 0, std::tuple(aText),
                          qzsim::OutText{"version", aText, Records::sgLibraryVersionSize});
}

extern "C" unsigned int VQM_InitDiagEnv(void* aTable, unsigned int aCapacity)
{
    return resultOf<unsigned int(void*, unsigned int)>(
        __func__, qzsim::isAlwaysGood, 0, std::tuple(aTable, aCapacity), Number{"capacity", aCapacity},
        OutBytes{"table", aTable, std::size_t{aCapacity} * Records::sgDiagEnvRecordSize});
}

extern "C" void VQM_FreeDiagEnv()
{
    resultOf<void()>(__func__, qzsim::isAlwaysGood, 0, std::tuple());
    endEvents();
}

extern "C" unsigned int VQM_GetDrvInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf<unsigned int(unsigned int, void*)>(__func__, qzsim::isZero, QZ_NO_ENVIRONMENT,
                                                       std::tuple(aBoard, aRecord), Number{"board", aBoard},
                                                       DriverInfo{aRecord});
}

extern "C" unsigned int VQM_GetLinkInfo(unsigned int aBoard, void* aRecord)
{
    return resultOf<unsigned int(unsigned int, void*)>(__func__, qzsim::isZero, QZ_NO_ENVIRONMENT,
                                                       std::tuple(aBoard, aRecord), Number{"board", aBoard},
                                                       OutArea{"record", aRecord, Records::sgLinkInfoSize});
}

extern "C" unsigned int RegisterForEvent(unsigned int aBoard, unsigned int aCategory, void* aContext,
                                         unsigned int aSubcategory, PlainCallback aCallback, void* aSixth)
{
    using Function = unsigned int(unsigned int, unsigned int, void*, unsigned int, PlainCallback, void*);
    char const* const name = __func__;
    return registerCallback(
        name, aCallback, aContext,
        [&](void* aRegistration) {
            return real<Function>(name)(aBoard, aCategory, aRegistration, aSubcategory, passPlainEvent,
                                        aSixth);
        },
        [=](qzsim::RecordedCall const& aAnswer)
        {
            startEvents(aAnswer, plainKey(aBoard, aCategory),
                        [=](Json const& aData)
                        {
                            replayEvent(
                                aData, [=](unsigned int aEventCategory, unsigned int aEventSubcategory,
                                           QZ_event* aEvent)
                                { aCallback(aBoard, aEventCategory, aEventSubcategory, aContext, aEvent); });
                        });
        },
        Number{"board", aBoard}, Number{"category", aCategory}, Number{"subcategory", aSubcategory});
}

extern "C" unsigned int unRegisterForEvent(unsigned int aBoard, unsigned int aCategory)
{
    unsigned int const result = resultOf<unsigned int(unsigned int, unsigned int)>(
        __func__, qzsim::isZero, QZ_NO_ENVIRONMENT, std::tuple(aBoard, aCategory), Number{"board", aBoard},
        Number{"category", aCategory});
    if (result == QZ_OK)
    {
        endEvents(plainKey(aBoard, aCategory));
    }
    return result;
}

extern "C" unsigned int VQM_QZ_RegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aCategory,
                                                unsigned int aSubcategory, void* aContext, unsigned int* aId,
                                                QuazorCallback aCallback)
{
    using Function =
        unsigned int(unsigned int, HBA_WWN, unsigned int, unsigned int, void*, unsigned int*, QuazorCallback);
    char const* const name = __func__;
    return registerCallback(
        name, aCallback, aContext,
        [&](void* aRegistration) {
            return real<Function>(name)(aBoard, aPort, aCategory, aSubcategory, aRegistration, aId,
                                        passQuazorEvent);
        },
        [=](qzsim::RecordedCall const& aAnswer)
        {
            startEvents(
                aAnswer, quazorKey(aBoard, aId == nullptr ? 0 : *aId),
                [=](Json const& aData)
                {
                    HBA_WWN port{};
                    qzsim::Out<HBA_WWN>{"port", &port}.fill(aData);
                    replayEvent(
                        aData,
                        [=](unsigned int aEventCategory, unsigned int aEventSubcategory, QZ_event* aEvent)
                        { aCallback(aBoard, port, aEventCategory, aEventSubcategory, aContext, aEvent); });
                });
        },
        Number{"board", aBoard}, In<HBA_WWN>{"port", aPort}, Number{"category", aCategory},
        Number{"subcategory", aSubcategory}, qzsim::Out<unsigned int>{"id", aId});
}

extern "C" unsigned int VQM_QZ_unRegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int aId)
{
    unsigned int const result = resultOf<unsigned int(unsigned int, HBA_WWN, unsigned int)>(
        __func__, qzsim::isZero, QZ_NO_ENVIRONMENT, std::tuple(aBoard, aPort, aId), Number{"board", aBoard},
        In<HBA_WWN>{"port", aPort}, Number{"id", aId});
    if (result == QZ_OK)
    {
        endEvents(quazorKey(aBoard, aId));
    }
    return result;
}
