/// @file
/// What is said of a bad scenario.
#pragma once

#include <string>

std::string errorOfFile(std::string const& aPath);

/// What is said of a file with that text; the file is called bad.toml.
std::string errorOf(std::string const& aText);
