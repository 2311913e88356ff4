/// @file
/// All uses of the layer that need the vendor library.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "tests/support/Outcome.h"
#include "tests/support/Records.h"

/// Created once, so that its log lines do not mix with those of the operation that uses it.
inline QZCPointer<QZCWorldWideName> const& somePort()
{
    static QZCPointer<QZCWorldWideName> const port = nameOf({0x10, 0, 0, 0, 0xc9, 0x2a, 0x3b, 0x4c});
    return port;
}

/// A use of the layer that needs the vendor library.
struct Use
{
    std::string mOperation;  ///< the operation under whose name the lookup is logged
    std::string mSymbol;     ///< the function that it looks up; empty for none
    std::function<void(QZCLibvqmAbs&)> mRun;
    bool mIsFirstInit = false;           ///< only the first LIBVQM_Init() needs the function
    bool mIsQzapiSupportedAfter = true;  ///< the verdict when the function is missing
};

inline std::ostream& operator<<(std::ostream& aOut, Use const& aUse)
{
    return aOut << aUse.mOperation << ' ' << aUse.mSymbol;
}

inline std::string nameOfUse(testing::TestParamInfo<Use> const& aInfo)
{
    return aInfo.param.mSymbol.empty() ? aInfo.param.mOperation : aInfo.param.mSymbol;
}

inline void init(QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_Init(); }

/// Initialises while the first allocation fails, which is part of reading a version.
inline std::string initWithoutMemory(QZCLibvqmAbs& aLayer)
{
    return outcomeWithoutMemory(1, [&] { aLayer.LIBVQM_Init(); });
}

inline void getAdapterInfo(QZCLibvqmAbs& aLayer)
{
    QZCPointer<QZCWorldWideName> first;
    QZCPointer<QZCWorldWideName> second;
    aLayer.LIBVQM_GetAdapterInfo(0, first, second);
}

/// The public operations that look up a function themselves.
inline std::vector<Use> const publicUses = {
    {"LIBVQM_Close", "VQM_FreeDiagEnv", [](QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_Close(); }},
    {"LIBVQM_GetAdapterInfo", "VQM_GetLinkInfo", getAdapterInfo},
    {"LIBVQM_VqmRegEvent", "RegisterForEvent",
     [](QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_VqmRegEvent(0, 0, nullptr, 0, nullptr); }},
    {"LIBVQM_VqmUnregEvent", "unRegisterForEvent",
     [](QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_VqmUnregEvent(0, 0); }},
    {"LIBVQM_QzapiRegEvent", "VQM_QZ_RegisterForEvent",
     [](QZCLibvqmAbs& aLayer)
     { aLayer.LIBVQM_QzapiRegEvent(0, somePort(), eventOf(1, 2), nullptr, nullptr, nullptr); }},
    {"LIBVQM_QzapiUnregEvent", "VQM_QZ_unRegisterForEvent",
     [](QZCLibvqmAbs& aLayer) { aLayer.LIBVQM_QzapiUnregEvent(0, somePort(), 0); }},
};
