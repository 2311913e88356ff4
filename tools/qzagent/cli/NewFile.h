/// @file
/// Files that the agent creates and never replaces.
#pragma once

#include <string>

#include "backend/common/include/Buffer.h"

namespace qzagent
{
/// @throws std::system_error "cannot write PATH: File exists" when the path exists
void expectNoFile(std::string const& aPath);

/// Creates a file with the content. On failure no file remains.
/// @throws std::system_error "cannot write PATH: ..." when the file exists, or cannot be created or written in full
void writeNewFile(std::string const& aPath, QZCBuffer const& aContent);
}  // namespace qzagent
