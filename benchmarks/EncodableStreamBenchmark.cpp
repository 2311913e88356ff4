// Compares encoding a buffer into a reused stream with msgpack, and for large buffers with a plain copy.
#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>
#include <msgpack.hpp>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/LocalBuffer.h"

namespace
{
void QZCEncodeBuffer(benchmark::State& aState)
{
    std::vector<unsigned char> const bytes(static_cast<std::size_t>(aState.range(0)), 0x5a);
    QZCLocalBuffer const buffer(bytes.data(), static_cast<unsigned int>(bytes.size()));
    QZCEncodableOutStream out;
    for (auto _ : aState)
    {
        out.clear();
        out << buffer;
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}

void MsgpackPackBin(benchmark::State& aState)
{
    std::vector<char> const bytes(static_cast<std::size_t>(aState.range(0)), 0x5a);
    auto const length = static_cast<std::uint32_t>(bytes.size());
    msgpack::sbuffer out;
    msgpack::packer<msgpack::sbuffer> packer(out);
    for (auto _ : aState)
    {
        out.clear();
        packer.pack_bin(length);
        packer.pack_bin_body(bytes.data(), length);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
    }
}

void Memcpy(benchmark::State& aState)
{
    std::vector<unsigned char> const bytes(static_cast<std::size_t>(aState.range(0)), 0x5a);
    std::vector<unsigned char> out(bytes.size());
    for (auto _ : aState)
    {
        std::memcpy(out.data(), bytes.data(), bytes.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

BENCHMARK(QZCEncodeBuffer)->Arg(0)->Arg(64)->Arg(1024)->Arg(64 << 10)->Arg(1 << 20);
BENCHMARK(MsgpackPackBin)->Arg(0)->Arg(64)->Arg(1024);
BENCHMARK(Memcpy)->Arg(64 << 10)->Arg(1 << 20);
}  // namespace
