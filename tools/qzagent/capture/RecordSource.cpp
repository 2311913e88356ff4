#include "tools/qzagent/capture/RecordSource.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "tools/qzagent/capture/Damage.h"

namespace qzagent
{
RecordSource::RecordSource(CaptureFile& aFile, std::size_t aLargest)
    : mFile(aFile), mLargest(aLargest), mWindow(aFile, aLargest)
{
}

/// Decodes the next record, and reads more of the file whenever the window ends inside the record.
std::optional<CaptureItem> RecordSource::next(bool aMayGrow)
{
    mPosition += mSize;
    mWindow.skip(std::exchange(mSize, 0));
    if (mWindow.size() == 0 && !mWindow.readMore())
    {
        return {};
    }
    for (;;)
    {
        try
        {
            CaptureEvent event;
            event.mPosition = mPosition;
            event.mRecord.emplace(mWindow.data(), mWindow.size());
            mSize = event.mRecord->size();
            event.mEncoded = {mWindow.data(), mSize};
            return mSize > mLargest ? std::optional<CaptureItem>(damage(tooLargeText(mPosition, mLargest)))
                                    : event;
        }
        catch (qz::ScopeDataError const& error)
        {
            bool const isCut = error.mayBeShort();
            if (isCut && mWindow.readMore())
            {
                continue;
            }
            if (isCut && mWindow.size() > mLargest)
            {
                return damage(tooLargeText(mPosition, mLargest));
            }
            if (isCut && aMayGrow)
            {
                return {};
            }
            return damage(damageText(mPosition, error));
        }
    }
}

CaptureDamage RecordSource::damage(std::string const& aText)
{
    return {fmt::format("{}: {}; skipped {} bytes from byte {} to the end", mFile.name(), aText, skipAll(),
                        mPosition)};
}

/// @return number of bytes from the last record to the end
std::uint64_t RecordSource::skipAll()
{
    std::uint64_t count = 0;
    mSize = 0;
    do
    {
        count += mWindow.size();
        mWindow.skip(mWindow.size());
    } while (mWindow.readMore());
    return count;
}
}  // namespace qzagent
