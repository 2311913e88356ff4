// Recordings of programs that call the libraries directly. A replay prints what the recorded program printed.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/control/MemoryFile.h"
#include "simulator/recording/CborReader.h"
#include "simulator/recording/Player.h"
#include "simulator/recording/Recording.h"
#include "simulator/recording/RecordingFile.h"
#include "simulator/recording/ScenarioCheck.h"
#include "simulator/recording/ScenarioText.h"
#include "simulator/recording/Values.h"
#include "tests/simulator/Qzsim.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"

namespace
{
constexpr char const* recordedScenario =
    "[[adapter]]\nname = \"a\"\nnode_wwn = \"20:00:00:00:00:00:00:01\"\nmodel = \"M-1\"\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\nfc_id = 0x010203\n"
    "statistics = { tx_frames = 4294967297 }\n"
    "[adapter.port.fc4_statistics]\ninput_requests = 11\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\nfc_id = 0x21\nluns = 2\n"
    "[[adapter.port.remote.lun]]\nlun = 0\nluid = \"01 03 00 10 60 06 0e 80 10 4a bc 00 00 10 4a bc 00 00 00 "
    "12\"\n"
    "[adapter.port.remote.lun.fcp_statistics]\ninput_requests = 12\n"
    "[[adapter.event]]\ntype = \"ADAPTER_ADD\"\nat_ms = 50\n"
    "[[adapter.event]]\ntype = \"ADAPTER_CHANGE\"\nat_ms = 50\ncount = 2\n"
    "[[adapter.event]]\ntype = \"PORT_FABRIC\"\nfabric_port_id = 0x010203\nat_ms = 50\n"
    "[[adapter.event]]\ntype = \"PORT_STAT_GROWTH\"\nat_ms = 50\n"
    "[[adapter.event]]\ntype = \"TARGET_OFFLINE\"\nremote_wwn = \"50:00:00:00:00:00:00:02\"\nat_ms = 50\n"
    "[[adapter.event]]\ntype = \"LINK_INCIDENT\"\npayload = \"07 08 09 0a 0b\"\nat_ms = 50\n"
    "[diagnostics]\nlibrary_version = \"7.8.9\"\n"
    "[[diagnostics.board]]\nfirst_wwn = \"20:00:00:00:00:00:00:01\"\nsecond_wwn = "
    "\"10:00:00:00:00:00:00:01\"\n"
    "[[diagnostics.event]]\nboard = 0\ncategory = 3\nsubcategory = 7\nsize = 9\ncount = 3\n";

constexpr char const* portOfRecording = "10:00:00:00:00:00:00:01";

class RecordingReplay : public testing::Test
{
protected:
    ProcessResult record(std::string const& aProbe, Arguments const& aSteps,
                         std::string const& aScenario = recordedScenario, Arguments const& aOptions = {})
    {
        std::string const scenario = mFolder.write("scenario.toml", aScenario);
        Arguments arguments{"--scenario", scenario, "--", QZSIM, "record", "--output", mFile};
        arguments.insert(arguments.end(), aOptions.begin(), aOptions.end());
        arguments.insert(arguments.end(), {"--", aProbe});
        arguments.insert(arguments.end(), aSteps.begin(), aSteps.end());
        return runQzsim(arguments, environment);
    }

    /// @return a key file for pseudonyms
    std::string privateKey()
    {
        std::string const key = mFolder.write("key", "a secret of some length");
        std::filesystem::permissions(key, std::filesystem::perms::owner_read);
        return key;
    }

    static std::string contentOf(std::string const& aFile)
    {
        std::ifstream file(aFile, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    ProcessResult replay(std::string const& aProbe, Arguments const& aSteps) const
    {
        return replayOf(mFile, aProbe, aSteps);
    }

    static ProcessResult replayOf(std::string const& aFile, std::string const& aProbe,
                                  Arguments const& aSteps)
    {
        Arguments arguments{"replay", aFile, "--", aProbe};
        arguments.insert(arguments.end(), aSteps.begin(), aSteps.end());
        return runQzsim(arguments, environment);
    }

    void expectReplay(std::string const& aProbe, Arguments const& aSteps,
                      std::string const& aScenario = recordedScenario)
    {
        std::filesystem::remove(mFile);
        ProcessResult const recorded = record(aProbe, aSteps, aScenario);
        ProcessResult const replayed = replay(aProbe, aSteps);
        EXPECT_NE(recorded.mOutput, "");
        EXPECT_EQ(replayed.mOutput, recorded.mOutput);
        EXPECT_EQ(replayed.mErrors, recorded.mErrors);
        EXPECT_EQ(replayed.mExitStatus, recorded.mExitStatus);
    }

    void expectHbaReplay(Arguments aSteps)
    {
        aSteps.insert(aSteps.begin(), {"load", "count", "open=a"});
        expectReplay(HBA_PROBE, aSteps);
    }

    void expectDiagnosticReplay(Arguments aSteps, std::string const& aScenario = recordedScenario)
    {
        aSteps.insert(aSteps.begin(), "open=/usr/lib/libvqm.so");
        expectReplay(VQM_PROBE, aSteps, aScenario);
    }

    /// A recorded library stays loaded, so nothing joins the threads of the simulated one. Leak detection reports memory
    /// of threads that do not exist in a forked process.
    inline static std::map<std::string, std::string> const environment{
        {"TSAN_OPTIONS", "report_thread_leaks=0"},
        {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"}};

    ScratchFolder mFolder;
    std::string const mFile = mFolder.path() / "host.pcapng";
};

TEST(CborOfARecording, IsRefusedIfATextHasPieces)
{
    // A map with one text, then the same in pieces: "ab" as "a" and "b".
    std::vector<std::uint8_t> const whole{0xbf, 0x61, 'x', 0x62, 0x5f, 0x7f, 0xff};
    std::vector<std::uint8_t> const pieces{0xbf, 0x61, 'x', 0x7f, 0x61, 'a', 0x61, 'b', 0xff, 0xff};
    std::optional<qzsim::Json> const item = qzsim::readCbor(whole);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->at("x"), "\x5f\x7f");
    EXPECT_FALSE(qzsim::readCbor(pieces));
}

TEST(CborOfARecording, IsRefusedAtAnyDepth)
{
    for (std::uint8_t const begin : std::vector<std::uint8_t>{0x5f, 0x7f, 0x81, 0x9f, 0xbf, 0xc1})
    {
        EXPECT_FALSE(qzsim::readCbor(std::vector<std::uint8_t>(200'000, begin))) << unsigned{begin};
    }
}

TEST(CborOfARecording, IsReadBeyondTextsWhoseSizesHaveSeveralBytes)
{
    std::vector<std::uint8_t> bytes{0x82, 0x59, 0x01, 0x00};
    bytes.resize(bytes.size() + 256, 0x5f);
    bytes.insert(bytes.end(), {0x78, 0x02, 0x7f, 0x7f});
    std::optional<qzsim::Json> const item = qzsim::readCbor(bytes);
    ASSERT_TRUE(item);
    EXPECT_EQ(item->at(0), qzsim::Json::binary(std::vector<std::uint8_t>(256, 0x5f)));
    EXPECT_EQ(item->at(1), "\x7f\x7f");
}

TEST(SpeedOfAReplay, DividesDelays)
{
    EXPECT_EQ(qzsim::scaledTime(1000, 1).count(), 1000);
    EXPECT_EQ(qzsim::scaledTime(1000, 4).count(), 250);
    EXPECT_EQ(qzsim::scaledTime(1000, 0.5).count(), 2000);
}

TEST(SpeedOfAReplay, LimitsDelaysToAboutThirtyYears)
{
    constexpr std::int64_t limit = 1'000'000'000'000'000'000;
    EXPECT_EQ(qzsim::scaledTime(UINT64_MAX, 0.001).count(), limit);
}

TEST(SpeedOfAReplay, RemovesDelaysIfItIsZero) { EXPECT_EQ(qzsim::scaledTime(1000, 0).count(), 0); }

TEST(DescriptionOfARecordedCall, HasNoControlCharacters)
{
    EXPECT_EQ(qzsim::describeCall("f\x1b", {{"\x1b[31mred", "\x1b[32m"}}),
              "f\\u001B(\\u001B[31mred \"\\u001b[32m\")");
}

TEST(DescriptionOfARecordedCall, HasANumberForBytesThatAreZero)
{
    // Zero bytes at the end are not recorded.
    EXPECT_EQ(qzsim::describeCall("f", {{"lun", qzsim::Json::binary({})}}), "f(lun 0)");
    EXPECT_EQ(qzsim::describeCall("f", {{"lun", qzsim::Json::binary({0, 7})}}), "f(lun 0007)");
}

/// Writes calls without arguments that take no time.
/// @param aCalls thread and function
void writeRecording(std::string const& aPath, std::vector<std::pair<int, char const*>> const& aCalls)
{
    qzsim::RecordingFile file(aPath, qzsim::sectionOfHost());
    std::uint64_t time = 1'000'000'000;
    for (auto const& [thread, function] : aCalls)
    {
        std::vector<std::uint8_t> const content =
            qzsim::Json::to_cbor({{"call", function}, {"thread", thread}});
        file.add({++time, "/lib/a.so", {content.data(), content.size()}});
    }
    file.flush();
}

TEST_F(RecordingReplay, InStrictOrderGivesNoThreadTheCallOfAnother)
{
    writeRecording(mFile, {{7, "f"}, {8, "f"}, {7, "g"}, {7, "f"}, {8, "g"}});
    qzsim::Recording const recording = qzsim::Recording::ofFile(mFile);
    qzsim::MemoryFile const counts = qzsim::Player::countsFor(recording);
    qzsim::Player player(recording, counts.path(), {0, true});
    auto const call = [&player](char const* aFunction)
    { return player.answer("/lib/a.so", aFunction, qzsim::Json::object()) != nullptr; };

    EXPECT_TRUE(call("f"));
    std::promise<void> hasBegun;
    std::future<bool> second = std::async(std::launch::async,
                                          [&]
                                          {
                                              bool const isAnswered = call("f");
                                              hasBegun.set_value();
                                              return isAnswered && call("g");
                                          });
    hasBegun.get_future().wait();
    // The other thread asks for its last call meanwhile, which it must not get before the two calls of this one.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(call("g"));
    EXPECT_TRUE(call("f"));
    EXPECT_TRUE(second.get());
}

TEST_F(RecordingReplay, InStrictOrderLetsOneThreadMakeTheCallsOfThreadsThatHaveEnded)
{
    writeRecording(mFile, {{7, "f"}, {8, "f"}, {9, "g"}});
    qzsim::Recording const recording = qzsim::Recording::ofFile(mFile);
    qzsim::MemoryFile const counts = qzsim::Player::countsFor(recording);
    qzsim::Player player(recording, counts.path(), {0, true});
    for (char const* const function : {"f", "f", "g"})
    {
        EXPECT_NE(player.answer("/lib/a.so", function, qzsim::Json::object()), nullptr);
    }
}

TEST_F(RecordingReplay, HasTheQueriesOfTheFirstVersion)
{
    expectHbaReplay({"attributes", "port=0", "mappings=1", "mappings=9", "luns=50:00:00:00:00:00:00:02",
                     "statistics=0", "refresh", "close", "free"});
}

TEST_F(RecordingReplay, HasTheQueriesOfTheSecondVersion)
{
    expectHbaReplay(
        {"openByWwn=20:00:00:00:00:00:00:01", "attributes", std::string("mappingsV2=") + portOfRecording,
         std::string("targetV2=") + portOfRecording + "/50:00:00:00:00:00:00:02",
         std::string("fc4Statistics=") + portOfRecording, "fcpStatistics=0", "fcpStatistics=2", "free"});
}

TEST_F(RecordingReplay, HasNoIdentifierOfALogicalUnitIfItIsAnonymised)
{
    Arguments const steps{"load", "count", "open=a", std::string("mappingsV2=") + portOfRecording, "free"};
    std::string const identifier("\x60\x06\x0e\x80\x10\x4a\xbc\x00\x00\x10\x4a\xbc\x00\x00\x00\x12", 16);
    record(HBA_PROBE, steps);
    EXPECT_THAT(contentOf(mFile), testing::HasSubstr(identifier));
    std::filesystem::remove(mFile);
    record(HBA_PROBE, steps, recordedScenario, {"--anonymise", privateKey()});
    EXPECT_THAT(contentOf(mFile), testing::Not(testing::HasSubstr(identifier)));
    EXPECT_THAT(contentOf(mFile), testing::HasSubstr(std::string("\x01\x03\x00\x10", 4)));
}

TEST_F(RecordingReplay, SendsTheEventsOfAnHbaLibrary)
{
    // The common library crashes when the callback for new adapters is removed while it runs. It has returned when
    // later events arrive.
    expectHbaReplay(
        {"watchAdapters", "await=1", "watchAdapter", "await=2", "unwatch", "unwatchAdapters", "free"});
    expectHbaReplay({std::string("watchPort=") + portOfRecording, "await=1", "unwatch", "free"});
    expectHbaReplay({std::string("watchStatistics=") + portOfRecording, "await=1", "unwatch", "free"});
    expectHbaReplay({"watchLink", "await=1", "unwatch", "free"});
    expectHbaReplay({std::string("watchTargets=") + portOfRecording, "await=1", "unwatch", "free"});
}

TEST_F(RecordingReplay, HasTheCallsOfTheDiagnosticLibrary)
{
    expectDiagnosticReplay({"version", "init", "driver=0", "driver=9", "link=0", "link=9", "free", "link=0"});
}

TEST_F(RecordingReplay, SendsTheEventsOfTheDiagnosticLibrary)
{
    expectDiagnosticReplay({"init", "plain=0", "events=3", "free"});
    expectDiagnosticReplay({"init", "quazor=0", "events=3", "free"});
}

TEST_F(RecordingReplay, LacksTheFunctionsThatTheDiagnosticLibraryLacks)
{
    std::string const scenario = "[diagnostics]\nmissing_functions = [\"VQM_GetLinkInfo\"]\n";
    expectDiagnosticReplay({"find=VQM_GetLinkInfo", "find=VQM_GetDrvInfo", "find=QZSIM_IsSimulator"},
                           scenario);
}

TEST_F(RecordingReplay, HasTheReasonWhyALibraryDoesNotLoad)
{
    for (std::string const library : {"absent", "broken"})
    {
        expectReplay(VQM_PROBE, {"openBad=/usr/lib/libvqm.so"},
                     "[diagnostics]\nlibrary = \"" + library + "\"\n");
    }
}

TEST_F(RecordingReplay, SendsNoEventToAForkedProcess)
{
    expectDiagnosticReplay({"init", "quazor=0", "events=3", "fork", "free"});
}

/// A scenario of a recording with calls for the adapter "a", which has a target with LUN 0.
class ConvertedCalls : public RecordingReplay
{
protected:
    using Json = qzsim::Json;

    void add(char const* aFunction, std::uint32_t aReturned, Json const& aArguments,
             Json const& aResults = Json::object())
    {
        std::vector<std::uint8_t> const content = Json::to_cbor(
            {{"call", aFunction}, {"returns", aReturned}, {"arguments", aArguments}, {"results", aResults}});
        mRecording.add({++mTime, "/lib/a.so", {content.data(), content.size()}});
    }

    void open(std::uint32_t aHandle) { add("HBA_OpenAdapter", aHandle, {{"name", "a"}}); }

    /// Adds calls that show a port and the target.
    void addTarget(std::uint32_t aHandle)
    {
        add("HBA_GetAdapterPortAttributes", HBA_STATUS_ERROR, {{"handle", aHandle}, {"port", 0}});
        Json const entry{{"fcp", {{"port_wwn", target}}}};
        add("HBA_GetFcpTargetMapping", HBA_STATUS_ERROR_MORE_DATA, {{"handle", aHandle}, {"mappings", 0}},
            {{"count", 1}, {"mappings", Json::array({entry})}});
    }

    qzsim::Recording recording()
    {
        mRecording.flush();
        return qzsim::Recording::ofFile(mFile);
    }

    std::string scenario() { return qzsim::scenarioOf(recording()); }

    /// @return what differs in the scenario
    std::vector<std::string> differences() { return qzsim::differencesOf(recording(), scenario()); }

    Json const target = Json::binary({0x50, 0, 0, 0, 0, 0, 0, 2});

private:
    qzsim::RecordingFile mRecording{mFile, qzsim::sectionOfHost()};
    std::uint64_t mTime = 1'000'000'000;
};

TEST_F(ConvertedCalls, HaveTheSameAnswersAfterALibraryThatLoadedAtTheThirdAttempt)
{
    for (HBA_STATUS const status :
         std::vector<HBA_STATUS>{HBA_STATUS_ERROR, HBA_STATUS_ERROR_BUSY, HBA_STATUS_OK})
    {
        add("HBA_LoadLibrary", status, Json::object());
    }
    open(1);
    addTarget(1);
    EXPECT_THAT(differences(), testing::IsEmpty());
}

TEST_F(ConvertedCalls, HaveTheSameAnswersAfterAFailedOneWhoseBytesAreStillInTheBuffer)
{
    open(1);
    addTarget(1);
    std::vector<std::uint8_t> response(36, 'x');
    response[0] = 0;
    response[4] = 31;
    Json const arguments{{"handle", 1}, {"target", target}, {"lun", Json::binary({})}, {"response", 36}};
    add("HBA_SendScsiInquiry", HBA_STATUS_ERROR, arguments, {{"response", Json::binary(response)}});
    add("HBA_SendScsiInquiry", HBA_STATUS_OK, arguments,
        {{"response", Json::binary(response)}, {"response_written", 5}});
    EXPECT_THAT(differences(), testing::IsEmpty());
}

TEST_F(ConvertedCalls, CountALargeDiskOnceHoweverItIsRead)
{
    open(1);
    addTarget(1);
    open(2);
    for (std::uint32_t const handle : {1U, 2U})
    {
        add("HBA_SendReadCapacity", HBA_STATUS_OK,
            {{"handle", handle}, {"target", target}, {"lun", Json::binary({})}, {"response", 7 + handle}},
            {{"response", Json::binary({0xff, 0xff, 0xff, 0xff, 0, 0, 2})}});
    }
    EXPECT_THAT(differences(), testing::ElementsAre(testing::StartsWith("the sizes of 1 LUNs are not")));
}

TEST_F(ConvertedCalls, HaveTheSameAnswersIfAnAdapterIsOpenedAgainWithTheSameHandle)
{
    open(1);
    open(1);
    addTarget(1);
    EXPECT_THAT(differences(), testing::IsEmpty());
}

class ConvertedReports : public ConvertedCalls
{
protected:
    void SetUp() override
    {
        open(1);
        addTarget(1);
    }

    /// Adds a call that gets the numbers of two LUNs, as far as there is room.
    void addReport(std::uint8_t aFirst, std::uint8_t aSecond, std::size_t aRoom)
    {
        std::vector<std::uint8_t> list{0, 0, 0, 16, 0, 0, 0, 0, 0, aFirst, 0, 0, 0, 0, 0, 0, 0, aSecond};
        list.resize(aRoom);
        add("HBA_SendReportLUNs", HBA_STATUS_OK, {{"handle", 1}, {"target", target}, {"response", aRoom}},
            {{"response", Json::binary(list)}});
    }
};

TEST_F(ConvertedReports, HaveAllLunsOfAWholeListBeforeACutOne)
{
    for (std::size_t const room : std::vector<std::size_t>{24, 16, 8})
    {
        addReport(0, 1, room);
    }
    EXPECT_THAT(differences(), testing::IsEmpty());
}

TEST_F(ConvertedReports, HaveTheLunsOfACutListIfThereIsNoWholeOne)
{
    addReport(5, 6, 16);
    addReport(5, 6, 8);
    EXPECT_THAT(scenario(), testing::HasSubstr("lun = 5\nmapped = false\n"));
    EXPECT_THAT(scenario(), testing::Not(testing::HasSubstr("lun = 6\n")));
}

class RareCalls : public RecordingReplay
{
protected:
    /// @return how the program that calls the entries of the library ended while it was recorded
    ProcessResult recordCalls(std::string const& aFile, Arguments const& aOptions = {})
    {
        Arguments arguments{"record", "--output", aFile};
        arguments.insert(arguments.end(), aOptions.begin(), aOptions.end());
        arguments.insert(arguments.end(), {"--", RARE_PROBE, RARE_LIBRARY});
        std::map<std::string, std::string> variables = environment;
        variables["QZSIM_HBA_LIBRARY"] = RARE_LIBRARY;  // the only line of the configuration
        return runQzsim(arguments, variables);
    }
};

TEST_F(RareCalls, AreAnsweredWithTheSameBytes)
{
    ProcessResult const recorded = recordCalls(mFile);
    ProcessResult const replayed = replay(RARE_PROBE, {RARE_LIBRARY});
    EXPECT_EQ(recorded.mErrors, "");
    EXPECT_THAT(recorded.mOutput, testing::HasSubstr("\nSendRLS: 0 01080f16"));
    EXPECT_EQ(replayed.mOutput, recorded.mOutput);
    EXPECT_EQ(replayed.mErrors, "");
}

TEST_F(RareCalls, HaveNoOriginalNamesInAnAnonymisedRecording)
{
    std::string const key = privateKey();
    std::string const plainFile = mFolder.path() / "plain.pcapng";
    recordCalls(plainFile);
    EXPECT_EQ(recordCalls(mFile, {"--anonymise", key}).mErrors, "");
    std::string const plain = contentOf(plainFile);
    std::string const content = contentOf(mFile);
    for (std::string const& name :
         {std::string("\x50\x06\x01\x60\xc1\x23\x45\x67"), std::string("\x10\0\0\0\xc9\x2a\x3b\x4c", 8),
          std::string("\x20\0\0\0\xc9\x2a\x3b\x4c", 8), std::string("10000000C92A3B4C"),
          std::string("\x11\x22\x33\x44\x55\x66\x77\x88"), std::string("\x50\x06\x01\x61\xc1\x23\x45\x68"),
          std::string("SER4711Y")})
    {
        EXPECT_NE(plain.find(name), std::string::npos) << testing::PrintToString(name);
        EXPECT_EQ(content.find(name), std::string::npos) << testing::PrintToString(name);
    }
    ProcessResult const replayed = replay(RARE_PROBE, {RARE_LIBRARY});
    // A call without names is answered. The program passes original names, and those calls are refused.
    EXPECT_THAT(replayed.mOutput, testing::HasSubstr("\nGetRNIDMgmtInfo: 0 "));
    EXPECT_THAT(replayed.mErrors, testing::HasSubstr("qzsim: refused: HBA_SendRLS("));
}

TEST_F(RecordingReplay, GivesTheAnswersThatMachinesOfBothByteOrdersRecorded)
{
    for (char const* const machine : {"x86-64", "powerpc"})
    {
        ProcessResult const result = replayOf(
            std::string(QZSIM_RECORDINGS "/") + machine + ".pcapng", HBA_PROBE,
            {"load", "count", "open=a", "attributes", "port=0", "mappings=9", "statistics=0", "free"});
        EXPECT_EQ(result.mErrors, "");
        EXPECT_EQ(result.mOutput,
                  "load: 0\ncount: 1\nopen a: 1\nattributes: 0 \"M-1\" with 1 ports\n"
                  "port 0: 0 id 010203, sees 1\n  port 0: 0 id 000021\nmappings: 0 of 2\n"
                  "statistics 0: 0 rx -1\nfree: 0\n");
    }
}
}  // namespace
