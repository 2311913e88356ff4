#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/cli/LoadError.h"

namespace
{
TEST(QzagentLoadError, IsEmptyForALibraryThatLoads) { EXPECT_EQ(qzagent::loadErrorOf("libm.so.6"), ""); }

TEST(QzagentLoadError, HasTheTextOfTheDynamicLinker)
{
    EXPECT_EQ(qzagent::loadErrorOf("/no/such/library.so"),
              "/no/such/library.so: cannot open shared object file: No such file or directory");
    std::string const path = testing::TempDir() + "no-library.so";
    std::ofstream(path) << "this is not a library";
    EXPECT_EQ(qzagent::loadErrorOf(path), path + ": file too short");
}
}  // namespace
