/// @file
/// Encoded latency data.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "backend/sensor/agentcommon/include/LatencyData.h"

namespace qzagent
{
/// A record of latency data, read from its encoded form. docs/encoded-forms.md draws the form.
class LatencyRecord
{
public:
    /// @return whether the bytes start with three numbers; none when that needs more bytes. Scope data starts with two
    ///         numbers and a bool
    static std::optional<bool> startsIn(unsigned char const* aBytes, std::size_t aSize);

    /// Reads the record at the start of the bytes. Bytes after the record are not read.
    /// @throws qz::ScopeDataError when the bytes do not begin with a complete record
    LatencyRecord(unsigned char const* aBytes, std::size_t aSize);

    /// @return the size of the encoded record in bytes
    std::size_t size() const { return mSize; }

    /// @return the search type as it is in the file; the data has room only for values up to 255
    unsigned int searchType() const { return mNumbers[3]; }

    QZCLatencyData data() const;

private:
    std::array<unsigned int, 6 + QZCLatencyData::sgNumBuckets> mNumbers{};
    std::size_t mSize;
};
}  // namespace qzagent
