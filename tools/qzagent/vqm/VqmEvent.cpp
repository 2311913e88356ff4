#include "tools/qzagent/vqm/VqmEvent.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include <dlfcn.h>
#include <fmt/format.h>

#include "simulator/include/QzEvent.h"

namespace qzagent
{
static_assert(anyCategory == QZ_ANY_CATEGORY, "this number stands for every category in a registration");

namespace
{
template <typename Value>
Value valueAt(unsigned char const* aPlace) noexcept
{
    Value value;
    std::memcpy(&value, aPlace, sizeof value);
    return value;
}

std::uint64_t numberAt(unsigned char const* aPlace, std::size_t aSize) noexcept
{
    switch (aSize)
    {
        case sizeof(std::uint8_t):
            return *aPlace;
        case sizeof(std::uint16_t):
            return valueAt<std::uint16_t>(aPlace);
        case sizeof(std::uint32_t):
            return valueAt<std::uint32_t>(aPlace);
        default:
            return valueAt<std::uint64_t>(aPlace);
    }
}

struct LibraryCloser
{
    void operator()(void* aLibrary) const { ::dlclose(aLibrary); }
};
}  // namespace

EventLayout::EventLayout()
    : EventLayout({offsetof(QZ_event, mLength), sizeof(QZ_event::mLength), 0},
                  {offsetof(QZ_event, mPayload), Place::pointer})
{
}

std::string EventLayout::description() const
{
    return fmt::format("{}, {}",
                       mLength.mSize == 0
                           ? fmt::format("payloads of {} bytes", mLength.mFixedLength)
                           : fmt::format("length in {} bytes at offset {}", mLength.mSize, mLength.mOffset),
                       fmt::format(mPayload.mPlace == Place::pointer ? "pointer to the payload at offset {}"
                                                                     : "payload at offset {}",
                                   mPayload.mOffset));
}

std::size_t EventLayout::size() const noexcept
{
    std::size_t const endOfLength = mLength.mSize == 0 ? 0 : mLength.mOffset + mLength.mSize;
    std::size_t const sizeOfPointer = mPayload.mPlace == Place::pointer ? sizeof(unsigned char const*) : 0;
    return std::max(endOfLength, mPayload.mOffset + sizeOfPointer);
}

VqmPayload EventLayout::payloadIn(unsigned char const* aRecord) const noexcept
{
    unsigned char const* const place = aRecord + mPayload.mOffset;
    return {mPayload.mPlace == Place::pointer ? valueAt<unsigned char const*>(place) : place,
            mLength.mSize == 0 ? mLength.mFixedLength : numberAt(aRecord + mLength.mOffset, mLength.mSize)};
}

bool isSimulator()
{
    // The path with which the library opens it. A preloaded simulator has this name.
    std::unique_ptr<void, LibraryCloser> const library(
        ::dlopen("/usr/lib/libvqm.so", RTLD_LAZY | RTLD_NOLOAD));
    return library && ::dlsym(library.get(), QZ_SIMULATOR_MARKER) != nullptr;
}
}  // namespace qzagent
