#include "tests/backend/sensor/agentcommon/LibraryHeap.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <link.h>
#include <malloc.h>

extern "C"
{
    // The C library's implementations of the functions that a program may replace.
    void* __libc_malloc(std::size_t aSize);
    void* __libc_calloc(std::size_t aCount, std::size_t aSize);
    void __libc_free(void* aBlock);
}

namespace
{
LibraryHeap* gHeap = nullptr;

#if OWNS_MALLOC
/// The address range of the library's code.
std::uintptr_t gCodeBegin = 0;
std::uintptr_t gCodeEnd = 0;

int findCode(dl_phdr_info* aObject, std::size_t, void*)
{
    if (std::strstr(aObject->dlpi_name, "libQZSensorAgentCommon") == nullptr)
    {
        return 0;
    }
    for (unsigned int i = 0; i < aObject->dlpi_phnum; ++i)
    {
        auto const& segment = aObject->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0)
        {
            gCodeBegin = aObject->dlpi_addr + segment.p_vaddr;
            gCodeEnd = gCodeBegin + segment.p_memsz;
        }
    }
    return 1;
}

bool isInLibrary(void const* aCode)
{
    auto const code = reinterpret_cast<std::uintptr_t>(aCode);
    return gCodeBegin <= code && code < gCodeEnd;
}
#endif
}  // namespace

#if OWNS_MALLOC
extern "C"
{
    void* malloc(std::size_t aSize) noexcept
    {
        bool const isWatched = gHeap != nullptr && isInLibrary(__builtin_return_address(0));
        return isWatched ? gHeap->allocate(aSize, LibraryHeap::sgFilling) : __libc_malloc(aSize);
    }

    void* calloc(std::size_t aCount, std::size_t aSize) noexcept
    {
        bool const isWatched = gHeap != nullptr && isInLibrary(__builtin_return_address(0));
        return isWatched ? gHeap->allocate(aCount * aSize, 0) : __libc_calloc(aCount, aSize);
    }

    void free(void* aBlock) noexcept
    {
        if (gHeap != nullptr)
        {
            isInLibrary(__builtin_return_address(0)) ? gHeap->release(aBlock) : gHeap->forget(aBlock);
        }
        __libc_free(aBlock);
    }
}
#endif

bool LibraryHeap::isWatched() { return OWNS_MALLOC; }

LibraryHeap::LibraryHeap()
{
#if OWNS_MALLOC
    dl_iterate_phdr(&findCode, nullptr);
#endif
    gHeap = this;
}

LibraryHeap::~LibraryHeap() { gHeap = nullptr; }

std::vector<std::string> LibraryHeap::calls() const
{
    std::vector<std::string> texts;
    for (qz::UncountedString const& text : mCalls)
    {
        texts.push_back(text.c_str());
    }
    return texts;
}

std::size_t LibraryHeap::sizeOf(void* aBlock)
{
    if (!isWatched())
    {
        // malloc of the sanitizers reports exactly the requested size.
        return malloc_usable_size(aBlock);
    }
    Block const* const place = placeOf(aBlock);
    return place != nullptr ? place->mSize : 0;
}

long LibraryHeap::liveBlocks() const
{
    return std::count_if(mBlocks.begin(), mBlocks.end(),
                         [](Block const& aBlock) { return aBlock.mStart != nullptr; });
}

void* LibraryHeap::allocate(std::size_t aSize, int aFilling)
{
    record("allocate", std::to_string(aSize).c_str());
    ++mAllocations;
    bool const isFailing = mAllocations >= mFirstFailing && mAllocations <= mLastFailing;
    void* const block = isFailing ? nullptr : __libc_malloc(aSize);
    Block* const place = placeOf(nullptr);
    if (block == nullptr || place == nullptr)
    {
        EXPECT_NE(place, nullptr) << "the library holds more blocks than the table has entries";
        return block;
    }
    std::memset(block, aFilling, aSize);
    *place = {block, aSize};
    return block;
}

void LibraryHeap::release(void* aBlock)
{
    Block const* const place = placeOf(aBlock);
    record("free", place != nullptr ? std::to_string(place->mSize).c_str() : "the caller's");
    forget(aBlock);
}

void LibraryHeap::forget(void* aBlock)
{
    Block* const place = placeOf(aBlock);
    if (place != nullptr)
    {
        *place = {};
    }
}

LibraryHeap::Block* LibraryHeap::placeOf(void const* aBlock)
{
    Block* const place = std::find_if(mBlocks.begin(), mBlocks.end(),
                                      [&](Block const& aOther) { return aOther.mStart == aBlock; });
    return place != mBlocks.end() ? place : nullptr;
}

void LibraryHeap::record(char const* aFunction, char const* aArgument)
{
    mCalls.push_back(qz::UncountedString(aFunction) + '(' + aArgument + ')');
}
