#include <cstring>
#include <exception>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Exception.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tests/support/Outcome.h"
#include "tests/support/VirtualSlots.h"

using testing::Each;
using testing::ElementsAre;
using testing::Field;

namespace
{
/// The text and code that the handler for a class reads.
struct Caught
{
    std::string mHandler;
    std::string mText;
    unsigned int mCode;
};

constexpr unsigned int notTold = 0;

unsigned int codeOf(QZCException const& aError) { return aError.getCode(); }
unsigned int codeOf(std::exception const&) { return notTold; }

template <typename Handler, typename Thrown>
void tryHandler(Thrown const& aError, std::vector<Caught>& aCaught)
{
    try
    {
        throw Thrown(aError);
    }
    catch (Handler const& error)
    {
        aCaught.push_back({demangled(typeid(Handler).name()), error.what(), codeOf(error)});
    }
    catch (...)
    {
    }
}

/// Throws a copy of the exception for each class of the tree, and catches it with the handler for that class.
template <typename Thrown>
std::vector<Caught> catchesOf(Thrown const& aError)
{
    std::vector<Caught> caught;
    tryHandler<std::exception>(aError, caught);
    tryHandler<QZCException>(aError, caught);
    tryHandler<QZCGenericException>(aError, caught);
    tryHandler<QZCHaltEx>(aError, caught);
    tryHandler<QZCLibsException>(aError, caught);
    tryHandler<QZCNoMemoryEx>(aError, caught);
    tryHandler<QZCExitConditionEx>(aError, caught);
    tryHandler<QZCInvalidEx>(aError, caught);
    tryHandler<QZCNotAllowedEx>(aError, caught);
    tryHandler<QZCNotFoundEx>(aError, caught);
    tryHandler<QZCHbaapiEx>(aError, caught);
    return caught;
}

/// The classes whose handlers catch an exception of the given class.
template <typename Thrown>
std::vector<std::string> handlersThatCatch()
{
    std::vector<std::string> names;
    for (Caught const& caught : catchesOf(Thrown("text", 1)))
    {
        names.push_back(caught.mHandler);
    }
    return names;
}

TEST(Exceptions, GenericExceptionIsOnlyGeneric)
{
    EXPECT_THAT(handlersThatCatch<QZCGenericException>(),
                ElementsAre("std::exception", "QZCException", "QZCGenericException"));
}

TEST(Exceptions, HaltIsNotGeneric)
{
    EXPECT_THAT(handlersThatCatch<QZCHaltEx>(), ElementsAre("std::exception", "QZCException", "QZCHaltEx"));
}

TEST(Exceptions, LibsExceptionIsNeitherGenericNorHalt)
{
    EXPECT_THAT(handlersThatCatch<QZCLibsException>(),
                ElementsAre("std::exception", "QZCException", "QZCLibsException"));
}

TEST(Exceptions, NoMemoryIsBothGenericAndHalt)
{
    EXPECT_THAT(
        handlersThatCatch<QZCNoMemoryEx>(),
        ElementsAre("std::exception", "QZCException", "QZCGenericException", "QZCHaltEx", "QZCNoMemoryEx"));
}

TEST(Exceptions, ExitConditionIsBothGenericAndHalt)
{
    EXPECT_THAT(handlersThatCatch<QZCExitConditionEx>(),
                ElementsAre("std::exception", "QZCException", "QZCGenericException", "QZCHaltEx",
                            "QZCExitConditionEx"));
}

TEST(Exceptions, InvalidIsGenericAndNotHalt)
{
    EXPECT_THAT(handlersThatCatch<QZCInvalidEx>(),
                ElementsAre("std::exception", "QZCException", "QZCGenericException", "QZCInvalidEx"));
}

TEST(Exceptions, NotAllowedIsGenericAndNotHalt)
{
    EXPECT_THAT(handlersThatCatch<QZCNotAllowedEx>(),
                ElementsAre("std::exception", "QZCException", "QZCGenericException", "QZCNotAllowedEx"));
}

TEST(Exceptions, NotFoundIsGenericAndNotHalt)
{
    EXPECT_THAT(handlersThatCatch<QZCNotFoundEx>(),
                ElementsAre("std::exception", "QZCException", "QZCGenericException", "QZCNotFoundEx"));
}

TEST(Exceptions, HbaapiFailureIsALibraryExceptionAndNotGeneric)
{
    EXPECT_THAT(handlersThatCatch<QZCHbaapiEx>(),
                ElementsAre("std::exception", "QZCException", "QZCLibsException", "QZCHbaapiEx"));
}

/// Names the cases of a typed suite after the class.
struct ClassName
{
    template <typename Class>
    static std::string GetName(int)
    {
        return demangled(typeid(Class).name());
    }
};

template <typename Class>
class EveryException : public testing::Test
{
};

using Classes = testing::Types<QZCGenericException, QZCHaltEx, QZCLibsException, QZCNoMemoryEx,
                               QZCExitConditionEx, QZCInvalidEx, QZCNotAllowedEx, QZCNotFoundEx, QZCHbaapiEx>;
TYPED_TEST_SUITE(EveryException, Classes, ClassName);

TYPED_TEST(EveryException, EveryHandlerReadsTheSameText)
{
    EXPECT_THAT(catchesOf(TypeParam("Out of Memory", 2)), Each(Field(&Caught::mText, "Out of Memory")));
}

TYPED_TEST(EveryException, EveryHandlerExceptTheStandardOneReadsTheSameCode)
{
    std::vector<Caught> caught = catchesOf(TypeParam("text", 4294967295u));
    caught.erase(caught.begin());
    EXPECT_THAT(caught, Each(Field(&Caught::mCode, 4294967295u)));
}

TYPED_TEST(EveryException, TextSurvivesOverwritingTheSource)
{
    char text[] = "Invalid WWN string";
    TypeParam const error(text, 6);
    std::memset(text, 'x', sizeof text - 1);
    EXPECT_STREQ(error.what(), "Invalid WWN string");
}

TYPED_TEST(EveryException, TextIsStoredInsideTheObject)
{
    TypeParam const error("text", 1);
    char const* const first = reinterpret_cast<char const*>(&error);
    EXPECT_GE(error.what(), first);
    EXPECT_LT(error.what(), first + sizeof error);
}

TYPED_TEST(EveryException, DoesNotAllocate)
{
    EXPECT_EQ(allocationsOf([] { TypeParam const error("a text that is longer than a short string", 1); }),
              0u);
    EXPECT_TRUE((std::is_nothrow_constructible<TypeParam, char const*, unsigned int>::value));
}

TYPED_TEST(EveryException, ConstructorTakesOnlyATextAndACode)
{
    EXPECT_TRUE((std::is_constructible<TypeParam, char const*, unsigned int>::value));
    EXPECT_FALSE(std::is_default_constructible<TypeParam>::value);
    EXPECT_FALSE((std::is_constructible<TypeParam, char const*>::value));
    EXPECT_FALSE((std::is_constructible<TypeParam, unsigned int>::value));
}

TYPED_TEST(EveryException, DestructorIsPublicAndVirtual)
{
    EXPECT_TRUE(std::has_virtual_destructor<TypeParam>::value);
    EXPECT_TRUE(std::is_nothrow_destructible<TypeParam>::value);
}

TYPED_TEST(EveryException, AllBasesShareOneRoot)
{
    // With a non-virtual edge on the way to the root, the joined class would have two roots.
    struct Joined : TypeParam, virtual QZCException
    {
    };
    EXPECT_TRUE((std::is_convertible<Joined*, QZCException*>::value));
}

TYPED_TEST(EveryException, OnlyTheRootDefinesWhat)
{
    TypeParam const error("text", 1);
    QZCException const& root = error;
    std::string const destructor = "virtual thunk to " + demangled(typeid(TypeParam).name()) + "::~" +
                                   demangled(typeid(TypeParam).name()) + "()";
    EXPECT_THAT(virtualSlots(&root, 3), ElementsAre(destructor, destructor, "QZCException::what() const"));
}

TYPED_TEST(EveryException, VirtualTableStartsWithTheDestructors)
{
    TypeParam const error("text", 1);
    std::string const name = demangled(typeid(TypeParam).name());
    EXPECT_THAT(virtualSlots(&error, 2), Each(name + "::~" + name + "()"));
}

/// Whether the edge from a class to its direct base is public and virtual.
template <typename Class, typename Base>
bool isVirtualEdge()
{
    struct Joined : Class, virtual Base
    {
    };
    return std::is_convertible<Class*, Base*>::value && std::is_convertible<Joined*, Base*>::value;
}

TEST(Exceptions, EveryEdgeOfTheTreeIsVirtual)
{
    EXPECT_TRUE((isVirtualEdge<QZCGenericException, QZCException>()));
    EXPECT_TRUE((isVirtualEdge<QZCHaltEx, QZCException>()));
    EXPECT_TRUE((isVirtualEdge<QZCLibsException, QZCException>()));
    EXPECT_TRUE((isVirtualEdge<QZCNoMemoryEx, QZCGenericException>()));
    EXPECT_TRUE((isVirtualEdge<QZCNoMemoryEx, QZCHaltEx>()));
    EXPECT_TRUE((isVirtualEdge<QZCExitConditionEx, QZCGenericException>()));
    EXPECT_TRUE((isVirtualEdge<QZCExitConditionEx, QZCHaltEx>()));
    EXPECT_TRUE((isVirtualEdge<QZCInvalidEx, QZCGenericException>()));
    EXPECT_TRUE((isVirtualEdge<QZCNotAllowedEx, QZCGenericException>()));
    EXPECT_TRUE((isVirtualEdge<QZCNotFoundEx, QZCGenericException>()));
    EXPECT_TRUE((isVirtualEdge<QZCHbaapiEx, QZCLibsException>()));
}

template <typename Class>
class TwofoldException : public testing::Test
{
};

using TwofoldClasses = testing::Types<QZCNoMemoryEx, QZCExitConditionEx>;
TYPED_TEST_SUITE(TwofoldException, TwofoldClasses, ClassName);

TYPED_TEST(TwofoldException, BothBasesShareOneRoot)
{
    TypeParam const error("text", 1);
    QZCGenericException const& generic = error;
    QZCHaltEx const& halt = error;
    EXPECT_EQ(static_cast<QZCException const*>(&generic), static_cast<QZCException const*>(&halt));
}

TYPED_TEST(TwofoldException, GenericBaseComesFirst)
{
    TypeParam const error("text", 1);
    QZCGenericException const& generic = error;
    QZCHaltEx const& halt = error;
    EXPECT_LT(static_cast<void const*>(&generic), static_cast<void const*>(&halt));
}

TYPED_TEST(TwofoldException, ClassAddsNoField)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(QZCException) + 2 * sizeof(void*))
        << "the root and a table for each kind";
}

template <typename Class>
class OnefoldException : public testing::Test
{
};

using OnefoldClasses = testing::Types<QZCGenericException, QZCHaltEx, QZCLibsException, QZCInvalidEx,
                                      QZCNotAllowedEx, QZCNotFoundEx, QZCHbaapiEx>;
TYPED_TEST_SUITE(OnefoldException, OnefoldClasses, ClassName);

TYPED_TEST(OnefoldException, ClassAddsNoField)
{
    EXPECT_EQ(sizeof(TypeParam), sizeof(QZCException) + sizeof(void*)) << "the root and one table";
}

TEST(Exceptions, RootTableHasTheDestructorsAndTheFunctionWhat)
{
    QZCException const error("text", 1);
    EXPECT_THAT(virtualSlots(&error, 3),
                ElementsAre("QZCException::~QZCException()", "QZCException::~QZCException()",
                            "QZCException::what() const"));
}
}  // namespace
