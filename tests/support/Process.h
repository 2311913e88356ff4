/// @file
/// Runs a program as a user would, and returns its result.
#pragma once

#include <map>
#include <string>
#include <vector>

struct ProcessResult
{
    int mExitStatus;  ///< 128 plus the signal number when a signal killed it
    std::string mOutput;
    std::string mErrors;
};

/// Runs a program until it ends. When it cannot be started, the status is 127 and mErrors has the reason.
/// @param aArguments   the program, searched for in PATH, and its arguments
/// @param aEnvironment variables added to the environment of this process
/// @param aInput       the standard input of the program
ProcessResult runProcess(std::vector<std::string> const& aArguments,
                         std::map<std::string, std::string> const& aEnvironment = {},
                         std::string const& aInput = {});
