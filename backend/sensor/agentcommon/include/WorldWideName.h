/// @file
/// A Fibre Channel World Wide Name.
#pragma once

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"

#define QZ_LOG_FILE "backend/sensor/agentcommon/include/WorldWideName"

/// One World Wide Name, stored in two forms: 8 bytes, most significant byte first, and a text of 23 characters such
/// as 10:00:00:00:c9:2a:3b:4c. Setting one form rebuilds the other.
///
/// A text that was set keeps its letter case. A text that was built from bytes is lower case. Building from either
/// form traces "Entered", the text and "Left" under the function name "_init". The constructor from bytes also
/// traces its own "Entered" and "Left". A refused text is logged as an error. The default constructor and encode()
/// trace nothing. docs/logging.md has the lines.
///
/// After QZCNoMemoryEx from a setter or from decode() the two forms may differ. The object must then be set again
/// before it is used.
///
/// Encoded form: one buffer element of the 8 bytes. docs/encoded-forms.md draws it.
/// Assertions: none.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup records
class QZCWorldWideName
{
public:
    /// Makes a name with an empty text. The bytes are not valid until a setter or decode() sets them. They are
    /// zero, so that reading them too early is harmless.
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCWorldWideName();

    /// Makes a name from its bytes.
    /// @param apBytes 8 bytes to copy, most significant first
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCWorldWideName(unsigned char const* apBytes) : mBinaryForm{}, mStringForm("")
    {
        QZ_LOG_ENTERED();
        _init(apBytes);
        QZ_LOG_LEFT();
    }

    /// Frees the text.
    virtual ~QZCWorldWideName();

    /// @return the 8 bytes, owned by this object, valid until the object is changed or destroyed
    virtual unsigned char const* getBinaryForm() const;

    /// @return the text, owned by this object, valid as long as the object. It changes when the object changes
    virtual QZCString const& getStringForm() const;

    /// Sets the name from its bytes.
    /// @param apBytes 8 bytes to copy, most significant first; may be the bytes of this object
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    virtual void setBinaryForm(unsigned char const* apBytes);

    /// Sets the name from its text: eight pairs at positions 0, 3, ... 21, separated by ":".
    ///
    /// The digits are deliberately not checked. Upper and lower case are accepted, "1g" gives 01, and a pair that
    /// cannot be scanned repeats the previous byte (00 for the first pair).
    /// @param acrText text to copy
    /// @throws QZCInvalidEx "Invalid WWN string", code 6: for a length other than 23, which changes nothing; or for
    ///         a separator other than ":", after which the object holds the refused text and the bytes before the
    ///         separator, and must be set again before it is used. QZCNoMemoryEx "Out of Memory", code 2
    virtual void setStringForm(QZCString const& acrText);

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append(). The stream is then unchanged
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form and rebuilds both forms. The length of the buffer is not checked: its first 8 bytes
    /// are used unchanged, and a sender must not send fewer.
    /// @param arIn stream to read it from
    /// @throws QZCEncodingEx, code 100, from the stream; QZCNoMemoryEx "Out of Memory", code 2
    void decode(QZCEncodableInStream& arIn);

private:
    static constexpr unsigned int sgNumBytes = 8;

    void _init(unsigned char const* apBytes);
    void _init(QZCString const& acrText);

    unsigned char mBinaryForm[sgNumBytes];
    QZCString mStringForm;
};

#undef QZ_LOG_FILE
