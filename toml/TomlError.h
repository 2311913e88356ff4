/// @file
/// Reports a TOML file that cannot be read, is no TOML or has other values than expected.
#pragma once

#include <stdexcept>

namespace tomlfile
{
/// The message has the position and the expectation: "file:line:column: expected ..., found ...".
class TomlError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
}  // namespace tomlfile
