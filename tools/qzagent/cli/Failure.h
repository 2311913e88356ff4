/// @file
/// The class, the text and the code of an exception.
#pragma once

#include <exception>
#include <string>

#include <nlohmann/json.hpp>

namespace qzagent
{
struct Failure
{
    std::string mException;  ///< name of the exception's class
    std::string mText;
    unsigned int mCode;  ///< the exit code that it causes, for an exception without a code
};

Failure failureOf(std::exception const& aException);

/// @return "CLASS: TEXT (code N)"
std::string textOf(Failure const& aFailure);

nlohmann::ordered_json jsonOf(Failure const& aFailure);
}  // namespace qzagent
