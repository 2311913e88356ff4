/// @file
/// How a capture names its boards.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "agentkit/include/Wwn.h"
#include "pcapng/Blocks.h"

namespace qzagent
{
/// @param aBoard number of the board; none when it is unknown
/// @param aFirst first World Wide Name of the board; none when the names are unknown
/// @param aSecond second World Wide Name; only used with the first one
/// @return the interface of scope data of this board
pcapng::Interface interfaceOfBoard(std::optional<std::uint32_t> const& aBoard,
                                   std::optional<qz::Wwn> const& aFirst,
                                   std::optional<qz::Wwn> const& aSecond);

/// @param aName name of an interface
/// @return the number of the board; none when the name is not that of a board
std::optional<std::uint32_t> boardNamed(std::string_view aName);
}  // namespace qzagent
