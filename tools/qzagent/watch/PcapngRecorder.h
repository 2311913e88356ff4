/// @file
/// Records watched events as pcapng.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "pcapng/BlockWriter.h"
#include "tools/qzagent/capture/CaptureLimits.h"
#include "tools/qzagent/capture/CaptureSeries.h"
#include "tools/qzagent/capture/DiskSync.h"
#include "tools/qzagent/capture/PcapngFile.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/vqm/VqmBoards.h"
#include "tools/qzagent/vqm/VqmVersions.h"
#include "tools/qzagent/watch/CaptureSection.h"
#include "tools/qzagent/watch/DropCounts.h"
#include "tools/qzagent/watch/WatchClock.h"
#include "tools/qzagent/watch/WatchSink.h"

namespace qzagent
{
struct RecorderOptions
{
    std::string mPath;
    std::string mName;                   ///< for messages, unless there is a rotation
    std::optional<RotateLimit> mRotate;  ///< none for a single file
    KeepLimit mKeep;                     ///< of the files of a rotation
    std::chrono::seconds mSync;          ///< between synchronisations with the device; 0 for each write
};

/// What a recorder refers to. All of it must outlive the recorder.
struct RecorderSources
{
    std::vector<Board> const& mBoards;
    LibvqmVersions const& mVersions;
    DropCounts const& mDrops;
    WatchClock const& mClock;
    Report& mReport;  ///< receives notes
};

/// Writes several blocks at once while events keep arriving.
class PcapngRecorder final : public WatchRecorder
{
public:
    /// @throws CaptureWriteError when the capture cannot be opened
    PcapngRecorder(RecorderOptions const& aOptions, RecorderSources const& aSources);

    /// @throws CaptureWriteError when the capture cannot be written or opened
    /// @throws std::bad_alloc, QZCNoMemoryEx when memory is exhausted
    /// @{
    void take(qz::QueuedEvent const& aEvent, Board const* aBoard) override;
    void flush() override;
    void finish() override;
    void tick() override;
    void continueInNextFile() override;
    void startSection() override;
    /// @}

    std::uint64_t written() const override { return mPacketsInFormerFiles + (mFile ? mFile->packets() : 0); }
    std::string const& name() const override { return mFile->file().name(); }
    std::uint64_t size() const override { return mFile->file().size(); }

private:
    using Clock = std::chrono::steady_clock;

    void openFile(std::string const& aPath);
    std::string pathOfReplacement();
    void continueIn(std::string const& aPath);
    void replaceChanged();
    void copyPackets(std::vector<unsigned char> const& aBlocks);
    void addReplacementNote(std::string const& aReplacement);
    void beginSection();
    void endSection();
    void checkFile();
    void removeOldest();
    bool isFileFull() const;

    RecorderOptions const mOptions;
    RecorderSources const mSources;
    std::optional<CaptureSeries> mSeries;
    std::optional<DiskSync> mSync;
    pcapng::BlockWriter mBlocks;
    std::unique_ptr<PcapngFile> mFile;
    DropHistories mDropHistories;
    std::optional<CaptureSection> mSection;
    std::uint64_t mPacketsInFormerFiles = 0;
    Clock::time_point mFileStart;
    Clock::time_point mNextCheck;
    Clock::time_point mNextStatistics;
};
}  // namespace qzagent
