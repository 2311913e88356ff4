/// @file
/// The benchmarks of scope data and of its peers share the record's contents and the measured operations.
///
/// A codec is a class that has one record in the form of its library. Its members are
///
///     Codec(ScopeContents const&)
///     Writer                           the target of encoding; its default constructor makes it empty
///     encode(Writer&) const            clears the writer, keeps its capacity, and encodes the record
///     bytes(Writer const&)             the start of the encoded record
///     length(Writer const&)            the number of encoded bytes
///     Record                           a decoded record that owns its contents
///     decode(Record&, bytes, length)   reads into a new record; returns false if the bytes are not a record
///
/// Our record is encoded by a function of a shared library. The codecs of header-only peers are therefore noinline: in
/// a real program their encoding and decoding would be functions of some library too.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "benchmarks/HeapBlocks.h"

/// A diagnostic event: the two numbers of its kind, optionally two names of 8 bytes, and its payload.
struct ScopeContents
{
    static constexpr unsigned int sNameSize = 8;

    /// The benchmark's arguments are the size of the payload, and whether there are names.
    explicit ScopeContents(benchmark::State const& aState)
        : mHasNames(aState.range(1) != 0), mPayload(static_cast<std::size_t>(aState.range(0)), 0x5a)
    {
    }

    unsigned char mCategory = 3;
    unsigned char mSubcategory = 7;
    bool mHasNames;
    unsigned char mFirst[sNameSize] = {0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};
    unsigned char mSecond[sNameSize] = {0x20, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};
    std::vector<unsigned char> mPayload;
};

inline void scopeDataShapes(benchmark::internal::Benchmark* aBenchmark)
{
    aBenchmark->ArgNames({"payload", "names"})->ArgsProduct({{0, 64, 1024, 64 << 10, 1 << 20}, {0, 1}});
}

/// Times aOperation and counts the heap blocks of one run.
template <typename Operation>
void measure(benchmark::State& aState, Operation aOperation)
{
    aState.counters["blocks"] = static_cast<double>(heapBlocksOf(aOperation));
    for (auto _ : aState)
    {
        aOperation();
    }
}

/// Makes a codec and hides its contents from the compiler, so that the loops are not optimised for them.
template <typename Codec>
std::unique_ptr<Codec> makeCodec(benchmark::State const& aState)
{
    auto codec = std::make_unique<Codec>(ScopeContents(aState));
    benchmark::DoNotOptimize(codec.get());
    return codec;
}

/// Encodes into a writer that has already been used for the record.
template <typename Codec>
void encodeReused(benchmark::State& aState)
{
    auto const codec = makeCodec<Codec>(aState);
    typename Codec::Writer writer;
    measure(aState,
            [&]
            {
                codec->encode(writer);
                benchmark::DoNotOptimize(writer);
                benchmark::ClobberMemory();
            });
    aState.counters["wire"] = static_cast<double>(Codec::length(writer));
}

/// Encodes into a new writer.
template <typename Codec>
void encodeFresh(benchmark::State& aState)
{
    auto const codec = makeCodec<Codec>(aState);
    measure(aState,
            [&]
            {
                typename Codec::Writer writer;
                codec->encode(writer);
                benchmark::DoNotOptimize(writer);
                benchmark::ClobberMemory();
            });
}

/// Builds a record from the bytes of an event, and encodes it into a writer that has already been used. The kind and
/// the names of an event are known before its bytes arrive, so a builder already has them in the form of its library.
/// Its members are
///
///     Builder(ScopeContents const&)
///     Writer                                   like the writer of a codec
///     buildAndEncode(bytes, length, Writer&)   makes a record that owns a copy of the bytes, and encodes it
template <typename Builder>
void buildAndEncode(benchmark::State& aState)
{
    ScopeContents const contents(aState);
    auto const builder = makeCodec<Builder>(aState);
    typename Builder::Writer writer;
    measure(aState,
            [&]
            {
                builder->buildAndEncode(contents.mPayload.data(), contents.mPayload.size(), writer);
                benchmark::DoNotOptimize(writer);
                benchmark::ClobberMemory();
            });
}

/// Decodes into a new record.
template <typename Codec>
void decodeFresh(benchmark::State& aState)
{
    auto const codec = makeCodec<Codec>(aState);
    typename Codec::Writer writer;
    codec->encode(writer);
    auto const* const bytes = Codec::bytes(writer);
    std::size_t const length = Codec::length(writer);
    measure(aState,
            [&]
            {
                typename Codec::Record record;
                if (!Codec::decode(record, bytes, length))
                {
                    aState.SkipWithError("the encoded record cannot be read");
                }
                benchmark::DoNotOptimize(record);
                benchmark::ClobberMemory();
            });
}
