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
/// Bytes that do not begin with a whole record of scope data. The text says what was expected, what was found, and at
/// which byte; the code is 100.
/// @ingroup agentkit
class ScopeDataError : public QZCEncodingEx
{
public:
    /// @param aText       the text, which is copied
    /// @param aPosition   where the refused element begins
    /// @param aMayBeShort whether more bytes may complete the record
    ScopeDataError(char const* aText, std::size_t aPosition, bool aMayBeShort) noexcept;

    /// Frees nothing: all is inside the object.
    ~ScopeDataError() noexcept override;

    /// Copies the text, the code and the position; throws nothing.
    ScopeDataError(ScopeDataError const&) noexcept = default;

    /// Takes the text, the code and the position of another error; throws nothing.
    /// @return this error
    ScopeDataError& operator=(ScopeDataError const&) noexcept = default;

    /// @return the position of the refused element in the bytes
    std::size_t position() const noexcept { return mPosition; }

    /// @return whether the refused element is cut, so that more bytes may complete the record: a reader of a stream
    ///         waits for more then
    bool mayBeShort() const noexcept { return mMayBeShort; }

private:
    std::size_t mPosition;
    bool mMayBeShort;
};

/// The members of a record of scope data, read from its encoded form without copying it.
///
/// The view refuses what QZCScopeData::decode() refuses, and names that are not 8 bytes long, of which decode() takes
/// the first 8 bytes unchecked. docs/encoded-forms.md draws the form.
/// Thread-safety: one view may be read by any number of threads.
/// @ingroup agentkit
class ScopeDataView
{
public:
    /// Reads the record that the bytes begin with. What follows it is not read.
    /// @param aBytes not owned; must stay valid as long as the view is used
    /// @param aSize  their number
    /// @throws ScopeDataError, code 100
    ScopeDataView(unsigned char const* aBytes, std::size_t aSize);

    /// @return the size of the encoded record in bytes; the next record begins behind it
    std::size_t size() const { return mSize; }

    /// @return the event's category
    unsigned char category() const { return mCategory; }

    /// @return the event's subcategory
    unsigned char subcategory() const { return mSubcategory; }

    /// @return whether the record has names, which are two
    bool hasNames() const { return mFirst.has_value(); }

    /// @return the first name; none in a record without names
    std::optional<Wwn> const& first() const { return mFirst; }

    /// @return the second name; none in a record without names
    std::optional<Wwn> const& second() const { return mSecond; }

    /// @return the payload, within the bytes that the view was made of; none in a record without payload
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
