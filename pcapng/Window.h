/// @file
/// The part of an input that is in memory.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace pcapng
{
/// A file, a pipe or memory.
class Input
{
public:
    virtual ~Input() = default;

    /// @return number of bytes that were read; 0 when there are none now
    virtual std::size_t read(unsigned char* aBytes, std::size_t aSize) = 0;
};

/// Moves forward over an input. It grows only as far as the reader requires.
class Window
{
public:
    /// @param aInput   must outlive the window
    /// @param aLargest size in bytes of the largest block or record that must fit
    Window(Input& aInput, std::size_t aLargest);

    /// The bytes that were read and not skipped, valid until the next call of readMore().
    unsigned char const* data() const { return mBytes.get() + mBegin; }
    std::size_t size() const { return mEnd - mBegin; }

    void skip(std::size_t aSize) { mBegin += aSize; }

    /// @return false when the input has no more bytes, or the largest block fits
    /// @throws std::bad_alloc
    bool readMore();

private:
    struct Free
    {
        void operator()(unsigned char* aBytes) const { std::free(aBytes); }
    };

    void grow();

    Input& mInput;
    std::size_t const mMost;
    std::unique_ptr<unsigned char, Free> mBytes;
    std::size_t mRoom = 0;
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
};
}  // namespace pcapng
