#include <cstdint>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "agentkit/include/Wwn.h"
#include "anonymise/KeyedHash.h"
#include "anonymise/PseudonymOfName.h"

namespace
{
std::string pseudonymOfText(std::string const& aName)
{
    anonymise::KeyedHash const hash("a secret of some length");
    return qz::Wwn(anonymise::pseudonymOf(qz::Wwn::parse(aName)->bytes(), hash)).text();
}

// The expected names are from another implementation of the permutation.

TEST(PseudonymOfNameTest, KeepsTheVendorOfAnIeeeName)
{
    EXPECT_EQ(pseudonymOfText("10:00:00:00:c9:2a:3b:4c"), "10:00:00:00:c9:f3:00:15");
}

TEST(PseudonymOfNameTest, ReplacesTheExtensionOfAnExtendedIeeeName)
{
    EXPECT_EQ(pseudonymOfText("20:01:00:00:c9:2a:3b:4c"), "2d:f0:00:00:c9:60:ea:71");
}

TEST(PseudonymOfNameTest, ReplacesAnExtensionThatAnIeeeNameMustNotHave)
{
    EXPECT_NE(pseudonymOfText("1a:bc:00:00:c9:2a:3b:4c").substr(0, 5), "1a:bc");
    EXPECT_EQ(pseudonymOfText("1a:bc:00:00:c9:2a:3b:4c").substr(5, 10), ":00:00:c9:");
}

TEST(PseudonymOfNameTest, KeepsTheVendorOfARegisteredName)
{
    EXPECT_EQ(pseudonymOfText("50:06:01:60:c1:23:45:67"), "50:06:01:6e:2e:93:67:3e");
    EXPECT_EQ(pseudonymOfText("60:06:01:60:c1:23:45:67").substr(0, 10), "60:06:01:6");
}

TEST(PseudonymOfNameTest, KeepsOnlyTheFormatOfANameWithoutVendor)
{
    EXPECT_EQ(pseudonymOfText("31:23:45:67:89:ab:cd:ef"), "3a:b4:71:82:4b:7b:4b:26");
}

TEST(PseudonymOfNameTest, LeavesTheNameThatStandsForNone)
{
    EXPECT_EQ(pseudonymOfText("00:00:00:00:00:00:00:00"), "00:00:00:00:00:00:00:00");
}

TEST(PseudonymOfAddress, ReplacesAllBitsOfAnAddress)
{
    anonymise::KeyedHash const hash("a secret of some length");
    EXPECT_EQ(anonymise::pseudonymOfAddress(0x010100, hash), 0xe1567fU);
    EXPECT_EQ(anonymise::pseudonymOfAddress(0x020200, hash), 0xe69f69U);
}

TEST(PseudonymOfAddress, LeavesReservedAddresses)
{
    anonymise::KeyedHash const hash("a secret of some length");
    for (std::uint32_t const address : {0U, 0xfffff0U, 0xfffffeU, 0xffffffU})
    {
        EXPECT_EQ(anonymise::pseudonymOfAddress(address, hash), address);
    }
}

TEST(PseudonymOfAddress, IsNeverAReservedAddress)
{
    anonymise::KeyedHash const hash("a secret of some length");
    EXPECT_EQ(anonymise::pseudonymOfAddress(0xefa0df, hash), 0xa34bf1U);
    EXPECT_EQ(anonymise::pseudonymOfAddress(0x6c54c3, hash), 0xc0e0aeU);
}

TEST(PseudonymOfNameTest, DiffersForDifferentNames)
{
    anonymise::KeyedHash const hash("a secret of some length");
    std::set<anonymise::Name> pseudonyms;
    for (unsigned int i = 0; i < 10000; ++i)  // a truncated hash of 24 bits would give several names twice
    {
        anonymise::Name const name{
            0x10, 0, 0, 0, 0xc9, 0, static_cast<unsigned char>(i / 256), static_cast<unsigned char>(i)};
        pseudonyms.insert(anonymise::pseudonymOf(name, hash));
    }
    EXPECT_EQ(pseudonyms.size(), 10000U);
}
}  // namespace
