#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Exception.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::ElementsAre;

namespace
{
static_assert(std::is_nothrow_constructible<QZCException, char const*, unsigned int>::value,
              "reporting an error must not fail");
static_assert(std::is_nothrow_copy_constructible<QZCException>::value, "passing on an error must not fail");
static_assert(std::has_virtual_destructor<QZCException>::value, "it is the root of a hierarchy");

TEST(Exception, ReturnsItsTextAndCode)
{
    QZCException const error("Out of Memory", 2);
    EXPECT_STREQ(error.what(), "Out of Memory");
    EXPECT_EQ(error.getCode(), 2u);
}

TEST(Exception, TextSurvivesOverwritingTheSource)
{
    char text[] = "Invalid Value";
    QZCException const error(text, 6);
    std::memset(text, 'x', sizeof text);
    EXPECT_STREQ(error.what(), "Invalid Value");
}

TEST(Exception, TextIsStoredInsideTheObject)
{
    QZCException const error("Invalid Value", 6);
    char const* const start = reinterpret_cast<char const*>(&error);
    EXPECT_GE(error.what(), start);
    EXPECT_LT(error.what() + std::strlen(error.what()), start + sizeof error);
}

TEST(Exception, TextOf255CharactersIsKeptWhole)
{
    std::string const text(255, 'x');
    EXPECT_EQ(QZCException(text.c_str(), 1).what(), text);
}

TEST(Exception, LongerTextIsTruncated)
{
    EXPECT_EQ(QZCException(std::string(256, 'x').c_str(), 1).what(), std::string(255, 'x'));
    EXPECT_EQ(QZCException(std::string(10000, 'x').c_str(), 1).what(), std::string(255, 'x'));
}

TEST(Exception, LongerTextIsTerminatedInDirtyMemory)
{
    alignas(QZCException) unsigned char storage[sizeof(QZCException)];
    std::memset(storage, 'y', sizeof storage);
    auto* const error = new (storage) QZCException(std::string(300, 'x').c_str(), 1);
    EXPECT_EQ(error->what(), std::string(255, 'x'));
    error->~QZCException();
}

TEST(Exception, NullTextIsEmpty)
{
    QZCException const error(nullptr, 7);
    EXPECT_STREQ(error.what(), "");
    EXPECT_EQ(error.getCode(), 7u);
}

TEST(Exception, TextIsNotUsedAsAFormat)
{
    EXPECT_STREQ(QZCException("100 %s of %n", 1).what(), "100 %s of %n");
}

TEST(Exception, GenericHandlerCatchesIt)
{
    try
    {
        throw QZCException("Invalid Value", 6);
    }
    catch (std::exception const& error)
    {
        EXPECT_STREQ(error.what(), "Invalid Value");
    }
}

TEST(Exception, CopyHasItsOwnTextAndCode)
{
    QZCException copy("", 0);
    {
        QZCException const original("Invalid Value", 6);
        QZCException const constructed(original);
        copy = constructed;
    }
    EXPECT_STREQ(copy.what(), "Invalid Value");
    EXPECT_EQ(copy.getCode(), 6u);
}

TEST(Exception, DoesNotAllocate)
{
    std::string const text(1000, 'x');
    EXPECT_EQ(allocationsOf([&] { QZCException(text.c_str(), 1).what(); }), 0u);
}

TEST(Exception, VirtualFunctionsKeepTheirSlots)
{
    QZCException const error("", 0);
    EXPECT_THAT(virtualSlots(&error, 3),
                ElementsAre("QZCException::~QZCException()", "QZCException::~QZCException()",
                            "QZCException::what() const"));
}
}  // namespace
