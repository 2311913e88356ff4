#include "tools/qzagent/watch/RecordsRecorder.h"

#include <functional>
#include <memory>
#include <string>

#include <fmt/format.h>

#include "agentkit/include/Bytes.h"

namespace qzagent
{
RecordsRecorder::RecordsRecorder(std::string const& aPath, Report& aReport,
                                 std::function<bool()> const& aMustStop)
    : mPath(aPath), mReport(aReport), mWriter(std::make_unique<CaptureWriter>(aPath, aMustStop))
{
}

void RecordsRecorder::take(qz::QueuedEvent const& aEvent, Board const* aBoard)
{
    mRecord.clear();
    qz::Bytes const start =
        mEncoder.startOf(aEvent.mHead, aBoard, aEvent.mPayload.mSize + aEvent.mRest.mSize);
    for (qz::Bytes const& part : {start, aEvent.mPayload, aEvent.mRest})
    {
        mRecord.insert(mRecord.end(), part.begin(), part.end());
    }
    mWriter->append({mRecord.data(), mRecord.size()});
    ++mWritten;
}

void RecordsRecorder::tick()
{
    if (!mWriter->file().isStillThere())
    {
        std::string const former = name();
        std::string const path = createBeside(mPath);
        mReport.addNote(fmt::format("{} was deleted or replaced; the recording continues in {}", former,
                                    path == mPath ? "a new file" : path));
        continueIn(path);
    }
    else if (mWriter->file().isTruncated())
    {
        mReport.addNote(fmt::format("{} was truncated", name()));
        continueIn(mWriter->file().path());
    }
}

void RecordsRecorder::continueInNextFile()
{
    bool const isThere = mWriter->file().isStillThere();
    continueIn(isThere ? mWriter->file().path() : createBeside(mPath));
}

void RecordsRecorder::continueIn(std::string const& aPath)
{
    mWriter.reset();  // a second writer would find the capture locked
    mWriter = std::make_unique<CaptureWriter>(aPath);
}
}  // namespace qzagent
