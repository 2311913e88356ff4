/// @file
/// Decodes one record of a capture.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qzagent
{
/// The contents of scope data. QZCScopeData has no getters, so they are read from its encoded form.
struct CaptureRecord
{
    std::size_t mSize;  ///< size of the encoded form in bytes
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::optional<std::string>
        mFirstWwn;  ///< in the form 10:00:00:00:c9:2a:3b:4c; a record has both names or neither
    std::optional<std::string> mSecondWwn;
    std::optional<std::vector<unsigned char>> mPayload;
};

/// Thrown for bytes that do not begin with a record. The text says what was expected and what was found.
class RecordDamage : public std::runtime_error
{
public:
    RecordDamage(std::string const& aText, std::size_t aPosition, bool aMayBeCut)
        : std::runtime_error(aText), mPosition(aPosition), mMayBeCut(aMayBeCut)
    {
    }

    /// Position of the invalid element in the bytes.
    std::size_t position() const { return mPosition; }

    /// Whether the record may only be truncated, so that more bytes could complete it.
    bool mayBeCut() const { return mMayBeCut; }

private:
    std::size_t mPosition;
    bool mMayBeCut;
};

/// Decodes the record at the beginning of the bytes, which other records may follow.
/// @throws RecordDamage when the bytes do not begin with a record
/// @throws QZCNoMemoryEx when memory is exhausted
CaptureRecord decodeRecord(unsigned char const* aBytes, std::size_t aSize);
}  // namespace qzagent
