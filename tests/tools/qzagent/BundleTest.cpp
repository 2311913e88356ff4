// Writes bundles of simulated hosts, and reads them again.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/Process.h"
#include "tests/support/Records.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

using nlohmann::json;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace
{
std::string const secretOfBundle = "a secret of some length";

/// A host with a board whose event has originals in its payload: a name as bytes and as text, and a serial number.
std::string const hostOfBundle = R"(
[[adapter]]
name = "example-fc-0"
serial_number = "EX0001    "
model = "EX-2200"
node_wwn = "20:00:00:00:c9:00:00:10"
node_symbolic_name = "lab host seven"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:11"
os_device_name = "/sys/class/fc_host/host7"
symbolic_name = "lab port seven HN:customer-db02.bank.example OS:Linux"
fabric_name = "10:00:00:60:69:00:00:12"
fc_id = 0x010a0b
[adapter.port.statistics]
tx_frames = 5
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:13"
node_wwn = "50:00:00:00:ab:00:00:14"
[[adapter.port.remote.lun]]
lun = 0
os_device = "/dev/sdq"
[diagnostics]
library_version = "2.1.0"
driver_version = "4.0.12"
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:10"
second_wwn = "10:00:00:00:c9:00:00:11"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
payload = "50 00 00 00 ab 00 00 13 35 30 30 30 30 30 30 30 61 62 30 30 30 30 31 33 20 45 58 30 30 30 31"
at_ms = 1
)";

class QzagentBundle : public testing::Test
{
protected:
    ProcessResult bundle(std::string const& aScenario, Arguments aOptions = {"--seconds", "1"}) const
    {
        aOptions.insert(aOptions.begin(), {"bundle", "--output", mPath});
        return runAgentOn(aScenario, aOptions);
    }

    ProcessResult anonymised(std::string const& aScenario) const
    {
        return bundle(aScenario, {"--seconds", "1", "--anonymise", keyFile(secretOfBundle)});
    }

    std::string keyFile(std::string const& aSecret) const
    {
        std::string path = mFolder.write("key", aSecret);
        EXPECT_EQ(::chmod(path.c_str(), 0600), 0);
        return path;
    }

    json document(std::string const& aName) const
    {
        return documentOf(runAgent({"show", "--document", aName, mPath}));
    }

    json summary() const { return documentOf(runAgent({"show", "--summary", "--json", mPath})); }

    std::string content() const
    {
        std::ifstream file(mPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    ScratchFolder const mFolder;
    std::string const mPath = mFolder.path() / "visit.pcapng";
};

std::vector<std::string> namesIn(json const& aDocuments)
{
    std::vector<std::string> names;
    std::transform(aDocuments.begin(), aDocuments.end(), std::back_inserter(names),
                   [](json const& aDocument) { return aDocument["name"]; });
    return names;
}

TEST_F(QzagentBundle, HasTheDocumentsOfAllVerbsAndTheEvents)
{
    ProcessResult const result = bundle(hostOfBundle);
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
    json const found = summary();
    EXPECT_THAT(namesIn(found["documents"]), ElementsAre("vendor", "ports", "inventory", "statistics-start",
                                                         "latency", "watch", "statistics-end"));
    EXPECT_EQ(found["sections"], 1);
    EXPECT_EQ(found["events"], 1);
    EXPECT_THAT(runAgent({"show", mPath}).mOutput,
                HasSubstr("board 0 category 3 subcategory 7 length 31 50000000ab"));
}

TEST_F(QzagentBundle, HasDocumentsAsTheVerbsPrintThem)
{
    bundle(hostOfBundle);
    for (Arguments const& arguments :
         {Arguments{"vendor"}, Arguments{"ports"}, Arguments{"inventory", "--luns"}})
    {
        Arguments withJson = arguments;
        withJson.emplace_back("--json");
        ProcessResult const shown = runAgent({"show", "--document", arguments.front(), mPath});
        EXPECT_EQ(findingsOf(shown), findingsOf(runAgentOn(hostOfBundle, withJson)));
        EXPECT_TRUE(satisfies(shown.mOutput, arguments.front()));
    }
    EXPECT_EQ(document("watch")["written"], 1);
    EXPECT_TRUE(satisfies(document("statistics-start").dump(), "statistics"));
    EXPECT_TRUE(satisfies(document("latency").dump(), "latency"));
}

TEST_F(QzagentBundle, NamesTheFileInTheMessagesOfTheRecording)
{
    bundle(hostOfBundle);
    EXPECT_THAT(document("watch")["messages"].dump(), HasSubstr("; recording in " + mPath + "\""));
    EXPECT_THAT(content(), Not(HasSubstr("/proc/self/fd")));
}

TEST_F(QzagentBundle, DoesNotNameItsFoldersInAnAnonymisedFile)
{
    anonymised(hostOfBundle);
    EXPECT_THAT(document("watch")["messages"].dump(), HasSubstr("; recording in visit.pcapng\""));
    EXPECT_THAT(content(), Not(HasSubstr(mFolder.path().string())));
}

TEST_F(QzagentBundle, CanOnlyBeReadByItsOwner)
{
    bundle(hostOfBundle);
    struct stat status = {};
    ASSERT_EQ(::stat(mPath.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(QzagentBundle, LeavesNoOtherFile)
{
    bundle(hostOfBundle);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mFolder.path()), {}), 1);
}

TEST_F(QzagentBundle, PrintsWhatItContains)
{
    std::string const text = squeezed(bundle(hostOfBundle).mOutput);
    EXPECT_THAT(text, MatchesRegex("CONTENT +SIZE\nvendor [0-9]+ bytes\n(.*\n)*events 1\n"));
}

TEST_F(QzagentBundle, PrintsAJsonDocument)
{
    ProcessResult const result = bundle(hostOfBundle, {"--seconds", "0", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "bundle"));
    EXPECT_THAT(namesIn(documentOf(result)["documents"]),
                ElementsAre("vendor", "ports", "inventory", "statistics-start", "latency", "statistics-end"));
}

TEST_F(QzagentBundle, GoesOnWhenAVerbFails)
{
    ProcessResult const result =
        bundle(hostOfBundle + fault("HBA_GetFcpTargetMapping", "\"1+\"", "HBA_STATUS_ERROR"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: inventory failed; the document has the reason\n"));
    EXPECT_EQ(document("inventory")["exit_status"], 1);
    EXPECT_EQ(document("statistics-end")["exit_status"], 0);
    EXPECT_EQ(summary()["events"], 1);
}

TEST_F(QzagentBundle, IsCompleteOnAHostWithoutBoards)
{
    ProcessResult const result = bundle(adapterNamed("example-fc-0") + portNumbered(1));
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: note: no boards, so events are not recorded\n"));
    EXPECT_THAT(namesIn(summary()["documents"]),
                ElementsAre("vendor", "ports", "inventory", "statistics-start", "latency", "statistics-end"));
    EXPECT_EQ(document("vendor")["boards"], json::array());
}

TEST_F(QzagentBundle, DoesNotFailBecauseOfAMissingVendorLibrary)
{
    ProcessResult const result = runAgent({"bundle", "--output", mPath, "--seconds", "1"});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: note: no vendor library, so events are not recorded\n"));
    EXPECT_THAT(result.mErrors, Not(HasSubstr("vendor failed")));
    EXPECT_THAT(result.mErrors, HasSubstr("ports failed"));
    EXPECT_THAT(document("vendor")["messages"].dump(), HasSubstr("libvqm.so is missing"));
}

TEST_F(QzagentBundle, FailsWhenTheVendorLibraryDoes)
{
    ProcessResult const result =
        bundle(hostOfBundle + "[[fault]]\ncall = \"VQM_GetLibVer\"\nnth = \"1+\"\nresult = 5\n");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: vendor failed; the document has the reason\n"));
}

TEST_F(QzagentBundle, SaysInItsDocumentsThatTheHbaLibraryDoesNotLoad)
{
    ProcessResult const result = bundle(failedLoad() + "[diagnostics]\n", {"--seconds", "0"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(document("vendor")["exit_status"], 0);
    for (char const* const name : {"ports", "inventory", "statistics-start", "latency", "statistics-end"})
    {
        json const found = document(name);
        EXPECT_EQ(found["exit_status"], 1) << name;
        EXPECT_THAT(found["messages"].dump(), HasSubstr("HBA_LoadLibrary")) << name;
        EXPECT_EQ(found["adapters"], json::array()) << name;
    }
}

class QzagentBundleSignal : public QzagentBundle, public testing::WithParamInterface<char const*>
{
};

INSTANTIATE_TEST_SUITE_P(Signals, QzagentBundleSignal, testing::Values("INT", "TERM", "HUP"),
                         [](testing::TestParamInfo<char const*> const& aInfo)
                         { return std::string(aInfo.param); });

TEST_P(QzagentBundleSignal, KeepsTheDocumentsAndEventsSoFar)
{
    std::string const log = mFolder.path() / "log";
    // The shell would make its background process ignore SIGINT.
    std::string const script = "env --default-signal=INT,HUP \"$@\" 2>" + log +
                               " & for i in $(seq 600); do grep -q QzapiRegEvent:.Left " + log +
                               " && break; sleep 0.1; done; sleep 1; kill -" + GetParam() + " $!; wait $!";
    ProcessResult const result =
        runAgentInOn(script, hostOfBundle, {"bundle", "--output", mPath, "--seconds", "60", "--trace"});
    EXPECT_EQ(result.mExitStatus, 1);
    std::ifstream file(log);
    std::string const errors{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(errors, HasSubstr("\nqzagent: interrupted; these parts are missing: statistics-end\n"));
    json const found = summary();
    EXPECT_THAT(namesIn(found["documents"]),
                ElementsAre("vendor", "ports", "inventory", "statistics-start", "latency", "watch"));
    EXPECT_EQ(document("watch")["written"], 1);
    EXPECT_EQ(found["events"], 1);
    EXPECT_EQ(runAgent({"show", mPath}).mExitStatus, 0);
}

TEST_F(QzagentBundle, RecordsPlainEventsWithoutQuazorEvents)
{
    bundle(shippedScenario("no-quazor"));
    EXPECT_EQ(document("watch")["exit_status"], 0);
}

TEST_F(QzagentBundle, KillsAVerbThatHangsAndNamesTheCall)
{
    ProcessResult const result =
        bundle(hostOfBundle + "[[fault]]\ncall = \"HBA_GetFcpTargetMapping\"\nnth = 1\ndelay_ms = 60000\n",
               {"--seconds", "0", "--part-timeout", "2"});
    EXPECT_EQ(result.mExitStatus, 1);
    json const ports = document("ports");
    EXPECT_THAT(ports["messages"], SizeIs(1));
    EXPECT_EQ(ports["messages"][0]["text"],
              "the process of ports did not answer within 2 s and was killed: HBA_GetFcpTargetMapping has "
              "not returned "
              "(example-fc-0: target mappings)");
    EXPECT_TRUE(satisfies(ports.dump(), "ports"));
}

/// @return the beginning of a record's encoded form, spelled as a name
std::string headOfRecord()
{
    QZCScopeData const record(eventOf(3, 7), nameOf({0x20, 0, 0, 0, 0xc9, 0, 0, 0x10}),
                              nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 0x11}));
    return qz::Wwn::ofBytes(encodedFormOf(record).data()).text();
}

TEST_F(QzagentBundle, KeepsTheFormOfARecordThatContainsAName)
{
    std::string scenario = hostOfBundle;
    std::string const fabric = "10:00:00:60:69:00:00:12";
    scenario.replace(scenario.find(fabric), fabric.size(), headOfRecord());
    EXPECT_EQ(anonymised(scenario).mExitStatus, 0);
    ProcessResult const shown = runAgent({"show", mPath});
    EXPECT_EQ(shown.mExitStatus, 0) << shown.mErrors;
    EXPECT_THAT(shown.mOutput, HasSubstr("board 0 category 3 subcategory 7 length 31 5000000"));
}

TEST_F(QzagentBundle, LosesOnlyTheDamagedPacket)
{
    bundle(hostOfBundle);
    std::string damaged = content();
    std::size_t const position = damaged.find("\"command\": \"vendor\"");
    ASSERT_NE(position, std::string::npos);
    // The length at the beginning of the packet's block; the head of a packet has 28 bytes.
    std::size_t const block = damaged.rfind("{", position) - 28;
    damaged[block + 4] = static_cast<char>(damaged[block + 4] ^ 0x40);
    std::string const path = mFolder.write("damaged", damaged);
    std::string const repaired = mFolder.path() / "repaired";
    EXPECT_THAT(runAgent({"repair", path, "--output", repaired}).mErrors, HasSubstr("; skipped "));
    for (std::string const& file : {path, repaired})
    {
        json const found = documentOf(runAgent({"show", "--summary", "--json", file}));
        EXPECT_THAT(namesIn(found["documents"]), ElementsAre("ports", "inventory", "statistics-start",
                                                             "latency", "watch", "statistics-end"))
            << file;
        EXPECT_EQ(found["events"], 1);
        EXPECT_EQ(documentOf(runAgent({"show", "--document", "statistics-end", file}))["exit_status"], 0);
    }
}

/// A host with so many target ports that its inventory has more than a megabyte.
std::string manyTargets()
{
    std::string scenario = hostOfBundle.substr(0, hostOfBundle.find("[[adapter.port.remote]]"));
    for (unsigned int i = 0; i < 6000; ++i)
    {
        scenario += fmt::format(
            "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:ab:01:{:02x}:{:02x}\"\n"
            "node_wwn = \"50:00:00:00:ab:02:{:02x}:{:02x}\"\n",
            i >> 8U, i & 0xffU, i >> 8U, i & 0xffU);
    }
    return scenario + "[diagnostics]\n";
}

TEST_F(QzagentBundle, HasDocumentsThatAreLargerThanAPacketCanBe)
{
    EXPECT_EQ(bundle(manyTargets(), {"--seconds", "0"}).mExitStatus, 0);
    ProcessResult const inventory = runAgent({"show", "--document", "inventory", mPath});
    EXPECT_GT(inventory.mOutput.size(), 1'000'000U);
    EXPECT_EQ(documentOf(inventory)["adapters"][0]["ports"][0]["remote_ports"].size(), 6000U);
    json const documents = summary()["documents"];
    EXPECT_EQ(documents[2]["name"], "inventory");
    EXPECT_EQ(documents[2]["size_bytes"], inventory.mOutput.size());
    EXPECT_THAT(documents, SizeIs(6));
}

TEST_F(QzagentBundle, KeepsAnExistingFile)
{
    mFolder.write("visit.pcapng", "precious");
    ProcessResult const result = bundle(hostOfBundle);
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(result.mErrors, "qzagent: cannot write " + mPath + ": File exists\n");
    EXPECT_EQ(content(), "precious");
}

TEST_F(QzagentBundle, LeavesNoFileOnAFullDisk)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    ProcessResult const result = runAgentInOn(R"(ulimit -f 2; exec "$@")", hostOfBundle,
                                              {"bundle", "--output", mPath, "--seconds", "1"});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: cannot write " + mPath + ": File too large"));
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(QzagentBundle, RefusesAShortKeyBeforeItBegins)
{
    std::string const key = keyFile("short");
    ProcessResult const result = bundle(hostOfBundle, {"--anonymise", key});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(result.mErrors,
              "qzagent: " + key + " is too short: it has 5 bytes, and a key file needs at least 16\n");
    EXPECT_FALSE(std::filesystem::exists(mPath));
}

std::vector<std::string> const namesOfBundle{"20:00:00:00:c9:00:00:10", "10:00:00:00:c9:00:00:11",
                                             "10:00:00:60:69:00:00:12", "50:00:00:00:ab:00:00:13",
                                             "50:00:00:00:ab:00:00:14"};

/// @return the texts that identify the host, in lower case, with several spellings of names
std::vector<std::string> textsOfBundle()
{
    std::vector<std::string> texts{"ex0001",
                                   "lab host seven",
                                   "lab port seven hn:customer-db02.bank.example os:linux",
                                   "customer-db02.bank.example",
                                   "customer-db02",
                                   "bank.example",
                                   "/sys/class/fc_host/host7",
                                   "host7",
                                   "0x010a0b",
                                   "010a0b",
                                   "0x10a0b",
                                   "web-lab07.storage.example",
                                   "web-lab07",
                                   "storage.example",
                                   "/dev/sdq"};
    for (std::string const& name : namesOfBundle)
    {
        std::string digits = name;
        digits.erase(std::remove(digits.begin(), digits.end(), ':'), digits.end());
        std::string reversedDigits;
        for (std::size_t i = digits.size(); i > 0; i -= 2)
        {
            reversedDigits += digits.substr(i - 2, 2);
        }
        std::string dashed = name;
        std::replace(dashed.begin(), dashed.end(), ':', '-');
        texts.insert(texts.end(), {name, digits, dashed, reversedDigits});
    }
    return texts;
}

/// @return the ASCII text in UTF-16 without its last byte, which depends on the byte order
std::string inUtf16(std::string const& aText)
{
    std::string wide;
    for (char const character : aText)
    {
        wide += std::string(wide.empty() ? "" : std::string(1, '\0')) + character;
    }
    return wide;
}

/// @return the names as bytes in both orders, as one number and as two
std::vector<std::string> binaryNamesOfBundle()
{
    std::vector<std::string> names;
    for (std::string const& name : namesOfBundle)
    {
        auto const bytes = qz::Wwn::parse(name)->bytes();
        names.emplace_back(bytes.begin(), bytes.end());
        names.emplace_back(bytes.rbegin(), bytes.rend());
        std::string const& reversed = names.back();
        names.push_back(reversed.substr(4) + reversed.substr(0, 4));
    }
    return names;
}

std::string changedLetters(std::string aText, int (*aChange)(int))
{
    std::transform(aText.begin(), aText.end(), aText.begin(),
                   [aChange](unsigned char aByte) { return static_cast<char>(aChange(aByte)); });
    return aText;
}

/// @return an event whose payload has every original, also in upper case
std::string eventWithOriginals()
{
    std::string payload;
    for (std::string const& text : textsOfBundle())
    {
        payload += text + ";" + changedLetters(text, &std::toupper) + "|" + inUtf16(text) + "|";
    }
    for (std::string const& name : binaryNamesOfBundle())
    {
        payload += name + "|";
    }
    std::string hex;
    for (char const byte : payload)
    {
        hex += fmt::format("{:02x}", static_cast<unsigned char>(byte));
    }
    return "[[diagnostics.event]]\nboard = 0\ncategory = 9\nsubcategory = 1\nat_ms = 2\npayload = \"" + hex +
           "\"\n";
}

TEST_F(QzagentBundle, LeavesNoOriginalInAnAnonymisedFile)
{
    std::string const failingTarget = fault("HBA_SendReportLUNs", "\"1+\"", "HBA_STATUS_ERROR");
    std::string const scenario = hostOfBundle + eventWithOriginals() + failingTarget;
    std::string const onNamedHost = "LD_PRELOAD=" NAMED_HOST " exec \"$@\"";
    Arguments arguments{"bundle", "--output", mPath, "--seconds", "1"};
    EXPECT_EQ(runAgentInOn(onNamedHost, scenario, arguments).mExitStatus, 1);
    std::string const plain = content();
    std::filesystem::remove(mPath);
    arguments.insert(arguments.end(), {"--anonymise", keyFile(secretOfBundle)});
    EXPECT_EQ(runAgentInOn(onNamedHost, scenario, arguments).mExitStatus, 1);
    std::string const searched = content();
    ASSERT_EQ(summary()["events"], 2);

    auto const inLowerCase = [](std::string const& aText) { return changedLetters(aText, &std::tolower); };
    for (std::string const& text : textsOfBundle())
    {
        EXPECT_NE(inLowerCase(plain).find(text), std::string::npos) << text;
        EXPECT_EQ(inLowerCase(searched).find(text), std::string::npos) << text << " survives";
        EXPECT_NE(inLowerCase(plain).find(inUtf16(text)), std::string::npos) << text;
        EXPECT_EQ(inLowerCase(searched).find(inUtf16(text)), std::string::npos) << text << " survives";
    }
    for (std::string const& name : binaryNamesOfBundle())
    {
        EXPECT_NE(plain.find(name), std::string::npos);
        EXPECT_EQ(searched.find(name), std::string::npos);
    }
    EXPECT_THAT(document("ports")["host"], StartsWith("host-"));
    EXPECT_THAT(document("inventory")["messages"].dump(), HasSubstr("50:00:00:0"));
    EXPECT_THAT(runAgent({"show", "--json", mPath}).mOutput, HasSubstr("\"host\":\"host-"));
}

TEST_F(QzagentBundle, HasAnonymisedDocumentsThatSatisfyTheirSchemas)
{
    anonymised(hostOfBundle);
    for (char const* const verb : {"vendor", "ports", "inventory", "latency", "watch"})
    {
        EXPECT_TRUE(satisfies(document(verb).dump(), verb));
    }
    EXPECT_TRUE(satisfies(document("statistics-start").dump(), "statistics"));
}

TEST_F(QzagentBundle, GivesAPortTheSamePseudonymInDocumentsAndEvents)
{
    anonymised(hostOfBundle);
    json const event = json::parse(runAgent({"show", "--json", mPath}).mOutput);
    EXPECT_EQ(event["second_wwn"], document("ports")["adapters"][0]["ports"][0]["port_wwn"]);
    std::string remote = document("inventory")["adapters"][0]["ports"][0]["remote_ports"][0]["port_wwn"];
    remote.erase(std::remove(remote.begin(), remote.end(), ':'), remote.end());
    EXPECT_THAT(event["payload"].get<std::string>(), StartsWith(remote));
}

TEST_F(QzagentBundle, ShowsWhichDocumentsThereAre)
{
    bundle(hostOfBundle, {"--seconds", "0"});
    ProcessResult const missing = runAgent({"show", "--document", "prots", mPath});
    EXPECT_EQ(missing.mExitStatus, 1);
    EXPECT_EQ(missing.mErrors,
              "qzagent: no document 'prots'; the documents are vendor, ports, inventory, "
              "statistics-start, latency, statistics-end\n");
    EXPECT_THAT(squeezed(runAgent({"show", "--summary", mPath}).mOutput),
                ContainsRegex("\nDOCUMENT +SIZE\nvendor [0-9]+ bytes\n"));
    EXPECT_THAT(runAgent({"show", mPath}).mErrors,
                HasSubstr("note: skipped 6 documents, which --summary lists\n"));
}
}  // namespace
