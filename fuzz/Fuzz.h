/// @file
/// What the fuzz targets share. Each target is a program of one source, which defines check(); Fuzz.cpp has the
/// entry points that libFuzzer calls.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz
{
/// The bytes of one run.
class Input
{
public:
    Input(std::uint8_t const* aBytes, std::size_t aSize) : mBytes(aBytes), mSize(aSize) {}

    /// What has not been taken.
    std::uint8_t const* data() const { return mBytes; }
    std::size_t size() const { return mSize; }

    /// Takes the first byte; 0 when there are no more.
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

/// What has not been taken, as a text, which ends at its first NUL.
inline std::string textOf(Input const& aInput)
{
    std::uint8_t const* const end = aInput.data() + aInput.size();
    return {aInput.data(), std::find(aInput.data(), end, 0)};
}

/// One run of the target. Whatever leaves it other than by a return is a finding.
void check(Input aInput);

/// Makes the input a finding unless the promise was kept.
inline void expect(bool aIsKept, char const* aPromise)
{
    if (!aIsKept)
    {
        std::fprintf(stderr, "broken promise: %s\n", aPromise);
        std::abort();
    }
}
}  // namespace fuzz
