/// @file
/// A diagnostic library to preload that is not the simulator. For each registration it sends the events that the
/// variable FOREIGN_VQM_EVENTS lists, in records of the layout that FOREIGN_VQM_LAYOUT names. Some of them have records
/// or payloads that cannot be read.

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <sstream>
#include <string>

#include <hbaapi.h>
#include <sys/mman.h>
#include <unistd.h>

#include "backend/sensor/agentcommon/LibvqmRecords.h"

namespace
{
using Records = QZCLibvqmRecords;
using QuazorCallback = void(unsigned int, HBA_WWN, unsigned int, unsigned int, void*, void*);
using PlainCallback = void(unsigned int, ...);

constexpr unsigned int category = 3;
constexpr unsigned int subcategory = 7;

std::string variable(char const* aName)
{
    char const* const value = std::getenv(aName);
    return value == nullptr ? "" : value;
}

struct Payload
{
    unsigned char const* mBytes;
    std::uint64_t mLength;
};

struct Record
{
    alignas(std::uint64_t) std::array<unsigned char, 64> mBytes{};

    template <typename Value>
    void put(std::size_t aOffset, Value aValue)
    {
        std::memcpy(mBytes.data() + aOffset, &aValue, sizeof aValue);
    }
};

Record recordOf(Payload const& aPayload)
{
    std::string const layout = variable("FOREIGN_VQM_LAYOUT");
    Record record;
    if (layout == "distant")
    {
        record.put(12, static_cast<std::uint32_t>(aPayload.mLength));
        record.put(16, aPayload.mBytes);
    }
    else if (layout == "wide")
    {
        record.put(0, aPayload.mLength);
        record.put(8, aPayload.mBytes);
    }
    else if (layout == "short")
    {
        record.put(0, aPayload.mBytes);
        record.put(9, static_cast<std::uint16_t>(aPayload.mLength));
    }
    else if (layout == "in record")
    {
        record.put(5, static_cast<std::uint8_t>(aPayload.mLength));
        std::memcpy(record.mBytes.data() + 6, aPayload.mBytes, static_cast<std::size_t>(aPayload.mLength));
    }
    else  // that of the simulator
    {
        struct
        {
            unsigned int mLength;
            unsigned char const* mBytes;
        } const fields{static_cast<unsigned int>(aPayload.mLength), aPayload.mBytes};
        record.put(0, fields);
    }
    return record;
}

/// @return the end of a readable page that a page without access follows
unsigned char* endOfPage()
{
    static unsigned char* const end = []
    {
        auto const size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        void* const pages =
            ::mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        auto* const second = static_cast<unsigned char*>(pages) + size;
        ::mprotect(second, size, PROT_NONE);
        return second;
    }();
    return end;
}

/// @return zeros that fill the queue of the agent
Payload fullPayload()
{
    constexpr std::size_t size = std::size_t{64} << 20U;
    static void* const pages = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return {static_cast<unsigned char const*>(pages), size};
}

unsigned char const* addressOf(std::uintptr_t aNumber) { return reinterpret_cast<unsigned char*>(aNumber); }

Payload payloadNamed(std::string const& aName)
{
    static unsigned char const bytes[] = {1, 2, 0xff};
    std::memcpy(endOfPage() - sizeof bytes, bytes, sizeof bytes);
    if (aName == "empty")
    {
        return {nullptr, 0};
    }
    if (aName == "at-page-end")
    {
        return {endOfPage() - sizeof bytes, sizeof bytes};
    }
    if (aName == "beyond-page-end")
    {
        return {endOfPage() - sizeof bytes, sizeof bytes + 1};
    }
    if (aName == "null")
    {
        return {nullptr, 3};
    }
    if (aName == "wild")
    {
        return {addressOf(0x10), 3};
    }
    if (aName == "wrapping")
    {
        return {addressOf(std::numeric_limits<std::uintptr_t>::max() - 1), 16};
    }
    if (aName == "full")
    {
        return fullPayload();
    }
    if (aName == "large")
    {
        return {bytes, (64U << 20U) + 1};
    }
    if (aName == "huge")
    {
        return {bytes, std::numeric_limits<std::uint64_t>::max()};
    }
    return {bytes, sizeof bytes};  // "good"
}

template <typename Send>
unsigned int sendEvents(Send aSend)
{
    std::istringstream names(variable("FOREIGN_VQM_EVENTS"));
    for (std::string name; names >> name;)
    {
        if (name == "no-record")
        {
            aSend(nullptr);
        }
        else if (name == "wild-record")
        {
            aSend(const_cast<unsigned char*>(addressOf(0x20)));
        }
        else
        {
            Record record = recordOf(payloadNamed(name));
            aSend(record.mBytes.data());
        }
    }
    return 0;
}
}  // namespace

extern "C"
{
    void VQM_GetLibVer(char* aText) { std::strcpy(aText, "1.2"); }

    unsigned int VQM_InitDiagEnv(void* aTable, unsigned int)
    {
        std::strcpy(static_cast<char*>(aTable) + Records::sgDriverVersionPosition, "3.4");
        return 1;
    }

    void VQM_FreeDiagEnv() {}

    unsigned int VQM_GetDrvInfo(unsigned int, void* aRecord)
    {
        unsigned long long const features = Records::sgQuazorFeature;
        std::memcpy(static_cast<unsigned char*>(aRecord) + Records::sgFeatureListPosition, &features,
                    sizeof features);
        return 0;
    }

    unsigned int VQM_GetLinkInfo(unsigned int, void* aRecord)
    {
        static_cast<unsigned char*>(aRecord)[Records::sgFirstWwnPosition] = 0x20;
        return 0;
    }

    unsigned int RegisterForEvent(unsigned int aBoard, unsigned int, void* aContext, unsigned int,
                                  PlainCallback* aCallback, void*)
    {
        return sendEvents([=](void* aEvent) { aCallback(aBoard, category, subcategory, aContext, aEvent); });
    }

    unsigned int unRegisterForEvent(unsigned int, unsigned int) { return 0; }

    unsigned int VQM_QZ_RegisterForEvent(unsigned int aBoard, HBA_WWN aPort, unsigned int, unsigned int,
                                         void* aContext, unsigned int*, QuazorCallback* aCallback)
    {
        return sendEvents([=](void* aEvent)
                          { aCallback(aBoard, aPort, category, subcategory, aContext, aEvent); });
    }

    unsigned int VQM_QZ_unRegisterForEvent(unsigned int, HBA_WWN, unsigned int) { return 0; }
}
