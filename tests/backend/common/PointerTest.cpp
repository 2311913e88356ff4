#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/common/include/ReferenceCount.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Outcome.h"

using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

namespace
{
using IntHandle = QZCPointer<int>;

/// The fields of a handle, with the order and sizes that existing agents were compiled with.
struct HandleFields
{
    void* mPointer;
    QZCReferenceCount* mReferenceCount;
    unsigned char mSizeType;
    unsigned char mAllocType;
};

static_assert(sizeof(IntHandle) == sizeof(HandleFields), "the layout of a handle is fixed");
static_assert(sizeof(QZPointerSizeType) == 1 && sizeof(QZPointerAllocType) == 1, "one byte each");
static_assert(!std::is_polymorphic<IntHandle>::value, "a handle has no virtual operations");

HandleFields fieldsAt(void const* aHandle)
{
    HandleFields fields;
    std::memcpy(&fields, aHandle, sizeof fields);
    return fields;
}

/// Replaces the count in the handle, bypassing its interface.
/// @return the previous count
template <typename T>
QZCReferenceCount* exchangeCount(QZCPointer<T>& aHandle, QZCReferenceCount* aCount)
{
    HandleFields fields = fieldsAt(&aHandle);
    std::swap(fields.mReferenceCount, aCount);
    std::memcpy(static_cast<void*>(&aHandle), &fields, sizeof fields);
    return aCount;
}

/// During its lifetime, the handle is damaged: it has an object but no count.
template <typename T>
class Damage
{
public:
    explicit Damage(QZCPointer<T>& aHandle) : mHandle(aHandle), mCount(exchangeCount(aHandle, nullptr)) {}
    ~Damage() { exchangeCount(mHandle, mCount); }
    Damage(Damage const&) = delete;
    Damage& operator=(Damage const&) = delete;

private:
    QZCPointer<T>& mHandle;
    QZCReferenceCount* const mCount;
};

/// The number of handles that share the object of this one.
template <typename T>
unsigned int holdersOf(QZCPointer<T> const& aHandle)
{
    QZCReferenceCount& count = *fieldsAt(&aHandle).mReferenceCount;
    count.increment();
    return count.decrement();
}

IntHandle handleOf(int aValue) { return IntHandle(new int(aValue), QZPST_Individual, QZPAT_New); }

/// Records its destruction.
class Witness
{
public:
    explicit Witness(std::function<void()> aAtEnd = [] {}) : mAtEnd(std::move(aAtEnd)) {}
    virtual ~Witness() { mAtEnd(); }
    Witness(Witness const&) = delete;
    Witness& operator=(Witness const&) = delete;

    std::function<void()> mAtEnd;
};

using WitnessHandle = QZCPointer<Witness>;

WitnessHandle handleOf(Witness* aWitness) { return WitnessHandle(aWitness, QZPST_Individual, QZPAT_New); }

/// A handle to an object that counts its destructions.
Witness* countedBy(int& aGone)
{
    return new Witness([&aGone] { ++aGone; });
}

/// The standard error of the process when the condition in that operation fails.
std::string assertionOfPointer(char const* aOperation, char const* aCondition)
{
    return onlyTheseLines({ExpectedLog(aOperation, "backend/common/include/Pointer").assertion(aCondition)});
}

TEST(Pointer, EmptyHandleHasAllFieldsZero)
{
    IntHandle const empty;
    HandleFields const fields = fieldsAt(&empty);
    EXPECT_EQ(fields.mPointer, nullptr);
    EXPECT_EQ(fields.mReferenceCount, nullptr);
    EXPECT_EQ(fields.mSizeType, 0);
    EXPECT_EQ(fields.mAllocType, 0);
}

TEST(Pointer, EmptyHandleNeitherAllocatesNorReleases)
{
    long const before = liveBlocks();
    EXPECT_EQ(allocationsOf([] { IntHandle empty; }), 0u);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Pointer, LiveHandleHoldsItsObjectAndTypes)
{
    int* const object = new int(7);
    IntHandle const handle(object, QZPST_Individual, QZPAT_New);
    HandleFields const fields = fieldsAt(&handle);
    EXPECT_EQ(fields.mPointer, object);
    EXPECT_EQ(holdersOf(handle), 1u);
    EXPECT_EQ(fields.mSizeType, 1);
    EXPECT_EQ(fields.mAllocType, 1);
}

TEST(Pointer, HandleOfAMallocArrayReportsItsTypes)
{
    IntHandle const handle(static_cast<int*>(std::malloc(sizeof(int))), QZPST_Array, QZPAT_Malloc);
    EXPECT_EQ(fieldsAt(&handle).mSizeType, 2);
    EXPECT_EQ(fieldsAt(&handle).mAllocType, 2);
}

TEST(Pointer, HandleOfAConstantObjectReleasesIt)
{
    int gone = 0;
    long const before = liveBlocks();
    {
        QZCPointer<Witness const> const handle(countedBy(gone), QZPST_Individual, QZPAT_New);
        static_assert(std::is_same<decltype(*handle), Witness const&>::value, "the object is constant");
        QZCPointer<Witness const> const sharing(handle);
    }
    EXPECT_EQ(gone, 1);
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Pointer, HandleOfAConstantArrayReleasesIt)
{
    long const before = liveBlocks();
    {
        QZCPointer<int const> const handle(
            new int const [2] { 1, 2 }, QZPST_Array, QZPAT_New);
        EXPECT_EQ(*handle, 1);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Pointer, HandleOfAConstantMallocBlockFreesIt)
{
    // The leak checker of the sanitizer build reports a block that is not freed.
    QZCPointer<char const volatile> const handle(strdup("text"), QZPST_Array, QZPAT_Malloc);
    EXPECT_EQ(*handle, 't');
}

TEST(Pointer, DestroyingTheHandleDestroysTheObject)
{
    int gone = 0;
    {
        WitnessHandle const handle(countedBy(gone), QZPST_Individual, QZPAT_New);
        EXPECT_EQ(gone, 0);
    }
    EXPECT_EQ(gone, 1);
}

TEST(Pointer, DestructionFreesObjectAndCount)
{
    long const before = liveBlocks();
    {
        IntHandle const handle = handleOf(7);
        IntHandle const copy(handle);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Pointer, CountIsFreedBeforeTheObject)
{
    long inDestructor = 0;
    auto* const object = new Witness([&] { inDestructor = liveBlocks(); });
    long const withoutCount = liveBlocks();
    handleOf(object);
    EXPECT_EQ(inDestructor, withoutCount);
}

TEST(Pointer, DestructorOfADerivedObjectRuns)
{
    class Derived : public Witness
    {
    public:
        explicit Derived(bool& aGone) : mGone(aGone) {}
        ~Derived() override { mGone = true; }

    private:
        bool& mGone;
    };
    bool gone = false;
    {
        WitnessHandle const handle(new Derived(gone), QZPST_Individual, QZPAT_New);
    }
    EXPECT_TRUE(gone);
}

TEST(Pointer, NullCannotBeOwned)
{
    EXPECT_EQ(outcomeOf([] { IntHandle(nullptr, QZPST_Individual, QZPAT_New); }), outOfMemory);
}

TEST(Pointer, NullIsRefusedWithoutALogLine)
{
    LogCapture log;
    outcomeOf([] { IntHandle(nullptr, QZPST_Individual, QZPAT_New); });
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Pointer, FailedCountAllocationDoesNotDestroyTheObject)
{
    int gone = 0;
    Witness* const object = countedBy(gone);
    EXPECT_EQ(outcomeWithoutMemory(1, [&] { handleOf(object); }), outOfMemory);
    EXPECT_EQ(gone, 0);
    delete object;
    EXPECT_EQ(gone, 1);
}

TEST(Pointer, OwningAllocatesOnlyTheCount)
{
    int* const object = new int(7);
    EXPECT_EQ(allocationsOf([&] { IntHandle(object, QZPST_Individual, QZPAT_New); }), 1u);
}

TEST(Pointer, SharingDoesNotAllocate)
{
    IntHandle const handle = handleOf(7);
    IntHandle assigned;
    auto const share = [&]
    {
        IntHandle const copy(handle);
        assigned = copy;
    };
    EXPECT_EQ(allocationsOf(share), 0u);
    EXPECT_EQ(holdersOf(handle), 2u);
}

TEST(Pointer, CopyHasTheSameFields)
{
    IntHandle const handle(new int[2], QZPST_Array, QZPAT_New);
    IntHandle const copy(handle);
    HandleFields const fields = fieldsAt(&copy);
    EXPECT_EQ(fields.mPointer, fieldsAt(&handle).mPointer);
    EXPECT_EQ(fields.mReferenceCount, fieldsAt(&handle).mReferenceCount);
    EXPECT_EQ(fields.mSizeType, 2);
    EXPECT_EQ(fields.mAllocType, 1);
    EXPECT_EQ(holdersOf(handle), 2u);
}

TEST(Pointer, CopyOfAnEmptyHandleIsEmpty)
{
    IntHandle const empty;
    IntHandle const copy(empty);
    EXPECT_FALSE(copy != nullptr);
    EXPECT_EQ(fieldsAt(&copy).mReferenceCount, nullptr);
}

TEST(Pointer, LastOfSeveralHandlesFreesTheObject)
{
    int gone = 0;
    {
        WitnessHandle last;
        {
            WitnessHandle const first = handleOf(countedBy(gone));
            WitnessHandle const second(first);
            last = second;
            EXPECT_EQ(holdersOf(first), 3u);
        }
        EXPECT_EQ(gone, 0);
        EXPECT_EQ(holdersOf(last), 1u);
    }
    EXPECT_EQ(gone, 1);
}

TEST(Pointer, AssignmentMakesAnEmptyHandleLive)
{
    IntHandle const handle = handleOf(7);
    IntHandle assigned;
    assigned = handle;
    EXPECT_EQ(*assigned, 7);
    EXPECT_EQ(fieldsAt(&assigned).mSizeType, 1);
    EXPECT_EQ(fieldsAt(&assigned).mAllocType, 1);
    EXPECT_EQ(holdersOf(assigned), 2u);
}

TEST(Pointer, AssignmentReturnsTheHandle)
{
    IntHandle const handle = handleOf(7);
    IntHandle assigned;
    EXPECT_EQ(&(assigned = handle), &assigned);
}

TEST(Pointer, ReassignmentFreesTheOldObjectBeforeItRaisesTheNewCount)
{
    WitnessHandle const next = handleOf(new Witness);
    unsigned int nextHolders = 0;
    WitnessHandle handle = handleOf(new Witness([&] { nextHolders = holdersOf(next); }));
    handle = next;
    EXPECT_EQ(nextHolders, 1u) << "handles of the new object when the old one was destroyed";
    EXPECT_EQ(holdersOf(next), 2u);
}

TEST(Pointer, ReassigningASharedHandleKeepsTheOldObject)
{
    int gone = 0;
    WitnessHandle const other = handleOf(countedBy(gone));
    WitnessHandle handle(other);
    handle = handleOf(new Witness);
    EXPECT_EQ(gone, 0);
    EXPECT_EQ(holdersOf(other), 1u);
}

TEST(Pointer, SelfAssignmentOfALiveHandleChangesNothing)
{
    IntHandle handle = handleOf(7);
    IntHandle const& same = handle;
    handle = same;
    EXPECT_EQ(holdersOf(handle), 1u);
    EXPECT_EQ(*handle, 7);
}

TEST(Pointer, AssigningAHandleToTheSameObjectChangesNothing)
{
    IntHandle handle = handleOf(7);
    IntHandle const copy(handle);
    handle = copy;
    EXPECT_EQ(holdersOf(handle), 2u);
    EXPECT_EQ(*handle, 7);
}

TEST(Pointer, ComparisonWithNullDoesNotAssert)
{
    IntHandle const empty;
    IntHandle const live = handleOf(7);
    EXPECT_FALSE(empty != nullptr);
    EXPECT_FALSE(empty != 0);
    EXPECT_TRUE(live != nullptr);
    EXPECT_TRUE(live != 0);
    EXPECT_TRUE(empty == nullptr);
    EXPECT_FALSE(live == nullptr);
}

TEST(Pointer, ConversionToBoolTellsWhetherTheHandleIsLive)
{
    EXPECT_FALSE(IntHandle());
    EXPECT_TRUE(handleOf(7));
    EXPECT_FALSE((std::is_convertible_v<IntHandle, bool>)) << "only explicitly: a handle is no number";
}

TEST(Pointer, GetReturnsTheObjectAndNullOfAnEmptyHandle)
{
    IntHandle const live = handleOf(7);
    EXPECT_EQ(live.get(), &*live);
    EXPECT_EQ(IntHandle().get(), nullptr);
}

TEST(Pointer, GetReturnsTheFirstElementOfAnArray)
{
    QZCPointer<int> const numbers(new int[2]{3, 4}, QZPST_Array, QZPAT_New);
    EXPECT_EQ(numbers.get()[1], 4);
}

TEST(Pointer, AllFieldsAreZeroAfterDestruction)
{
    alignas(IntHandle) unsigned char storage[sizeof(IntHandle)];
    IntHandle const other(new int[2], QZPST_Array, QZPAT_New);
    for (IntHandle const& handle : {IntHandle(other), handleOf(7), IntHandle()})
    {
        (new (storage) IntHandle(handle))->~IntHandle();
        HandleFields const fields = fieldsAt(storage);
        EXPECT_EQ(fields.mPointer, nullptr);
        EXPECT_EQ(fields.mReferenceCount, nullptr);
        EXPECT_EQ(fields.mSizeType, 0);
        EXPECT_EQ(fields.mAllocType, 0);
    }
}

TEST(Pointer, LastHandleHasAllFieldsZeroAfterDestruction)
{
    alignas(IntHandle) unsigned char storage[sizeof(IntHandle)];
    (new (storage) IntHandle(new int(7), QZPST_Individual, QZPAT_New))->~IntHandle();
    HandleFields const fields = fieldsAt(storage);
    EXPECT_EQ(fields.mPointer, nullptr);
    EXPECT_EQ(fields.mReferenceCount, nullptr);
    EXPECT_EQ(fields.mSizeType, 0);
    EXPECT_EQ(fields.mAllocType, 0);
}

TEST(Pointer, ArrayIsDestroyedLastElementFirst)
{
    std::vector<int> gone;
    {
        WitnessHandle const handle(new Witness[3], QZPST_Array, QZPAT_New);
        for (int i = 0; i < 3; ++i)
        {
            (&*handle)[i].mAtEnd = [&gone, i] { gone.push_back(i); };
        }
    }
    EXPECT_THAT(gone, ElementsAre(2, 1, 0));
}

TEST(Pointer, MallocBlockIsFreedWithoutADestructor)
{
    struct Bystander
    {
        ~Bystander() { *mGone = true; }
        bool* mGone;
    };
    bool gone = false;
    long const before = liveBlocks();
    {
        auto* const block = static_cast<Bystander*>(std::malloc(sizeof(Bystander)));
        block->mGone = &gone;
        QZCPointer<Bystander> const handle(block, QZPST_Individual, QZPAT_Malloc);
        EXPECT_EQ(handle->mGone, &gone);
    }
    EXPECT_FALSE(gone);
    EXPECT_EQ(liveBlocks(), before) << "only the count is allocated with new";
}

TEST(Pointer, MallocBlockIsFreedForEverySizeType)
{
    long const before = liveBlocks();
    {
        IntHandle const handle(static_cast<int*>(std::malloc(sizeof(int))), static_cast<QZPointerSizeType>(3),
                               QZPAT_Malloc);
    }
    EXPECT_EQ(liveBlocks(), before);
}

TEST(Pointer, HandleWithoutACountReleasesNothing)
{
    int* const object = new int(7);
    QZCReferenceCount* count = nullptr;
    {
        IntHandle handle(object, QZPST_Individual, QZPAT_New);
        count = exchangeCount(handle, nullptr);
    }
    EXPECT_EQ(*object, 7);
    EXPECT_EQ(count->decrement(), 0u);
    delete object;
    delete count;
}

TEST(Pointer, DereferencingGivesTheObject)
{
    QZCPointer<std::string> handle(new std::string("text"), QZPST_Individual, QZPAT_New);
    QZCPointer<std::string> const& constant = handle;
    handle->push_back('!');
    *handle += '?';
    EXPECT_EQ(*constant, "text!?");
    EXPECT_EQ(constant->size(), 6u);
    EXPECT_EQ(constant.operator->(), &*handle);
}

TEST(Pointer, DereferencingAnArrayGivesItsFirstElement)
{
    IntHandle handle(new int[2]{7, 8}, QZPST_Array, QZPAT_New);
    IntHandle const& constant = handle;
    *handle += 10;
    EXPECT_EQ(*constant, 17);
    EXPECT_EQ((&*constant)[1], 8);
}

TEST(PointerDeathTest, MemberAccessOnAnEmptyHandleAsserts)
{
    EXPECT_EXIT((echoLogLines(), WitnessHandle()->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "0 != mPointer"));
    WitnessHandle const empty;
    EXPECT_EXIT((echoLogLines(), empty->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "0 != mPointer"));
}

TEST(PointerDeathTest, DereferencingAnEmptyHandleAsserts)
{
    EXPECT_EXIT((echoLogLines(), *IntHandle() = 1), ExitedWithCode(1),
                assertionOfPointer("operator*", "0 != mPointer"));
    IntHandle const empty;
    EXPECT_EXIT((echoLogLines(), *empty = 1), ExitedWithCode(1),
                assertionOfPointer("operator*", "0 != mPointer"));
}

TEST(PointerDeathTest, MemberAccessOnAHandleWithoutACountAsserts)
{
    WitnessHandle handle = handleOf(new Witness);
    Damage<Witness> const damage(handle);
    EXPECT_EXIT((echoLogLines(), handle->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "0 != mReferenceCount"));
    WitnessHandle const& constant = handle;
    EXPECT_EXIT((echoLogLines(), constant->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "0 != mReferenceCount"));
}

TEST(PointerDeathTest, DereferencingAHandleWithoutACountAsserts)
{
    IntHandle handle = handleOf(7);
    Damage<int> const damage(handle);
    EXPECT_EXIT((echoLogLines(), *handle = 1), ExitedWithCode(1),
                assertionOfPointer("operator*", "0 != mReferenceCount"));
    IntHandle const& constant = handle;
    EXPECT_EXIT((echoLogLines(), *constant = 1), ExitedWithCode(1),
                assertionOfPointer("operator*", "0 != mReferenceCount"));
}

TEST(PointerDeathTest, AssigningFromAHandleWithoutACountAsserts)
{
    IntHandle handle = handleOf(7);
    Damage<int> const damage(handle);
    IntHandle target;
    EXPECT_EXIT((echoLogLines(), target = handle), ExitedWithCode(1),
                assertionOfPointer("operator=", "0 != acrCopy.mReferenceCount"));
}

TEST(PointerDeathTest, SelfAssignmentOfAHandleWithoutACountAsserts)
{
    IntHandle handle = handleOf(7);
    Damage<int> const damage(handle);
    IntHandle const& same = handle;
    EXPECT_EXIT((echoLogLines(), handle = same), ExitedWithCode(1),
                assertionOfPointer("operator=", "0 != acrCopy.mReferenceCount"));
}

TEST(PointerDeathTest, AssigningFromAnEmptyHandleAsserts)
{
    IntHandle const empty;
    IntHandle target;
    EXPECT_EXIT((echoLogLines(), target = empty), ExitedWithCode(1),
                assertionOfPointer("operator=", "0 != acrCopy.mPointer"));
    target = handleOf(7);
    EXPECT_EXIT((echoLogLines(), target = empty), ExitedWithCode(1),
                assertionOfPointer("operator=", "0 != acrCopy.mPointer"));
}

TEST(PointerDeathTest, SelfAssignmentOfAnEmptyHandleAsserts)
{
    IntHandle empty;
    IntHandle const& same = empty;
    EXPECT_EXIT((echoLogLines(), empty = same), ExitedWithCode(1),
                assertionOfPointer("operator=", "0 != acrCopy.mPointer"));
}

TEST(PointerDeathTest, MemberAccessOnAnArrayAsserts)
{
    WitnessHandle handle(new Witness[2], QZPST_Array, QZPAT_New);
    EXPECT_EXIT((echoLogLines(), handle->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "QZPST_Individual == mSizeType"));
    WitnessHandle const& constant = handle;
    EXPECT_EXIT((echoLogLines(), constant->mAtEnd()), ExitedWithCode(1),
                assertionOfPointer("operator->", "QZPST_Individual == mSizeType"));
}

TEST(PointerDeathTest, DereferencingAnUnknownSizeTypeAsserts)
{
    IntHandle handle(static_cast<int*>(std::malloc(sizeof(int))), static_cast<QZPointerSizeType>(3),
                     QZPAT_Malloc);
    EXPECT_EXIT((echoLogLines(), *handle = 1), ExitedWithCode(1), assertionOfPointer("operator*", "false"));
    IntHandle const& constant = handle;
    EXPECT_EXIT((echoLogLines(), *constant = 1), ExitedWithCode(1), assertionOfPointer("operator*", "false"));
}

TEST(PointerDeathTest, DeletingAnUnknownSizeTypeAsserts)
{
    static int object = 7;
    auto const unknown = static_cast<QZPointerSizeType>(3);
    EXPECT_EXIT((echoLogLines(), IntHandle(&object, unknown, QZPAT_New)), ExitedWithCode(1),
                assertionOfPointer("_releaseMemory", "false"));
}

TEST(PointerDeathTest, ReleasingAnUnknownAllocationTypeAsserts)
{
    static int object = 7;
    auto const unknown = static_cast<QZPointerAllocType>(3);
    EXPECT_EXIT((echoLogLines(), IntHandle(&object, QZPST_Individual, unknown)), ExitedWithCode(1),
                assertionOfPointer("_releaseMemory", "false"));
}

TEST(PointerDeathTest, ReassignmentChecksTheOldObjectToo)
{
    static int object = 7;
    auto const unknown = static_cast<QZPointerAllocType>(0);
    IntHandle const next = handleOf(8);
    EXPECT_EXIT(
        {
            echoLogLines();
            IntHandle handle(&object, QZPST_Individual, unknown);
            handle = next;
        },
        ExitedWithCode(1), assertionOfPointer("_releaseMemory", "false"));
}
}  // namespace
