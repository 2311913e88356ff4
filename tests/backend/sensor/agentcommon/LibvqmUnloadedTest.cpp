// The layer with the real dynamic linker, on which it must not make calls that end the process.
#include <cstdlib>

#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/LibvqmAbs.h"

using testing::ExitedWithCode;

namespace
{
TEST(LibvqmUnloadedDeathTest, FreeingWithoutALoadReturns)
{
    EXPECT_EXIT(
        {
            QZCLibvqmAbs().LIBVQM_FreeLibrary();
            std::exit(0);
        },
        ExitedWithCode(0), "^$");
}
}  // namespace
