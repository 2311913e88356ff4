#include <stdexcept>
#include <string>
#include <system_error>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "anonymise/KeyedHash.h"
#include "tests/support/ScratchFolder.h"

using anonymise::KeyedHash;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace
{
class KeyFile : public testing::Test
{
protected:
    std::string keyFile(std::string const& aContent, mode_t aMode = 0600) const
    {
        std::string path = mFolder.write("key", aContent);
        EXPECT_EQ(::chmod(path.c_str(), aMode), 0);
        return path;
    }

    ScratchFolder const mFolder;
};

std::string hexDigest(KeyedHash const& aHash, std::string const& aPurpose, std::string const& aText)
{
    return fmt::format("{:02x}", fmt::join(aHash.of(aPurpose, aText), ""));
}

TEST(KeyedHashTest, IsTheHmacOfPurposeAndText)
{
    // From another implementation of HMAC.
    EXPECT_EQ(hexDigest(KeyedHash("a secret of some length"), "text", "web01"),
              "a60b3fa88aa6e679c8e16718c59405187637b60209848b2de6e186143d21dece");
}

TEST(KeyedHashTest, DependsOnSecretPurposeAndText)
{
    KeyedHash const hash("a secret of some length");
    std::string const digest = hexDigest(hash, "text", "web01");
    EXPECT_NE(hexDigest(KeyedHash("a secret of some other length"), "text", "web01"), digest);
    EXPECT_NE(hexDigest(hash, "long name", "web01"), digest);
    EXPECT_NE(hexDigest(hash, "text", "web02"), digest);
}

TEST_F(KeyFile, IsTheSecretWithAllItsBytes)
{
    std::string const secret("0123456789abcd\0\n", 16);
    KeyedHash const fromFile = KeyedHash::ofFile(keyFile(secret));
    EXPECT_EQ(fromFile.of("text", "web01"), KeyedHash(secret).of("text", "web01"));
}

TEST_F(KeyFile, IsRefusedWhenItIsShort)
{
    std::string const path = keyFile("0123456789abcde");
    EXPECT_THAT([&path] { KeyedHash::ofFile(path); },
                ThrowsMessage<std::runtime_error>(
                    path + " is too short: it has 15 bytes, and a key file needs at least 16"));
    EXPECT_THAT([this] { KeyedHash::ofFile(keyFile("")); },
                ThrowsMessage<std::runtime_error>(
                    path + " is too short: it has 0 bytes, and a key file needs at least 16"));
}

TEST_F(KeyFile, IsRefusedWhenItIsTooLong)
{
    EXPECT_NO_THROW(KeyedHash::ofFile(keyFile(std::string(1048576, 'k'))));
    std::string const path = keyFile(std::string(1048577, 'k'));
    EXPECT_THAT(
        [&path] { KeyedHash::ofFile(path); },
        ThrowsMessage<std::runtime_error>(path + " is too long: a key file has at most 1048576 bytes"));
}

TEST_F(KeyFile, IsRefusedWhenItCannotBeRead)
{
    std::string const missing = mFolder.path() / "missing";
    EXPECT_THAT([&missing] { KeyedHash::ofFile(missing); },
                ThrowsMessage<std::system_error>("cannot read " + missing + ": No such file or directory"));
}

TEST_F(KeyFile, IsRefusedWhenItIsNoRegularFile)
{
    std::string const pipe = mFolder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(::chmod(mFolder.path().c_str(), 0700), 0);
    for (std::string const& path : {pipe, mFolder.path().string()})
    {
        EXPECT_THAT(
            [&path] { KeyedHash::ofFile(path); },
            ThrowsMessage<std::runtime_error>(path + " is not a regular file, which a key file must be"));
    }
}

TEST_F(KeyFile, IsRefusedWhenOtherUsersHaveAPermission)
{
    for (mode_t const mode : {0640U, 0604U, 0620U, 0602U})
    {
        std::string const path = keyFile("a secret of some length", mode);
        EXPECT_THAT([&path] { KeyedHash::ofFile(path); },
                    ThrowsMessage<std::runtime_error>(
                        path + " is open to other users: a key file must be private, as after chmod 600"));
    }
    EXPECT_NO_THROW(KeyedHash::ofFile(keyFile("a secret of some length", 0400)));
}
}  // namespace
