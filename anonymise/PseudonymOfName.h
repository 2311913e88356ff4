/// @file
/// Pseudonyms of World Wide Names and of addresses.
#pragma once

#include <cstdint>

#include "anonymise/KeyedHash.h"
#include "anonymise/Name.h"

namespace anonymise
{
/// Keeps the format of the name (NAA) and its vendor (OUI), and replaces everything else. Different names have
/// different pseudonyms. The name of eight zero bytes, which stands for no name, remains.
Name pseudonymOf(Name const& aName, KeyedHash const& aHash);

/// @param aAddress an FC ID, of which the lowest 24 bits are replaced
/// @return an address of a port; a different one for each address. 0 and the well-known addresses from 0xfffff0 remain
std::uint32_t pseudonymOfAddress(std::uint32_t aAddress, KeyedHash const& aHash);
}  // namespace anonymise
