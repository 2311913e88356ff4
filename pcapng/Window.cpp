#include "pcapng/Window.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace pcapng
{
namespace
{
constexpr std::size_t initialRoom = std::size_t{1} << 18U;
}  // namespace

Window::Window(Input& aInput, std::size_t aLargest)
    : mInput(aInput),
      // On a machine of 32 bits, the largest block can be almost as large as the address space.
      mMost(aLargest + std::min(initialRoom, std::numeric_limits<std::size_t>::max() - aLargest))
{
    grow();
}

bool Window::readMore()
{
    std::memmove(mBytes.get(), data(), size());
    mEnd -= mBegin;
    mBegin = 0;
    if (mRoom - mEnd < initialRoom / 2)
    {
        grow();
    }
    if (mEnd == mRoom)
    {
        return false;
    }
    std::size_t const count = mInput.read(mBytes.get() + mEnd, mRoom - mEnd);
    mEnd += count;
    return count != 0;
}

/// Allocated with realloc, which moves large memory without copying it.
void Window::grow()
{
    std::size_t const room = mRoom < mMost / 2 ? std::max(2 * mRoom, initialRoom) : mMost;
    auto* const bytes = static_cast<unsigned char*>(std::realloc(mBytes.get(), room));
    if (bytes == nullptr)
    {
        throw std::bad_alloc();
    }
    static_cast<void>(mBytes.release());  // realloc freed it
    mBytes.reset(bytes);
    mRoom = room;
}
}  // namespace pcapng
