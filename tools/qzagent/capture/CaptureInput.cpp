#include "tools/qzagent/capture/CaptureInput.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "tools/qzagent/capture/CaptureSeries.h"
#include "tools/qzagent/capture/JsonSource.h"
#include "tools/qzagent/capture/PcapngSource.h"
#include "tools/qzagent/capture/RecordSource.h"
#include "tools/qzagent/capture/ReportSource.h"

namespace qzagent
{
namespace
{
std::unique_ptr<CaptureSource> makeSource(CaptureFile& aFile, CaptureForm aForm,
                                          CaptureOptions const& aOptions)
{
    std::size_t const largest = aOptions.mLargest;
    switch (aForm)
    {
        case CaptureForm::report:
            if (aOptions.mReportRefusal != nullptr)
            {
                throw CaptureError(fmt::format("{}: {}", aFile.name(), aOptions.mReportRefusal));
            }
            return std::make_unique<ReportSource>(aFile);
        case CaptureForm::pcapng:
            return std::make_unique<PcapngSource>(aFile, largest);
        case CaptureForm::json:
            return std::make_unique<JsonSource>(aFile, largest);
        default:
            return std::make_unique<RecordSource>(aFile, largest);
    }
}
}  // namespace

CaptureInput::CaptureInput(std::string const& aPath, CaptureOptions const& aOptions)
    : mPath(aPath), mOptions(aOptions)
{
    open();
}

std::optional<CaptureItem> CaptureInput::next()
{
    std::optional<CaptureItem> item = read(mOptions.mIsFollowed && !mFile->hasEnded());
    while (!item && !mHasEnded)
    {
        std::optional<std::string> const next = pathOfNext();
        if (!next)
        {
            break;
        }
        // Nothing is appended to this file any more.
        item = read(false);
        if (!item)
        {
            mPath = *next;
            mSource.reset();
            open();
            item = read(true);
        }
    }
    mHasEnded = !item && mFile->hasEnded();
    return item;
}

std::optional<CaptureItem> CaptureInput::read(bool aMayGrow)
{
    if (!mSource)
    {
        std::optional<CaptureForm> const form = mFile->form();
        if (!form)
        {
            return {};
        }
        mSource = makeSource(*mFile, *form, mOptions);
    }
    std::optional<CaptureItem> item = mSource->next(aMayGrow);
    // The end of a pipe is found only by reading it.
    if (!item && aMayGrow && mFile->hasEnded())
    {
        item = mSource->next(false);
    }
    return item;
}

/// @return path of the file in which reading continues; none as long as it is this one
std::optional<std::string> CaptureInput::pathOfNext() const
{
    if (!mOptions.mIsFollowed)
    {
        return {};
    }
    if (mFile->isReplaced())
    {
        return mPath;
    }
    return nextInSeries(mPath, mOptions.mOwnInputs);
}

void CaptureInput::open()
{
    mFile = std::make_unique<CaptureFile>(
        mPath, mOptions.mIsFollowed ? CaptureFile::Reading::following : CaptureFile::Reading::toTheEnd,
        mOptions.mForm, mOptions.mStop, mOptions.mName);
}
}  // namespace qzagent
