#include "tools/qzagent/capture/Capture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>

#include "agentkit/include/ScopeDataView.h"
#include "tools/qzagent/capture/Damage.h"
#include "tools/qzagent/capture/LatencyRecord.h"

namespace qzagent
{
namespace
{
constexpr std::size_t initialWindow = 65536;
}  // namespace

Capture::Capture(std::string const& aPath) : mFile(aPath), mWindow(initialWindow) {}

bool Capture::hasLatencies()
{
    std::optional<bool> found;
    do
    {
        found = LatencyRecord::startsIn(&mWindow[mBegin], mEnd - mBegin);
    } while (!found && readMore());
    return found.value_or(false);
}

std::optional<qz::ScopeDataView> Capture::next() { return nextOf<qz::ScopeDataView>(); }

std::optional<LatencyRecord> Capture::nextLatencies() { return nextOf<LatencyRecord>(); }

template <typename Record>
std::optional<Record> Capture::nextOf()
{
    mPosition += mSize;
    mSize = 0;
    if (mBegin == mEnd && !readMore())
    {
        return {};
    }
    Record const record = viewNext<Record>();
    mSize = record.size();
    mBegin += mSize;
    return record;
}

/// Decodes the next record, and reads more of the file whenever the window ends inside the record.
template <typename Record>
Record Capture::viewNext()
{
    for (;;)
    {
        try
        {
            return {&mWindow[mBegin], mEnd - mBegin};
        }
        catch (qz::ScopeDataError const& error)
        {
            if (!error.mayBeShort() || !readMore())
            {
                throw CaptureError(name() + ": " + damageText(mPosition, error));
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
