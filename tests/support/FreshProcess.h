/// @file
/// Keeps what a test does to the state of the process from the tests after it.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

/// Runs the body in a child process, which begins as the test program was; what fails in it fails the test.
/// An exception that leaves the body ends the child.
template <typename Body>
void inFreshProcess(Body const& aBody)
{
    std::fflush(nullptr);
    pid_t const child = ::fork();
    ASSERT_GE(child, 0) << "no process to be had";
    if (child == 0)
    {
        [&]() noexcept { aBody(); }();
        std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS)
        << "the test's own process ended with wait status " << status << "; what it found stands above";
}
