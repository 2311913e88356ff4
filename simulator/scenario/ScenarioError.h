/// @file
/// What is wrong with a scenario.
#pragma once

#include <stdexcept>

namespace qzsim
{
/// The text says where and what was expected: "file:line:column: expected ..., found ...".
class ScenarioError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
}  // namespace qzsim
