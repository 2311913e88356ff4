// Draws topologies, and lets Graphviz read the graphs.
#include <chrono>
#include <clocale>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qzagent/topology/ExternalFilter.h"
#include "tools/qzagent/topology/Topology.h"
#include "tools/qzagent/topology/TopologyLayout.h"
#include "tools/qzagent/topology/TopologyPicture.h"

namespace
{
using namespace std::chrono_literals;
using qzagent::Topology;
using qzagent::TopologyKind;
using testing::HasSubstr;
using testing::Not;

/// An adapter with a port that is down.
Topology pictured(std::string const& aName)
{
    return {{{TopologyKind::adapter, aName, "EX", aName}, {TopologyKind::port, "p", "LINKDOWN", aName, true}},
            {{0, 1, true}}};
}

constexpr char const* hostileName = "a\"b\\N\n<script>&amp;\x1b\xc3\xa9\xe2\x80\x8f";

TEST(TopologyDot, HasNamesDetailsAndWhatIsDown)
{
    EXPECT_EQ(qzagent::dotOf(pictured("a")), R"(digraph topology {
rankdir=LR
node [shape=box]
edge [dir=none]
0 [label="a\nEX"]
1 [label="p\nLINKDOWN", style=dashed, color=red]
0 -> 1 [style=dashed, color=red]
}
)");
}

TEST(TopologyDot, EscapesWhatGraphvizWouldInterpret)
{
    EXPECT_THAT(qzagent::dotOf(pictured(hostileName)),
                HasSubstr(R"(0 [label="a\"b\\N\\x0a<script>&amp;amp;\\x1b\\xc3\\xa9\\xe2\\x80\\x8f\nEX"])"
                          "\n"));
}

TEST(TopologyDot, HasNoLineForDetailsThatAreMissing)
{
    Topology topology = pictured("a");
    topology.mNodes[0].mDetails.clear();
    EXPECT_THAT(qzagent::dotOf(topology), HasSubstr("0 [label=\"a\"]\n"));
}

TEST(TopologyDot, CutsNamesThatGraphvizWouldRefuse)
{
    EXPECT_THAT(qzagent::dotOf(pictured(std::string(1000, 'a'))),
                HasSubstr("\"" + std::string(1000, 'a') + "\\nEX\""));
    EXPECT_THAT(qzagent::dotOf(pictured(std::string(20'000, 'a'))),
                HasSubstr("\"" + std::string(1000, 'a') + "...\\nEX\""));
}

TEST(TopologyDot, CutsNoCharacterInParts)
{
    std::string const before = std::setlocale(LC_CTYPE, nullptr);
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
    {
        GTEST_SKIP() << "there is no locale C.UTF-8";
    }
    std::string const dot = qzagent::dotOf(pictured(std::string(999, 'a') + "\xc3\xa9" + "b"));
    std::setlocale(LC_CTYPE, before.c_str());
    EXPECT_THAT(dot, HasSubstr("\"" + std::string(999, 'a') + "...\\n"));
}

TEST(TopologyDot, IsReadByGraphviz)
{
    if (!qzagent::filtered({"dot", "-V"}, "", 60s))
    {
        GTEST_SKIP() << "dot is not installed";
    }
    std::string const plain =
        qzagent::filtered({"dot", "-Tplain"}, qzagent::dotOf(pictured(hostileName)), 60s).value_or("");
    EXPECT_THAT(plain, HasSubstr("\nnode 0 "));
    EXPECT_THAT(plain, HasSubstr("\nnode 1 "));
    EXPECT_THAT(plain, HasSubstr("\nedge 0 1 "));
    EXPECT_THAT(plain, Not(HasSubstr("\nnode 2 ")));
}

TEST(TopologySvg, DrawsNodesAtTheirPlacesAndConnectsTheirSides)
{
    qzagent::TopologyLayout layout;
    layout.mWidth = 500;
    layout.mHeight = 100;
    layout.mNodes = {{105, 30}, {385, 70}};
    std::string const svg = qzagent::svgOf(pictured("a"), layout);
    EXPECT_THAT(svg,
                testing::StartsWith("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"500\" height=\"100\" "
                                    "viewBox=\"0 0 500 100\">\n<title>Topology</title>\n<style>"));
    // From the right side of a node 190 pixels wide to the left side of the other, with the middle at 245.
    EXPECT_THAT(svg,
                HasSubstr("<path class=\"down\" d=\"M200 30C245 30 245 70 290 70\"/>\n"
                          "<svg x=\"10\" y=\"10\" width=\"190\" height=\"40\"><title>adapter a: EX</title>"
                          "<rect width=\"100%\" height=\"100%\"/><text x=\"6\" y=\"16\">a</text>"
                          "<text class=\"details\" x=\"6\" y=\"32\">EX</text></svg>\n"
                          "<svg class=\"down\" x=\"290\" y=\"50\" "));
    EXPECT_THAT(svg, testing::EndsWith("</svg>\n</svg>\n"));
}

TEST(TopologySvg, HasTextOfDevicesOnlyAsText)
{
    Topology const topology = pictured(hostileName);
    std::string const svg = qzagent::svgOf(topology, qzagent::layeredLayout(topology));
    EXPECT_THAT(svg, HasSubstr(">a\"b\\N\\x0a&lt;script&gt;&amp;amp;\\x1b\\xc3\\xa9\\xe2\\x80\\x8f</text>"));
    EXPECT_THAT(svg, Not(HasSubstr("<script>")));
}

TEST(TopologySvg, KeepsLettersInUtf8)
{
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr)
    {
        GTEST_SKIP() << "there is no locale C.UTF-8";
    }
    Topology const topology = pictured(hostileName);
    std::string const svg = qzagent::svgOf(topology, qzagent::layeredLayout(topology));
    std::setlocale(LC_CTYPE, "C");
    EXPECT_THAT(svg, HasSubstr("\\x1b\xc3\xa9\\u{200f}</text>"));
}
}  // namespace
