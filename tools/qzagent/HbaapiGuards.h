/// @file
/// What is loaded and opened through the HBA API layer is released again, also on the way of an exception.
#pragma once

#include <string>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

namespace qzagent
{
class LoadedHbaapi
{
public:
    /// @throws QZCExitConditionEx as HA_LoadHbaapi()
    explicit LoadedHbaapi(QZCHbaapiAbs& arHbaapi) : mHbaapi(arHbaapi) { mHbaapi.HA_LoadHbaapi(); }
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
    OpenAdapter(QZCHbaapiAbs& arHbaapi, std::string aName)
        : mHbaapi(arHbaapi), mHandle(mHbaapi.HA_OpenAdapter(aName.data()))
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
}  // namespace qzagent
