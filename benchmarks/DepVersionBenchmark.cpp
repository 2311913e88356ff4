// Compares parsing a version of four parts with the conversions and substrings that parsing needs.
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>

#include "backend/common/include/QZString.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"

namespace
{
constexpr char text[] = "7.2.20.6";

void QZCParseVersion(benchmark::State& aState)
{
    QZCString const form(text);
    for (auto _ : aState)
    {
        QZCDepVersion version(form);
        benchmark::DoNotOptimize(version);
    }
}

void FourAtoiAndSubstrings(benchmark::State& aState)
{
    std::string const form(text);
    for (auto _ : aState)
    {
        unsigned int components[4];
        std::size_t start = 0;
        for (unsigned int& component : components)
        {
            std::size_t const dot = form.find('.', start);
            std::string const piece = form.substr(start, dot);
            component = static_cast<unsigned int>(std::atoi(piece.c_str()));
            start = dot + 1;
        }
        benchmark::DoNotOptimize(components);
    }
}

BENCHMARK(QZCParseVersion);
BENCHMARK(FourAtoiAndSubstrings);
}  // namespace
