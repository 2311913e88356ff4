#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/metrics/Exposition.h"

namespace
{
using qzagent::Exposition;
using qzagent::expositionFor;

TEST(Exposition, IsOpenMetricsForAScraperThatPrefersIt)
{
    for (std::string const accept :
         {"application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
          "text/plain;version=0.0.4;q=0.5,*/*;q=0.1",
          "Application/OpenMetrics-Text; version=1.0.0; charset=utf-8", "application/openmetrics-text",
          "text/plain;q=0.7, application/openmetrics-text ; q=0.70", "application/openmetrics-text;q=0.001",
          "text/plain;version=1.0.0, application/openmetrics-text;q=0.5",
          "application/openmetrics-text;q=1.000,text/plain;q=0.999",
          "application/openmetrics-text;version=\"1.0.0\""})
    {
        EXPECT_EQ(expositionFor(accept), Exposition::openMetrics) << accept;
    }
}

TEST(Exposition, IsTextForOtherClients)
{
    for (std::string const accept :
         {"", "*/*", "text/html,application/xhtml+xml", "text/plain;version=0.0.4", ",,;;=,",
          "application/openmetrics-text;version=0.0.1", "application/openmetrics-text;q=0.5,text/plain",
          "application/openmetrics-text;q=0", "application/openmetrics-text;q=0.0,text/plain;q=0"})
    {
        EXPECT_EQ(expositionFor(accept), Exposition::text) << accept;
    }
}

TEST(Exposition, IgnoresAFormWhoseQualityIsInvalid)
{
    for (std::string const quality : {"", "2", "-1", "0,5", "0.5x", "1x", "0.1234", "inf", "x"})
    {
        EXPECT_EQ(expositionFor("application/openmetrics-text;q=" + quality), Exposition::text) << quality;
    }
}

TEST(Exposition, HasAMediaTypeAndALastLine)
{
    EXPECT_STREQ(contentTypeOf(Exposition::text), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_STREQ(contentTypeOf(Exposition::openMetrics),
                 "application/openmetrics-text; version=1.0.0; charset=utf-8");
    EXPECT_STREQ(lastLineOf(Exposition::text), "");
    EXPECT_STREQ(lastLineOf(Exposition::openMetrics), "# EOF\n");
}
}  // namespace
