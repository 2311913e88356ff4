// Compares setting a World Wide Name with the conversions that it needs.
#include <cstdio>
#include <string>

#include <benchmark/benchmark.h>

#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace
{
constexpr unsigned char bytes[] = {0x10, 0x00, 0x00, 0x00, 0xc9, 0x2a, 0x3b, 0x4c};
constexpr char text[] = "10:00:00:00:c9:2a:3b:4c";

void QZCSetNameFromBytes(benchmark::State& aState)
{
    QZCWorldWideName name;
    for (auto _ : aState)
    {
        name.setBinaryForm(bytes);
        benchmark::ClobberMemory();
    }
}

void EightSnprintfAndString(benchmark::State& aState)
{
    std::string name;
    benchmark::DoNotOptimize(name);
    for (auto _ : aState)
    {
        char local[24];
        for (int i = 0; i < 8; ++i)
        {
            std::snprintf(local + i * 3, sizeof local - static_cast<std::size_t>(i) * 3,
                          i < 7 ? "%02x:" : "%02x", bytes[i]);
        }
        name = std::string(local);
        benchmark::ClobberMemory();
    }
}

void QZCSetNameFromText(benchmark::State& aState)
{
    QZCWorldWideName name;
    QZCString const form(text);
    for (auto _ : aState)
    {
        name.setStringForm(form);
        benchmark::ClobberMemory();
    }
}

void EightSscanf(benchmark::State& aState)
{
    unsigned char name[8] = {};
    benchmark::DoNotOptimize(name);
    for (auto _ : aState)
    {
        for (int i = 0; i < 8; ++i)
        {
            char const pair[] = {text[i * 3], text[i * 3 + 1], '\0'};
            unsigned int value = 0;
            std::sscanf(pair, "%x", &value);
            name[i] = static_cast<unsigned char>(value);
        }
        benchmark::ClobberMemory();
    }
}

BENCHMARK(QZCSetNameFromBytes);
BENCHMARK(EightSnprintfAndString);
BENCHMARK(QZCSetNameFromText);
BENCHMARK(EightSscanf);
}  // namespace
