#include "tools/qzagent/capture/RecordSource.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/Bytes.h"
#include "backend/common/include/EncodableStream.h"
#include "tools/qzagent/capture/Damage.h"

namespace qzagent
{
namespace
{
/// @param aStart the first bytes of a record of scope data
/// @param aCut   position of the element that continues behind them
/// @return size of the whole record in bytes; none if the element is not the payload
std::optional<std::uint64_t> sizeOfCut(qz::Bytes aStart, std::size_t aCut)
{
    constexpr unsigned int infoBits = 0x1f;
    std::vector<unsigned char> withoutPayload(aStart.mData, aStart.mData + aCut);
    withoutPayload.push_back(QZCEncodedForm::sgByteString);
    std::size_t const info = aStart.mData[aCut] & infoBits;
    std::size_t const following =
        info < QZCEncodedForm::sgFollows1 ? 0 : std::size_t{1} << (info - QZCEncodedForm::sgFollows1);
    std::size_t const headEnd = aCut + 1 + following;
    try
    {
        qz::ScopeDataView const view(withoutPayload.data(), withoutPayload.size());
    }
    catch (qz::ScopeDataError const&)
    {
        return {};
    }
    if (headEnd > aStart.mSize || following > sizeof(std::uint32_t))
    {
        return {};
    }
    std::uint64_t const length =
        std::accumulate(aStart.mData + aCut + 1, aStart.mData + headEnd, std::uint64_t{0},
                        [](std::uint64_t aValue, unsigned char aByte) { return aValue << CHAR_BIT | aByte; });
    return headEnd + (following == 0 ? info : length);
}
}  // namespace

RecordSource::RecordSource(CaptureFile& aFile, std::size_t aLargest)
    : mFile(aFile), mLargest(aLargest), mWindow(aFile, aLargest)
{
}

std::optional<CaptureItem> RecordSource::next(bool aMayGrow)
{
    mPosition += mSize;
    mWindow.skip(std::exchange(mSize, 0));
    if (mTooLarge != 0)
    {
        return skipTooLarge(aMayGrow);
    }
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
            if (record.size() > mLargest)
            {
                mTooLarge = record.size();
                return skipTooLarge(aMayGrow);
            }
            mSize = record.size();
            return itemOf(record);
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
                mTooLarge = sizeOfCut({mWindow.data(), mWindow.size()}, error.position()).value_or(0);
                return mTooLarge != 0 ? skipTooLarge(aMayGrow) : damage(tooLargeText(mPosition, mLargest));
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

/// @return none as long as the rest of the record may be appended
std::optional<CaptureItem> RecordSource::skipTooLarge(bool aMayGrow)
{
    while (mSkipped < mTooLarge && (mWindow.size() != 0 || mWindow.readMore()))
    {
        auto const size =
            static_cast<std::size_t>(std::min<std::uint64_t>(mWindow.size(), mTooLarge - mSkipped));
        mWindow.skip(size);
        mSkipped += size;
    }
    if (mSkipped < mTooLarge && aMayGrow)
    {
        return {};
    }
    std::string const text = fmt::format(
        "{}: at byte {}: a record of {} bytes is larger than {} bytes (--max-record); skipped {} bytes",
        mFile.name(), mPosition, mTooLarge, mLargest, mSkipped);
    mPosition += std::exchange(mSkipped, 0);
    mTooLarge = 0;
    return CaptureDamage{text};
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
