/// @file
/// A file descriptor that is closed with its owner.
#pragma once

#include <unistd.h>

namespace qzagent
{
class Descriptor
{
public:
    /// @param aNumber -1 for none
    explicit Descriptor(int aNumber) : mNumber(aNumber) {}
    ~Descriptor()
    {
        if (mNumber >= 0)
        {
            ::close(mNumber);
        }
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int number() const { return mNumber; }

private:
    int const mNumber;
};
}  // namespace qzagent
