#include "tools/qzagent/metrics/MetricFamily.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>

namespace qzagent
{
namespace
{
std::vector<std::string> namesIn(std::string const& aList)
{
    constexpr char const* separator = ", ";
    constexpr std::size_t separatorSize = 2;
    std::vector<std::string> names;
    for (std::size_t start = 0; start < aList.size();)
    {
        std::size_t const end = std::min(aList.find(separator, start), aList.size());
        names.push_back(aList.substr(start, end - start));
        start = end + separatorSize;
    }
    return names;
}

bool isPrintableAscii(char aCharacter) { return aCharacter >= ' ' && aCharacter <= '~'; }

/// Replaces each byte that is not printable ASCII with \xNN. The labels of a text do not depend on the locale, since
/// services usually have another one than shells.
std::string asciiOf(std::string const& aText)
{
    std::string text;
    for (std::size_t i = 0; i < aText.size(); ++i)
    {
        bool const looksLikeEscape = aText.compare(i, 2, "\\x") == 0;
        text += isPrintableAscii(aText[i]) && !looksLikeEscape
                    ? std::string(1, aText[i])
                    : fmt::format("\\x{:02x}", static_cast<unsigned char>(aText[i]));
    }
    return text;
}

std::string labelText(std::string const& aText)
{
    std::string text;
    for (char const character : asciiOf(aText))
    {
        if (character == '\\' || character == '"')
        {
            text += '\\';
        }
        text += character;
    }
    return text;
}
}  // namespace

char const* nameOf(MetricType aType)
{
    constexpr char const* names[] = {"gauge", "counter", "histogram"};
    return names[static_cast<std::size_t>(aType)];
}

MetricFamily::MetricFamily(Metric const& aMetric) : mMetric(aMetric), mLabelNames(namesIn(aMetric.mLabels)) {}

bool MetricFamily::insert(std::vector<std::string> const& aLabelValues)
{
    return mKnown.insert(aLabelValues).second;
}

std::vector<MetricFamily::Label> MetricFamily::labelsOf(std::vector<std::string> const& aValues) const
{
    std::vector<Label> labels;
    for (std::size_t i = 0; i < mLabelNames.size(); ++i)
    {
        labels.emplace_back(mLabelNames[i], aValues.at(i));
    }
    return labels;
}

void MetricFamily::add(std::vector<std::string> const& aLabelValues, double aValue)
{
    if (insert(aLabelValues))
    {
        addLine("", labelsOf(aLabelValues), aValue);
    }
}

void MetricFamily::add(std::vector<std::string> const& aLabelValues, Histogram const& aHistogram)
{
    if (!insert(aLabelValues))
    {
        return;
    }
    std::vector<Label> const labels = labelsOf(aLabelValues);
    auto const addBucket = [&](std::string const& aBound, std::uint64_t aCount)
    {
        std::vector<Label> withBound = labels;
        withBound.emplace_back("le", aBound);
        addLine("_bucket", withBound, static_cast<double>(aCount));
    };
    std::uint64_t count = 0;
    for (Histogram::Bucket const& bucket : aHistogram.mBuckets)
    {
        count += bucket.mCount;
        addBucket(fmt::format("{}", bucket.mBound), count);
    }
    addBucket("+Inf", aHistogram.mCount);
    addLine("_sum", labels, aHistogram.mSum);
    addLine("_count", labels, static_cast<double>(aHistogram.mCount));
}

void MetricFamily::addLine(char const* aSuffix, std::vector<Label> const& aLabels, double aValue)
{
    std::string list;
    for (auto const& [name, value] : aLabels)
    {
        list += fmt::format("{}{}=\"{}\"", list.empty() ? "" : ",", name, labelText(value));
    }
    mLines += mMetric.mName;
    mLines += aSuffix;
    mLines += list.empty() ? "" : "{" + list + "}";
    mLines += fmt::format(" {}\n", aValue);
}

std::string MetricFamily::text() const
{
    return mLines.empty() ? ""
                          : fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n{3}", mMetric.mName, mMetric.mHelp,
                                        nameOf(mMetric.mType), mLines);
}
}  // namespace qzagent
