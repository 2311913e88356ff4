#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "simulator/scenario/Wwn.h"

namespace
{
TEST(Wwn, ParsesEightPairsOfDigits)
{
    std::optional<HBA_WWN> const name = qzsim::wwnIn("20:01:00:00:c9:Ab:00:ff");
    ASSERT_TRUE(name);
    EXPECT_EQ(qzsim::numberOf(*name), 0x20010000c9ab00ffU);
}

TEST(Wwn, FormatsInLowerCasePairs)
{
    EXPECT_EQ(qzsim::textOf(HBA_WWN{{0x20, 0x01, 0, 0, 0xc9, 0xab, 0, 0xff}}), "20:01:00:00:c9:ab:00:ff");
}

TEST(Wwn, RefusesOtherText)
{
    for (char const* const text :
         {"", "20:01:00:00:c9:ab:00", "20:01:00:00:c9:ab:00:f", "20:01:00:00:c9:ab:00:fff",
          "20:01:00:00:c9:ab:00:fg", "20:01:00:00:c9:ab:00: f", "20:01:00:00:c9:ab:00:-1",
          "20:01:00:00:c9:ab:00-ff", "2001:00:00:c9:ab:00:ff:", "20010000c9ab00ff",
          "20:01:00:00:c9:ab:00:0x"})
    {
        EXPECT_EQ(qzsim::wwnIn(text) ? "a name" : "none", std::string("none")) << '"' << text << '"';
    }
}
}  // namespace
