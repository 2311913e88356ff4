/// @file
/// Reads captures that are encoded scope data, one record after another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "agentkit/include/ScopeDataView.h"
#include "pcapng/Window.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Reads records until the first damage, because nothing marks the beginning of a record. Records that are too large are
/// skipped. The first record tells whether
/// the file has events or latency data.
class RecordSource : public CaptureSource
{
public:
    /// @param aFile    must outlive the source
    /// @param aLargest size in bytes of the largest record that is accepted
    RecordSource(CaptureFile& aFile, std::size_t aLargest);

    std::optional<CaptureItem> next(bool aMayGrow) override;

private:
    std::optional<bool> hasLatencies(bool aMayGrow);
    template <typename Record>
    std::optional<CaptureItem> nextOf(bool aMayGrow);
    CaptureItem itemOf(qz::ScopeDataView const& aRecord) const;
    CaptureItem itemOf(LatencyRecord const& aRecord);
    std::optional<CaptureItem> skipTooLarge(bool aMayGrow);
    CaptureDamage damage(std::string const& aText);
    std::uint64_t skipAll();

    CaptureFile& mFile;
    std::size_t const mLargest;
    pcapng::Window mWindow;
    std::size_t mSize = 0;  ///< size in bytes of the last record
    std::uint64_t mPosition = 0;
    std::uint64_t mTooLarge = 0;  ///< size in bytes of the record at the position, if it is too large; else 0
    std::uint64_t mSkipped = 0;   ///< number of its bytes that were skipped so far
    std::optional<bool> mHasLatencies;  ///< none before the first record
    std::uint64_t mLatencies = 0;       ///< number of records of latency data so far
};
}  // namespace qzagent
