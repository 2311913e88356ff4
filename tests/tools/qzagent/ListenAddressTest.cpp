#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/metrics/ListenAddress.h"

namespace
{
using qzagent::listenAddressIn;

TEST(ListenAddress, HasTheTextFromWhichItIsMade)
{
    for (std::string const text :
         {"127.0.0.1:9912", "0.0.0.0:0", "192.0.2.1:65535", "[::1]:9912", "[2001:db8::1]:1"})
    {
        auto const address = listenAddressIn(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(textOf(*address), text);
    }
}

TEST(ListenAddress, IsNotMadeFromAnotherText)
{
    for (std::string const text : {"", ":", "9912", ":9912", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536",
                                   "127.0.0.1:-1", "127.0.0.1:1x", "localhost:9912", "127.1:9912", "::1:9912",
                                   "[::1]", "[]:1", "[::1:9912", "[127.0.0.1]:9912", "[:::1]:9912"})
    {
        EXPECT_FALSE(listenAddressIn(text)) << text;
    }
}

TEST(ListenAddress, IsLoopbackIfOnlyThisHostReachesIt)
{
    for (std::string const text : {"127.0.0.1:1", "127.255.0.9:1", "[::1]:1"})
    {
        EXPECT_TRUE(isLoopback(*listenAddressIn(text))) << text;
    }
    for (std::string const text : {"0.0.0.0:1", "128.0.0.1:1", "192.0.2.1:1", "[::]:1", "[::2]:1"})
    {
        EXPECT_FALSE(isLoopback(*listenAddressIn(text))) << text;
    }
}
}  // namespace
