/// @file
/// A REPORT LUNS response in a buffer that is too small for most lists.
#pragma once

#include <cstdlib>
#include <ctime>

#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

/// Begins with room for one LUN, so that the layer replaces the buffer for a longer list.
class SmallLunReport
{
public:
    static constexpr unsigned int initialSize = 16;

    SmallLunReport() = default;
    ~SmallLunReport() { std::free(mBlock); }
    SmallLunReport(SmallLunReport const&) = delete;
    SmallLunReport& operator=(SmallLunReport const&) = delete;

    void fetch(QZCHbaapiAbs& aHbaapi, unsigned int aHandle, HBA_WWN const& aPort)
    {
        aHbaapi.HA_SendReportLUNs(aHandle, aPort, &mBlock, &mSize);
    }

    unsigned char const* bytes() const { return static_cast<unsigned char const*>(mBlock); }
    unsigned int size() const { return mSize; }

private:
    unsigned int mSize = initialSize;
    void* mBlock = std::calloc(1, initialSize);
};
