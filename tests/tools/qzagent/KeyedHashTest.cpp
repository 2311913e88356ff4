#include <stdexcept>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ScratchFolder.h"
#include "tools/qzagent/anonymise/KeyedHash.h"

using qzagent::KeyedHash;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace
{
std::string hexDigest(KeyedHash const& aHash, std::string const& aPurpose, std::string const& aText)
{
    return fmt::format("{:02x}", fmt::join(aHash.of(aPurpose, aText), ""));
}

TEST(QzagentKeyedHash, IsTheHmacOfPurposeAndText)
{
    // From another implementation of HMAC.
    EXPECT_EQ(hexDigest(KeyedHash("a secret of some length"), "text", "web01"),
              "a60b3fa88aa6e679c8e16718c59405187637b60209848b2de6e186143d21dece");
}

TEST(QzagentKeyedHash, DependsOnSecretPurposeAndText)
{
    KeyedHash const hash("a secret of some length");
    std::string const digest = hexDigest(hash, "text", "web01");
    EXPECT_NE(hexDigest(KeyedHash("a secret of some other length"), "text", "web01"), digest);
    EXPECT_NE(hexDigest(hash, "long name", "web01"), digest);
    EXPECT_NE(hexDigest(hash, "text", "web02"), digest);
}

TEST(QzagentKeyedHash, TakesAllBytesOfAFile)
{
    ScratchFolder const folder;
    std::string const secret("0123456789abcd\0\n", 16);
    KeyedHash const fromFile = KeyedHash::ofFile(folder.write("key", secret));
    EXPECT_EQ(fromFile.of("text", "web01"), KeyedHash(secret).of("text", "web01"));
}

TEST(QzagentKeyedHash, RefusesAShortFileAndSaysWhatItNeeds)
{
    ScratchFolder const folder;
    std::string const path = folder.write("key", "0123456789abcde");
    EXPECT_THAT([&path] { KeyedHash::ofFile(path); },
                ThrowsMessage<std::runtime_error>(
                    path + " is too short: it has 15 bytes, and a key file needs at least 16"));
}

TEST(QzagentKeyedHash, AcceptsTheLongestFileAndRefusesALongerOne)
{
    ScratchFolder const folder;
    EXPECT_NO_THROW(KeyedHash::ofFile(folder.write("longest", std::string(1048576, 'k'))));
    std::string const path = folder.write("longer", std::string(1048577, 'k'));
    EXPECT_THAT(
        [&path] { KeyedHash::ofFile(path); },
        ThrowsMessage<std::runtime_error>(path + " is too long: a key file has at most 1048576 bytes"));
}

TEST(QzagentKeyedHash, ReportsAFileThatCannotBeRead)
{
    ScratchFolder const folder;
    std::string const missing = folder.path() / "missing";
    EXPECT_THAT([&missing] { KeyedHash::ofFile(missing); },
                ThrowsMessage<std::system_error>("cannot read " + missing + ": No such file or directory"));
    EXPECT_THAT([&folder] { KeyedHash::ofFile(folder.path()); },
                ThrowsMessage<std::system_error>(HasSubstr("Is a directory")));
}
}  // namespace
