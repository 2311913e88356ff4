/// @file
/// The kind of a diagnostic event.
#pragma once

#include "backend/common/include/EncodableStream.h"

/// Names one kind of diagnostic event by a category and a subcategory within it; every pair is valid.
///
/// It is the key of scope data, and what an agent registers for with the vendor library. Unlike the other
/// records it writes no trace lines.
///
/// Encoded form: mCategory, mSubcategory, each an `unsigned char` element. docs/encoded-forms.md draws it.
/// Assertions: none.
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup records
class QZCScopeEvent
{
public:
    /// Category and subcategory 0; other values come from decode() alone.
    QZCScopeEvent();

    /// Does nothing of its own.
    virtual ~QZCScopeEvent();

    /// Compares two kinds of events. Throws nothing.
    /// @param acrOther the other one
    /// @return whether categories and subcategories are both equal
    bool operator==(QZCScopeEvent const& acrOther) const;

    /// @return the event's category
    unsigned char getCategory() const { return mCategory; }
    /// @return the event's subcategory within the category
    unsigned char getSubcategory() const { return mSubcategory; }

    /// Writes the encoded form.
    /// @param arOut stream to append it to
    /// @throws what QZCEncodableOutStream throws
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form into this object. When the second element cannot be read the category has
    /// already changed.
    /// @param arIn stream to read it from
    /// @throws QZCEncodingEx, code 100, from the stream
    void decode(QZCEncodableInStream& arIn);

private:
    unsigned char mCategory;
    unsigned char mSubcategory;
};
