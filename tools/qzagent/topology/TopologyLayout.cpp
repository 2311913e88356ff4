#include "tools/qzagent/topology/TopologyLayout.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <locale>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "tools/qzagent/topology/ExternalFilter.h"
#include "tools/qzagent/topology/Topology.h"

namespace qzagent
{
namespace
{
constexpr double pixelsPerInch = 96;
constexpr double columnDistance = TopologyLayout::nodeWidth + 90;
constexpr double rowDistance = TopologyLayout::nodeHeight + 14;
constexpr double margin = 10;

/// Graphviz must not delay a report.
constexpr std::chrono::milliseconds longestLayout(2000);

std::size_t columnOf(TopologyNode const& aNode) { return static_cast<std::size_t>(aNode.mKind); }

/// @return for each node the mean row of the nodes that it is connected with on the left; its own number without any
std::vector<double> middles(Topology const& aTopology, std::vector<double> const& aRows)
{
    std::vector<double> sums(aTopology.mNodes.size());
    std::vector<double> counts(aTopology.mNodes.size());
    for (TopologyEdge const& edge : aTopology.mEdges)
    {
        sums[edge.mTo] += aRows[edge.mFrom];
        counts[edge.mTo] += 1;
    }
    for (std::size_t i = 0; i < sums.size(); ++i)
    {
        sums[i] = counts[i] > 0 ? sums[i] / counts[i] : static_cast<double>(i);
    }
    return sums;
}
}  // namespace

TopologyLayout layeredLayout(Topology const& aTopology)
{
    std::array<std::vector<std::size_t>, numberOfTopologyKinds> columns;
    for (std::size_t i = 0; i < aTopology.mNodes.size(); ++i)
    {
        columns[columnOf(aTopology.mNodes[i])].push_back(i);
    }
    std::size_t longest = 1;
    for (auto const& column : columns)
    {
        longest = std::max(longest, column.size());
    }
    TopologyLayout layout;
    layout.mNodes.resize(aTopology.mNodes.size());
    layout.mWidth = 2 * margin + TopologyLayout::nodeWidth + columnDistance * (numberOfTopologyKinds - 1);
    layout.mHeight = 2 * margin + rowDistance * static_cast<double>(longest);
    std::vector<double> rows(aTopology.mNodes.size());
    for (std::size_t column = 0; column < columns.size(); ++column)
    {
        std::vector<double> const wanted = middles(aTopology, rows);
        std::stable_sort(columns[column].begin(), columns[column].end(),
                         [&wanted](std::size_t aLeft, std::size_t aRight)
                         { return wanted[aLeft] < wanted[aRight]; });
        double const free = static_cast<double>(longest - columns[column].size());
        for (std::size_t row = 0; row < columns[column].size(); ++row)
        {
            std::size_t const node = columns[column][row];
            rows[node] = static_cast<double>(row) + free / 2;
            layout.mNodes[node] = {
                margin + TopologyLayout::nodeWidth / 2 + columnDistance * static_cast<double>(column),
                margin + rowDistance * (rows[node] + 0.5)};
        }
    }
    return layout;
}

std::string dotForLayout(Topology const& aTopology)
{
    std::string dot = fmt::format(
        "digraph {{\nrankdir=LR\nranksep={}\nnodesep={}\n"
        "node [shape=box, fixedsize=true, width={}, height={}, label=\"\"]\n",
        (columnDistance - TopologyLayout::nodeWidth) / pixelsPerInch,
        (rowDistance - TopologyLayout::nodeHeight) / pixelsPerInch, TopologyLayout::nodeWidth / pixelsPerInch,
        TopologyLayout::nodeHeight / pixelsPerInch);
    for (std::size_t column = 0; column < numberOfTopologyKinds; ++column)
    {
        dot += "{rank=same";
        for (std::size_t i = 0; i < aTopology.mNodes.size(); ++i)
        {
            dot += columnOf(aTopology.mNodes[i]) == column ? fmt::format("; {}", i) : "";
        }
        dot += "}\n";
    }
    for (TopologyEdge const& edge : aTopology.mEdges)
    {
        dot += fmt::format("{} -> {}\n", edge.mFrom, edge.mTo);
    }
    return dot + "}\n";
}

std::optional<TopologyLayout> layoutOfPlain(std::string_view aPlain, std::size_t aNodes)
{
    std::istringstream lines{std::string(aPlain)};
    lines.imbue(std::locale::classic());
    TopologyLayout layout;
    layout.mNodes.resize(aNodes);
    std::size_t placed = 0;
    for (std::string word; lines >> word && word != "stop"; std::getline(lines, word))
    {
        double scale = 1;
        std::size_t node = 0;
        double x = 0;
        double y = 0;
        if (word == "graph" && lines >> scale >> x >> y)
        {
            layout.mWidth = x * pixelsPerInch + 2 * margin;
            layout.mHeight = y * pixelsPerInch + 2 * margin;
        }
        else if (word == "node" && lines >> node >> x >> y && node < aNodes)
        {
            // In the answer, heights begin at the bottom.
            layout.mNodes[node] = {x * pixelsPerInch + margin, layout.mHeight - margin - y * pixelsPerInch};
            ++placed;
        }
    }
    return placed == aNodes && layout.mHeight > 0 ? std::optional(std::move(layout)) : std::nullopt;
}

std::optional<TopologyLayout> graphvizLayout(Topology const& aTopology, std::chrono::milliseconds aLongest)
{
    std::optional<std::string> const plain = filtered({"dot", "-Tplain"}, dotForLayout(aTopology), aLongest);
    return plain ? layoutOfPlain(*plain, aTopology.mNodes.size()) : std::nullopt;
}

TopologyLayout layoutOf(Topology const& aTopology)
{
    std::optional<TopologyLayout> found = graphvizLayout(aTopology, longestLayout);
    return found ? std::move(*found) : layeredLayout(aTopology);
}
}  // namespace qzagent
