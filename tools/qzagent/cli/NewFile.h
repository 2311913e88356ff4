/// @file
/// Files that the agent makes.
#pragma once

#include <string>

#include "backend/common/include/Buffer.h"

namespace qzagent
{
/// @throws std::system_error "cannot write PATH: File exists" when there is one
void expectNoFile(std::string const& aPath);

/// Makes a file with the content. Nothing is left of it when that fails, and no file is ever replaced.
/// @throws std::system_error "cannot write PATH: ..."
void writeNewFile(std::string const& aPath, QZCBuffer const& aContent);
}  // namespace qzagent
