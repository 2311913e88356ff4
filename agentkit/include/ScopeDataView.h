/// @file
/// Reads encoded scope data in place.
#pragma once

#include <cstddef>
#include <optional>

#include "agentkit/include/Bytes.h"
#include "agentkit/include/Wwn.h"
#include "backend/common/include/EncodableStream.h"

namespace qz
{
/// The bytes do not begin with a complete record of scope data. The text contains the byte position, the expected
/// element and the element found. The code is 100.
/// @ingroup agentkit
class ScopeDataError : public QZCEncodingEx
{
public:
    /// @param aText       the text, which is copied
    /// @param aPosition   position of the refused element
    /// @param aMayBeShort whether more bytes may complete the record
    ScopeDataError(char const* aText, std::size_t aPosition, bool aMayBeShort) noexcept;

    /// Does nothing: the text is inside the object.
    ~ScopeDataError() noexcept override;

    /// Copies the text, the code and the position. Throws nothing.
    ScopeDataError(ScopeDataError const&) noexcept = default;

    /// Takes the text, the code and the position of another error. Throws nothing.
    /// @return this error
    ScopeDataError& operator=(ScopeDataError const&) noexcept = default;

    /// @return the position of the refused element in the bytes
    std::size_t position() const noexcept { return mPosition; }

    /// @return whether the refused element is truncated, so that more bytes may complete the record. A reader of a
    ///         stream then waits for more
    bool mayBeShort() const noexcept { return mMayBeShort; }

private:
    std::size_t mPosition;
    bool mMayBeShort;
};

/// The members of a record of scope data, read from its encoded form without copying it.
///
/// The view refuses what QZCScopeData::decode() refuses. It also refuses names that are not 8 bytes long, which
/// decode() does not check. docs/encoded-forms.md draws the form.
/// Thread-safety: any number of threads may read one view.
/// @ingroup agentkit
class ScopeDataView
{
public:
    /// Reads the record at the start of the bytes. Bytes after the record are not read.
    /// @param aBytes not owned; must stay valid as long as the view is used
    /// @param aSize  their number
    /// @throws ScopeDataError, code 100
    ScopeDataView(unsigned char const* aBytes, std::size_t aSize);

    /// @return the size of the encoded record in bytes; the next record begins there
    std::size_t size() const { return mSize; }

    /// @return the event's category
    unsigned char category() const { return mCategory; }

    /// @return the event's subcategory
    unsigned char subcategory() const { return mSubcategory; }

    /// @return whether the record has its two names
    bool hasNames() const { return mFirst.has_value(); }

    /// @return the first name; none in a record without names
    std::optional<Wwn> const& first() const { return mFirst; }

    /// @return the second name; none in a record without names
    std::optional<Wwn> const& second() const { return mSecond; }

    /// @return the payload, within the bytes that were passed to the constructor; none in a record without payload
    std::optional<Bytes> const& payload() const { return mPayload; }

private:
    std::size_t mSize = 0;
    unsigned char mCategory = 0;
    unsigned char mSubcategory = 0;
    std::optional<Wwn> mFirst;
    std::optional<Wwn> mSecond;
    std::optional<Bytes> mPayload;
};
}  // namespace qz
