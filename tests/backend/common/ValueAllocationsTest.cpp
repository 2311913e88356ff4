// Failing allocations in handles, strings, vectors and exceptions, for each operation and each of its allocations.
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Exception.h"
#include "backend/common/include/Pointer.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Bytes.h"
#include "tests/support/Outcome.h"

namespace
{
using Rows = std::vector<Operation>;

// A text that std::string stores inside the object, and one that it allocates.
char const* const insideText = "1.2.3";
char const* const outsideText = "10:00:00:00:c9:2a:3b:4c";
constexpr unsigned int outsideLength = 100;

/// An object that its creator owns, and the handle that is to take ownership.
template <typename T>
struct Handed
{
    explicit Handed(T* aObject) : mObject(aObject) {}

    void take(QZPointerSizeType aSizeType, QZPointerAllocType aAllocType)
    {
        mHandle.emplace(mObject, aSizeType, aAllocType);
    }

    T* mObject;
    std::optional<QZCPointer<T>> mHandle;
};

std::shared_ptr<QZCPointer<int>> liveHandle()
{
    return std::make_shared<QZCPointer<int>>(new (std::nothrow) int(7), QZPST_Individual, QZPAT_New);
}

Rows pointerRows()
{
    auto const nothing = [] { return std::make_shared<std::optional<QZCPointer<int>>>(); };
    auto const isEmpty = [](auto const& aHandle) { EXPECT_FALSE(aHandle); };
    return {
        operation(
            "PointerTakesANewObject", {0, 1}, outOfMemory, nothing,
            [](auto& aHandle) { aHandle.emplace(new (std::nothrow) int(7), QZPST_Individual, QZPAT_New); },
            isEmpty),
        operation(
            "PointerTakesANewArray", {0, 1}, outOfMemory, nothing,
            [](auto& aHandle) { aHandle.emplace(new (std::nothrow) int[7], QZPST_Array, QZPAT_New); },
            isEmpty),
        operation(
            "PointerTakesAnObjectThatRemainsItsMakers", {0}, outOfMemory,
            [] { return std::make_shared<Handed<int>>(new int(7)); },
            [](Handed<int>& aHanded) { aHanded.take(QZPST_Individual, QZPAT_New); },
            [](Handed<int>& aHanded) { delete aHanded.mObject; }),
        operation(
            "PointerTakesAnArrayThatRemainsItsMakers", {0}, outOfMemory,
            [] { return std::make_shared<Handed<int>>(new int[7]); },
            [](Handed<int>& aHanded) { aHanded.take(QZPST_Array, QZPAT_New); },
            [](Handed<int>& aHanded) { delete[] aHanded.mObject; }),
        operation(
            "PointerTakesABlockThatRemainsItsMakers", {0}, outOfMemory,
            [] { return std::make_shared<Handed<void*>>(static_cast<void**>(std::malloc(sizeof(void*)))); },
            [](Handed<void*>& aHanded) { aHanded.take(QZPST_Individual, QZPAT_Malloc); },
            [](Handed<void*>& aHanded) { std::free(aHanded.mObject); }),
        withoutAllocation("PointerOfNothing", nothing, [](auto& aHandle) { aHandle.emplace(); }),
        withoutAllocation("PointerSharesAndLetsGo", liveHandle,
                          [](QZCPointer<int>& aHandle)
                          {
                              QZCPointer<int> const copy(aHandle);
                              QZCPointer<int> other;
                              other = copy;
                              aHandle = other;
                          }),
        withoutAllocation("PointerGivesAccess", liveHandle,
                          [](QZCPointer<int> const& aHandle)
                          { *aHandle = *aHandle.operator->() + (aHandle != nullptr ? 1 : 0); }),
    };
}

Rows stringRows()
{
    auto const nothing = [] { return std::make_shared<std::optional<QZCString>>(); };
    auto const isEmpty = [](auto const& aString) { EXPECT_FALSE(aString); };
    /// A string, and one to create it from.
    struct Texts
    {
        QZCString mText;
        QZCString mOther;
    };
    auto const texts = [](char const* aOther) {
        return [=] { return std::make_shared<Texts>(Texts{"before", aOther}); };
    };
    auto const isAsBefore = [](Texts const& aTexts) { EXPECT_STREQ(aTexts.mText.get(), "before"); };
    return {
        operation(
            "StringOfAShortText", {0, 1}, outOfMemory, nothing,
            [](auto& aString) { aString.emplace(insideText); }, isEmpty),
        operation(
            "StringOfALongText", {0, 0, 2}, outOfMemory, nothing,
            [](auto& aString) { aString.emplace(outsideText); }, isEmpty),
        operation("StringCopiesAShortOne", {0, 1}, outOfMemory, texts(insideText),
                  [](Texts& aTexts) { QZCString const copy(aTexts.mOther); }),
        operation("StringCopiesALongOne", {0, 0, 2}, outOfMemory, texts(outsideText),
                  [](Texts& aTexts) { QZCString const copy(aTexts.mOther); }),
        operation(
            "StringIsAssignedAShortOne", {0, 1}, outOfMemory, texts(insideText),
            [](Texts& aTexts) { aTexts.mText = aTexts.mOther; }, isAsBefore),
        operation(
            "StringIsAssignedALongOne", {0, 0, 2}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mText = aTexts.mOther; }, isAsBefore),
        operation(
            "StringIsAssignedAText", {0, 0, 2}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mText = outsideText; }, isAsBefore),
        operation(
            "StringIsAssignedAPartOfItself", {0, 1}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mText = aTexts.mText.get() + 2; }, isAsBefore),
        operation(
            "StringGivesAShortPart", {0, 1}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mOther.substr(aTexts.mText, 3, 2); }, isAsBefore),
        operation(
            "StringGivesALongPart", {0, 0, 2}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mOther.substr(aTexts.mText, 3, allBitsSet); }, isAsBefore),
        operation(
            "StringBecomesAPartOfItself", {0, 1}, outOfMemory, texts(outsideText),
            [](Texts& aTexts) { aTexts.mText.substr(aTexts.mText, 1, 2); }, isAsBefore),
        withoutAllocation("StringIsAssignedItself", texts(outsideText),
                          [](Texts& aTexts)
                          {
                              QZCString const& same = aTexts.mOther;
                              aTexts.mOther = same;
                          }),
        withoutAllocation("StringIsRead", texts(outsideText),
                          [](Texts& aTexts)
                          {
                              aTexts.mOther.at(aTexts.mOther.find(":", 0)) = *aTexts.mText.get();
                              aTexts.mOther.at(aTexts.mOther.size() - 1) = 'x';
                          }),
        ending("QZCInvalidEx 6: Invalid Value",
               operation("StringIsReadPastItsEnd", {0}, badAlloc, texts(outsideText),
                         [](Texts& aTexts) { aTexts.mOther.at(aTexts.mOther.size()); })),
    };
}

Rows vectorRows()
{
    auto const numbers = [] { return std::make_shared<QZCVector<int>>(); };
    auto const twoSequences = []
    {
        auto const both = std::make_shared<std::pair<QZCVector<int>, QZCVector<int>>>();
        both->second.push_back(7);
        return both;
    };
    /// A vector with one string, and a string to append.
    struct Appending
    {
        Appending() { mTexts.push_back("first"); }
        QZCVector<QZCString> mTexts;
        QZCString mNext = outsideText;
    };
    return {
        operation(
            "VectorOfNumbersGrows", {0}, outOfMemory, numbers,
            [](QZCVector<int>& aNumbers) { aNumbers.push_back(7); },
            [](QZCVector<int> const& aNumbers) { EXPECT_EQ(aNumbers.size(), 0u); }),
        // The new array, the copy that is appended, and the copy of the existing element.
        operation(
            "VectorOfTextsGrows", joined({{0}, {0, 0, 2}, {0, 1}}), outOfMemory,
            [] { return std::make_shared<Appending>(); },
            [](Appending& aAppending) { aAppending.mTexts.push_back(aAppending.mNext); },
            [](Appending const& aAppending)
            {
                ASSERT_EQ(aAppending.mTexts.size(), 1u);
                EXPECT_STREQ(aAppending.mTexts[0].get(), "first");
            }),
        operation("VectorOfNumbersIsCopied", {0}, badAlloc, twoSequences,
                  [](auto& aBoth) { QZCVector<int> const copy(aBoth.second); }),
        operation(
            "VectorOfNumbersIsAssigned", {0}, badAlloc, twoSequences,
            [](auto& aBoth) { aBoth.first = aBoth.second; },
            [](auto const& aBoth) { EXPECT_EQ(aBoth.first.size(), 0u); }),
        withoutAllocation("VectorOfNothing", numbers, [](auto&) { QZCVector<int> const empty; }),
        withoutAllocation(
            "VectorIsReadAndCleared", [] { return std::make_shared<Appending>(); },
            [](Appending& aAppending)
            {
                for (QZCString const& text : aAppending.mTexts)
                {
                    ASSERT_EQ(&text, &aAppending.mTexts[0]);
                }
                aAppending.mTexts.clear();
            }),
    };
}

template <typename Error>
Operation exceptionRow(std::string const& aName)
{
    return withoutAllocation(
        aName, [] { return std::make_shared<std::string>(outsideLength, 'x'); },
        [](std::string const& aText)
        {
            Error const error(aText.c_str(), 7);
            Error copy(error);
            copy = error;
            ASSERT_EQ(copy.what()[outsideLength], '\0');
            ASSERT_EQ(copy.getCode(), 7u);
        });
}

Rows exceptionRows()
{
    return {
        exceptionRow<QZCException>("Exception"),   exceptionRow<QZCGenericException>("GenericException"),
        exceptionRow<QZCHaltEx>("HaltEx"),         exceptionRow<QZCLibsException>("LibsException"),
        exceptionRow<QZCNoMemoryEx>("NoMemoryEx"), exceptionRow<QZCExitConditionEx>("ExitConditionEx"),
        exceptionRow<QZCInvalidEx>("InvalidEx"),   exceptionRow<QZCNotAllowedEx>("NotAllowedEx"),
        exceptionRow<QZCNotFoundEx>("NotFoundEx"), exceptionRow<QZCHbaapiEx>("HbaapiEx"),
        exceptionRow<QZCEncodingEx>("EncodingEx"),
    };
}

class ValueAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Pointer, ValueAllocations, testing::ValuesIn(pointerRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(String, ValueAllocations, testing::ValuesIn(stringRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Vector, ValueAllocations, testing::ValuesIn(vectorRows()), nameOfOperation);
INSTANTIATE_TEST_SUITE_P(Exceptions, ValueAllocations, testing::ValuesIn(exceptionRows()), nameOfOperation);

TEST_P(ValueAllocations, EveryFailedAllocationIsReported) { failEveryAllocation(GetParam()); }
}  // namespace
