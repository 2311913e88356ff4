/// @file
/// A limit on the size of files, for a test in a fresh process.
#pragma once

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/resource.h>

inline void liftFileLimit()
{
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

/// Limits the size of the files that this process writes, until it exits. Exceeding the limit is a write error, as in the
/// agent.
inline void limitFiles(rlim_t aSize)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &limit), 0);
    limit.rlim_cur = aSize;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    // gcov writes its counts at exit. A count file that is cut would break every later process.
    ASSERT_EQ(std::atexit(&liftFileLimit), 0);
}
