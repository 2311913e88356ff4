/// @file
/// Uses the simulated HBA library as the common library does: through its entry table.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <string>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <hbaapi.h>
#include <vendorhbaapi.h>

#include "tests/support/ScratchFolder.h"

constexpr char const* twoAdapters =
    "[[adapter]]\nname = \"example-fc-0\"\n[[adapter]]\nname = \"example-fc-1\"\n";

struct AdapterName
{
    HBA_STATUS mStatus;
    std::string mName;
};

/// Loads the library before each test and unloads it after the test.
class HbaLibraryFixture : public testing::Test
{
protected:
    static constexpr HBA_STATUS ok = HBA_STATUS_OK;
    static constexpr HBA_STATUS busy = HBA_STATUS_ERROR_BUSY;

    HbaLibraryFixture() : mLibrary(::dlopen(QZSIM_HBA_LIBRARY, RTLD_LAZY))
    {
        if (mLibrary == nullptr)
        {
            throw std::runtime_error(::dlerror());
        }
        registerInto("HBA_RegisterLibraryV2", mTable);
    }

    ~HbaLibraryFixture() override
    {
        ::dlclose(mLibrary);
        ::unsetenv("QZSIM_SCENARIO");
        ::unsetenv("QZSIM_STRIKES");
    }

    template <typename Table>
    HBA_STATUS registerInto(char const* aFunction, Table& aTable)
    {
        return registration<Table>(aFunction)(&aTable);
    }

    template <typename Table>
    auto registration(char const* aFunction)
    {
        return reinterpret_cast<HBA_STATUS (*)(Table*)>(::dlsym(mLibrary, aFunction));
    }

    /// @return a fault in the first call, or in the calls that aNth specifies
    static std::string fault(std::string const& aCall, HBA_STATUS aStatus, std::string const& aNth = "1")
    {
        return "[[fault]]\ncall = \"" + aCall + "\"\nnth = " + aNth +
               "\nstatus = " + std::to_string(aStatus) + "\n";
    }

    HBA_STATUS load(std::string const& aScenario)
    {
        ::setenv("QZSIM_SCENARIO", mFolder.write("scenario.toml", aScenario).c_str(), 1);
        return mTable.LoadLibraryHandler();
    }

    /// Loads the library, which must fail.
    /// @return what it writes to standard error
    std::string errorsOfLoad()
    {
        testing::internal::CaptureStderr();
        EXPECT_EQ(mTable.LoadLibraryHandler(), HBA_STATUS{HBA_STATUS_ERROR});
        return testing::internal::GetCapturedStderr();
    }

    AdapterName name(HBA_UINT32 aIndex)
    {
        constexpr std::size_t nameBufferSize = 256;
        std::string buffer(nameBufferSize, 'x');
        HBA_STATUS const status = mTable.GetAdapterNameHandler(aIndex, buffer.data());
        return {status, buffer.c_str()};
    }

    HBA_HANDLE open(std::string aName) { return mTable.OpenAdapterHandler(aName.data()); }

    ScratchFolder mFolder;
    void* mLibrary;
    HBA_ENTRYPOINTSV2 mTable{};
};
