// The defaults of keys that a scenario does not state.
#include <cstddef>
#include <ctime>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Defaults.h"
#include "simulator/scenario/Scenario.h"
#include "simulator/scenario/ScenarioReader.h"
#include "simulator/scenario/ValuePath.h"
#include "toml/TomlError.h"
#include "toml/TomlText.h"
#include "toml/TomlValue.h"

using qzsim::ValuePath;
using testing::HasSubstr;

namespace
{
constexpr char const* bareScenario =
    "[[adapter]]\nname = \"a\"\nnode_wwn = \"20:00:00:00:00:00:00:0a\"\n"
    "[[adapter.event]]\ntype = \"PORT_ONLINE\"\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\n"
    "[adapter.port.statistics]\n[adapter.port.statistics_per_second]\n"
    "[adapter.port.fc4_statistics]\n[adapter.port.fc4_statistics_per_second]\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nblocks = 77\n"
    "[[adapter.port.remote.lun]]\nlun = 3\n"
    "[adapter.port.remote.lun.fcp_statistics]\n[adapter.port.remote.lun.fcp_statistics_per_second]\n"
    "[diagnostics]\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
    "second_wwn = \"10:00:00:00:00:00:00:08\"\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:00\"\n"
    "second_wwn = \"10:00:00:00:00:00:00:09\"\n"
    "[[diagnostics.event]]\nboard = 1\ncategory = 1\nsubcategory = 2\n"
    "[[fault]]\ncall = \"HBA_OpenAdapter\"\nnth = 1\nstatus = 1\n";

tomlfile::TomlValue treeOf(std::string const& aText) { return tomlfile::readToml("d.toml", aText); }

std::string defaultIn(std::string const& aText, std::string const& aPath)
{
    try
    {
        return tomlText(qzsim::valueOrDefault({"", aPath}, treeOf(aText)));
    }
    catch (tomlfile::TomlError const& error)
    {
        return error.what();
    }
}

std::string defaultOf(std::string const& aPath) { return defaultIn(bareScenario, aPath); }

/// The paths of one element of each kind.
constexpr char const* elementPaths[] = {
    "",
    "adapter[0].",
    "adapter[0].event[0].",
    "adapter[0].port[0].",
    "adapter[0].port[0].statistics.",
    "adapter[0].port[0].statistics_per_second.",
    "adapter[0].port[0].fc4_statistics.",
    "adapter[0].port[0].fc4_statistics_per_second.",
    "adapter[0].port[1].remote[0].",
    "adapter[0].port[1].remote[0].lun[0].",
    "adapter[0].port[1].remote[0].lun[0].fcp_statistics.",
    "adapter[0].port[1].remote[0].lun[0].fcp_statistics_per_second.",
    "diagnostics.",
    "diagnostics.board[1].",
    "diagnostics.event[0].",
    "fault[0].",
};

/// @return the keys that the reader of scenarios lists when it refuses an unknown one in this element
std::vector<std::string> keysOf(std::string const& aElement)
{
    tomlfile::TomlValue tree = treeOf(bareScenario);
    ValuePath("", aElement + "unknown").set(tree, {"", tomlfile::TomlValue::Number(1)});
    std::vector<std::string> keys;
    try
    {
        qzsim::readScenario(tree);
    }
    catch (tomlfile::TomlError const& error)
    {
        std::string const message = error.what();
        std::size_t const start = message.find('(') + 1;
        std::istringstream list(message.substr(start, message.find(')') - start));
        for (std::string key; std::getline(list >> std::ws, key, ',');)
        {
            keys.push_back(key);
        }
    }
    return keys;
}

/// @return the ports of the scenario as bytes, and its contents in words
std::string contentOf(qzsim::Scenario const& aScenario)
{
    std::string content = summaryOf(aScenario);
    for (qzsim::Adapter const& adapter : aScenario.mAdapters)
    {
        content.append(reinterpret_cast<char const*>(&adapter.mAttributes), sizeof adapter.mAttributes);
        for (qzsim::Port const& port : adapter.mPorts)
        {
            content.append(reinterpret_cast<char const*>(&port.mAttributes), sizeof port.mAttributes);
            for (qzsim::RemotePort const& remote : port.mRemotePorts)
            {
                content.append(reinterpret_cast<char const*>(&remote.mAttributes), sizeof remote.mAttributes);
                content += std::to_string(remote.mReportLunsMinimum) + std::to_string(remote.mLuns.size());
            }
        }
    }
    qzsim::Diagnostics const& diagnostics = aScenario.mDiagnostics;
    return content + diagnostics.mLibraryVersion + diagnostics.mDriverVersion +
           std::to_string(diagnostics.mRecordVersion) + std::to_string(diagnostics.mFeatureList);
}

TEST(Defaults, ValueThatIsSetHasPrecedence)
{
    EXPECT_EQ(defaultOf("adapter[0].node_wwn"), "\"20:00:00:00:00:00:00:0a\"");
    EXPECT_EQ(defaultOf("adapter[0].port[1].remote[0].blocks"), "77");
}

TEST(Defaults, AreThoseOfTheManual)
{
    std::pair<char const*, char const*> const expected[] = {
        {"behaviour", "\"standard\""},
        {"adapter[0].lun_style", "\"scsi\""},
        {"adapter[0].model", "\"\""},
        {"adapter[a].port[0].state", "\"ONLINE\""},
        {"adapter[0].port[0].type", "\"NPORT\""},
        {"adapter[0].port[0].supported_fc4_types", "[8]"},
        {"adapter[0].port[0].max_frame_size", "2112"},
        {"adapter[0].port[0].fabric_name", "\"00:00:00:00:00:00:00:00\""},
        {"adapter[0].port[0].remote", "[]"},
        {"adapter[0].port[0].statistics.tx_frames", "\"not offered\""},
        {"adapter[0].port[1].statistics_per_second.tx_frames", "0"},
        {"adapter[0].port[1].remote[0].lun_addressing", "\"auto\""},
        {"adapter[0].port[1].remote[0].inquiry_product", "\"SIMULATED DISK\""},
        {"adapter[0].port[1].remote[0].lun[0].fcp_statistics.input_megabytes", "\"not offered\""},
        {"diagnostics.feature_list", "256"},
        {"diagnostics.event[0].rate", "1000"},
        {"fault[0].active", "true"},
    };
    for (auto const& [path, value] : expected)
    {
        EXPECT_EQ(defaultOf(path), value) << path;
    }
}

TEST(Defaults, MayBeTheValueOfAnotherKey)
{
    EXPECT_EQ(defaultOf("adapter[0].port[0].node_wwn"), "\"20:00:00:00:00:00:00:0a\"");
    EXPECT_EQ(defaultOf("adapter[0].event[0].port_wwn"), "\"10:00:00:00:00:00:00:01\"");
    EXPECT_EQ(defaultOf("adapter[0].port[1].remote[0].lun[0].blocks"), "77");
    EXPECT_EQ(defaultOf("adapter[0].port[1].remote[0].lun[0].block_size"), "512")
        << "the default of the target";
    EXPECT_EQ(defaultOf("diagnostics.event[0].port_wwn"), "\"10:00:00:00:00:00:00:09\"");
}

TEST(Defaults, MayBeANumberOfElements)
{
    EXPECT_EQ(defaultOf("number_of_adapters"), "1");
    EXPECT_EQ(defaultOf("adapter[0].number_of_ports"), "2");
    EXPECT_EQ(defaultOf("adapter[0].port[0].number_of_discovered_ports"), "0");
    EXPECT_EQ(defaultOf("diagnostics.number_of_boards"), "2");
}

TEST(Defaults, ApplyWithoutTheTableOfTheDiagnosticLibrary)
{
    EXPECT_EQ(defaultIn("", "diagnostics.library_version"), "\"1.0.0\"");
    EXPECT_EQ(defaultIn("", "diagnostics.number_of_boards"), "0");
}

TEST(Defaults, KeyWithoutASingleDefaultIsRefused)
{
    for (std::string const path :
         {"fault[0].adapter", "adapter[0].port[1].fc4_statistics",
          "adapter[0].port[1].remote[0].lun[0].os_device", "diagnostics.required_record_version"})
    {
        EXPECT_EQ(defaultOf(path), ": the path \"" + path + "\" is not set in the scenario");
    }
}

TEST(Defaults, MissingElementIsRefused)
{
    EXPECT_THAT(defaultOf("adapter[0].port[2].state"),
                HasSubstr("selects \"2\", but the array has 2 elements"));
    EXPECT_EQ(defaultOf("adapter[0].port[0].remote[0].state"),
              ": the path \"adapter[0].port[0].remote[0].state\" is not set in the scenario");
}

TEST(Defaults, UnknownKeyIsRefused)
{
    for (std::string const path : {"stat", "adapter[0].stat", "adapter[0].port[0].statistics.tx",
                                   "adapter[0].port[0].statistics.input_requests",
                                   "adapter[0].port[0].fc4_statistics.tx_frames", "diagnostics.state"})
    {
        EXPECT_EQ(defaultOf(path), ": the path \"" + path + "\" names no key of a scenario");
    }
}

TEST(Defaults, EveryKeyOfAScenarioIsKnown)
{
    for (std::string const element : elementPaths)
    {
        std::vector<std::string> const keys = keysOf(element);
        EXPECT_GE(keys.size(), 2U) << element;
        for (std::string const& key : keys)
        {
            EXPECT_EQ(defaultOf(element + key).find("names no key"), std::string::npos) << element << key;
        }
    }
}

TEST(Defaults, StatingADefaultChangesNothing)
{
    std::string const usual = contentOf(qzsim::readScenario(treeOf(bareScenario)));
    std::size_t stated = 0;
    for (std::string const element : elementPaths)
    {
        for (std::string const& key : keysOf(element))
        {
            std::string const value = defaultOf(element + key);
            bool const isRefused = value.find("is not set in the scenario") != std::string::npos;
            // Keys that only other calls, targets or types of events allow.
            bool const isForOthers =
                element == "fault[0]." || (element == "adapter[0].event[0]." && key == "payload");
            if (isRefused || isForOthers)
            {
                continue;
            }
            tomlfile::TomlValue tree = treeOf(bareScenario);
            ValuePath const path("", element + key);
            path.set(tree, qzsim::valueOrDefault(path, tree));
            EXPECT_EQ(contentOf(qzsim::readScenario(tree)), usual) << element << key;
            ++stated;
        }
    }
    EXPECT_GT(stated, 100U);
}
}  // namespace
