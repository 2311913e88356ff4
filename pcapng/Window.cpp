#include "pcapng/Window.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace pcapng
{
namespace
{
constexpr std::size_t initialRoom = std::size_t{1} << 18U;
}  // namespace

Window::Window(Input& aInput, std::size_t aLargest) : mInput(aInput), mMost(aLargest + initialRoom)
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
    std::size_t const room = std::min(std::max(2 * mRoom, initialRoom), mMost);
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
