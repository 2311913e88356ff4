#include <string>

#include <gtest/gtest.h>

#include "tools/qzagent/metrics/MetricFamily.h"

namespace
{
using qzagent::Metric;
using qzagent::MetricFamily;
using qzagent::MetricType;

constexpr Metric gaugeOfTwo{"example_gauge", MetricType::gauge, "parts", "first, second", "An example."};
constexpr Metric gaugeOfOne{"example_gauge", MetricType::gauge, "parts", "text", "An example."};

/// @return the line of a sample whose label has this value
std::string lineWith(std::string const& aValue)
{
    MetricFamily family(gaugeOfOne);
    family.add({aValue}, 1);
    std::string const text = family.text();
    std::string const heading = "# HELP example_gauge An example.\n# TYPE example_gauge gauge\n";
    EXPECT_EQ(text.substr(0, heading.size()), heading);
    return text.substr(heading.size());
}

TEST(MetricFamily, HasHelpTypeAndSamples)
{
    MetricFamily family(gaugeOfTwo);
    family.add({"a", "b"}, 1);
    family.add({"a", "c"}, 2.5);
    EXPECT_EQ(family.text(),
              "# HELP example_gauge An example.\n"
              "# TYPE example_gauge gauge\n"
              "example_gauge{first=\"a\",second=\"b\"} 1\n"
              "example_gauge{first=\"a\",second=\"c\"} 2.5\n");
}

TEST(MetricFamily, WithoutSamplesIsEmpty) { EXPECT_EQ(MetricFamily(gaugeOfTwo).text(), ""); }

TEST(MetricFamily, WithoutLabelsHasNoBraces)
{
    MetricFamily family({"example_total", MetricType::counter, "parts", "", "An example."});
    family.add({}, 9007199254740992.0);
    EXPECT_EQ(
        family.text(),
        "# HELP example_total An example.\n# TYPE example_total counter\nexample_total 9007199254740992\n");
}

TEST(MetricFamily, KeepsTheFirstOfTwoSamplesWithTheSameLabels)
{
    MetricFamily family(gaugeOfOne);
    family.add({"a"}, 1);
    family.add({"a"}, 2);
    EXPECT_EQ(family.text(),
              "# HELP example_gauge An example.\n# TYPE example_gauge gauge\nexample_gauge{text=\"a\"} 1\n");
}

TEST(MetricFamily, EscapesBackslashesAndQuotationMarks)
{
    EXPECT_EQ(lineWith("a\"b\\c"), "example_gauge{text=\"a\\\"b\\\\c\"} 1\n");
}

TEST(MetricFamily, ReplacesBytesThatAreNotPrintableAscii)
{
    EXPECT_EQ(lineWith("a\nb\x1b\xc3\xa9\x7f"),
              "example_gauge{text=\"a\\\\x0ab\\\\x1b\\\\xc3\\\\xa9\\\\x7f\"} 1\n");
}

TEST(MetricFamily, KeepsATextThatLooksLikeAReplacementDifferentFromOne)
{
    EXPECT_NE(lineWith("\x1b"), lineWith("\\x1b"));
}

TEST(MetricFamily, CumulatesTheBucketsOfAHistogram)
{
    MetricFamily family({"example_seconds", MetricType::histogram, "seconds", "text", "An example."});
    family.add({"a"}, {{{0.5, 1}, {1, 2}}, 7.25, 4});
    family.add({"a"}, {{}, 0, 0});
    EXPECT_EQ(family.text(),
              "# HELP example_seconds An example.\n"
              "# TYPE example_seconds histogram\n"
              "example_seconds_bucket{text=\"a\",le=\"0.5\"} 1\n"
              "example_seconds_bucket{text=\"a\",le=\"1.0\"} 3\n"
              "example_seconds_bucket{text=\"a\",le=\"+Inf\"} 4\n"
              "example_seconds_sum{text=\"a\"} 7.25\n"
              "example_seconds_count{text=\"a\"} 4\n");
}

TEST(MetricFamily, HasUnitAndTypeOfOpenMetrics)
{
    using qzagent::Exposition;
    MetricFamily bytes({"example_bytes_total", MetricType::counter, "bytes", "", "An example."});
    bytes.add({}, 1);
    EXPECT_EQ(bytes.text(Exposition::openMetrics),
              "# HELP example_bytes An example.\n# TYPE example_bytes counter\n# UNIT example_bytes bytes\n"
              "example_bytes_total 1\n");
    MetricFamily info({"example_info", MetricType::info, "1", "text", "An example."});
    info.add({"a"}, 1);
    EXPECT_EQ(info.text(Exposition::openMetrics),
              "# HELP example An example.\n# TYPE example info\nexample_info{text=\"a\"} 1\n");
    EXPECT_EQ(info.text(),
              "# HELP example_info An example.\n# TYPE example_info gauge\nexample_info{text=\"a\"} 1\n");
    MetricFamily speed(
        {"example_bytes_per_second", MetricType::gauge, "bytes per second", "", "An example."});
    speed.add({}, 1);
    EXPECT_EQ(speed.text(Exposition::openMetrics),
              "# HELP example_bytes_per_second An example.\n# TYPE example_bytes_per_second gauge\n"
              "# UNIT example_bytes_per_second bytes_per_second\nexample_bytes_per_second 1\n");
}

TEST(MetricFamily, HasNoUnitOfOpenMetricsIfItCountsThings)
{
    for (char const* const name : {"example_things", "bytes", "kilobytes"})
    {
        MetricFamily family({name, MetricType::gauge, "things", "", "An example."});
        family.add({}, 1);
        EXPECT_EQ(family.text(qzagent::Exposition::openMetrics).find("# UNIT"), std::string::npos) << name;
    }
}
}  // namespace
