/// @file
/// Isolates the process-wide state that a test changes.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs the body in a child process. A failure in it fails the test, and an exception that leaves it
/// terminates the child.
template <typename Body>
void inFreshProcess(Body const& aBody)
{
    std::fflush(nullptr);
    pid_t const child = ::fork();
    ASSERT_GE(child, 0) << "fork failed";
    if (child == 0)
    {
        [&]() noexcept { aBody(); }();
        std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS)
        << "the child process ended with wait status " << status << "; its failures are printed above";
}
