// The memory areas that the layer passes to the vendor library.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/testing/FakeVqm.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/DepVersion.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "tests/backend/sensor/agentcommon/LibvqmLayer.h"
#include "tests/backend/sensor/agentcommon/LibvqmUses.h"
#include "tests/support/FreshProcess.h"

using testing::Contains;
using testing::Each;

namespace
{
/// Fills the stack below with nonzero bytes, so that later calls do not find zeros there.
__attribute__((noinline)) void dirtyStack()
{
    unsigned char volatile bytes[16384];
    for (std::size_t i = 0; i < sizeof bytes; ++i)
    {
        bytes[i] = 0xa5;
    }
}

/// Runs the action with a dirty stack. The action runs once before that, since the dynamic linker also writes to the
/// stack when a function is called for the first time.
template <typename Action>
void onDirtyStack(Action const& aAction)
{
    aAction();
    dirtyStack();
    aAction();
}

class LibvqmAreas : public LibvqmLayer
{
protected:
    /// The diagnostic environment table as the scripted library fills it.
    std::array<unsigned char, qz::FakeVqm::tableSize> tableLeft() const
    {
        std::array<unsigned char, qz::FakeVqm::tableSize> table;
        table.fill(0xff);
        std::string const& text = mVqm.mDriverVersion;
        std::copy_n(text.c_str(), text.size() + 1, table.begin() + qz::FakeVqm::driverTextPosition);
        return table;
    }
};

TEST_F(LibvqmAreas, RecordsAreAlignedFor64BitNumbers)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            getAdapterInfo(mLayer);
            ASSERT_EQ(mVqm.mAreas.size(), 4u) << "table, version text, driver and link record";
            for (void const* const area : mVqm.mAreas)
            {
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(area) % 8, 0u) << area;
            }
        });
}

TEST_F(LibvqmAreas, LibraryVersionTextIsZeroedBeforeTheCall)
{
    inFreshProcess(
        [&]
        {
            mVqm.mVersionTextOnEntry.fill(0xff);
            load();
            onDirtyStack([&] { initWithoutMemory(mLayer); });
            EXPECT_THAT(mVqm.mVersionTextOnEntry, Each(0));
        });
}

TEST_F(LibvqmAreas, DriverRecordHasVersionFourAndZerosBeforeTheCall)
{
    inFreshProcess(
        [&]
        {
            load();
            onDirtyStack([&] { mLayer.DoesDriverSupportQzapi(QZCPointer<QZCDepVersion>()); });
            std::array<unsigned char, qz::FakeVqm::driverRecordSize> const expected = {4};
            EXPECT_EQ(mVqm.mDriverRecordOnEntry, expected);
        });
}

TEST_F(LibvqmAreas, LinkRecordIsZeroedBeforeTheCall)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLinkRecordOnEntry.fill(0xff);
            load();
            onDirtyStack([&] { getAdapterInfo(mLayer); });
            EXPECT_THAT(mVqm.mLinkRecordOnEntry, Each(0));
        });
}

TEST_F(LibvqmAreas, InitKeepsTheTable)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_Init();
            EXPECT_EQ(mVqm.mTableOnEntry, tableLeft());
        });
}

TEST_F(LibvqmAreas, CloseKeepsTheTable)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_Close();
            mLayer.LIBVQM_Init();
            EXPECT_EQ(mVqm.mTableOnEntry, tableLeft());
        });
}

TEST_F(LibvqmAreas, FreeKeepsTheTable)
{
    inFreshProcess(
        [&]
        {
            loadAndInit();
            mLayer.LIBVQM_FreeLibrary();
            loadAndInit();
            EXPECT_EQ(mVqm.mTableOnEntry, tableLeft());
        });
}

TEST_F(LibvqmAreas, UnterminatedLibraryVersionIsReadToTheEndOfItsArea)
{
    inFreshProcess(
        [&]
        {
            mVqm.mLibraryVersion = std::string(200, '7');
            load();
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), Contains(foundVersion(std::string(128, '7'))));
        });
}

TEST_F(LibvqmAreas, UnterminatedDriverVersionIsReadToTheEndOfTheTable)
{
    inFreshProcess(
        [&]
        {
            mVqm.mDriverVersion = std::string(4000, '8');
            load();
            mLayer.LIBVQM_Init();
            EXPECT_THAT(events(), Contains(driverVersion(std::string(3456 - 52, '8'))));
        });
}
}  // namespace
