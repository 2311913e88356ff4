/// @file
/// One record of a capture, with its members.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qzagent
{
/// Scope data, which itself gives nothing away but its encoded form: read from that a second time.
struct CaptureRecord
{
    std::size_t mSize;  ///< of the encoded form, in bytes
    unsigned int mCategory;
    unsigned int mSubcategory;
    std::optional<std::string> mFirstWwn;  ///< as 10:00:00:00:c9:2a:3b:4c; both names or none
    std::optional<std::string> mSecondWwn;
    std::optional<std::vector<unsigned char>> mPayload;
};

/// Bytes that do not begin with a record. The text says what was expected and what was found.
class RecordDamage : public std::runtime_error
{
public:
    RecordDamage(std::string const& aText, std::size_t aPosition, bool aMayBeCut)
        : std::runtime_error(aText), mPosition(aPosition), mMayBeCut(aMayBeCut)
    {
    }

    /// Where in the bytes the element stands that was refused.
    std::size_t position() const { return mPosition; }

    /// Whether it may be that nothing but further bytes are missing.
    bool mayBeCut() const { return mMayBeCut; }

private:
    std::size_t mPosition;
    bool mMayBeCut;
};

/// Decodes the record that the bytes begin with; others may follow.
/// @throws RecordDamage; QZCNoMemoryEx
CaptureRecord decodeRecord(unsigned char const* aBytes, std::size_t aSize);
}  // namespace qzagent
