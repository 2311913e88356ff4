#include <string>

#include <gtest/gtest.h>

#include "backend/sensor/agentcommon/include/Version.h"

namespace
{
TEST(Version, TextIsTheVersionOfTheProject) { EXPECT_STREQ(QZ_AGENTCOMMON_VERSION, PROJECT_VERSION); }

TEST(Version, NumbersAreThoseOfTheText)
{
    EXPECT_EQ(std::to_string(QZ_AGENTCOMMON_VERSION_MAJOR) + '.' +
                  std::to_string(QZ_AGENTCOMMON_VERSION_MINOR) + '.' +
                  std::to_string(QZ_AGENTCOMMON_VERSION_PATCH),
              QZ_AGENTCOMMON_VERSION);
}

TEST(Version, AtLeastComparesMajorBeforeMinorBeforePatch)
{
    constexpr int major = QZ_AGENTCOMMON_VERSION_MAJOR;
    constexpr int minor = QZ_AGENTCOMMON_VERSION_MINOR;
    constexpr int patch = QZ_AGENTCOMMON_VERSION_PATCH;
    EXPECT_TRUE(QZ_AGENTCOMMON_VERSION_AT_LEAST(major, minor, patch));
    EXPECT_TRUE(QZ_AGENTCOMMON_VERSION_AT_LEAST(major - 1, minor + 1, patch + 1));
    EXPECT_FALSE(QZ_AGENTCOMMON_VERSION_AT_LEAST(major, minor, patch + 1));
    EXPECT_FALSE(QZ_AGENTCOMMON_VERSION_AT_LEAST(major, minor + 1, 0));
    EXPECT_FALSE(QZ_AGENTCOMMON_VERSION_AT_LEAST(major + 1, 0, 0));
}
}  // namespace
