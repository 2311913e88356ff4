// Failing allocations in the HBA API layer, for each operation and each of its allocations.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/testing/FakeHbaapi.h"
#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tests/backend/sensor/agentcommon/LibraryHeap.h"
#include "tests/support/AllocationTable.h"
#include "tests/support/Outcome.h"

namespace
{
using Rows = std::vector<Operation>;

constexpr unsigned int portsOfAdapter = 4;
constexpr unsigned int responseSize = 16;

/// The layer with an HBA API that answers every call, and the results of the calls.
struct Scene
{
    Scene()
    {
        mHbaapi.mNames = {{HBA_STATUS_OK, "sim-1"}, {HBA_STATUS_OK, "sim-2"}};
        mHbaapi.mAdapterAttributes = {
            {HBA_STATUS_OK, [](HBA_ADAPTERATTRIBUTES& aFilled) { aFilled.NumberOfPorts = portsOfAdapter; }}};
        mHbaapi.mPortAttributes.resize(portsOfAdapter);
        mAdapter.NumberOfPorts = portsOfAdapter;
    }

    ~Scene()
    {
        std::free(mMapping);
        std::free(mResponse);
    }

    Scene(Scene const&) = delete;
    Scene& operator=(Scene const&) = delete;

    qz::FakeHbaapi mHbaapi;
    QZCHbaapiAbs mLayer;
    QZCVector<QZCString> mNames;
    HBA_ADAPTERATTRIBUTES mAdapter = {};
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> mAttributes;
    std::unique_ptr<HBA_PORTATTRIBUTES[]> mPorts;
    unsigned int mNumPorts = 0;
    HBA_FCPTargetMapping* mMapping = nullptr;
    void* mResponse = std::calloc(1, responseSize);
    unsigned int mSize = responseSize;
};

std::shared_ptr<Scene> scene() { return std::make_shared<Scene>(); }

Rows layerRows()
{
    // Each name becomes a text and is copied into the list. The list grows and copies its elements.
    Lost const text = {0, 1};
    Lost const grown = {0};
    return {
        withoutAllocation("LibraryIsLoaded", scene, [](Scene& aScene) { aScene.mLayer.HA_LoadHbaapi(); }),
        withoutAllocation("LibraryIsFreed", scene, [](Scene& aScene) { aScene.mLayer.HA_FreeHbaapi(); }),
        withoutAllocation("AdaptersAreCounted", scene,
                          [](Scene& aScene) { aScene.mLayer.HA_GetNumberOfAdapters(); }),
        withoutAllocation("AdapterIsUsed", scene,
                          [](Scene& aScene)
                          {
                              char name[] = "sim-1";
                              unsigned int const handle = aScene.mLayer.HA_OpenAdapter(name);
                              aScene.mLayer.HA_RefreshAdapter(handle);
                              aScene.mLayer.HA_CloseAdapter(handle);
                          }),
        operation(
            "AdapterNames", joined({text, grown, text, text, grown, text, text}), outOfMemory, scene,
            [](Scene& aScene) { aScene.mLayer.HA_GetAdapterNames(2, aScene.mNames); },
            [](Scene const& aScene)
            {
                // The second name is requested after the first is in the list.
                EXPECT_EQ(aScene.mNames.size(), aScene.mHbaapi.mNames.empty() ? 1u : 0u);
            }),
        operation(
            "AdapterAttributes", {0}, "QZCHaltEx 1: No memory for adapter attributes", scene,
            [](Scene& aScene) { aScene.mAttributes.reset(aScene.mLayer.HA_GetAdapterAttributes(7)); },
            [](Scene const& aScene) { EXPECT_EQ(aScene.mHbaapi.mAdapterAttributes.size(), 1u); }),
        operation(
            "AdapterPorts", {0}, "QZCHaltEx 1: No memory for Port Attributes", scene,
            [](Scene& aScene)
            { aScene.mPorts.reset(aScene.mLayer.HA_GetAdapterPorts(7, &aScene.mAdapter, aScene.mNumPorts)); },
            [](Scene const& aScene) { EXPECT_EQ(aScene.mNumPorts, portsOfAdapter); }),
    };
}

class HbaapiAllocations : public testing::TestWithParam<Operation>
{
};

INSTANTIATE_TEST_SUITE_P(Layer, HbaapiAllocations, testing::ValuesIn(layerRows()), nameOfOperation);

TEST_P(HbaapiAllocations, EveryFailedAllocationIsReported) { failEveryAllocation(GetParam()); }

LibraryHeap* gFailingHeap = nullptr;

/// Makes the library's C heap allocations fail.
class HeapFailure
{
public:
    HeapFailure(unsigned int aFirst, unsigned int aLast) : mBefore(gFailingHeap->allocations())
    {
        // Adding to the last number must not overflow: it may be the largest one.
        unsigned int const beyond = std::numeric_limits<unsigned int>::max() - mBefore;
        gFailingHeap->failAllocations(aFirst != 0 ? mBefore + aFirst : 0, mBefore + std::min(aLast, beyond));
    }

    ~HeapFailure() { gFailingHeap->failAllocations(0, 0); }

    HeapFailure(HeapFailure const&) = delete;
    HeapFailure& operator=(HeapFailure const&) = delete;

    unsigned int allocations() const { return gFailingHeap->allocations() - mBefore; }

    static long liveBlocks() { return gFailingHeap->liveBlocks(); }

private:
    unsigned int mBefore;
};

/// An adapter that demands a larger block twice, for its mappings or for its response.
std::shared_ptr<Scene> sceneOfAGrowingAdapter()
{
    auto const made = scene();
    auto const needMappings = [](HBA_FCPTargetMapping& aMapping) { aMapping.NumberOfEntries += 100; };
    made->mHbaapi.mTargetMappings = {{HBA_STATUS_ERROR_MORE_DATA, needMappings},
                                     {HBA_STATUS_ERROR_MORE_DATA, needMappings},
                                     {HBA_STATUS_OK}};
    auto const listOf = [](unsigned char aLength)
    {
        return [=](qz::FakeHbaapi::ReportLunsBlocks& aBlocks)
        {
            std::fill_n(aBlocks.mResponse, 3, static_cast<unsigned char>(0));
            aBlocks.mResponse[3] = aLength;
        };
    };
    made->mHbaapi.mReportLuns = {
        {HBA_STATUS_OK, listOf(64)}, {HBA_STATUS_OK, listOf(128)}, {HBA_STATUS_OK, listOf(128)}};
    return made;
}

Rows heapRows()
{
    return {
        operation(
            "TargetMappings", {0, 0, 0}, outOfMemory, sceneOfAGrowingAdapter,
            [](Scene& aScene) { aScene.mLayer.HA_GetTargetMappings(7, aScene.mMapping); },
            [](Scene const& aScene) { EXPECT_EQ(aScene.mMapping, nullptr); }),
        operation(
            "ReportLuns", {0, 0}, "QZCHbaapiEx 802: Malloc Failed in HA_SendReportLUNs",
            sceneOfAGrowingAdapter,
            [](Scene& aScene)
            { aScene.mLayer.HA_SendReportLUNs(7, HBA_wwn{}, &aScene.mResponse, &aScene.mSize); },
            [](Scene const& aScene)
            {
                EXPECT_EQ(aScene.mResponse, nullptr);
                // The size of the previous buffer: the caller's, or the first larger one.
                EXPECT_EQ(aScene.mSize, aScene.mHbaapi.mReportLuns.size() == 2 ? responseSize : 72u);
            }),
    };
}

class HbaapiHeapAllocations : public testing::TestWithParam<Operation>
{
protected:
    HbaapiHeapAllocations() { gFailingHeap = &mHeap; }

    ~HbaapiHeapAllocations() override { gFailingHeap = nullptr; }

    void SetUp() override
    {
        if (!LibraryHeap::isWatched())
        {
            GTEST_SKIP() << "the sanitizers replace malloc in this build";
        }
    }

    LibraryHeap mHeap;
};

INSTANTIATE_TEST_SUITE_P(Layer, HbaapiHeapAllocations, testing::ValuesIn(heapRows()), nameOfOperation);

TEST_P(HbaapiHeapAllocations, EveryFailedAllocationIsReported)
{
    failEveryAllocation<HeapFailure>(GetParam());
}
}  // namespace
