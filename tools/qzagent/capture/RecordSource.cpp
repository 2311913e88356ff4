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

std::optional<CaptureItem> RecordSource::next(bool aMayGrow)
{
    mPosition += mSize;
    mWindow.skip(std::exchange(mSize, 0));
    if (mWindow.size() == 0 && !mWindow.readMore())
    {
        return {};
    }
    if (!mHasLatencies)
    {
        mHasLatencies = hasLatencies(aMayGrow);
    }
    if (!mHasLatencies)
    {
        return {};
    }
    return *mHasLatencies ? nextOf<LatencyRecord>(aMayGrow) : nextOf<qz::ScopeDataView>(aMayGrow);
}

/// @return none when more bytes are necessary
std::optional<bool> RecordSource::hasLatencies(bool aMayGrow)
{
    std::optional<bool> found;
    do
    {
        found = LatencyRecord::startsIn(mWindow.data(), mWindow.size());
    } while (!found && mWindow.readMore());
    return found || aMayGrow ? found : false;
}

/// Decodes the next record, and reads more of the file whenever the window ends inside the record.
template <typename Record>
std::optional<CaptureItem> RecordSource::nextOf(bool aMayGrow)
{
    for (;;)
    {
        try
        {
            Record const record(mWindow.data(), mWindow.size());
            mSize = record.size();
            return mSize > mLargest ? damage(tooLargeText(mPosition, mLargest)) : itemOf(record);
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

CaptureItem RecordSource::itemOf(qz::ScopeDataView const& aRecord) const
{
    CaptureEvent event;
    event.mPosition = mPosition;
    event.mRecord = aRecord;
    event.mEncoded = {mWindow.data(), mSize};
    return event;
}

CaptureItem RecordSource::itemOf(LatencyRecord const& aRecord)
{
    return CaptureLatencies{mLatencies++, mPosition, aRecord, {mWindow.data(), mSize}};
}

CaptureDamage RecordSource::damage(std::string const& aText)
{
    bool const isUnclear = mPosition == 0 && mFile.isFormGuessed();
    return {fmt::format("{}: {}; skipped {} bytes from byte {} to the end{}", mFile.name(), aText, skipAll(),
                        mPosition, isUnclear ? "; --format pcapng reads a damaged pcapng file" : "")};
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
