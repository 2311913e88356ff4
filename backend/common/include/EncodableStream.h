/// @file
/// The streams that encode and decode records.
///
/// The encoded form is a CBOR sequence (RFC 8742), so any CBOR tool reads it. docs/encoded-forms.md has the
/// encoded forms of the records. The elements are:
///
///     bool            f4 | f5
///     unsigned char   major type 0, shortest head:  00..17 | 18 xx
///     unsigned int    major type 0, shortest head:  00..17 | 18 xx | 19 xx xx | 1a xx xx xx xx
///     QZCBuffer       5a ll ll ll ll, then the bytes: always 5 more than its length
#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Exception.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

/// The input ends too early or is not of the requested type. The text contains the byte position, the expected
/// element and the element found. The code is 100. The class is neither a QZCGenericException nor a QZCHaltEx.
/// Nothing is logged when it is thrown.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup exceptions
class QZCEncodingEx : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code; the streams always pass 100
    QZCEncodingEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCEncodingEx() noexcept override;
};

/// Bytes of the encoded form that encoder and decoder share. A head byte contains the major type and, in its low
/// five bits, either a small value or the number of bytes that follow with a larger value.
/// @ingroup services
struct QZCEncodedForm
{
    static constexpr unsigned char sgUnsigned = 0x00;    ///< major type of unsigned integers
    static constexpr unsigned char sgByteString = 0x40;  ///< major type of byte strings
    static constexpr unsigned char sgFollows1 = 24;      ///< one byte of value follows
    static constexpr unsigned char sgFollows2 = 25;      ///< two bytes of value follow
    static constexpr unsigned char sgFollows4 = 26;      ///< four bytes of value follow
    static constexpr unsigned char sgFollows8 = 27;      ///< eight bytes of value follow
    static constexpr unsigned char sgFalse = 0xf4;       ///< the element false
    static constexpr unsigned char sgTrue = 0xf5;        ///< the element true
    static constexpr unsigned int sgByteHeadSize = 2;    ///< a head with one byte of value
    static constexpr unsigned int sgWordHeadSize = 5;    ///< a head with four bytes of value
};

/// Encoder: callers insert elements one after another and take the bytes with getEncoded().
///
/// Only the four types below and classes derived from QZCBuffer can be inserted. Other types do not compile,
/// so that a pointer or a text is not silently converted to `bool`.
///
/// Errors: the exceptions of QZCBuffer::append(). A failed insertion leaves the stream unchanged. This holds for
/// each element and not for a record: when the encode() of a record fails, the elements that it inserted
/// before remain in the stream. Call clear() or discard the stream before using it again.
/// It asserts nothing and logs nothing.
/// Thread-safety: only one thread may use a stream at a time.
/// @ingroup services
class QZCEncodableOutStream
{
public:
    /// Makes an empty stream.
    QZCEncodableOutStream() : mEncoded(0u, 0u) {}

    QZCEncodableOutStream(QZCEncodableOutStream const&) = delete;
    QZCEncodableOutStream& operator=(QZCEncodableOutStream const&) = delete;

    /// Appends one element. The value may be located in the bytes of this stream.
    /// @param acrValue the value
    /// @return this stream, so that insertions can be chained
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append()
    /// @{
    QZCEncodableOutStream& operator<<(bool const& acrValue)
    {
        unsigned char const value = acrValue ? QZCEncodedForm::sgTrue : QZCEncodedForm::sgFalse;
        _put(mEncoded._room(1), value);
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
            _put(room, QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows2);
            _put(room + 1, value >> 8);
            _put(room + 2, value);
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

    /// Appends one element that contains all bytes of a buffer. It copies the stored bytes and does not call the
    /// virtual functions, which a derived class may override.
    /// @param acrBuffer the bytes, copied; may be the buffer of this stream
    /// @return this stream, so that insertions can be chained
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append()
    QZCEncodableOutStream& operator<<(QZCBuffer const& acrBuffer)
    {
        unsigned int const length = acrBuffer.mLength;
        unsigned char* const room = mEncoded._room(std::uint64_t{length} + QZCEncodedForm::sgWordHeadSize);
        _putWord(room, QZCEncodedForm::sgByteString | QZCEncodedForm::sgFollows4, length);
        mEncoded.mLength += length + QZCEncodedForm::sgWordHeadSize;
        // mBytes is read after _room(), because growing moves the bytes if this is the stream's own buffer.
        _putBytes(room + QZCEncodedForm::sgWordHeadSize, acrBuffer.mBytes, length);
        return *this;
    }

    /// Refuses all other types: most of them would convert to `bool` and be written as one byte.
    /// @tparam Value any type except the four above and classes derived from QZCBuffer
    template <typename Value, typename = std::enable_if_t<!std::is_base_of<QZCBuffer, Value>::value>>
    QZCEncodableOutStream& operator<<(Value const&) = delete;

    /// @return the bytes of all elements inserted since construction or the last clear(), owned by the stream,
    ///         valid until the stream is changed or destroyed
    QZCBuffer const& getEncoded() const { return mEncoded; }

    /// Removes all elements and keeps the memory, so that a reused stream does not allocate again.
    void clear() { mEncoded.mLength = 0; }

private:
    __attribute__((always_inline)) static void _put(unsigned char* apRoom, unsigned int aValue)
    {
        // A separate type, because a store through unsigned char might change any object: the compiler would have
        // to read the stream's members again after each byte.
        enum class EncodedByte : unsigned char
        {
        };
        *reinterpret_cast<EncodedByte*>(apRoom) = static_cast<EncodedByte>(aValue);
    }

    static unsigned int _putByte(unsigned char* apRoom, unsigned char aValue)
    {
        if (aValue < QZCEncodedForm::sgFollows1)
        {
            _put(apRoom, aValue);
            return 1;
        }
        _put(apRoom, QZCEncodedForm::sgUnsigned | QZCEncodedForm::sgFollows1);
        _put(apRoom + 1, aValue);
        return 2;
    }

    static void _putWord(unsigned char* apRoom, unsigned char aHead, unsigned int aValue)
    {
        _put(apRoom, aHead);
        _put(apRoom + 1, aValue >> 24);
        _put(apRoom + 2, aValue >> 16);
        _put(apRoom + 3, aValue >> 8);
        _put(apRoom + 4, aValue);
    }

    static void _putBytes(unsigned char* apRoom, unsigned char const* apBytes, unsigned int aLength)
    {
        unsigned int const half = 32;
        if (aLength >= half && aLength <= 2 * half)
        {
            // Most events have this size. Two overlapping copies of fixed size are faster than a call of memcpy.
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

/// Decoder: callers extract elements in the order in which they were inserted.
///
/// It reads the caller's bytes in place. It accepts every well-formed head of definite length for the requested
/// type and refuses everything else. It never reads past the end, and it refuses a length beyond the remaining
/// bytes before it allocates memory. A failed extraction leaves the stream and the target unchanged.
///
/// Errors: QZCEncodingEx; extracting a buffer also throws QZCNoMemoryEx. It asserts nothing and logs nothing.
/// Thread-safety: only one thread may use a stream at a time.
/// @ingroup services
class QZCEncodableInStream
{
public:
    /// Makes a stream that starts at the first of these bytes.
    /// @param apBytes encoded bytes, not owned; must stay valid while the stream is used
    /// @param aLength number of bytes
    QZCEncodableInStream(unsigned char const* apBytes, unsigned int aLength)
        : mBytes(apBytes), mLength(aLength), mPosition(0)
    {
    }

    QZCEncodableInStream(QZCEncodableInStream const&) = delete;
    QZCEncodableInStream& operator=(QZCEncodableInStream const&) = delete;

    /// Extracts one element.
    /// @param arValue set to its value
    /// @return this stream, so that extractions can be chained
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

    /// Extracts one element of bytes into a new buffer.
    /// @param arBuffer set to the new buffer; its share of a previous buffer is released
    /// @return this stream, so that extractions can be chained
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
            // The caller does not distinguish missing memory for the bytes from missing memory for the buffer.
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
    /// @return whether the next element is an unsigned integer that fits into its head byte
    bool _isSmall() const { return mPosition != mLength && mBytes[mPosition] < QZCEncodedForm::sgFollows1; }

    bool _isBool() const
    {
        return mPosition != mLength &&
               (mBytes[mPosition] == QZCEncodedForm::sgFalse || mBytes[mPosition] == QZCEncodedForm::sgTrue);
    }

    [[noreturn]] void _refuseBool() const;
    unsigned int _readUnsigned(unsigned int aLargest);

    /// Finds the next byte string without extracting it.
    /// @param arLength set to its length
    /// @return position of its first byte
    unsigned int _findString(unsigned int& arLength) const;

    unsigned char const* mBytes;
    unsigned int mLength;
    unsigned int mPosition;
};
