#include "tools/qzagent/watch/PcapngRecorder.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "tools/qzagent/capture/SectionOfHost.h"

namespace qzagent
{
namespace
{
/// Size in bytes from which blocks are written although more events are waiting.
constexpr std::size_t largeBatch = std::size_t{1} << 18U;
constexpr std::chrono::seconds betweenChecks(1);
constexpr std::chrono::seconds betweenStatistics(10);
}  // namespace

PcapngRecorder::PcapngRecorder(RecorderOptions const& aOptions, RecorderSources const& aSources)
    : mOptions(aOptions), mSources(aSources)
{
    if (mOptions.mRotate)
    {
        mSeries.emplace(mOptions.mPath, mOptions.mKeep);
    }
    if (mOptions.mSync.count() != 0)
    {
        mSync.emplace(mOptions.mSync);
    }
    openFile();
}

void PcapngRecorder::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    mSection->addPacket(aEvent, aBoard);
    if (mBlocks.bytes().mSize >= largeBatch)
    {
        flush();
    }
}

void PcapngRecorder::flush()
{
    if (mBlocks.bytes().mSize == 0)
    {
        return;
    }
    mFile->append(mBlocks.bytes());
    mBlocks.clear();
    if (!mSync)
    {
        mFile->file().sync();
    }
}

void PcapngRecorder::finish()
{
    endSection();
    mFile->file().sync();
}

void PcapngRecorder::tick()
{
    auto const now = Clock::now();
    if (now >= mNextStatistics)
    {
        mSection->addStatistics(mSources.mClock.now());
        flush();
        mNextStatistics = now + betweenStatistics;
    }
    if (now >= mNextCheck)
    {
        mNextCheck = now + betweenChecks;
        checkFile();
    }
    if (isFileFull())
    {
        continueInNextFile();
    }
}

void PcapngRecorder::checkFile()
{
    int const error = mSync ? mSync->error() : 0;
    if (error != 0)
    {
        mFile->file().refuse(std::strerror(error));
    }
    if (!mFile->file().isStillThere())
    {
        mSources.mReport.addNote(
            fmt::format("{} was deleted or replaced; the recording continues in a new file", name()));
        continueInNextFile();
    }
    if (mSeries)
    {
        mSeries->removeOldest(size());
    }
}

bool PcapngRecorder::isFileFull() const
{
    if (!mOptions.mRotate)
    {
        return false;
    }
    return mOptions.mRotate->mSize ? size() >= *mOptions.mRotate->mSize
                                   : Clock::now() - mFileStart >= *mOptions.mRotate->mTime;
}

void PcapngRecorder::continueInNextFile()
{
    endSection();
    mPacketsInFormerFiles = written();
    mFile.reset();  // the next file may be the same one, and is then locked until here
    openFile();
}

void PcapngRecorder::startSection()
{
    endSection();
    beginSection();
}

void PcapngRecorder::openFile()
{
    mFile = mSeries ? std::make_unique<PcapngFile>(mSeries->next())
                    : std::make_unique<PcapngFile>(mOptions.mPath, mOptions.mName);
    mFileStart = Clock::now();
    for (std::optional<std::string> const& note : {mFile->damageNote(), mFile->repairNote()})
    {
        if (note)
        {
            mSources.mReport.addNote(*note);
        }
    }
    if (mSeries)
    {
        mSeries->removeOldest(size());
    }
    if (mSync)
    {
        mSync->follow(mFile->file().descriptor());
    }
    beginSection();
}

void PcapngRecorder::beginSection()
{
    mSection.emplace(makeSectionOfHost(mSources.mVersions), mSources.mBoards, mSources.mDrops,
                     mSources.mClock.now(), mBlocks);
    flush();
    mNextCheck = Clock::now() + betweenChecks;
    mNextStatistics = Clock::now() + betweenStatistics;
}

void PcapngRecorder::endSection()
{
    mSection->addStatistics(mSources.mClock.now());
    flush();
}
}  // namespace qzagent
