/// @file
/// The HBA API layer with the real SNIA common library, which loads the simulated HBA library.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "backend/common/include/QZString.h"
#include "backend/common/include/QZVector.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tests/support/LogCapture.h"

/// The common library is not loaded when a case begins, and is freed at its end.
class HbaapiFixture : public testing::Test
{
protected:
    ~HbaapiFixture() override { mHbaapi.HA_FreeHbaapi(); }

    std::vector<std::string> names()
    {
        QZCVector<QZCString> found;
        mHbaapi.HA_GetAdapterNames(mHbaapi.HA_GetNumberOfAdapters(), found);
        return textsOf(found);
    }

    static std::vector<std::string> textsOf(QZCVector<QZCString> const& aNames)
    {
        std::vector<std::string> texts;
        for (QZCString const& name : aNames)
        {
            texts.emplace_back(name.get());
        }
        return texts;
    }

    static ExpectedLog logOf(char const* aFunction) { return ExpectedLog(aFunction, "HbaapiAbs"); }

    QZCHbaapiAbs mHbaapi;
    LogCapture mLog;
};
