// Scope data with libcbor. A record is a tree of items in an array, which is serialised and loaded.
#include <cstddef>
#include <cstdlib>
#include <memory>

#include <benchmark/benchmark.h>
#include <cbor.h>

#include "benchmarks/ScopeDataBenchmark.h"

namespace
{
struct DropItem
{
    void operator()(cbor_item_t* aItem) const { cbor_decref(&aItem); }
};

using Item = std::unique_ptr<cbor_item_t, DropItem>;

/// A block that can grow. libcbor leaves the growing to its callers.
struct Block
{
    Block() = default;
    ~Block() { std::free(mBytes); }
    Block(Block const&) = delete;
    Block& operator=(Block const&) = delete;

    unsigned char* mBytes = nullptr;
    std::size_t mRoom = 0;
    std::size_t mLength = 0;
};

Item makeBytes(unsigned char const* aBytes, std::size_t aLength)
{
    return Item(cbor_build_bytestring(aBytes, aLength));
}

class LibcborCodec
{
public:
    using Writer = Block;
    using Record = Item;

    explicit LibcborCodec(ScopeContents const& aContents)
        : mRecord(cbor_new_definite_array(aContents.mHasNames ? 6 : 4))
    {
        push(Item(cbor_build_uint8(aContents.mCategory)));
        push(Item(cbor_build_uint8(aContents.mSubcategory)));
        push(Item(cbor_build_bool(aContents.mHasNames)));
        if (aContents.mHasNames)
        {
            push(makeBytes(aContents.mFirst, ScopeContents::sNameSize));
            push(makeBytes(aContents.mSecond, ScopeContents::sNameSize));
        }
        push(makeBytes(aContents.mPayload.data(), aContents.mPayload.size()));
    }

    void encode(Writer& aWriter) const
    {
        aWriter.mLength = cbor_serialize(mRecord.get(), aWriter.mBytes, aWriter.mRoom);
        if (aWriter.mLength == 0)
        {
            std::free(aWriter.mBytes);
            aWriter.mLength = cbor_serialize_alloc(mRecord.get(), &aWriter.mBytes, &aWriter.mRoom);
        }
    }

    static unsigned char const* bytes(Writer const& aWriter) { return aWriter.mBytes; }
    static std::size_t length(Writer const& aWriter) { return aWriter.mLength; }

    static bool decode(Record& aRecord, unsigned char const* aBytes, std::size_t aLength)
    {
        cbor_load_result result = {};
        aRecord.reset(cbor_load(aBytes, aLength, &result));
        return aRecord != nullptr;
    }

private:
    void push(Item aItem) { static_cast<void>(cbor_array_push(mRecord.get(), aItem.get())); }

    Item mRecord;
};

BENCHMARK(encodeReused<LibcborCodec>)->Name("LibcborEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<LibcborCodec>)->Name("LibcborEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<LibcborCodec>)->Name("LibcborDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
