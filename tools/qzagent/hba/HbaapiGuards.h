/// @file
/// What is loaded and opened through the HBA API layer is released again, also on the way of an exception.
#pragma once

#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

namespace qzagent
{
class LoadedHbaapi
{
public:
    /// @throws QZCExitConditionEx as HA_LoadHbaapi()
    explicit LoadedHbaapi(QZCHbaapiAbs& aHbaapi) : mHbaapi(aHbaapi) { mHbaapi.HA_LoadHbaapi(); }
    ~LoadedHbaapi() { mHbaapi.HA_FreeHbaapi(); }
    LoadedHbaapi(LoadedHbaapi const&) = delete;
    LoadedHbaapi& operator=(LoadedHbaapi const&) = delete;

private:
    QZCHbaapiAbs& mHbaapi;
};

class OpenAdapter
{
public:
    /// @param aName a copy, as the HBA API may write to it
    /// @throws QZCHbaapiEx as HA_OpenAdapter()
    OpenAdapter(QZCHbaapiAbs& aHbaapi, std::string aName)
        : mHbaapi(aHbaapi), mHandle(mHbaapi.HA_OpenAdapter(aName.data()))
    {
    }
    ~OpenAdapter() { mHbaapi.HA_CloseAdapter(mHandle); }
    OpenAdapter(OpenAdapter const&) = delete;
    OpenAdapter& operator=(OpenAdapter const&) = delete;

    unsigned int handle() const { return mHandle; }

private:
    QZCHbaapiAbs& mHbaapi;
    unsigned int const mHandle;
};

struct Freed
{
    void operator()(void* aBlock) const { std::free(aBlock); }
};

/// The target mappings of an adapter; never null.
/// @throws as HA_GetTargetMappings()
inline std::unique_ptr<HBA_FCPTargetMapping, Freed> targetMappings(QZCHbaapiAbs& aHbaapi,
                                                                   unsigned int aHandle)
{
    HBA_FCPTargetMapping* mapping = nullptr;
    return std::unique_ptr<HBA_FCPTargetMapping, Freed>(aHbaapi.HA_GetTargetMappings(aHandle, mapping));
}

/// A response to REPORT LUNS, in a block that the layer may replace while it asks.
class ReportLunsResponse
{
public:
    /// @param aSize of the first block
    explicit ReportLunsResponse(unsigned int aSize) : mBlock(std::malloc(aSize)), mSize(aSize)
    {
        if (mBlock == nullptr)
        {
            throw std::bad_alloc();
        }
    }
    ~ReportLunsResponse() { std::free(mBlock); }
    ReportLunsResponse(ReportLunsResponse const&) = delete;
    ReportLunsResponse& operator=(ReportLunsResponse const&) = delete;

    /// @throws QZCHbaapiEx as HA_SendReportLUNs()
    void fetch(QZCHbaapiAbs& aHbaapi, unsigned int aHandle, HBA_WWN const& aPort)
    {
        aHbaapi.HA_SendReportLUNs(aHandle, aPort, &mBlock, &mSize);
    }

    unsigned char const* bytes() const { return static_cast<unsigned char const*>(mBlock); }
    unsigned int size() const { return mSize; }

private:
    void* mBlock;
    unsigned int mSize;
};
}  // namespace qzagent
