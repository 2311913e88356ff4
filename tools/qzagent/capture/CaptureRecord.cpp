#include "tools/qzagent/capture/CaptureRecord.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace qzagent
{
namespace
{
constexpr unsigned int wwnSize = 8;
constexpr unsigned int longestHead = 9;

/// The library's stream cannot hold more bytes.
constexpr unsigned int largestSize = std::numeric_limits<unsigned int>::max();

/// Decodes the record with the library too, which decides what a valid record is.
void checkWithLibrary(unsigned char const* aBytes, unsigned int aSize)
{
    QZCEncodableInStream in(aBytes, aSize);
    QZCScopeData(QZCPointer<QZCScopeEvent>(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New))
        .decode(in);
}

class RecordReader
{
public:
    RecordReader(unsigned char const* aBytes, unsigned int aSize)
        : mBytes(aBytes), mSize(aSize), mIn(aBytes, aSize)
    {
    }

    CaptureRecord read()
    {
        try
        {
            CaptureRecord record = readMembers();
            checkWithLibrary(mBytes, position());
            return record;
        }
        catch (QZCEncodingEx const& error)
        {
            // The position in the text counts from these bytes. The stream stays at the element that it refuses.
            std::string const text = error.what();
            throw RecordDamage(text.substr(text.find(": ") + 2), position(), mayBeCut());
        }
    }

private:
    CaptureRecord readMembers()
    {
        QZCScopeEvent event;
        event.decode(mIn);
        CaptureRecord record{0, event.getCategory(), event.getSubcategory(), {}, {}, {}};
        bool hasNames = false;
        mIn >> hasNames;
        if (hasNames)
        {
            record.mFirstWwn = readWwn();
            record.mSecondWwn = readWwn();
        }
        unsigned int marker = 0;
        mIn >> marker;
        if (marker != 0)
        {
            record.mPayload = readBytes();
        }
        record.mSize = position();
        return record;
    }

    /// Reads a name and checks its length, which the library does not.
    std::string readWwn()
    {
        unsigned int const start = position();
        std::vector<unsigned char> const bytes = readBytes();
        if (bytes.size() != wwnSize)
        {
            throw RecordDamage(
                fmt::format("expected a name of {} bytes, found one of {}", wwnSize, bytes.size()), start,
                false);
        }
        return QZCWorldWideName(bytes.data()).getStringForm().get();
    }

    std::vector<unsigned char> readBytes()
    {
        mExpectsBytes = true;
        QZCPointer<QZCBuffer> buffer;
        mIn >> buffer;
        mExpectsBytes = false;
        QZCBuffer const& content = *buffer;
        unsigned char const* const first = content;
        return {first, first + content.getLength()};
    }

    unsigned int position() const { return mSize - mIn.getRemaining(); }

    /// When longestHead bytes remain, the next head is complete. Only the body of a byte string can then be truncated.
    bool mayBeCut() const
    {
        if (mSize == largestSize || mIn.getRemaining() < longestHead)
        {
            return mSize != largestSize;
        }
        unsigned char const head = mBytes[position()];
        return mExpectsBytes && head >= QZCEncodedForm::sgByteString &&
               head <= (QZCEncodedForm::sgByteString | QZCEncodedForm::sgFollows8);
    }

    unsigned char const* mBytes;
    unsigned int mSize;
    QZCEncodableInStream mIn;
    bool mExpectsBytes = false;
};
}  // namespace

CaptureRecord decodeRecord(unsigned char const* aBytes, std::size_t aSize)
{
    std::size_t const size = std::min<std::size_t>(aSize, largestSize);
    return RecordReader(aBytes, static_cast<unsigned int>(size)).read();
}
}  // namespace qzagent
