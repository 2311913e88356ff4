#include "simulator/HbaSimulation.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace qzsim
{
HBA_STATUS HbaSimulation::load(Scenario aScenario)
{
    std::lock_guard const lock(mMutex);
    mLoaded.reset();
    mFaults.schedule(aScenario.mFaults);
    HBA_STATUS const status = fault(Call::loadLibrary);
    if (status == HBA_STATUS_OK)
    {
        mLoaded = Loaded{std::move(aScenario), {}};
    }
    return status;
}

HBA_STATUS HbaSimulation::free()
{
    std::lock_guard const lock(mMutex);
    HBA_STATUS const status = fault(Call::freeLibrary);
    if (status == HBA_STATUS_OK)
    {
        mLoaded.reset();
    }
    return status;
}

HBA_UINT32 HbaSimulation::numberOfAdapters()
{
    std::lock_guard const lock(mMutex);
    return mLoaded ? static_cast<HBA_UINT32>(mLoaded->mScenario.mAdapters.size()) : 0;
}

HBA_STATUS HbaSimulation::adapterName(HBA_UINT32 aIndex, char* aName)
{
    std::lock_guard const lock(mMutex);
    if (!mLoaded)
    {
        return HBA_STATUS_ERROR;
    }
    if (aName == nullptr)
    {
        return HBA_STATUS_ERROR_ARG;
    }
    if (aIndex >= mLoaded->mScenario.mAdapters.size())
    {
        return HBA_STATUS_ERROR_ILLEGAL_INDEX;
    }
    std::string const& name = mLoaded->mScenario.mAdapters[aIndex].mName;
    HBA_STATUS const status = fault(Call::getAdapterName, name);
    if (status == HBA_STATUS_OK)
    {
        std::memcpy(aName, name.c_str(), name.size() + 1);
    }
    return status;
}

HBA_HANDLE HbaSimulation::openAdapter(char const* aName)
{
    std::lock_guard const lock(mMutex);
    if (!mLoaded || aName == nullptr)
    {
        return HBA_HANDLE_INVALID;
    }
    std::vector<Adapter> const& adapters = mLoaded->mScenario.mAdapters;
    auto const found = std::find_if(adapters.begin(), adapters.end(),
                                    [aName](Adapter const& aAdapter) { return aAdapter.mName == aName; });
    if (found == adapters.end() || fault(Call::openAdapter, found->mName) != HBA_STATUS_OK)
    {
        return HBA_HANDLE_INVALID;
    }
    return mLoaded->mHandles.open(static_cast<std::size_t>(found - adapters.begin()));
}

void HbaSimulation::closeAdapter(HBA_HANDLE aHandle)
{
    std::lock_guard const lock(mMutex);
    if (mLoaded)
    {
        mLoaded->mHandles.close(aHandle);
    }
}

HBA_STATUS HbaSimulation::fault(Call aCall, std::string const& aAdapter)
{
    return mFaults.next(aCall, aAdapter).value_or(HBA_STATUS_OK);
}
}  // namespace qzsim
