/// @file
/// Why something failed, as text.
#pragma once

#include <exception>
#include <string>

namespace qzagent
{
/// @return the text of the exception; "not enough memory" for std::bad_alloc
std::string reasonOf(std::exception const& aException);
}  // namespace qzagent
