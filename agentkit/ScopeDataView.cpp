#include "agentkit/include/ScopeDataView.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "backend/common/include/Exception.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qz
{
namespace
{
/// The stream counts bytes in 32 bits.
constexpr unsigned int largestSize = std::numeric_limits<unsigned int>::max();
/// The largest head of an element: its first byte and eight bytes of value.
constexpr unsigned int longestHead = 9;

/// Takes elements from the stream, and tells of a refused one where it begins and whether bytes may be missing.
class Reader
{
public:
    Reader(unsigned char const* aBytes, std::size_t aSize)
        : mBytes(aBytes),
          mSize(static_cast<unsigned int>(std::min<std::size_t>(aSize, largestSize))),
          mIn(aBytes, mSize)
    {
    }

    template <typename Value>
    Value read()
    {
        Value value{};
        attempt([&] { mIn >> value; }, false);
        return value;
    }

    Bytes readBytes()
    {
        Bytes bytes{};
        attempt(
            [&]
            {
                unsigned int size = 0;
                bytes.mData = mIn.extractInPlace(size);
                bytes.mSize = size;
            },
            true);
        return bytes;
    }

    Wwn readName()
    {
        unsigned int const start = position();
        Bytes const bytes = readBytes();
        if (bytes.mSize != Wwn::size)
        {
            char text[100];
            std::snprintf(text, sizeof text, "at byte %u: expected a name of %zu bytes, found one of %zu",
                          start, Wwn::size, bytes.mSize);
            throw ScopeDataError(text, start, false);
        }
        return Wwn::ofBytes(bytes.mData);
    }

    unsigned int position() const { return mSize - mIn.getRemaining(); }

private:
    template <typename Extraction>
    void attempt(Extraction aExtract, bool aAreBytes)
    {
        try
        {
            aExtract();
        }
        catch (QZCEncodingEx const& error)
        {
            throw ScopeDataError(error.what(), position(), mayBeShort(aAreBytes));
        }
    }

    /// Only the end of the bytes can cut an element: in its head, or in the body of a byte string.
    bool mayBeShort(bool aAreBytes) const
    {
        if (mSize == largestSize)
        {
            return false;
        }
        if (mIn.getRemaining() < longestHead)
        {
            return true;
        }
        unsigned char const head = mBytes[position()];
        return aAreBytes && head >= QZCEncodedForm::sgByteString &&
               head <= (QZCEncodedForm::sgByteString | QZCEncodedForm::sgFollows8);
    }

    unsigned char const* mBytes;
    unsigned int mSize;
    QZCEncodableInStream mIn;
};
}  // namespace

ScopeDataError::ScopeDataError(char const* aText, std::size_t aPosition, bool aMayBeShort) noexcept
    : QZCException(aText, 100), QZCEncodingEx(aText, 100), mPosition(aPosition), mMayBeShort(aMayBeShort)
{
}

ScopeDataView::ScopeDataView(unsigned char const* aBytes, std::size_t aSize)
{
    Reader reader(aBytes, aSize);
    mCategory = reader.read<unsigned char>();
    mSubcategory = reader.read<unsigned char>();
    if (reader.read<bool>())
    {
        mFirst = reader.readName();
        mSecond = reader.readName();
    }
    if (reader.read<unsigned int>() != 0)
    {
        mPayload = reader.readBytes();
    }
    mSize = reader.position();
}
}  // namespace qz
