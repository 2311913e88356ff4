/// @file
/// What a report is made from.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/qzagent/documents/DocumentFile.h"
#include "tools/qzagent/report/EventColumns.h"

namespace qzagent
{
/// The most looks at latencies of a report: the columns of its heat map.
constexpr std::size_t mostReportedLooks = 48;

/// Collects the documents and events of bundles, captures, JSON documents and lines of `latency --interval --json`.
class ReportInputs
{
public:
    /// @param aDamage takes the text of what cannot be read
    explicit ReportInputs(std::function<void(std::string const&)> aDamage) : mDamage(std::move(aDamage)) {}

    /// Reads all files. The events of all are merged by time.
    /// @throws std::length_error when there are too many events
    void read(std::vector<std::string> const& aPaths);

    /// The newest document of each name; of the first statistics the oldest.
    Documents const& documents() const { return mDocuments; }

    EventColumns const& events() const { return mEvents; }

    /// @return the value of the key `latency_looks`, as report-data.schema.json describes it: by time, at most
    /// mostReportedLooks, of which each joins the same number of successive looks
    nlohmann::ordered_json latencyLooks() const;

    /// Whether there is nothing that a report shows.
    bool isEmpty() const;

    /// Names of the documents that neither the page nor the rules use.
    std::vector<std::string> unknownDocuments() const;

    /// Number of packets and records that a report does not show.
    std::size_t others() const { return mOthers; }

private:
    void add(std::string const& aName, nlohmann::ordered_json aDocument);
    void addText(std::string const& aName, std::string_view aText);
    void addLook(nlohmann::ordered_json const& aLatency);
    bool readDocument(std::string const& aPath);
    bool readIntervals(std::string const& aPath);

    std::function<void(std::string const&)> const mDamage;
    Documents mDocuments;
    EventColumns mEvents;
    std::vector<nlohmann::ordered_json> mLooks;
    std::size_t mOthers = 0;
};
}  // namespace qzagent
