#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Scenarios.h"

namespace
{
using testing::HasSubstr;

std::string textIn(std::string const& aPath)
{
    std::ifstream file(aPath);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string const sameAdapter = adapterNamed("example-fc-0") + "node_wwn = \"20:00:00:00:c9:00:00:00\"\n";

class QzagentDiff : public testing::Test
{
protected:
    /// @return path of a file with the inventory of a scenario
    std::string look(char const* aName, std::string const& aScenario) const
    {
        return mFolder.write(aName, runAgentOn(aScenario, {"inventory", "--json"}).mOutput);
    }

    /// Expects that two looks cannot be compared.
    /// @param aError all that is on standard error
    static void expectRefusal(Arguments const& aLooks, std::string const& aError)
    {
        Arguments arguments{"diff"};
        arguments.insert(arguments.end(), aLooks.begin(), aLooks.end());
        ProcessResult const result = runAgent(arguments);
        EXPECT_EQ(result.mOutput, "");
        EXPECT_EQ(result.mErrors, "qzagent: " + aError + "\n");
        EXPECT_EQ(result.mExitStatus, 3);
    }

    ScratchFolder mFolder;
    std::string const mBefore = look("before", sameAdapter + portNumbered(1));
};

TEST_F(QzagentDiff, OfALookWithItselfIsEmpty)
{
    ProcessResult const result = runAgent({"diff", mBefore, mBefore});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentDiff, ShowsAPortThatIsGoneAndAnotherThatCame)
{
    std::string const after = look("after", sameAdapter + portNumbered(2));
    ProcessResult const result = runAgent({"diff", mBefore, after});
    EXPECT_EQ(result.mOutput,
              "- port 10:00:00:00:c9:00:00:01 of adapter example-fc-0 gone\n"
              "+ port 10:00:00:00:c9:00:00:02 of adapter example-fc-0 came\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentDiff, WritesADocumentWithBothLooks)
{
    std::string const after = look("after", sameAdapter + portNumbered(2));
    ProcessResult const result = runAgent({"diff", "--json", mBefore, after});
    EXPECT_TRUE(satisfies(result.mOutput, "diff"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["changes"].size(), 2u);
    EXPECT_EQ(document["old"]["host"], document["new"]["host"]);
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentDiff, ExitsWithThreeWhenALookDidNotSeeEverythingAndNothingChanged)
{
    std::string const after = look("after", adapterNamed("example-fc-0") + portNumbered(1) + R"(
[[fault]]
call = "HBA_OpenAdapter"
nth = "1+"
status = "HBA_STATUS_ERROR"
)");
    ProcessResult const result = runAgent({"diff", "--json", mBefore, after});
    EXPECT_TRUE(satisfies(result.mOutput, "diff"));
    EXPECT_EQ(documentOf(result)["changes"][0]["change"], "unknown");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, ReadsALookFromStandardInput)
{
    EXPECT_EQ(runAgentIn("exec \"$@\" < " + mBefore, {"diff", "-", mBefore}).mExitStatus, 0);
}

TEST_F(QzagentDiff, ReadsALookFromAPipe)
{
    std::string const pipe = mFolder.path() / "pipe";
    ProcessResult const result = runAgentIn(
        "mkfifo " + pipe + "; cat " + mBefore + " > " + pipe + " & exec \"$@\"", {"diff", pipe, mBefore});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentDiff, ReadsABundleFromStandardInputAndFromAPipe)
{
    std::string const bundle = mFolder.path() / "piped.pcapng";
    runAgentOn(sameAdapter + portNumbered(1), {"bundle", "--output", bundle, "--seconds", "0"});
    ProcessResult result = runAgentIn("cat " + bundle + " | \"$@\"", {"diff", "-", mBefore});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
    std::string const pipe = mFolder.path() / "bundles";
    result = runAgentIn("mkfifo " + pipe + "; cat " + bundle + " > " + pipe + " & exec \"$@\"",
                        {"diff", mBefore, pipe});
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentDiff, RefusesInputWithoutEnd)
{
    expectRefusal({"/dev/zero", mBefore}, "/dev/zero: larger than 256 MiB");
}

/// The inventory is whole; a byte elsewhere in the bundle is wrong, and its end is missing.
TEST_F(QzagentDiff, ReadsTheInventoryOfADamagedBundle)
{
    std::string const path = mFolder.path() / "whole.pcapng";
    runAgentOn(sameAdapter + portNumbered(1), {"bundle", "--output", path, "--seconds", "0"});
    std::string const text = textIn(path);
    std::string const damaged = mFolder.write("damaged.pcapng", text.substr(0, text.size() - 7));
    ProcessResult const result = runAgent({"diff", damaged, mBefore});
    EXPECT_EQ(result.mOutput, "");
    EXPECT_THAT(result.mErrors, testing::StartsWith("qzagent: note: the bundle is damaged: " + damaged));
    EXPECT_EQ(result.mExitStatus, 0);
    std::size_t const place = text.find("\"command\": \"inventory\"");
    ASSERT_NE(place, std::string::npos);
    std::string broken = text;
    broken[place] = '!';
    ProcessResult const refused = runAgent({"diff", mFolder.write("broken.pcapng", broken), mBefore});
    EXPECT_THAT(refused.mErrors, HasSubstr(": document inventory: not JSON at byte "));
    EXPECT_THAT(refused.mErrors, HasSubstr("/broken.pcapng: the document of inventory was expected\n"));
    EXPECT_EQ(refused.mExitStatus, 3);
}

TEST_F(QzagentDiff, ComparesWithTheHostNow)
{
    ProcessResult const result =
        runAgentOn(sameAdapter + portNumbered(1) + "state = \"LINKDOWN\"\n", {"diff", mBefore});
    EXPECT_EQ(result.mOutput,
              "~ port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: state ONLINE -> LINKDOWN\n");
    EXPECT_EQ(result.mErrors, "");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentDiff, RepeatsTheMessagesOfTheLookInItsDocument)
{
    ProcessResult const result = runAgentOn(
        sameAdapter + portNumbered(1) + fault("HBA_GetAdapterPortAttributes", "1", "HBA_STATUS_ERROR_BUSY"),
        {"diff", "--json", mBefore});
    EXPECT_TRUE(satisfies(result.mOutput, "diff"));
    EXPECT_THAT(result.mErrors, HasSubstr("HBA_STATUS_ERROR_BUSY"));
    nlohmann::json const messages = documentOf(result)["messages"];
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0]["cause"]["status_name"], "HBA_STATUS_ERROR_BUSY");
    EXPECT_EQ(messages[0]["port"], 0);
}

TEST_F(QzagentDiff, AsksTheHostForLunsLikeTheOldLook)
{
    std::string const host = adapterNamed("example-fc-0") + portNumbered(1) + targetNumbered(1, 1);
    std::string const before =
        mFolder.write("units", runAgentOn(host, {"inventory", "--luns", "--json"}).mOutput);
    ProcessResult const result = runAgentOn(host + "inquiry_product = \"OTHER\"\n", {"diff", before});
    EXPECT_EQ(result.mOutput,
              "~ LUN 0 of target 50:00:00:00:ab:00:00:01 behind port 10:00:00:00:c9:00:00:01: "
              "product SIMULATED DISK -> OTHER\n");
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentDiff, GivesUpWhenTheHostDoesNotAnswer)
{
    ProcessResult const result =
        runAgentOn("[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 1\ndelay_ms = 60000\n",
                   {"diff", "--part-timeout", "1", mBefore});
    EXPECT_EQ(result.mOutput, "");
    // A busy host may not let the process get as far as the call.
    EXPECT_THAT(
        result.mErrors,
        testing::StartsWith("qzagent: the process of inventory did not answer within 1 s and was killed: "));
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, CallsAdaptersUnknownThatALookDidNotSelect)
{
    std::string const host =
        adapterNamed("example-fc-0") + portNumbered(1) + adapterNamed("example-fc-1") + portNumbered(2);
    std::string const text = runAgentOn(host, {"inventory", "--adapter", "1", "--json"}).mOutput;
    EXPECT_TRUE(satisfies(text, "inventory"));
    EXPECT_TRUE(satisfies(runAgentOn(host, {"ports", "--adapter", "1", "--json"}).mOutput, "ports"));
    ProcessResult const result = runAgentOn(host, {"diff", mFolder.write("one", text)});
    EXPECT_EQ(result.mOutput, "? adapters: unknown before (only adapter 1 was read); now 1 port\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, EndsWithASignalThatInterruptsTheLook)
{
    ProcessResult const result =
        runAgentUntilFaults("[[fault]]\ncall = \"HBA_LoadLibrary\"\nnth = 1\ndelay_ms = 60000\n",
                            {"diff", mBefore}, "kill -INT $agent");
    EXPECT_EQ(result.mErrors, "qzagent: interrupted during inventory\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, ReadsTheInventoriesOfBundles)
{
    auto const bundle = [this](char const* aName, std::string const& aState)
    {
        std::string const path = mFolder.path() / aName;
        runAgentOn(sameAdapter + portNumbered(1) + aState, {"bundle", "--output", path, "--seconds", "0"});
        return path;
    };
    std::string const before = bundle("before.pcapng", "");
    std::string const after = bundle("after.pcapng", "state = \"OFFLINE\"\n");
    EXPECT_EQ(runAgent({"diff", before, after}).mOutput,
              "~ port 10:00:00:00:c9:00:00:01 of adapter example-fc-0: state ONLINE -> OFFLINE\n");
    EXPECT_EQ(runAgent({"diff", mBefore, before}).mExitStatus, 0) << "a bundle and a document";
}

TEST_F(QzagentDiff, NamesABundleWithoutInventory)
{
    std::string const path = mFolder.path() / "ports.pcapng";
    runAgentOn(adapterNamed("example-fc-0") + portNumbered(1), {"ports", "--output", path});
    expectRefusal({path, mBefore}, path + ": the document of inventory was expected");
}

TEST_F(QzagentDiff, RefusesStandardInputForBothLooks)
{
    ProcessResult const result = runAgent({"diff", "-", "-"});
    EXPECT_EQ(result.mErrors,
              "qzagent: only one of the two looks can be standard input; see qzagent diff --help\n");
    EXPECT_EQ(result.mExitStatus, 2);
}

TEST_F(QzagentDiff, NamesAFileThatDoesNotExist)
{
    std::string const absent = mFolder.path() / "absent";
    ProcessResult const result = runAgent({"diff", "--json", absent, mBefore});
    EXPECT_TRUE(satisfies(result.mOutput, "diff"));
    EXPECT_EQ(result.mErrors, "qzagent: cannot read " + absent + ": No such file or directory\n");
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, RefusesAFolder)
{
    expectRefusal({mFolder.path(), mBefore}, "cannot read " + mFolder.path().string() + ": Is a directory");
}

TEST_F(QzagentDiff, RefusesAnEmptyFile)
{
    std::string const path = mFolder.write("empty", "");
    expectRefusal({path, mBefore}, path + ": not JSON at byte 1");
}

TEST_F(QzagentDiff, RefusesATruncatedDocument)
{
    std::string const text = textIn(mBefore);
    std::string const path = mFolder.write("truncated", text.substr(0, text.size() / 2));
    expectRefusal({path, mBefore}, path + ": not JSON at byte " + std::to_string(text.size() / 2 + 1));
}

TEST_F(QzagentDiff, RefusesADeeplyNestedDocument)
{
    std::string const path = mFolder.write("deep", std::string(1'000'000, '['));
    expectRefusal({path, mBefore}, path + ": nested more than 100 levels deep");
}

TEST_F(QzagentDiff, NamesThePlaceThatIsNotJson)
{
    std::string const path = mFolder.write("broken", "{\"format_version\": }");
    expectRefusal({mBefore, path}, path + ": not JSON at byte 20");
}

TEST_F(QzagentDiff, RefusesANumberThatIsTooLarge)
{
    std::string const path = mFolder.write("large", "{\"format_version\": 1e999}");
    expectRefusal({mBefore, path}, path + ": a number is too large");
}

TEST_F(QzagentDiff, NamesThePlaceThatIsNoInventory)
{
    std::string const path = mFolder.write("wrong", R"({"format_version": 2, "command": "inventory",
        "adapters": [{"name": "example-fc-0", "ports": [{"index": 0}, {"index": 1, "port_wwn": 5}]}]})");
    expectRefusal({path, mBefore}, path + ".adapters[0].ports[1].port_wwn: a text was expected");
}

TEST_F(QzagentDiff, RefusesTheDocumentOfAnotherVerb)
{
    std::string const path = mFolder.write("adapters", runAgentOn("", {"adapters", "--json"}).mOutput);
    ProcessResult const result = runAgent({"diff", path, mBefore});
    EXPECT_THAT(result.mErrors, HasSubstr(path + ": the document of inventory was expected\n"));
    EXPECT_EQ(result.mExitStatus, 3);
}

TEST_F(QzagentDiff, NotesThatTheLooksAreAtDifferentHosts)
{
    nlohmann::json document = nlohmann::json::parse(textIn(mBefore));
    document["host"] = "elsewhere";
    ProcessResult const result = runAgent({"diff", mFolder.write("other", document.dump()), mBefore});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: note: the looks are at different hosts: elsewhere and "));
    EXPECT_EQ(result.mExitStatus, 0);
}
}  // namespace
