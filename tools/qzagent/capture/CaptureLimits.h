/// @file
/// When a recording starts its next file, and how many files it keeps.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace qzagent
{
/// A size in bytes or a time.
struct RotateLimit
{
    std::optional<std::uint64_t> mSize;
    std::optional<std::chrono::seconds> mTime;
};

/// A number of files or a size in bytes.
struct KeepLimit
{
    std::optional<std::uint64_t> mFiles;
    std::optional<std::uint64_t> mSize;
};

/// @param aText a number from 1 and a unit: K, M, G or T for powers of 1024 bytes; s, m, h or d for a time
/// @return none for any other text
std::optional<RotateLimit> parseRotateLimit(std::string const& aText);

/// @param aText a number of files from 1, or a number from 1 and K, M, G or T for powers of 1024 bytes
/// @return none for any other text
std::optional<KeepLimit> parseKeepLimit(std::string const& aText);
}  // namespace qzagent
