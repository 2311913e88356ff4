/// @file
/// Numbers in arguments.
#pragma once

#include <cstdint>

#include <CLI/CLI.hpp>

namespace qzagent
{
/// A number as people write it; the parser by itself would take 010 for 8.
CLI::Validator numberFrom(std::uint64_t aSmallest, std::uint64_t aLargest);
}  // namespace qzagent
