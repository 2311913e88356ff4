/// @file
/// A Fibre Channel World Wide Name.
#pragma once

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"

#define QZ_LOG_FILE "backend/sensor/agentcommon/include/WorldWideName"

/// One World Wide Name in two forms kept side by side: 8 bytes, most significant first, and a text of 23
/// characters such as 10:00:00:00:c9:2a:3b:4c. Setting one form rebuilds the other.
///
/// The text keeps the letter case in which it was given; it is lower case when it was built from bytes.
/// Building from either form traces "Entered", the text and "Left" under the function name "_init"; the
/// constructor from bytes traces "Entered" and "Left" of its own around it. A refused text is logged as an
/// error. The default constructor and encode() trace nothing. docs/logging.md has the lines.
///
/// After QZCNoMemoryEx from a setter or decode() the two forms may differ; the object must be set anew before
/// it is used.
///
/// Encoded form: one buffer element of the 8 bytes. docs/encoded-forms.md draws it.
/// Assertions: none.
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup records
class QZCWorldWideName
{
public:
    /// An empty text (which may throw QZCNoMemoryEx "Out of Memory", code 2). The bytes have no meaning until
    /// a setter or decode() gives them one; they are zero, so that reading them too early is harmless.
    QZCWorldWideName();

    /// The name of these bytes.
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

    /// @return the 8 bytes, owned by this object, valid until it is changed or destroyed
    virtual unsigned char const* getBinaryForm() const;

    /// @return the text, owned by this object, valid as long as it is, and changed with it
    virtual QZCString const& getStringForm() const;

    /// Sets the name from its bytes.
    /// @param apBytes 8 bytes to copy, most significant first; also those of this very object
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    virtual void setBinaryForm(unsigned char const* apBytes);

    /// Sets the name from its text: eight pairs at positions 0, 3, ... 21 with ":" between them.
    ///
    /// The pairs are scanned loosely, on purpose: upper and lower case alike, "1g" gives 01, and a pair from
    /// which nothing can be scanned repeats the byte before it (the first one gives 00).
    /// @param acrText text to copy
    /// @throws QZCInvalidEx "Invalid WWN string", code 6: a length other than 23, which changes nothing; or a
    ///         separator other than ":", after which the object holds the refused text and the bytes before
    ///         the separator, and must be set anew before it is used. QZCNoMemoryEx "Out of Memory", code 2
    virtual void setStringForm(QZCString const& acrText);

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws what QZCEncodableOutStream throws
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form and rebuilds both forms. The buffer's length is not checked: its first 8 bytes
    /// are taken as they stand, and a sender must not send fewer.
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
