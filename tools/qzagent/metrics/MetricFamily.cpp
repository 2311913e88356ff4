#include "tools/qzagent/metrics/MetricFamily.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
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

/// @return the bound of a bucket, with a decimal point if it has no exponent, as OpenMetrics requires. Both forms have the
/// same text, because otherwise the series would depend on the form that the scraper requests.
std::string boundText(double aBound)
{
    std::string const text = fmt::format("{}", aBound);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

/// @return the text without the ending; none if it has another ending
std::optional<std::string_view> without(std::string_view aEnding, std::string_view aText)
{
    bool const hasEnding =
        aText.size() > aEnding.size() && aText.substr(aText.size() - aEnding.size()) == aEnding;
    return hasEnding ? std::optional(aText.substr(0, aText.size() - aEnding.size())) : std::nullopt;
}

/// @return the name of the metric in OpenMetrics, in which the endings of counters and of information belong to samples
std::string_view openMetricsName(Metric const& aMetric)
{
    char const* const ending = aMetric.mType == MetricType::counter ? "_total"
                               : aMetric.mType == MetricType::info  ? "_info"
                                                                    : "";
    return without(ending, aMetric.mName).value_or(aMetric.mName);
}

/// @return the unit in which the name ends; none for a number of things
std::string_view openMetricsUnit(std::string_view aName)
{
    for (std::string_view const unit : {"bytes_per_second", "bytes", "seconds"})
    {
        if (std::optional<std::string_view> const rest = without(unit, aName); rest && rest->back() == '_')
        {
            return unit;
        }
    }
    return {};
}
}  // namespace

char const* nameOf(MetricType aType)
{
    constexpr char const* names[] = {"gauge", "gauge", "counter", "histogram"};
    return names[static_cast<std::size_t>(aType)];
}

void Histogram::add(Histogram const& aOther)
{
    auto const haveSameBound = [](Bucket const& aFirst, Bucket const& aSecond)
    { return aFirst.mBound == aSecond.mBound; };
    if (!std::equal(mBuckets.begin(), mBuckets.end(), aOther.mBuckets.begin(), aOther.mBuckets.end(),
                    haveSameBound))
    {
        *this = aOther;
        return;
    }
    for (std::size_t i = 0; i < mBuckets.size(); ++i)
    {
        mBuckets[i].mCount += aOther.mBuckets[i].mCount;
    }
    mSum += aOther.mSum;
    mCount += aOther.mCount;
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
        addBucket(boundText(bucket.mBound), count);
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

std::string MetricFamily::heading(Exposition aExposition) const
{
    if (aExposition == Exposition::text)
    {
        return fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", mMetric.mName, mMetric.mHelp,
                           nameOf(mMetric.mType));
    }
    std::string_view const name = openMetricsName(mMetric);
    std::string_view const unit = openMetricsUnit(name);
    return fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, mMetric.mHelp,
                       mMetric.mType == MetricType::info ? "info" : nameOf(mMetric.mType)) +
           (unit.empty() ? "" : fmt::format("# UNIT {} {}\n", name, unit));
}

std::string MetricFamily::text(Exposition aExposition) const
{
    return mLines.empty() ? "" : heading(aExposition) + mLines;
}

std::optional<std::string> takeLabel(std::string_view& aLine, std::string const& aName)
{
    constexpr std::string_view escape = "\\\\x";
    constexpr std::size_t numDigits = 2;
    constexpr int base = 16;
    std::string const start = aName + "=\"";
    if (aLine.substr(0, start.size()) != start)
    {
        return {};
    }
    std::string value;
    std::size_t i = start.size();
    for (; i < aLine.size() && aLine[i] != '"'; ++i)
    {
        if (aLine.substr(i, escape.size()) == escape)
        {
            std::string const digits(aLine.substr(i + escape.size(), numDigits));
            value += static_cast<char>(std::strtoul(digits.c_str(), nullptr, base));
            i += escape.size() + numDigits - 1;
            continue;
        }
        i += aLine[i] == '\\' ? 1 : 0;
        value += i < aLine.size() ? aLine.substr(i, 1) : "";
    }
    constexpr std::size_t quoteAndSeparator = 2;
    aLine.remove_prefix(std::min(i + quoteAndSeparator, aLine.size()));
    return value;
}

std::string textOf(std::vector<MetricFamily> const& aFamilies, Exposition aExposition)
{
    std::string text;
    for (MetricFamily const& family : aFamilies)
    {
        text += family.text(aExposition);
    }
    return text;
}
}  // namespace qzagent
