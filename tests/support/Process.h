/// @file
/// Runs a program as a user would and tells what came of it.
#pragma once

#include <map>
#include <string>
#include <vector>

struct ProcessResult
{
    int mExitStatus;  ///< 128 plus the signal when one killed it
    std::string mOutput;
    std::string mErrors;
};

/// Runs a program to its end. One that cannot be started ends with status 127 and the reason in
/// mErrors.
/// @param aArguments   the program, searched for in PATH, and its arguments
/// @param aEnvironment added to the environment of this process
/// @param aInput       what the program reads from standard input
ProcessResult runProcess(std::vector<std::string> const& aArguments,
                         std::map<std::string, std::string> const& aEnvironment = {},
                         std::string const& aInput = {});
