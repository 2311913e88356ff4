// Scope data decoded by hand, with the same conversions and heap blocks as our record, and the cost of copying only the
// payload.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <benchmark/benchmark.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"
#include "benchmarks/ScopeDataBenchmark.h"

namespace
{
/// An object and the count of its owners, in two blocks.
template <typename T>
struct Counted
{
    template <typename... Arguments>
    explicit Counted(Arguments&&... aArguments)
        : mObject(new T{std::forward<Arguments>(aArguments)...}), mCount(new unsigned int{1})
    {
    }

    std::unique_ptr<T> mObject;
    std::unique_ptr<unsigned int> mCount;
};

struct PlainEvent
{
    unsigned char mCategory = 0;
    unsigned char mSubcategory = 0;
};

/// Up to 39 bytes are inside the object, more are in a block.
struct PlainBuffer
{
    PlainBuffer(unsigned char const* aBytes, std::size_t aLength) : mLength(aLength)
    {
        if (aLength > sizeof mInside)
        {
            mOutside.reset(new unsigned char[aLength]);
        }
        std::memcpy(mOutside ? mOutside.get() : mInside, aBytes, aLength);
    }

    std::size_t mLength;
    std::unique_ptr<unsigned char[]> mOutside;
    unsigned char mInside[39];
};

struct PlainName
{
    unsigned char mBytes[ScopeContents::sNameSize] = {};
    Counted<std::string> mText{};
};

struct PlainRecord
{
    std::optional<Counted<PlainEvent>> mEvent;
    bool mHasNames = false;
    std::optional<Counted<PlainName>> mFirst;
    std::optional<Counted<PlainName>> mSecond;
    std::optional<Counted<PlainBuffer>> mPayload;
};

/// Reads our encoded form. Invalid input sets mIsBroken.
class PlainReader
{
public:
    PlainReader(unsigned char const* aBytes, std::size_t aLength) : mNext(aBytes), mRemaining(aLength) {}

    bool isDone() const { return mRemaining == 0 && !mIsBroken; }

    unsigned char readByte()
    {
        unsigned char const* const byte = take(1);
        return byte != nullptr ? *byte : 0;
    }

    Counted<PlainBuffer> readBuffer()
    {
        unsigned char const* const head = take(sHeadSize);
        std::size_t const length = head != nullptr ? lengthOf(head) : 0;
        unsigned char const* const bytes = take(length);
        return Counted<PlainBuffer>(bytes, bytes != nullptr ? length : 0);
    }

private:
    static constexpr std::size_t sHeadSize = 5;

    static std::size_t lengthOf(unsigned char const* aHead)
    {
        return std::size_t{aHead[1]} << 24 | std::size_t{aHead[2]} << 16 | std::size_t{aHead[3]} << 8 |
               aHead[4];
    }

    unsigned char const* take(std::size_t aLength)
    {
        if (aLength > mRemaining)
        {
            mIsBroken = true;
            return nullptr;
        }
        unsigned char const* const start = mNext;
        mNext += aLength;
        mRemaining -= aLength;
        return start;
    }

    unsigned char const* mNext;
    std::size_t mRemaining;
    bool mIsBroken = false;
};

Counted<PlainName> readName(PlainReader& aReader)
{
    Counted<PlainName> name;
    Counted<PlainBuffer> const buffer = aReader.readBuffer();
    unsigned char* const bytes = name.mObject->mBytes;
    std::memcpy(bytes, buffer.mObject->mInside, ScopeContents::sNameSize);
    char text[3 * ScopeContents::sNameSize];
    char* end = text;
    for (unsigned int i = 0; i < ScopeContents::sNameSize - 1; ++i)
    {
        // Like our record, this writes each byte and its separator separately.
        end += std::sprintf(end, "%02x", bytes[i]);
        end += std::sprintf(end, "%s", ":");
    }
    std::sprintf(end, "%02x", bytes[ScopeContents::sNameSize - 1]);
    name.mObject->mText = Counted<std::string>(text);
    return name;
}

class PlainCodec
{
public:
    using Writer = QZCEncodableOutStream;
    using Record = PlainRecord;

    explicit PlainCodec(ScopeContents const& aContents) : mContents(aContents) {}

    void encode(Writer& aWriter) const
    {
        aWriter << mContents.mCategory << mContents.mSubcategory << mContents.mHasNames;
        if (mContents.mHasNames)
        {
            aWriter << QZCLocalBuffer(mContents.mFirst, ScopeContents::sNameSize)
                    << QZCLocalBuffer(mContents.mSecond, ScopeContents::sNameSize);
        }
        auto const length = static_cast<unsigned int>(mContents.mPayload.size());
        aWriter << (length != 0 ? 1u : 0u);
        if (length != 0)
        {
            aWriter << QZCLocalBuffer(mContents.mPayload.data(), length);
        }
    }

    static unsigned char const* bytes(Writer const& aWriter) { return aWriter.getEncoded(); }
    static std::size_t length(Writer const& aWriter) { return aWriter.getEncoded().getLength(); }

    __attribute__((noinline)) static bool decode(Record& aRecord, unsigned char const* aBytes,
                                                 std::size_t aLength)
    {
        PlainReader reader(aBytes, aLength);
        aRecord.mEvent.emplace();
        aRecord.mEvent->mObject->mCategory = reader.readByte();
        aRecord.mEvent->mObject->mSubcategory = reader.readByte();
        aRecord.mHasNames = reader.readByte() == 0xf5;
        if (aRecord.mHasNames)
        {
            aRecord.mFirst = readName(reader);
            aRecord.mSecond = readName(reader);
        }
        if (reader.readByte() != 0)
        {
            aRecord.mPayload = reader.readBuffer();
        }
        return reader.isDone();
    }

private:
    ScopeContents mContents;
};

void BlockAndMemcpy(benchmark::State& aState)
{
    ScopeContents const contents(aState);
    std::size_t const length = contents.mPayload.size();
    measure(aState,
            [&]
            {
                std::unique_ptr<unsigned char[]> const copy(new unsigned char[length]);
                std::memcpy(copy.get(), contents.mPayload.data(), length);
                benchmark::DoNotOptimize(copy.get());
                benchmark::ClobberMemory();
            });
}

BENCHMARK(decodeFresh<PlainCodec>)->Name("PlainDecodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(BlockAndMemcpy)->ArgNames({"payload", "names"})->Args({64 << 10, 0})->Args({1 << 20, 0});
}  // namespace
