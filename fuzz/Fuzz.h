/// @file
/// Shared by all fuzz targets. Each target is a program with a source that defines check(). Fuzz.cpp has the entry
/// points that libFuzzer calls.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz
{
/// The input of one run.
class Input
{
public:
    Input(std::uint8_t const* aBytes, std::size_t aSize) : mBytes(aBytes), mSize(aSize) {}

    /// The bytes that have not been taken.
    std::uint8_t const* data() const { return mBytes; }
    std::size_t size() const { return mSize; }

    /// Takes the first byte, or returns 0 when none is left.
    std::uint8_t take()
    {
        if (mSize == 0)
        {
            return 0;
        }
        --mSize;
        return *mBytes++;
    }

private:
    std::uint8_t const* mBytes;
    std::size_t mSize;
};

/// The bytes that have not been taken, as a text up to the first NUL.
inline std::string textOf(Input const& aInput)
{
    std::uint8_t const* const end = aInput.data() + aInput.size();
    return {aInput.data(), std::find(aInput.data(), end, 0)};
}

/// Runs the target once. Every exit other than a return is a failure.
void check(Input aInput);

/// Aborts, so that libFuzzer reports the input, unless the property holds.
inline void expect(bool aHolds, char const* aProperty)
{
    if (!aHolds)
    {
        std::fprintf(stderr, "violated: %s\n", aProperty);
        std::abort();
    }
}
}  // namespace fuzz
