#include "agentkit/include/ScopeDataView.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <type_traits>

#include "backend/common/include/Exception.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"

namespace qz
{
namespace
{
/// The stream counts bytes in 32 bits.
constexpr unsigned int largestSize = std::numeric_limits<unsigned int>::max();
/// The low bits of a head, which hold a small value or how many bytes of a larger one follow.
constexpr unsigned int infoBits = 0x1f;

/// What the elements of a record are.
enum class Kind
{
    boolean,
    number,
    bytes
};

/// Takes elements from the stream. The error of a refused element says where it begins and whether it is cut.
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
        attempt([&] { mIn >> value; }, std::is_same_v<Value, bool> ? Kind::boolean : Kind::number);
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
            Kind::bytes);
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
    void attempt(Extraction aExtract, Kind aKind)
    {
        try
        {
            aExtract();
        }
        catch (QZCEncodingEx const& error)
        {
            throw ScopeDataError(error.what(), position(), isCut(aKind));
        }
    }

    /// Whether bytes may be missing in the refused element that comes next.
    bool isCut(Kind aKind) const
    {
        unsigned int const remaining = mIn.getRemaining();
        if (mSize == largestSize)
        {
            return false;
        }
        if (remaining == 0)
        {
            return true;
        }
        unsigned int const head = mBytes[position()];
        unsigned int const info = head & infoBits;
        unsigned int const major =
            aKind == Kind::bytes ? QZCEncodedForm::sgByteString : QZCEncodedForm::sgUnsigned;
        if (aKind == Kind::boolean || head - info != major || info > QZCEncodedForm::sgFollows8)
        {
            return false;
        }
        // A byte string with a proper head is refused for the missing bytes of its body; a number that is refused has
        // bytes of value, and is too large if they are there.
        return aKind == Kind::bytes || 1u << (info - QZCEncodedForm::sgFollows1) >= remaining;
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

ScopeDataError::~ScopeDataError() noexcept = default;

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
