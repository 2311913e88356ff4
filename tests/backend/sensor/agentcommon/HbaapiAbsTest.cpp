#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeHbaapi.h"
#include "tests/support/LogCapture.h"

using testing::ElementsAre;

namespace
{
ExpectedLog logOf(char const* aFunction) { return ExpectedLog(aFunction, "HbaapiAbs"); }

TEST(HbaapiAbs, LoadingTracesAroundTheCall)
{
    FakeHbaapi hbaapi;
    LogCapture log;
    QZCHbaapiAbs().HA_LoadHbaapi();
    ExpectedLog const expected = logOf("HA_LoadHbaapi");
    EXPECT_THAT(log.lines(), ElementsAre(expected.entered(), expected.trace("Going to open HBAAPI library"),
                                         expected.left()));
    EXPECT_THAT(hbaapi.calls(), ElementsAre("HBA_LoadLibrary()"));
}
}  // namespace
