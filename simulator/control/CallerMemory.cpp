#include "simulator/control/CallerMemory.h"

#include <algorithm>
#include <cstring>

namespace qzsim
{
std::size_t writeBytes(CallerMemory const& aMemory, void const* aContent, std::size_t aSize,
                       AnswerShape const& aShape)
{
    if (aShape.mIsUntouched)
    {
        return 0;
    }
    std::size_t const written =
        std::min({aMemory.mSize, aSize, static_cast<std::size_t>(aShape.mLength.value_or(endless))});
    if (written != 0)
    {
        std::memcpy(aMemory.mStart, aContent, written);
    }
    if ((aShape.mHasGarbage || aShape.mHasZeros) && written < aMemory.mSize)
    {
        std::memset(static_cast<unsigned char*>(aMemory.mStart) + written, aShape.mHasZeros ? 0 : garbage,
                    aMemory.mSize - written);
    }
    return written;
}
}  // namespace qzsim
