#include "tools/qzagent/capture/CaptureInput.h"

#include <memory>
#include <optional>
#include <string>

#include "tools/qzagent/capture/JsonSource.h"
#include "tools/qzagent/capture/PcapngSource.h"
#include "tools/qzagent/capture/RecordSource.h"

namespace qzagent
{
namespace
{
std::unique_ptr<CaptureSource> makeSource(CaptureFile& aFile, CaptureForm aForm, std::size_t aLargest)
{
    switch (aForm)
    {
        case CaptureForm::pcapng:
            return std::make_unique<PcapngSource>(aFile, aLargest);
        case CaptureForm::json:
            return std::make_unique<JsonSource>(aFile, aLargest);
        default:
            return std::make_unique<RecordSource>(aFile, aLargest);
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
    while (!item && !mHasEnded && mFile->isReplaced())
    {
        // What the replaced file has at its end stays as it is.
        item = read(false);
        if (!item)
        {
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
        mSource = makeSource(*mFile, *form, mOptions.mLargest);
    }
    std::optional<CaptureItem> item = mSource->next(aMayGrow);
    // The end of a pipe is found only by reading it.
    if (!item && aMayGrow && mFile->hasEnded())
    {
        item = mSource->next(false);
    }
    return item;
}

void CaptureInput::open()
{
    mFile = std::make_unique<CaptureFile>(
        mPath, mOptions.mIsFollowed ? CaptureFile::Reading::following : CaptureFile::Reading::toTheEnd,
        mOptions.mForm, mOptions.mStop);
}
}  // namespace qzagent
