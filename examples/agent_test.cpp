// Unit tests of an agent's function, with calls of the HBA API that the test answers.
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "agentkit/include/HbaWitness.h"
#include "agentkit/include/VqmLibrary.h"
#include "agentkit/testing/FakeHbaapi.h"
#include "agentkit/testing/FakeVqm.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace
{
/// The function under test: the names of the adapters, or the status of those that do not answer.
std::vector<std::string> adapterNames()
{
    qz::HbaApi api;
    std::vector<std::string> names;
    for (unsigned int index = 0; index < api.numberOfAdapters(); ++index)
    {
        try
        {
            names.push_back(api.adapterName(index));
        }
        catch (QZCExitConditionEx const&)
        {
            names.push_back("(status " + std::to_string(qz::lastHbaCall().mStatus) + ")");
        }
    }
    return names;
}

TEST(AdapterNames, ListEveryAdapter)
{
    qz::FakeHbaapi hbaapi;
    hbaapi.mNumberOfAdapters = 2;
    hbaapi.mNames = {{HBA_STATUS_OK, "first"}, {HBA_STATUS_OK, "second"}};
    EXPECT_EQ(adapterNames(), (std::vector<std::string>{"first", "second"}));
}

TEST(AdapterNames, GoOnAfterAnAdapterThatIsBusy)
{
    qz::FakeHbaapi hbaapi;
    hbaapi.mNumberOfAdapters = 2;
    hbaapi.mNames = {{HBA_STATUS_ERROR_BUSY, ""}, {HBA_STATUS_OK, "second"}};
    EXPECT_EQ(adapterNames(), (std::vector<std::string>{"(status 10)", "second"}));
}

TEST(AdapterNames, FreeTheLibraryWhenTheyAreRead)
{
    qz::FakeHbaapi hbaapi;
    adapterNames();
    EXPECT_EQ(hbaapi.calls(), (std::vector<std::string>{"HBA_LoadLibrary()", "HBA_GetNumberOfAdapters()",
                                                        "HBA_FreeLibrary()"}));
}

TEST(AdapterNames, ThrowWhenTheLibraryCannotBeLoaded)
{
    qz::FakeHbaapi hbaapi;
    hbaapi.mLoadStatus = HBA_STATUS_ERROR;
    EXPECT_THROW(adapterNames(), QZCExitConditionEx);
}

TEST(Boards, AreCountedByTheVendorLibrary)
{
    qz::FakeVqm vqm;
    vqm.mNumAdapters = 3;
    qz::VqmLibrary library;
    EXPECT_EQ(qz::VqmEnvironment(library).numberOfBoards(), 3u);
}
}  // namespace
