/// @file
/// Records watched events as bare records.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/qzagent/capture/CaptureWriter.h"
#include "tools/qzagent/capture/RecordEncoder.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
/// Records each event as scope data: its category and subcategory, the names of its board and its payload.
class RecordsRecorder : public WatchRecorder
{
public:
    /// @param aReport receives notes; must outlive this object
    /// @param aMustStop see CaptureWriter
    /// @throws CaptureWriteError when the capture cannot be opened, or is not complete
    /// @throws Interrupted
    RecordsRecorder(std::string const& aPath, Report& aReport, std::function<bool()> const& aMustStop);

    /// Appends an event that can be encoded. A record whose encoding fails is not written, not even in part.
    /// @throws CaptureWriteError when the record cannot be written
    /// @throws QZCNoMemoryEx when memory is exhausted
    void take(qz::QueuedEvent const& aEvent, Board const* aBoard) override;
    void flush() override {}
    void finish() override { mWriter->sync(); }
    void tick() override;
    void continueInNextFile() override;
    void startSection() override {}
    std::uint64_t written() const override { return mWritten; }
    std::string const& name() const override { return mWriter->file().name(); }
    std::uint64_t size() const override { return mWriter->file().size(); }

private:
    void continueIn(std::string const& aPath);

    std::string const mPath;
    Report& mReport;
    std::unique_ptr<CaptureWriter> mWriter;
    RecordEncoder mEncoder;
    std::vector<unsigned char> mRecord;
    std::uint64_t mWritten = 0;
};
}  // namespace qzagent
