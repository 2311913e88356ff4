#include <clocale>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/cli/Printable.h"

using qzagent::printable;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace
{
class QzagentPrintable : public testing::Test
{
protected:
    void SetUp() override
    {
        bool const hasLocale = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
        ASSERT_TRUE(hasLocale || IS_EMULATED) << "there is no locale C.UTF-8";
        if (!hasLocale)
        {
            GTEST_SKIP() << "the emulator has no locales";
        }
    }
    ~QzagentPrintable() override { std::setlocale(LC_CTYPE, "C"); }
};

TEST_F(QzagentPrintable, LeavesPrintableTextUnchanged)
{
    EXPECT_EQ(printable("model EX-2200, caf\u00e9, \u65e5\u672c, a/b\\c"),
              "model EX-2200, caf\u00e9, \u65e5\u672c, a/b\\c");
}

TEST_F(QzagentPrintable, EscapesAsciiControls)
{
    EXPECT_EQ(printable(std::string("\0\t\n\x1b[2J\x7f", 8)), R"(\x00\x09\x0a\x1b[2J\x7f)");
}

TEST_F(QzagentPrintable, EscapesEachByteThatIsNoCharacter)
{
    EXPECT_EQ(printable("a\xff\xe2\x80"), R"(a\xff\xe2\x80)");
}

TEST_F(QzagentPrintable, EscapesC1Controls)
{
    EXPECT_EQ(printable("\u0080\u009b31m\u009f"), R"(\u{80}\u{9b}31m\u{9f})");
    EXPECT_EQ(printable("\u00a1"), "\u00a1");
}

// NOLINTBEGIN(misc-misleading-bidirectional): these texts are misleading on purpose.
TEST_F(QzagentPrintable, EscapesControlsOfTheWritingDirection)
{
    EXPECT_EQ(printable("\u061c\u200e\u200f\u202a\u202e\u2066\u2069"),
              R"(\u{61c}\u{200e}\u{200f}\u{202a}\u{202e}\u{2066}\u{2069})");
}
// NOLINTEND(misc-misleading-bidirectional)

TEST_F(QzagentPrintable, EscapesInvisibleCharacters)
{
    EXPECT_EQ(printable("\u00ad\u200b\u2028\u2029\ufeff\U000e0041"),
              R"(\u{ad}\u{200b}\u{2028}\u{2029}\u{feff}\u{e0041})");
}

TEST_F(QzagentPrintable, EscapesABackslashThatWouldLookLikeAnEscape)
{
    EXPECT_EQ(printable(R"(\x1b \u{202e} \n \)"), R"(\x5cx1b \x5cu{202e} \n \)");
}

TEST_F(QzagentPrintable, EscapesBytesAbove127InALocaleThatHasNoSuchCharacters)
{
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(printable("caf\u00e9"), R"(caf\xc3\xa9)");
}

struct Place
{
    char const* mName;
    Arguments mArguments;
};

std::ostream& operator<<(std::ostream& aOut, Place const& aPlace) { return aOut << aPlace.mName; }

class QzagentPrintablePlace : public testing::TestWithParam<Place>
{
};

// NOLINTBEGIN(misc-misleading-bidirectional)
TEST_P(QzagentPrintablePlace, EscapesTheNameOfAnAdapter)
{
    // In TOML, the name has U+202E, which reverses the rest of a line.
    ProcessResult const result = runAgentOn(
        adapterNamed(R"(evil\u202efc)") + portNumbered(1) + targetNumbered(1, 1), GetParam().mArguments);
    EXPECT_THAT(result.mOutput + result.mErrors,
                AllOf(HasSubstr(R"(evil\u{202e}fc)"), Not(HasSubstr("\u202e"))));
}

INSTANTIATE_TEST_SUITE_P(Places, QzagentPrintablePlace,
                         testing::Values(Place{"Table", {"adapters"}}, Place{"Tree", {"inventory"}},
                                         Place{"Chart", {"latency", "--count", "1"}},
                                         Place{"Trace", {"adapters", "--trace"}},
                                         Place{"Message", {"inventory", "--adapter", "evil\u202efd"}},
                                         Place{"UsageError", {"adapters", "evil\u202efc"}}),
                         [](testing::TestParamInfo<Place> const& aInfo)
                         { return std::string(aInfo.param.mName); });
// NOLINTEND(misc-misleading-bidirectional)
}  // namespace
