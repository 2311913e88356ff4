#include "tools/qzagent/watch/PcapngRecorder.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <fmt/format.h>
#include <sys/stat.h>

#include "pcapng/BytesInput.h"
#include "pcapng/Reader.h"
#include "tools/qzagent/capture/SectionOfHost.h"

namespace qzagent
{
namespace
{
/// Size in bytes from which blocks are written although more events are waiting.
constexpr std::size_t largeBatch = std::size_t{1} << 18U;
constexpr std::chrono::seconds betweenChecks(1);
constexpr std::chrono::seconds betweenStatistics(10);

/// Programs that rotate logs can leave an empty file in place of the one that they move away.
bool isAbsentOrEmpty(std::string const& aPath)
{
    struct stat status = {};
    return ::stat(aPath.c_str(), &status) != 0 || (S_ISREG(status.st_mode) && status.st_size == 0);
}
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
    openFile(mSeries ? mSeries->next() : mOptions.mPath);
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
    replaceChanged();
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
    int const error = mSync ? mSync->finish() : 0;
    if (error != 0)
    {
        mFile->file().refuse(std::strerror(error));
    }
}

void PcapngRecorder::tick()
{
    auto const now = Clock::now();
    if (now >= mNextStatistics)
    {
        replaceChanged();
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
        std::string const path = pathOfReplacement();
        addReplacementNote(path);
        continueIn(path);
    }
    replaceChanged();
    flush();
    removeOldest();
}

/// Removes and closes the files of a series that exceed the limit.
void PcapngRecorder::removeOldest()
{
    if (mSeries)
    {
        mSeries->removeOldest(size());
    }
    if (mSync)
    {
        mSync->closeRemoved();
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

/// @return path of a new or empty file, because the content of another file is never changed
std::string PcapngRecorder::pathOfReplacement()
{
    if (mSeries)
    {
        return mSeries->next();
    }
    return isAbsentOrEmpty(mOptions.mPath) ? mOptions.mPath : createBeside(mOptions.mPath);
}

void PcapngRecorder::continueInNextFile()
{
    replaceChanged();
    AppendedFile const& file = mFile->file();
    bool const isRotated = !mSeries && isAbsentOrEmpty(mOptions.mPath);
    continueIn(file.isStillThere() && !isRotated && !mSeries ? file.path() : pathOfReplacement());
}

void PcapngRecorder::continueIn(std::string const& aPath)
{
    endSection();
    mPacketsInFormerFiles = written();
    mFile.reset();  // the next file may be the same one, and is then locked until here
    openFile(aPath);
}

void PcapngRecorder::addReplacementNote(std::string const& aReplacement)
{
    mSources.mReport.addNote(
        fmt::format("{} was deleted or replaced; the recording continues in {}", name(),
                    mSeries || aReplacement == mOptions.mPath ? "a new file" : aReplacement));
}

/// If another process has changed the file, begins a section before the blocks that are to be written: in the same file
/// if it has lost its sections, and in another one if it has a different content.
void PcapngRecorder::replaceChanged()
{
    bool const isOverwritten = mFile->file().isOverwritten();
    if (!isOverwritten && !mFile->file().isTruncated())
    {
        return;
    }
    pcapng::BlockWriter former;
    mSection->abandon(former);
    std::vector<unsigned char> blocks(former.bytes().begin(), former.bytes().end());
    blocks.insert(blocks.end(), mBlocks.bytes().begin(), mBlocks.bytes().end());
    std::string const path = isOverwritten ? pathOfReplacement() : mFile->file().path();
    if (isOverwritten)
    {
        addReplacementNote(path);
    }
    else
    {
        mSources.mReport.addNote(fmt::format("{} was truncated; a new section begins", name()));
    }
    mBlocks.clear();
    mPacketsInFormerFiles = written();
    mFile.reset();
    openFile(path);
    copyPackets(blocks);
}

/// @param aBlocks a section that was not written
void PcapngRecorder::copyPackets(std::vector<unsigned char> const& aBlocks)
{
    pcapng::BytesInput input({aBlocks.data(), aBlocks.size()});
    pcapng::Reader reader(input, aBlocks.size());
    while (std::optional<pcapng::Item> const item = reader.next())
    {
        if (auto const* const packet = std::get_if<pcapng::Packet>(&*item))
        {
            mSection->addCopy(*packet);
        }
    }
}

void PcapngRecorder::startSection()
{
    endSection();
    beginSection();
}

void PcapngRecorder::openFile(std::string const& aPath)
{
    mFile = aPath == mOptions.mPath ? std::make_unique<PcapngFile>(aPath, mOptions.mName)
                                    : std::make_unique<PcapngFile>(aPath);
    mFileStart = Clock::now();
    for (std::optional<std::string> const& note : {mFile->damageNote(), mFile->repairNote()})
    {
        if (note)
        {
            mSources.mReport.addNote(*note);
        }
    }
    removeOldest();
    if (mSync)
    {
        mSync->follow(mFile->file().descriptor());
    }
    beginSection();
}

void PcapngRecorder::beginSection()
{
    mSection.emplace(makeSectionOfHost(mSources.mVersions), mSources.mBoards, mSources.mDrops, mDropHistories,
                     mSources.mClock.now(), mBlocks);
    flush();
    mNextCheck = Clock::now() + betweenChecks;
    mNextStatistics = Clock::now() + betweenStatistics;
}

void PcapngRecorder::endSection()
{
    replaceChanged();
    mSection->addStatistics(mSources.mClock.now());
    flush();
}
}  // namespace qzagent
