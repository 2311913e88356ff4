/// @file
/// Reports an invalid scenario.
#pragma once

#include <stdexcept>

namespace qzsim
{
/// The message has the position and the expectation: "file:line:column: expected ..., found ...".
class ScenarioError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
}  // namespace qzsim
