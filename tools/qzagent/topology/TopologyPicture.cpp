#include "tools/qzagent/topology/TopologyPicture.h"

#include <cstddef>
#include <string>

#include <fmt/format.h>

#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/Terminal.h"
#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"

namespace qzagent
{
namespace
{
constexpr char const* styleOfPicture =
    "rect{fill:#fff;stroke:#555}path{fill:none;stroke:#555}text{font:12px monospace}"
    "path.down,.down rect{stroke:#c00;stroke-dasharray:5 3}.details{font-size:10px;fill:#555}";

/// @return the text of a device without control characters, which XML cannot contain
std::string textForPicture(std::string const& aText)
{
    constexpr unsigned char endOfAscii = 0x80;
    std::string text;
    for (char const character : printable(aText))
    {
        auto const byte = static_cast<unsigned char>(character);
        text += byte < endOfAscii || isUtf8() ? std::string(1, character) : fmt::format("\\x{:02x}", byte);
    }
    return text;
}

/// Graphviz refuses texts of more than 16,384 bytes.
std::string escapedForDot(std::string const& aText)
{
    constexpr std::size_t longest = 1000;
    constexpr unsigned char continuation = 0x80;
    constexpr unsigned char continuationMask = 0xc0;
    std::string whole = textForPicture(aText);
    if (whole.size() > longest)
    {
        std::size_t end = longest;
        for (; (static_cast<unsigned char>(whole[end]) & continuationMask) == continuation; --end)
        {
        }
        whole.replace(end, std::string::npos, "...");
    }
    std::string text;
    for (char const character : whole)
    {
        // Graphviz also replaces entities of XML.
        text += character == '&'                        ? "&amp;"
                : character == '"' || character == '\\' ? std::string{'\\', character}
                                                        : std::string(1, character);
    }
    return text;
}

std::string escapedForXml(std::string const& aText)
{
    std::string text;
    for (char const character : textForPicture(aText))
    {
        text += character == '&'   ? "&amp;"
                : character == '<' ? "&lt;"
                : character == '>' ? "&gt;"
                                   : std::string(1, character);
    }
    return text;
}

std::string pathOf(PlacedNode const& aFrom, PlacedNode const& aTo, bool aIsDown)
{
    double const start = aFrom.mX + TopologyLayout::nodeWidth / 2;
    double const end = aTo.mX - TopologyLayout::nodeWidth / 2;
    double const middle = (start + end) / 2;
    return fmt::format("<path{} d=\"M{:.0f} {:.0f}C{:.0f} {:.0f} {:.0f} {:.0f} {:.0f} {:.0f}\"/>\n",
                       aIsDown ? " class=\"down\"" : "", start, aFrom.mY, middle, aFrom.mY, middle, aTo.mY,
                       end, aTo.mY);
}

/// The inner picture cuts long names off, which the title has in full.
std::string boxOf(TopologyNode const& aNode, PlacedNode const& aPlace)
{
    std::string const name = escapedForXml(aNode.mName);
    std::string const details = escapedForXml(aNode.mDetails);
    return fmt::format(
        "<svg{} x=\"{:.0f}\" y=\"{:.0f}\" width=\"{:.0f}\" height=\"{:.0f}\"><title>{} {}: {}</title>"
        "<rect width=\"100%\" height=\"100%\"/><text x=\"6\" y=\"16\">{}</text>"
        "<text class=\"details\" x=\"6\" y=\"32\">{}</text></svg>\n",
        aNode.mIsDown ? " class=\"down\"" : "", aPlace.mX - TopologyLayout::nodeWidth / 2,
        aPlace.mY - TopologyLayout::nodeHeight / 2, TopologyLayout::nodeWidth, TopologyLayout::nodeHeight,
        nameOf(aNode.mKind), name, details, name, details);
}
}  // namespace

std::string dotOf(Topology const& aTopology)
{
    std::string dot = "digraph topology {\nrankdir=LR\nnode [shape=box]\nedge [dir=none]\n";
    for (std::size_t i = 0; i < aTopology.mNodes.size(); ++i)
    {
        TopologyNode const& node = aTopology.mNodes[i];
        dot += fmt::format("{} [label=\"{}{}{}\"{}]\n", i, escapedForDot(node.mName),
                           node.mDetails.empty() ? "" : "\\n", escapedForDot(node.mDetails),
                           node.mIsDown ? ", style=dashed, color=red" : "");
    }
    for (TopologyEdge const& edge : aTopology.mEdges)
    {
        dot += fmt::format("{} -> {}{}\n", edge.mFrom, edge.mTo,
                           edge.mIsDown ? " [style=dashed, color=red]" : "");
    }
    return dot + "}\n";
}

std::string svgOf(Topology const& aTopology, TopologyLayout const& aLayout)
{
    std::string svg = fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:.0f}\" height=\"{1:.0f}\" "
        "viewBox=\"0 0 {0:.0f} {1:.0f}\">\n<title>Topology</title>\n<style>{2}</style>\n",
        aLayout.mWidth, aLayout.mHeight, styleOfPicture);
    for (TopologyEdge const& edge : aTopology.mEdges)
    {
        svg += pathOf(aLayout.mNodes[edge.mFrom], aLayout.mNodes[edge.mTo], edge.mIsDown);
    }
    for (std::size_t i = 0; i < aTopology.mNodes.size(); ++i)
    {
        svg += boxOf(aTopology.mNodes[i], aLayout.mNodes[i]);
    }
    return svg + "</svg>\n";
}
}  // namespace qzagent
