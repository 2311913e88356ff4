/// @file
/// Owner of a file descriptor.
#pragma once

#include <unistd.h>

namespace qzagent
{
/// Closes its file descriptor when it is destroyed.
class Descriptor
{
public:
    /// @param aNumber the file descriptor; -1 for none
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
