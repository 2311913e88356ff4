/// @file
/// Records the calls of this process.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/recording/CborWriter.h"
#include "simulator/recording/Ring.h"

namespace qzsim
{
/// Writes packets of the form that docs/captures.md describes. If the runner has ended, nothing is recorded any more.
/// Thread-safety: all functions from any thread.
class Recorder
{
public:
    using Clock = std::chrono::steady_clock;

    /// @param aPath of the file of the ring
    explicit Recorder(std::string const& aPath) : mRing(aPath) {}

    /// Begins a packet: an open map with the kind and name of what happened, and the process and thread.
    static void begin(CborWriter& aWriter, char const* aKind, std::string_view aName);

    /// Ends the packet and records it.
    void write(std::string_view aLibrary, CborWriter& aWriter) noexcept;

    /// @return a number for a registration, which no other process uses
    std::uint32_t nextNumber() noexcept { return mRing.nextNumber(); }

private:
    Ring mRing;
};
}  // namespace qzsim
