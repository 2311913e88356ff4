/// @file
/// File descriptors that close themselves.
#pragma once

#include <utility>

#include <unistd.h>

namespace qzsim
{
/// Owns a file descriptor and closes it.
class Descriptor
{
public:
    /// @param aNumber may be negative: no descriptor
    explicit Descriptor(int aNumber) : mNumber(aNumber) {}
    Descriptor(Descriptor&& aOther) noexcept : mNumber(std::exchange(aOther.mNumber, -1)) {}
    Descriptor& operator=(Descriptor&& aOther) noexcept
    {
        std::swap(mNumber, aOther.mNumber);
        return *this;
    }
    ~Descriptor()
    {
        if (mNumber >= 0)
        {
            ::close(mNumber);
        }
    }

    int number() const { return mNumber; }

private:
    int mNumber;
};
}  // namespace qzsim
