/// @file
/// Guards that release what is loaded, opened or allocated through the HBA API layer, also after an exception.
#pragma once

#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>
#include <string>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tools/qzagent/hba/Lun.h"

namespace qzagent
{
/// Keeps the common library loaded.
class LoadedHbaapi
{
public:
    /// @throws QZCExitConditionEx when the common library does not load
    explicit LoadedHbaapi(QZCHbaapiAbs& aHbaapi) : mHbaapi(aHbaapi) { mHbaapi.HA_LoadHbaapi(); }
    ~LoadedHbaapi() { mHbaapi.HA_FreeHbaapi(); }
    LoadedHbaapi(LoadedHbaapi const&) = delete;
    LoadedHbaapi& operator=(LoadedHbaapi const&) = delete;

private:
    QZCHbaapiAbs& mHbaapi;
};

/// Keeps an adapter open.
class OpenAdapter
{
public:
    /// @param aName a copy, because the HBA API may write to it
    /// @throws QZCHbaapiEx when the adapter cannot be opened
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

/// @return the target mappings of an adapter; never null
/// @throws QZCHbaapiEx when the adapter does not report its mappings
/// @throws QZCNoMemoryEx when memory is exhausted
inline std::unique_ptr<HBA_FCPTargetMapping, Freed> targetMappings(QZCHbaapiAbs& aHbaapi,
                                                                   unsigned int aHandle)
{
    HBA_FCPTargetMapping* mapping = nullptr;
    return std::unique_ptr<HBA_FCPTargetMapping, Freed>(aHbaapi.HA_GetTargetMappings(aHandle, mapping));
}

/// A response to REPORT LUNS. Its buffer has room for the longest LUN list that the layer accepts, so the layer, which
/// replaces a buffer that is too small by one that it does not zero, has no reason to replace it.
class ReportLunsResponse
{
public:
    /// @param aSize the block's size; by default, the layer never replaces the block
    /// @throws std::bad_alloc when memory is exhausted
    explicit ReportLunsResponse(unsigned int aSize = largestReport)
        : mBlock(std::calloc(1, aSize)), mSize(aSize)
    {
        if (mBlock == nullptr)
        {
            throw std::bad_alloc();
        }
    }
    ~ReportLunsResponse() { std::free(mBlock); }
    ReportLunsResponse(ReportLunsResponse const&) = delete;
    ReportLunsResponse& operator=(ReportLunsResponse const&) = delete;

    /// @throws QZCHbaapiEx when the remote port does not answer, or reports a list of more than 512 LUNs
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
