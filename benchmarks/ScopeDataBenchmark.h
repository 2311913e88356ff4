/// @file
/// What the benchmarks of scope data and of its peers share: the record's contents, and what is measured.
///
/// A codec is a class that holds one record the way its library holds records, and has
///
///     Codec(ScopeContents const&)
///     Writer                           what is encoded into; made empty by its default constructor
///     encode(Writer&) const            forgets what the writer holds, keeps its room, and encodes the record
///     bytes(Writer const&)             where the encoded record starts
///     length(Writer const&)            and its number of bytes
///     Record                           a decoded record that owns its contents
///     decode(Record&, bytes, length)   reads into a fresh record; false when the bytes are no record
///
/// Ours is a function of a shared library; those that are inline in their headers are kept from melting into
/// the loops, since a record's encoding and decoding are functions of some library there too.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "benchmarks/HeapBlocks.h"

/// A diagnostic event: the two numbers of its kind, two names of 8 bytes if it has any, and its payload.
struct ScopeContents
{
    static constexpr unsigned int sNameSize = 8;

    /// Of the size and with the names that the benchmark's arguments ask for.
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

/// Makes a codec of which the compiler knows nothing when it compiles the loops: not even what it holds.
template <typename Codec>
std::unique_ptr<Codec> makeCodec(benchmark::State const& aState)
{
    auto codec = std::make_unique<Codec>(ScopeContents(aState));
    benchmark::DoNotOptimize(codec.get());
    return codec;
}

/// Encodes into a writer that has held the record before.
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

/// Builds a record around the bytes of an event and encodes it into a writer that has held one before. Kind and names
/// of an event are known before its bytes come: a builder has them ready, in the form that its library takes. It has
///
///     Builder(ScopeContents const&)
///     Writer                                   as a codec has it
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
