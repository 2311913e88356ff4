#include "tools/qzagent/statistics/StatisticsTable.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "agentkit/include/Wwn.h"
#include "tools/qzagent/cli/Table.h"
#include "tools/qzagent/cli/TimeText.h"
#include "tools/qzagent/statistics/Counters.h"
#include "tools/qzagent/statistics/StatisticsHistory.h"
#include "tools/qzagent/statistics/StatisticsLook.h"

namespace qzagent
{
namespace
{
constexpr char const* notOffered = "-";
constexpr double bytesInAWord = 4;
constexpr double bytesInAMegabyte = 1e6;

std::string labelOf(std::size_t aCounter)
{
    std::string label = counters[aCounter].mKey;
    std::replace(label.begin(), label.end(), '_', ' ');
    return label;
}

/// @return a row with only its first and its last cell
std::vector<Table::Cell> sparseRow(std::string const& aLabel, Table::Cell const& aLast)
{
    return {aLabel, {""}, {""}, {""}, {""}, {""}, aLast};
}

/// Adds a row for each counter of events or errors that went back or is not 0.
void addEventsAndErrors(Table& aTable, Table::Row aPort, Differences const& aCounts)
{
    for (std::size_t i = firstEvent; i < counters.size(); ++i)
    {
        if (aCounts[i].mIsReset || aCounts[i].mValue.value_or(0) != 0)
        {
            Table::Cell const count(aCounts[i].mIsReset ? "reset" : std::to_string(*aCounts[i].mValue),
                                    i < firstError ? "yellow" : "red");
            aTable.addRow(sparseRow(labelOf(i), count), aPort);
        }
    }
}

std::string textOf(std::optional<std::uint64_t> const& aNumber)
{
    return aNumber ? std::to_string(*aNumber) : notOffered;
}

std::string textOf(Difference const& aDifference)
{
    return aDifference.mIsReset ? "reset" : textOf(aDifference.mValue);
}

/// @return the sum of the error counters that are offered
Difference sumOfErrors(Differences const& aErrors)
{
    Difference sum;
    for (std::size_t i = firstError; i < counters.size(); ++i)
    {
        sum.mIsReset = sum.mIsReset || aErrors[i].mIsReset;
        if (aErrors[i].mValue)
        {
            sum.mValue = sum.mValue.value_or(0) + *aErrors[i].mValue;
        }
    }
    return sum;
}

/// The totals are the differences from 0.
Differences totalsOf(Counts const& aCounts)
{
    Differences totals;
    for (std::size_t i = 0; i < counters.size(); ++i)
    {
        totals[i].mValue = aCounts[i];
    }
    return totals;
}

std::string lengthOf(PortInterval const& aPort) { return fmt::format("{:.1f}", aPort.mLength.count()); }

std::string megabytesOf(PortInterval const& aPort, std::size_t aWords)
{
    auto const rate = aPort.rateOf(aWords);
    return rate ? fmt::format("{:.2f}", *rate * bytesInAWord / bytesInAMegabyte)
                : textOf((*aPort.mDifferences)[aWords]);
}

/// Adds a row for a port without counters.
void addUncounted(Table& aTable, Table::Row aAdapter, qz::Wwn const& aPort, bool aIsOffered)
{
    Table::Cell const text = aIsOffered ? Table::Cell("failed", "red") : Table::Cell(notOffered);
    aTable.addRow(sparseRow(aPort.text(), text), aAdapter);
}

void addPort(Table& aTable, Table::Row aAdapter, PortStatistics const& aPort)
{
    if (!aPort.mCounts)
    {
        addUncounted(aTable, aAdapter, aPort.mName, aPort.mIsOffered);
        return;
    }
    Counts const& counts = *aPort.mCounts;
    Differences const totals = totalsOf(counts);
    Table::Row const row =
        aTable.addRow({aPort.mName.text(), textOf(counts[secondsSinceReset]), textOf(counts[txFrames]),
                       textOf(counts[txWords]), textOf(counts[rxFrames]), textOf(counts[rxWords]),
                       textOf(sumOfErrors(totals))},
                      aAdapter);
    addEventsAndErrors(aTable, row, totals);
}

void addPort(Table& aTable, Table::Row aAdapter, PortInterval const& aPort)
{
    if (!aPort.mDifferences)
    {
        addUncounted(aTable, aAdapter, aPort.mName, aPort.mIsOffered);
        return;
    }
    Differences const& differences = *aPort.mDifferences;
    Table::Row const row = aTable.addRow(
        {aPort.mName.text(), lengthOf(aPort), textOf(differences[txFrames]), megabytesOf(aPort, txWords),
         textOf(differences[rxFrames]), megabytesOf(aPort, rxWords), textOf(sumOfErrors(differences))},
        aAdapter);
    addEventsAndErrors(aTable, row, differences);
}

std::vector<PortStatistics> const& portsOf(AdapterStatistics const& aAdapter)
{
    static std::vector<PortStatistics> const none;
    return aAdapter.mPorts ? *aAdapter.mPorts : none;
}

std::vector<PortInterval> const& portsOf(AdapterInterval const& aAdapter) { return aAdapter.mPorts; }

template <typename Adapter>
std::string treeOf(std::vector<Table::Column> const& aColumns, std::vector<Adapter> const& aAdapters,
                   std::size_t aFirst, bool aColoured)
{
    if (aAdapters.empty())
    {
        return {};
    }
    Table table(aColumns, aColoured);
    if (aFirst > 0)
    {
        table.hideNames();
    }
    for (std::size_t i = aFirst; i < aAdapters.size(); ++i)
    {
        Adapter const& adapter = aAdapters[i];
        Table::Row const row =
            table.addRow(sparseRow(fmt::format("adapter {} {}", adapter.mIndex, adapter.mName), {""}));
        for (auto const& port : portsOf(adapter))
        {
            addPort(table, row, port);
        }
    }
    // The table fills the empty cells of the last column.
    return std::regex_replace(table.text(), std::regex(" +\n"), "\n");
}

std::string linesOf(std::vector<qz::Wwn> const& aPorts, char const* aKind)
{
    std::string lines;
    for (qz::Wwn const& port : aPorts)
    {
        lines += fmt::format("{} port {}\n", aKind, port.text());
    }
    return lines;
}
}  // namespace

std::string tableOf(std::vector<AdapterStatistics> const& aAdapters, std::size_t aFirst, bool aColoured)
{
    return treeOf({{"PORT", Table::Fit::tree},
                   {"SECONDS", Table::Fit::right},
                   {"TX FRAMES", Table::Fit::right},
                   {"TX WORDS", Table::Fit::right},
                   {"RX FRAMES", Table::Fit::right},
                   {"RX WORDS", Table::Fit::right},
                   {"ERRORS", Table::Fit::right}},
                  aAdapters, aFirst, aColoured);
}

std::string tableOf(StatisticsInterval const& aInterval, std::chrono::system_clock::time_point aTime,
                    bool aColoured)
{
    return timeText(aTime) + "\n" +
           treeOf({{"PORT", Table::Fit::tree},
                   {"SECONDS", Table::Fit::right},
                   {"TX FRAMES", Table::Fit::right},
                   {"TX MB/S", Table::Fit::right},
                   {"RX FRAMES", Table::Fit::right},
                   {"RX MB/S", Table::Fit::right},
                   {"ERRORS", Table::Fit::right}},
                  aInterval.mAdapters, 0, aColoured) +
           linesOf(aInterval.mNewPorts, "new") + linesOf(aInterval.mGonePorts, "gone");
}
}  // namespace qzagent
