// Failing allocations in the vendor library layer, for each operation and each of its allocations.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "agentkit/testing/FakeVqm.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

namespace
{
using Name = QZCPointer<QZCWorldWideName>;

/// The layer with a vendor library that answers every call, and the arguments of its operations.
struct Scene
{
    qz::FakeVqm mVqm;
    QZCLibvqmAbs mLayer;
    Name mFirst = nameOf({1, 2, 3, 4, 5, 6, 7, 8});
    Name mSecond = nameOf({8, 7, 6, 5, 4, 3, 2, 1});
    QZCPointer<QZCScopeEvent> mEvent = eventOf(3, 7);
};

std::shared_ptr<Scene> unloaded() { return std::make_shared<Scene>(); }

std::shared_ptr<Scene> loaded()
{
    auto const scene = unloaded();
    scene->mLayer.LIBVQM_LoadLibrary();
    return scene;
}

void initialisesAfterAll(Scene& aScene)
{
    aScene.mLayer.LIBVQM_Init();
    EXPECT_TRUE(aScene.mLayer.LIBVQM_IsQzapiSupported());
    EXPECT_EQ(aScene.mLayer.LIBVQM_GetNumberOfAdapters(), 1u);
}

void keepsTheNames(Scene const& aScene)
{
    EXPECT_STREQ(aScene.mFirst->getStringForm().get(), "01:02:03:04:05:06:07:08");
    EXPECT_STREQ(aScene.mSecond->getStringForm().get(), "08:07:06:05:04:03:02:01");
}

std::vector<Operation> rows()
{
    // The text, the record, an empty piece and the parts of the text, and the count of the record's handle.
    auto const versionOf = [](unsigned int aParts) {
        return joined({{0, 1}, {0}, times(1 + aParts, {0, 1}), {1}});
    };
    // The record, an empty text, a text of 23 characters, and the count of the record's handle. Without the
    // count, all four blocks of the record are leaked.
    Lost const name = joined({{0}, {0, 1}, {0, 0, 2}, {4}});
    return {
        withoutAllocation("Loads", unloaded, [](Scene& aScene) { aScene.mLayer.LIBVQM_LoadLibrary(); }),
        withoutAllocation("Frees", loaded, [](Scene& aScene) { aScene.mLayer.LIBVQM_FreeLibrary(); }),
        withoutAllocation("Closes", loaded, [](Scene& aScene) { aScene.mLayer.LIBVQM_Close(); }),
        operation(
            "Initialises", joined({versionOf(4), versionOf(3)}), outOfMemory, loaded,
            [](Scene& aScene) { aScene.mLayer.LIBVQM_Init(); }, initialisesAfterAll),
        withoutAllocation("InitialisesWithoutAdapters", loaded,
                          [](Scene& aScene)
                          {
                              aScene.mVqm.mNumAdapters = 0;
                              aScene.mLayer.LIBVQM_Init();
                          }),
        withoutAllocation("GivesItsVerdict", loaded,
                          [](Scene& aScene)
                          {
                              aScene.mLayer.LIBVQM_IsQzapiSupported();
                              aScene.mLayer.LIBVQM_GetNumberOfAdapters();
                              aScene.mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>());
                          }),
        operation(
            "NamesAnAdapter", joined({name, name}), outOfMemory, loaded,
            [](Scene& aScene) { aScene.mLayer.LIBVQM_GetAdapterInfo(0, aScene.mFirst, aScene.mSecond); },
            keepsTheNames),
        withoutAllocation("RegistersForPlainEvents", loaded,
                          [](Scene& aScene)
                          {
                              aScene.mLayer.LIBVQM_VqmRegEvent(0, 1, nullptr, 2, nullptr);
                              aScene.mLayer.LIBVQM_VqmUnregEvent(0, 1);
                          }),
        withoutAllocation("RegistersForQuazorEvents", loaded,
                          [](Scene& aScene)
                          {
                              unsigned int id = 0;
                              aScene.mLayer.LIBVQM_QzapiRegEvent(0, aScene.mFirst, aScene.mEvent, nullptr,
                                                                 &id, nullptr);
                              aScene.mLayer.LIBVQM_QzapiUnregEvent(0, aScene.mFirst, id);
                          }),
        withoutAllocation(
            "MissesTheLibrary", loaded,
            [](Scene& aScene)
            {
                aScene.mVqm.mHandle = 0;
                aScene.mLayer.LIBVQM_LoadLibrary();
            },
            "QZCNotFoundEx 8: No libvqm located"),
    };
}

class LibvqmAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Layer, LibvqmAllocations, testing::ValuesIn(rows()), nameOfOperation);

TEST_P(LibvqmAllocations, EveryFailedAllocationIsReported)
{
    failEveryAllocation(GetParam(), [](auto const& aRun) { inFreshProcess(aRun); });
}
}  // namespace
