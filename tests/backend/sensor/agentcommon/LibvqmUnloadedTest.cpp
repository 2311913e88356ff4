// The layer over the C library's own dynamic linker, of which it must not ask what ends the process.
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
