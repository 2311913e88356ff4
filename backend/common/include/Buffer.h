/// @file
/// The byte buffer that records and streams exchange.
#pragma once

#include <cstdint>
#include <cstring>

/// A growable sequence of bytes.
///
/// The buffer stores short contents inside the object and longer contents on the heap, where its capacity grows
/// geometrically. A buffer can also wrap bytes that it does not own. Reading wrapped bytes through a constant
/// reference copies nothing. The first operation that modifies them (append(), setLength(), the non-constant
/// conversion) makes a copy that the buffer owns.
///
/// Errors: std::bad_alloc when memory is unavailable, std::length_error for more than 4,294,967,295 bytes in
/// total. The buffer is unchanged after either. It asserts nothing and logs nothing.
/// Thread-safety: only one thread may use a buffer at a time.
/// @ingroup services
class QZCBuffer
{
public:
    /// Makes a buffer that owns its bytes. A literal 0 for aLength is ambiguous with the wrapping constructor:
    /// write 0u.
    /// @param aLength   number of bytes at the start, all zero
    /// @param aCapacity number of bytes to reserve memory for. It is a hint: appending up to it does not
    ///                  allocate again, and appending more is allowed
    QZCBuffer(unsigned int aLength, unsigned int aCapacity)
        : mLength(0), mCapacity(sgInsideCapacity), mBytes(mInside), mIsForeign(false)
    {
        unsigned int const room = aLength > aCapacity ? aLength : aCapacity;
        if (room > sgInsideCapacity)
        {
            _moveTo(room);
            if (aLength != 0)
            {
                std::memset(mBytes, 0, aLength);
            }
        }
        else
        {
            // A decoder that reads more bytes than a faulty sender sent (a short World Wide Name) reads zeros.
            std::memset(mInside, 0, sizeof mInside);
        }
        mLength = aLength;
    }

    /// Wraps bytes without copying them. They must stay valid while they are wrapped.
    /// @param apBytes bytes to wrap, not owned; may be null when aLength is 0
    /// @param aLength number of bytes
    QZCBuffer(unsigned char const* apBytes, unsigned int aLength)
        : mLength(aLength), mCapacity(aLength), mBytes(const_cast<unsigned char*>(apBytes)), mIsForeign(true)
    {
    }

    /// Frees the bytes unless they are wrapped. Both libraries export a copy of this function in every build.
    __attribute__((used)) virtual ~QZCBuffer() { _release(); }

    QZCBuffer(QZCBuffer const&) = delete;
    QZCBuffer& operator=(QZCBuffer const&) = delete;

    /// @param aPosition position of a byte, from 0
    /// @return the byte at aPosition
    /// @throws std::out_of_range when aPosition is not below getLength(); the text contains both numbers
    virtual unsigned char byte(unsigned int aPosition) const;

    /// @return the first of getLength() bytes, valid until the buffer is modified or destroyed
    virtual operator unsigned char const*() const;

    /// @return number of bytes held. Both libraries export a copy of this function in every build
    __attribute__((used)) virtual unsigned int getLength() const { return mLength; }

    /// @return the first of getLength() bytes for writing, valid until the next modification. A buffer that
    ///         wraps bytes copies them first
    /// @throws std::bad_alloc when memory for the copy is unavailable; the buffer is then unchanged
    virtual operator unsigned char*();

    /// Truncates the content or extends it with zero bytes. A buffer that wraps bytes copies them first.
    /// @param aLength the new number of bytes
    /// @throws std::bad_alloc when memory is unavailable; the buffer is then unchanged
    virtual void setLength(unsigned int aLength);

    /// Appends bytes. A buffer that wraps bytes copies them first.
    /// @param apBytes bytes to copy, possibly from this buffer itself; may be null when aLength is 0
    /// @param aLength number of bytes
    /// @throws std::bad_alloc when memory is unavailable; std::length_error when the buffer would hold more than
    ///         4,294,967,295 bytes. The buffer is then unchanged
    void append(void const* apBytes, unsigned int aLength);

private:
    friend class QZCEncodableOutStream;

    static constexpr unsigned int sgInsideCapacity = 39;

    /// @param aLength number of bytes to make room for; 64 bits on every machine, so that the sum of head and
    ///                content does not overflow
    /// @return where the next byte goes
    unsigned char* _room(std::uint64_t aLength)
    {
        return aLength <= mCapacity - mLength ? mBytes + mLength : _grow(aLength);
    }

    unsigned char* _grow(std::uint64_t aLength);
    void _moveTo(unsigned int aCapacity);
    void _own();

    void _release()
    {
        if (!mIsForeign && mBytes != mInside)
        {
            delete[] mBytes;
        }
    }

    unsigned int mLength;
    unsigned int
        mCapacity;  ///< equal to mLength while the buffer wraps bytes, so that every append calls _grow()
    unsigned char* mBytes;
    bool mIsForeign;  ///< the bytes are wrapped: they are never written to and never freed
    unsigned char mInside[sgInsideCapacity];
};
