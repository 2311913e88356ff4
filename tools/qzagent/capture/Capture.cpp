#include "tools/qzagent/capture/Capture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
constexpr std::size_t initialWindow = 65536;
}  // namespace

Capture::Capture(std::string const& aPath) : mFile(aPath), mWindow(initialWindow) {}

std::optional<CaptureRecord> Capture::next()
{
    mPosition += mSize;
    mSize = 0;
    if (mBegin == mEnd && !readMore())
    {
        return {};
    }
    CaptureRecord record = decodeNext();
    mSize = record.mSize;
    mBegin += mSize;
    return record;
}

/// Decodes the next record, and reads more of the file whenever the window ends inside the record.
CaptureRecord Capture::decodeNext()
{
    for (;;)
    {
        try
        {
            return decodeRecord(&mWindow[mBegin], mEnd - mBegin);
        }
        catch (RecordDamage const& damage)
        {
            if (!damage.mayBeCut() || !readMore())
            {
                throw CaptureError(
                    fmt::format("{}: at byte {}: {}", name(), mPosition + damage.position(), damage.what()));
            }
        }
    }
}

/// Moves the window forward and enlarges it when a record fills it.
/// @return false at the end of the file
bool Capture::readMore()
{
    auto const place = [this](std::size_t aIndex)
    { return std::next(mWindow.begin(), static_cast<std::ptrdiff_t>(aIndex)); };
    std::copy(place(mBegin), place(mEnd), mWindow.begin());
    mEnd -= mBegin;
    mBegin = 0;
    if (mWindow.size() - mEnd < initialWindow / 2)
    {
        mWindow.resize(2 * mWindow.size());
    }
    std::size_t const size = mFile.read(&mWindow[mEnd], mWindow.size() - mEnd);
    mEnd += size;
    return size != 0;
}
}  // namespace qzagent
