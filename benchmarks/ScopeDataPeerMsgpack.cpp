// Scope data with msgpack. Encoding packs an array from the contents. Decoding unpacks into an object that owns copies.
#include <cstddef>
#include <cstdint>
#include <utility>

#include <benchmark/benchmark.h>
#include <msgpack.hpp>

#include "benchmarks/ScopeDataBenchmark.h"

namespace
{
class MsgpackCodec
{
public:
    using Writer = msgpack::sbuffer;
    using Record = msgpack::object_handle;

    explicit MsgpackCodec(ScopeContents aContents) : mContents(std::move(aContents)) {}

    __attribute__((noinline)) void encode(Writer& aWriter) const
    {
        aWriter.clear();
        msgpack::packer<msgpack::sbuffer> packer(aWriter);
        packer.pack_array(mContents.mHasNames ? 6 : 4);
        packer.pack_uint8(mContents.mCategory);
        packer.pack_uint8(mContents.mSubcategory);
        mContents.mHasNames ? packer.pack_true() : packer.pack_false();
        if (mContents.mHasNames)
        {
            packBytes(packer, mContents.mFirst, ScopeContents::sNameSize);
            packBytes(packer, mContents.mSecond, ScopeContents::sNameSize);
        }
        packBytes(packer, mContents.mPayload.data(), mContents.mPayload.size());
    }

    static char const* bytes(Writer const& aWriter) { return aWriter.data(); }
    static std::size_t length(Writer const& aWriter) { return aWriter.size(); }

    __attribute__((noinline)) static bool decode(Record& aRecord, char const* aBytes, std::size_t aLength)
    {
        msgpack::unpack(aRecord, aBytes, aLength);
        return aRecord.get().type == msgpack::type::ARRAY;
    }

private:
    static void packBytes(msgpack::packer<msgpack::sbuffer>& aPacker, unsigned char const* aBytes,
                          std::size_t aLength)
    {
        auto const length = static_cast<std::uint32_t>(aLength);
        aPacker.pack_bin(length);
        aPacker.pack_bin_body(reinterpret_cast<char const*>(aBytes), length);
    }

    ScopeContents mContents;
};

class MsgpackBuilder
{
public:
    using Writer = MsgpackCodec::Writer;

    explicit MsgpackBuilder(ScopeContents const& aContents) : mEvent(aContents) { mEvent.mPayload = {}; }

    void buildAndEncode(unsigned char const* aBytes, std::size_t aLength, Writer& aWriter) const
    {
        ScopeContents contents(mEvent);
        contents.mPayload.assign(aBytes, aBytes + aLength);
        MsgpackCodec const codec(std::move(contents));
        codec.encode(aWriter);
    }

private:
    ScopeContents mEvent;
};

BENCHMARK(encodeReused<MsgpackCodec>)->Name("MsgpackEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<MsgpackCodec>)->Name("MsgpackEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(buildAndEncode<MsgpackBuilder>)->Name("MsgpackBuildScopeData")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<MsgpackCodec>)->Name("MsgpackDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
