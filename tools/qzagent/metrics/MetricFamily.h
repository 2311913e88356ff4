/// @file
/// Metrics with their samples.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/qzagent/metrics/Exposition.h"

namespace qzagent
{
enum class MetricType
{
    gauge,
    info,  ///< a gauge whose value is always 1, and whose name ends with `_info`
    counter,
    histogram
};

/// @return the name of the type in the Prometheus text format
char const* nameOf(MetricType aType);

/// A metric as its page and its lines `# HELP` and `# TYPE` describe it.
struct Metric
{
    char const* mName;
    MetricType mType;
    char const* mUnit;    ///< what a value counts
    char const* mLabels;  ///< names with ", " between them; without the label `le` of histograms
    char const* mHelp;    ///< one line without a backslash
};

/// A histogram with the bounds of its buckets. The values are not below 0.
struct Histogram
{
    struct Bucket
    {
        double mBound;
        std::uint64_t mCount;  ///< only of this bucket
    };

    std::vector<Bucket> mBuckets;  ///< in ascending order, without the last bucket, which has no bound
    double mSum = 0;
    std::uint64_t mCount = 0;

    /// Adds the counts of a histogram. If its bounds are different, it replaces this one.
    void add(Histogram const& aOther);
};

/// A metric with its samples.
class MetricFamily
{
public:
    explicit MetricFamily(Metric const& aMetric);

    /// Adds a sample. Of several samples with the same labels, only the first is kept, because a reader refuses the whole
    /// text otherwise.
    /// @param aLabelValues in the order of the names; any text
    void add(std::vector<std::string> const& aLabelValues, double aValue);
    void add(std::vector<std::string> const& aLabelValues, Histogram const& aHistogram);

    /// @return the lines of the metric; empty without samples
    std::string text(Exposition aExposition = Exposition::text) const;

private:
    using Label = std::pair<std::string, std::string>;

    bool insert(std::vector<std::string> const& aLabelValues);
    std::vector<Label> labelsOf(std::vector<std::string> const& aValues) const;
    void addLine(char const* aSuffix, std::vector<Label> const& aLabels, double aValue);

    std::string heading(Exposition aExposition) const;

    Metric mMetric;
    std::vector<std::string> mLabelNames;
    std::set<std::vector<std::string>> mKnown;  ///< the labels of the samples
    std::string mLines;
};

/// Removes a label such as `name="value"` from the start of a line of samples, with the character after it.
/// @param aLine may be any text
/// @return the value as add() got it; none if the line starts with something else
std::optional<std::string> takeLabel(std::string_view& aLine, std::string const& aName);

/// @return the lines of all metrics
std::string textOf(std::vector<MetricFamily> const& aFamilies, Exposition aExposition);
}  // namespace qzagent
