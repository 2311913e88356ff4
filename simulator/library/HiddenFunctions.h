/// @file
/// Removes functions from a loaded library.
#pragma once

#include <string>

namespace qzsim
{
/// Makes dlsym report an exported function of this library as undefined.
void hideFunction(std::string const& aName);
}  // namespace qzsim
