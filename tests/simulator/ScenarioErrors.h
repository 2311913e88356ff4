/// @file
/// Error messages for invalid scenarios.
#pragma once

#include <string>

/// @return the error message for a file
std::string errorOfFile(std::string const& aPath);

/// @return the error message for a file with this text, which is called bad.toml
std::string errorOf(std::string const& aText);
