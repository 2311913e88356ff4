/// @file
/// What an exception tells.
#pragma once

#include <exception>
#include <string>

#include <nlohmann/json.hpp>

namespace qzagent
{
struct Failure
{
    std::string mException;  ///< name of its class
    std::string mText;
    unsigned int mCode;  ///< of an exception without a code: the exit code that it leads to
};

Failure failureOf(std::exception const& aException);

/// @return "CLASS: TEXT (code N)"
std::string textOf(Failure const& aFailure);

nlohmann::ordered_json jsonOf(Failure const& aFailure);
}  // namespace qzagent
