#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/capture/SectionComment.h"

using qzagent::formatSectionComment;
using qzagent::parseSectionComment;
using qzagent::SectionComment;

namespace
{
TEST(SectionCommentTest, HasKeysAndValuesSeparatedByBlanks)
{
    EXPECT_EQ(formatSectionComment({"u-1", "b-2", "2.1.0", "4.0.12"}),
              "uuid=u-1 boot_id=b-2 diagnostic_library=2.1.0 driver=4.0.12");
}

TEST(SectionCommentTest, OmitsUnknownValues)
{
    EXPECT_EQ(formatSectionComment({{}, "b", {}, ""}), "boot_id=b driver=");
    EXPECT_EQ(formatSectionComment({}), "");
}

TEST(SectionCommentTest, EscapesBlanksPercentSignsAndUnprintableBytes)
{
    EXPECT_EQ(formatSectionComment({{}, {}, {}, "4.0 100%\n\x7f\xc3\xa4~!"}),
              "driver=4.0%20100%25%0a%7f%c3%a4~!");
}

TEST(SectionCommentTest, ParsesWhatItFormats)
{
    SectionComment const comment =
        parseSectionComment(formatSectionComment({"u", {}, "v 2.1 (50%25)", "=\xff="}));
    EXPECT_EQ(comment.mUuid, "u");
    EXPECT_EQ(comment.mBootId, std::nullopt);
    EXPECT_EQ(comment.mDiagnosticLibrary, "v 2.1 (50%25)");
    EXPECT_EQ(comment.mDriver, "=\xff=");
}

TEST(SectionCommentTest, IgnoresWhatHasAnotherForm)
{
    SectionComment const comment =
        parseSectionComment("recorded by hand uuid other=1  boot_id=b uuid2=x driver=%4 driver2");
    EXPECT_EQ(comment.mUuid, std::nullopt);
    EXPECT_EQ(comment.mBootId, "b");
    EXPECT_EQ(comment.mDriver, "%4");
    EXPECT_EQ(parseSectionComment("driver=%zz%2").mDriver, "%zz%2");
    EXPECT_EQ(parseSectionComment("driver=a%").mDriver, "a%");
}
}  // namespace
