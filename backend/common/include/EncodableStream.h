/// @file
/// The streams that records are encoded into and decoded from.
///
/// The encoded form is a CBOR sequence (RFC 8742), so any CBOR tool reads it; docs/encoded-forms.md has
/// those of the records:
///
///     bool            f4 | f5
///     unsigned char   major type 0, shortest head:  00..17 | 18 xx
///     unsigned int    major type 0, shortest head:  00..17 | 18 xx | 19 xx xx | 1a xx xx xx xx
///     QZCBuffer       5a ll ll ll ll, then the bytes: always 5 more than its length
#pragma once

#include <cstdint>
#include <cstring>
#include <new>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Exception.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

/// Input that ends too soon or is not of the type that was asked for. The text gives the byte position, what
/// was expected and what stands there; the code is 100. It is a QZCException, but neither generic nor
/// halting. Nothing is logged when it is thrown.
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup exceptions
class QZCEncodingEx : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     100 wherever the streams throw it
    QZCEncodingEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCEncodingEx() noexcept override;
};

/// The bytes of the encoded form that writer and reader share. A head is a major type and, in the low five
/// bits, a small value or how many bytes of a larger one follow.
/// @ingroup services
struct QZCEncodedForm
{
    static constexpr unsigned char sgUnsigned = 0x00;    ///< major type of unsigned integers
    static constexpr unsigned char sgByteString = 0x40;  ///< major type of byte strings
    static constexpr unsigned char sgFollows1 = 24;      ///< one byte of value follows
    static constexpr unsigned char sgFollows2 = 25;      ///< two bytes of value follow
    static constexpr unsigned char sgFollows4 = 26;      ///< four bytes of value follow
    static constexpr unsigned char sgFollows8 = 27;      ///< eight bytes of value follow
    static constexpr unsigned char sgFalse = 0xf4;       ///< the whole of a false
    static constexpr unsigned char sgTrue = 0xf5;        ///< the whole of a true
    static constexpr unsigned int sgByteHeadSize = 2;    ///< a head with one byte of value
    static constexpr unsigned int sgWordHeadSize = 5;    ///< a head with four bytes of value
};

/// Encoder: elements are inserted one after another and the bytes taken with getEncoded().
///
/// Errors: those of QZCBuffer::append(); the stream then holds what it held before the insertion. It asserts
/// nothing and logs nothing.
/// Thread-safety: one stream is used by one thread at a time.
/// @ingroup services
class QZCEncodableOutStream
{
public:
    /// A stream that holds nothing yet.
    QZCEncodableOutStream() : mEncoded(0u, 0u) {}

    QZCEncodableOutStream(QZCEncodableOutStream const&) = delete;
    QZCEncodableOutStream& operator=(QZCEncodableOutStream const&) = delete;

    /// Appends one element, whose value may stand in the bytes of this very stream.
    /// @param acrValue the value, not kept
    /// @return this stream, so that insertions chain
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append()
    /// @{
    QZCEncodableOutStream& operator<<(bool const& acrValue)
    {
        *mEncoded._room(1) = acrValue ? QZCEncodedForm::sgTrue : QZCEncodedForm::sgFalse;
        mEncoded.mLength += 1;
        return *this;
    }

    QZCEncodableOutStream& operator<<(unsigned char const& acrValue)
    {
        unsigned char const value = acrValue;
        unsigned char* const room = mEncoded._room(QZCEncodedForm::sgByteHeadSize);
        mEncoded.mLength += _putByte(room, value);
        return *this;
    }

    QZCEncodableOutStream& operator<<(unsigned int const& acrValue)
    {
        unsigned int const value = acrValue;
        unsigned char* const room = mEncoded._room(QZCEncodedForm::sgWordHeadSize);
        if (value <= 0xff)
        {
            mEncoded.mLength += _putByte(room, static_cast<unsigned char>(value));
        }
        else if (value <= 0xffff)
        {
            room[0] = QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows2;
            room[1] = static_cast<unsigned char>(value >> 8);
            room[2] = static_cast<unsigned char>(value);
            mEncoded.mLength += 3;
        }
        else
        {
            _putWord(room, QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows4, value);
            mEncoded.mLength += QZCEncodedForm::sgWordHeadSize;
        }
        return *this;
    }
    /// @}

    /// Appends one element of all bytes that a buffer holds; they are taken as they are, whatever a derived
    /// class makes of its virtual operations.
    /// @param acrBuffer the bytes, copied; may be the buffer of this very stream
    /// @return this stream, so that insertions chain
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append()
    QZCEncodableOutStream& operator<<(QZCBuffer const& acrBuffer)
    {
        unsigned int const length = acrBuffer.mLength;
        unsigned char* const room = mEncoded._room(std::uint64_t{length} + QZCEncodedForm::sgWordHeadSize);
        _putWord(room, QZCEncodedForm::sgByteString | QZCEncodedForm::sgFollows4, length);
        // Read only now: the stream's own bytes may have moved with the growing.
        _putBytes(room + QZCEncodedForm::sgWordHeadSize, acrBuffer.mBytes, length);
        mEncoded.mLength += length + QZCEncodedForm::sgWordHeadSize;
        return *this;
    }

    /// @return the bytes of all elements inserted since construction or the last clear(); owned by the
    ///         stream, valid until it is changed or destroyed
    QZCBuffer const& getEncoded() const { return mEncoded; }

    /// Forgets all elements but keeps the room, so that a reused stream allocates no more.
    void clear() { mEncoded.mLength = 0; }

private:
    static unsigned int _putByte(unsigned char* apRoom, unsigned char aValue)
    {
        if (aValue < QZCEncodedForm::sgFollows1)
        {
            apRoom[0] = aValue;
            return 1;
        }
        apRoom[0] = QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows1;
        apRoom[1] = aValue;
        return 2;
    }

    static void _putWord(unsigned char* apRoom, unsigned char aHead, unsigned int aValue)
    {
        apRoom[0] = aHead;
        apRoom[1] = static_cast<unsigned char>(aValue >> 24);
        apRoom[2] = static_cast<unsigned char>(aValue >> 16);
        apRoom[3] = static_cast<unsigned char>(aValue >> 8);
        apRoom[4] = static_cast<unsigned char>(aValue);
    }

    static void _putBytes(unsigned char* apRoom, unsigned char const* apBytes, unsigned int aLength)
    {
        unsigned int const half = 32;
        if (aLength >= half && aLength <= 2 * half)
        {
            // The usual event: two copies of fixed size, overlapping in the middle, are done before a call
            // of the general copy has begun.
            unsigned int const rest = aLength - half;
            std::memcpy(apRoom, apBytes, half);
            std::memcpy(apRoom + rest, apBytes + rest, half);
        }
        else if (aLength != 0)
        {
            std::memcpy(apRoom, apBytes, aLength);
        }
    }

    QZCBuffer mEncoded;
};

/// Decoder: elements are extracted in the order in which they were inserted.
///
/// It reads the caller's bytes in place. Every well-formed head of definite length is accepted for the type
/// that is asked for, everything else is refused; nothing is read past the end, and a length beyond the
/// remaining bytes is refused before anything is allocated. A failed extraction leaves the stream and the
/// target where they were.
///
/// Errors: QZCEncodingEx as above; extracting a buffer also QZCNoMemoryEx. It asserts nothing and logs
/// nothing.
/// Thread-safety: one stream is used by one thread at a time.
/// @ingroup services
class QZCEncodableInStream
{
public:
    /// A stream at the first of these bytes.
    /// @param apBytes encoded bytes, not owned; must stay valid as long as the stream is used
    /// @param aLength their number
    QZCEncodableInStream(unsigned char const* apBytes, unsigned int aLength)
        : mBytes(apBytes), mLength(aLength), mPosition(0)
    {
    }

    QZCEncodableInStream(QZCEncodableInStream const&) = delete;
    QZCEncodableInStream& operator=(QZCEncodableInStream const&) = delete;

    /// Extracts one element.
    /// @param arValue set to its value
    /// @return this stream, so that extractions chain
    /// @throws QZCEncodingEx, code 100
    /// @{
    QZCEncodableInStream& operator>>(bool& arValue)
    {
        if (!_isBool())
        {
            _refuseBool();
        }
        arValue = mBytes[mPosition++] == QZCEncodedForm::sgTrue;
        return *this;
    }

    QZCEncodableInStream& operator>>(unsigned char& arValue)
    {
        arValue = static_cast<unsigned char>(_isSmall() ? mBytes[mPosition++] : _readUnsigned(0xff));
        return *this;
    }

    QZCEncodableInStream& operator>>(unsigned int& arValue)
    {
        arValue = _isSmall() ? mBytes[mPosition++] : _readUnsigned(0xffffffff);
        return *this;
    }
    /// @}

    /// Extracts one element of bytes: makes a new buffer with a copy of them.
    /// @param arBuffer set to the new buffer; lets go of what it held
    /// @return this stream, so that extractions chain
    /// @throws QZCEncodingEx, code 100; QZCNoMemoryEx "Out of Memory", code 2
    QZCEncodableInStream& operator>>(QZCPointer<QZCBuffer>& arBuffer)
    {
        unsigned int length = 0;
        unsigned int const start = _findString(length);
        try
        {
            QZCPointer<QZCBuffer> const decoded(new (std::nothrow) QZCBuffer(0u, length), QZPST_Individual,
                                                QZPAT_New);
            decoded->append(mBytes + start, length);
            arBuffer = decoded;
        }
        catch (std::bad_alloc const&)
        {
            // No room for the bytes is the same to the caller as none for the buffer object.
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
        mPosition = start + length;
        return *this;
    }

    /// Extracts one element of bytes without copying them.
    /// @param arLength set to their number
    /// @return the bytes, among those that the stream was made of
    /// @throws QZCEncodingEx, code 100; arLength is then undefined
    unsigned char const* extractInPlace(unsigned int& arLength)
    {
        unsigned int const start = _findString(arLength);
        mPosition = start + arLength;
        return mBytes + start;
    }

    /// @return number of bytes not yet extracted
    unsigned int getRemaining() const { return mLength - mPosition; }

private:
    /// True when the next element is an unsigned integer that its head byte holds.
    bool _isSmall() const { return mPosition != mLength && mBytes[mPosition] < QZCEncodedForm::sgFollows1; }

    bool _isBool() const
    {
        return mPosition != mLength &&
               (mBytes[mPosition] == QZCEncodedForm::sgFalse || mBytes[mPosition] == QZCEncodedForm::sgTrue);
    }

    [[noreturn]] void _refuseBool() const;
    unsigned int _readUnsigned(unsigned int aLargest);

    /// Finds the byte string that comes next, without moving.
    /// @param arLength set to its length
    /// @return position of its first byte
    unsigned int _findString(unsigned int& arLength) const;

    unsigned char const* mBytes;
    unsigned int mLength;
    unsigned int mPosition;
};
