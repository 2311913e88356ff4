/// @file
/// The kind of a diagnostic event.
#pragma once

#include "backend/common/include/EncodableStream.h"

/// One kind of diagnostic event, identified by a category and a subcategory. Every pair is valid.
///
/// It is the key of scope data. Agents register with the vendor library for a kind of event. Unlike the other
/// records, it does not trace.
///
/// Encoded form: mCategory, mSubcategory, each an `unsigned char` element. docs/encoded-forms.md draws it.
/// Assertions: none.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup records
class QZCScopeEvent
{
public:
    /// Sets category and subcategory to 0. Only decode() sets other values.
    QZCScopeEvent();

    /// Does nothing.
    virtual ~QZCScopeEvent();

    /// Compares two kinds of events. Throws nothing.
    /// @param acrOther the other kind
    /// @return whether both the categories and the subcategories are equal
    bool operator==(QZCScopeEvent const& acrOther) const;

    /// @return the event's category
    unsigned char getCategory() const { return mCategory; }
    /// @return the event's subcategory within the category
    unsigned char getSubcategory() const { return mSubcategory; }

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append(). The category may then remain in the
    ///         stream: call its clear() or discard it
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form into this object. If the second element cannot be read, the category has already
    /// changed.
    /// @param arIn stream to read it from
    /// @throws QZCEncodingEx, code 100, from the stream
    void decode(QZCEncodableInStream& arIn);

private:
    unsigned char mCategory;
    unsigned char mSubcategory;
};
