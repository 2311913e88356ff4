/// @file
/// The byte buffer that records and streams hand to each other.
#pragma once

#include <cstdint>
#include <cstring>

/// A growable sequence of bytes, owned by whoever holds it.
///
/// Short contents live inside the object; longer ones on the heap, where room grows geometrically. A buffer
/// can also wrap bytes that belong to someone else: reading them through a constant reference copies
/// nothing, and the first modifying operation (append(), setLength(), the non-constant conversion) takes a
/// copy of its own.
///
/// Errors: std::bad_alloc when room cannot be had, std::length_error beyond 4,294,967,295 bytes in all; the
/// buffer is then as it was before the call. It asserts nothing and logs nothing.
/// Thread-safety: one buffer is used by one thread at a time.
/// @ingroup services
class QZCBuffer
{
public:
    /// Makes a buffer that owns its bytes. Beside the wrapping constructor a literal 0 for aLength is
    /// ambiguous: write 0u.
    /// @param aLength   bytes to start with, all zero
    /// @param aCapacity room to set aside, so that appending up to it allocates no more; a hint that later
    ///                  appends may exceed or fall short of
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
            // Whoever takes a few bytes more than there are, as a sender's fault may lead to, finds zeros.
            std::memset(mInside, 0, sizeof mInside);
        }
        mLength = aLength;
    }

    /// Wraps bytes without copying them; they must stay valid as long as they are wrapped.
    /// @param apBytes bytes to wrap, not owned; may be null when aLength is 0
    /// @param aLength their number
    QZCBuffer(unsigned char const* apBytes, unsigned int aLength)
        : mLength(aLength), mCapacity(aLength), mBytes(const_cast<unsigned char*>(apBytes)), mIsForeign(true)
    {
    }

    /// Frees the bytes, but for wrapped ones.
    virtual ~QZCBuffer() { _release(); }

    QZCBuffer(QZCBuffer const&) = delete;
    QZCBuffer& operator=(QZCBuffer const&) = delete;

    /// @param aPosition position of a byte, from 0
    /// @return the byte at aPosition
    /// @throws std::out_of_range naming both figures, when aPosition is not below getLength()
    virtual unsigned char byte(unsigned int aPosition) const;

    /// @return the first of getLength() bytes, valid until the buffer is modified or destroyed
    virtual operator unsigned char const*() const;

    /// @return number of bytes held
    virtual unsigned int getLength() const { return mLength; }

    /// @return the first of getLength() bytes for writing, valid until the next modification; a buffer that
    ///         wraps takes its own copy first
    virtual operator unsigned char*();

    /// Cuts the content, or extends it with zero bytes. A buffer that wraps takes its own copy first.
    /// @param aLength number of bytes it then has
    /// @throws std::bad_alloc when there is no room; the buffer is then as before
    virtual void setLength(unsigned int aLength);

    /// Adds bytes at the end. A buffer that wraps takes its own copy first.
    /// @param apBytes bytes to copy, also from this very buffer; may be null when aLength is 0
    /// @param aLength their number
    /// @throws std::bad_alloc when there is no room; std::length_error when the buffer would hold more than
    ///         4,294,967,295 bytes. The buffer is then as before
    void append(void const* apBytes, unsigned int aLength);

private:
    friend class QZCEncodableOutStream;

    static constexpr unsigned int sgInsideCapacity = 39;

    /// @param aLength of 64 bits on every machine, so that head and content together never wrap
    /// @return where the next byte goes, with room for at least aLength of them
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
    unsigned int mCapacity;  ///< equal to mLength while wrapping, so that any growth takes the slow way
    unsigned char* mBytes;
    bool mIsForeign;  ///< the bytes are wrapped: never written to, never freed
    unsigned char mInside[sgInsideCapacity];
};
