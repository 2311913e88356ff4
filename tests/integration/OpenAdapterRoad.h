/// @file
/// The queries over the real common library, on the one adapter of a scenario.
#pragma once

#include <cstdlib>
#include <ctime>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tests/integration/HbaapiRoad.h"

struct Freed
{
    void operator()(void* aBlock) const { std::free(aBlock); }
};

inline constexpr unsigned int smallSize = 16;

/// A REPORT LUNS buffer, which the layer may replace.
struct Response
{
    Response() : mBlock(std::malloc(smallSize)) {}
    ~Response() { std::free(mBlock); }
    Response(Response const&) = delete;
    Response& operator=(Response const&) = delete;

    void* mBlock;
    unsigned int mSize = smallSize;
};

inline HBA_WWN targetNumbered(HBA_UINT8 aNumber) { return {{0x50, 0, 0, 0, 0xab, 0, 0, aNumber}}; }

/// The one adapter of the scenario, opened.
class OpenAdapterRoad : public HbaapiRoad
{
protected:
    OpenAdapterRoad()
    {
        mHbaapi.HA_LoadHbaapi();
        names();
        char name[] = "example-fc-0";
        mHandle = mHbaapi.HA_OpenAdapter(name);
        mLog.clear();
    }

    std::unique_ptr<HBA_ADAPTERATTRIBUTES> attributes()
    {
        return std::unique_ptr<HBA_ADAPTERATTRIBUTES>(mHbaapi.HA_GetAdapterAttributes(mHandle));
    }

    std::unique_ptr<HBA_PORTATTRIBUTES[]> ports()
    {
        return std::unique_ptr<HBA_PORTATTRIBUTES[]>(
            mHbaapi.HA_GetAdapterPorts(mHandle, attributes().get(), mNumberOfPorts));
    }

    std::unique_ptr<HBA_FCPTargetMapping, Freed> mappings()
    {
        HBA_FCPTargetMapping* mapping = nullptr;
        return std::unique_ptr<HBA_FCPTargetMapping, Freed>(mHbaapi.HA_GetTargetMappings(mHandle, mapping));
    }

    void reportLuns(Response& aResponse, HBA_UINT8 aTarget)
    {
        mHbaapi.HA_SendReportLUNs(mHandle, targetNumbered(aTarget), &aResponse.mBlock, &aResponse.mSize);
    }

    /// Expects the action to throw this.
    template <typename Action>
    static void expectHbaapiEx(char const* aText, Action aAction)
    {
        try
        {
            aAction();
            FAIL() << "no exception";
        }
        catch (QZCHbaapiEx const& exception)
        {
            EXPECT_THAT(exception,
                        testing::AllOf(testing::Property(&QZCException::what, testing::StrEq(aText)),
                                       testing::Property(&QZCException::getCode, 802u)));
        }
    }

    unsigned int mHandle = 0;
    unsigned int mNumberOfPorts = 0;
};
