/// @file
/// The queries of the HBA API layer on the only adapter of a scenario.
#pragma once

#include <ctime>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/include/HbaApi.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "tests/integration/HbaapiFixture.h"
#include "tests/support/SmallLunReport.h"

inline HBA_WWN targetNumbered(HBA_UINT8 aNumber) { return {{0x50, 0, 0, 0, 0xab, 0, 0, aNumber}}; }

/// Opens the only adapter of the scenario.
class OpenAdapterFixture : public HbaapiFixture
{
protected:
    OpenAdapterFixture()
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

    qz::TargetMappings mappings()
    {
        HBA_FCPTargetMapping* none = nullptr;
        return qz::TargetMappings(std::unique_ptr<HBA_FCPTargetMapping, qz::BlockRelease>(
            mHbaapi.HA_GetTargetMappings(mHandle, none)));
    }

    void reportLuns(HBA_UINT8 aTarget) { mResponse.fetch(mHbaapi, mHandle, targetNumbered(aTarget)); }

    /// Expects the action to throw QZCHbaapiEx with this text.
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
    SmallLunReport mResponse;
};
