#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/OneSource.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace
{
std::string const scenarioOfOneSource = oneSource(200, 8, 100000, 1000);

/// @return the record of the event with this number: category and subcategory, names and payload
std::string recordOf(unsigned int aNumber)
{
    std::string record(
        "\x03\x18\xc8\xf5"
        "\x5a\0\0\0\x08\x20\0\0\0\xc9\0\0\0"
        "\x5a\0\0\0\x08\x10\0\0\0\xc9\0\0\x01"
        "\x01\x5a\0\0\0\x08\0\0",
        38);
    for (unsigned int const byte :
         {aNumber >> 8, aNumber, aNumber + 4, aNumber + 5, aNumber + 6, aNumber + 7})
    {
        record += static_cast<char>(byte);
    }
    return record;
}

std::string recordsOf(unsigned int aCount)
{
    std::string records;
    for (unsigned int number = 0; number < aCount; ++number)
    {
        records += recordOf(number);
    }
    return records;
}

class QzagentWatchRecords : public CaptureFixture
{
protected:
    ProcessResult watch(Arguments const& aArguments) const
    {
        Arguments arguments{"watch", "--output", mPath, "--format", "records"};
        arguments.insert(arguments.end(), aArguments.begin(), aArguments.end());
        return runAgentOn(scenarioOfOneSource, arguments);
    }
};

TEST_F(QzagentWatchRecords, RecordsEveryEventUnchanged)
{
    ProcessResult const result = watch({"--count", "1000"});
    EXPECT_TRUE(content() == recordsOf(1000)) << content().size() << " bytes";
    EXPECT_EQ(result.mOutput, "BOARD CATEGORY WRITTEN\n    0        3    1000\n");
    EXPECT_EQ(result.mErrors,
              "qzagent: note: watching 1 board, all categories, all subcategories; recording in " + mPath +
                  "\n"
                  "qzagent: note: received 1000 events, wrote 1000, dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchRecords, RecordsTheRequestedNumberOfEvents)
{
    watch({"--count", "7"});
    EXPECT_EQ(content(), recordsOf(7));
}

TEST_F(QzagentWatchRecords, AppendsToAnExistingCapture)
{
    watch({"--count", "2"});
    watch({"--count", "3"});
    EXPECT_EQ(content(), recordsOf(2) + recordsOf(3));
}

TEST_F(QzagentWatchRecords, KeepsTheFormOfAnExistingCapture)
{
    mFolder.write("events.capture", recordsOf(2));
    runAgentOn(scenarioOfOneSource, {"watch", "--output", mPath, "--count", "1"});
    EXPECT_EQ(content(), recordsOf(2) + recordOf(0));
}

TEST_F(QzagentWatchRecords, RefusesAnotherFormThanThatOfTheFile)
{
    mFolder.write("events.capture", recordsOf(2));
    ProcessResult const result =
        runAgentOn(scenarioOfOneSource, {"watch", "--output", mPath, "--format", "pcapng", "--count", "1"});
    EXPECT_EQ(result.mErrors,
              "qzagent: cannot write " + mPath + ": it is not a pcapng file, which --format excludes\n");
    EXPECT_EQ(content(), recordsOf(2));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchRecords, RefusesToSynchroniseBareRecords)
{
    mFolder.write("events.capture", recordsOf(2));
    ProcessResult const result =
        runAgentOn(scenarioOfOneSource, {"watch", "--output", mPath, "--sync", "1", "--count", "1"});
    EXPECT_EQ(result.mErrors,
              "qzagent: cannot write " + mPath + ": it is not a pcapng file, which --sync requires\n");
    EXPECT_EQ(content(), recordsOf(2));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchRecords, OpensTheCaptureAgainAfterItWasReplacedOrAtAHangup)
{
    std::string const rest = "mv '" + mPath + "' '" + mPath + ".1'; until [ -s '" + mPath +
                             "' ]; do sleep 0.01; done; mv '" + mPath + "' '" + mPath +
                             ".2'; kill -HUP $agent; until [ -s '" + mPath +
                             "' ]; do sleep 0.01; done; kill -TERM $agent; wait $agent";
    ProcessResult const result =
        runAgentInOn(R"("$@" & agent=$!; until [ -s ')" + mPath + "' ]; do sleep 0.01; done; " + rest,
                     oneSource(200, 8, 1000, 1000000), {"watch", "--output", mPath, "--format", "records"});
    std::string const all = contentOf(mPath + ".1") + contentOf(mPath + ".2") + content();
    EXPECT_EQ(all, recordsOf(static_cast<unsigned int>(all.size() / recordOf(0).size())));
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: note: " + mPath +
                          " was deleted or replaced; the recording continues in a new file\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(", dropped 0\n"));
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchRecords, RefusesAnIncompleteCaptureAndLeavesItUnchanged)
{
    std::string const cut = recordsOf(2).substr(0, 80);
    mFolder.write("events.capture", cut);
    ProcessResult const result = watch({"--count", "1"});
    EXPECT_EQ(result.mErrors,
              "qzagent: cannot write " + mPath +
                  ": it is not a complete capture: at byte 75: expected a byte string of at most "
                  "the 0 bytes that follow, found byte string 8 (0x5a); its first 1 records "
                  "end at byte 44\n");
    EXPECT_EQ(content(), cut);
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchRecords, PrintsTheCountsInJson)
{
    ProcessResult const result = watch({"--count", "5", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "watch"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["received"], 5);
    EXPECT_EQ(document["written"], 5);
    EXPECT_EQ(document["dropped"], 0);
    EXPECT_EQ(document["events"], nlohmann::json::parse(R"([{"board": 0, "category": 3, "written": 5}])"));
}

TEST_F(QzagentWatchRecords, KeepsCompleteRecordsAtTheFileSizeLimit)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    // The limit is two blocks of 512 bytes, which is not a multiple of the 44 bytes of a record.
    ProcessResult const result =
        runAgentInOn(R"(ulimit -f 2; exec "$@")", scenarioOfOneSource,
                     {"watch", "--output", mPath, "--format", "records", "--count", "1000"});
    EXPECT_EQ(content(), recordsOf(23));
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: cannot write " + mPath + ": File too large; its 23 records are safe\n"));
    EXPECT_THAT(result.mErrors, ContainsRegex("[0-9]+ of [0-9]+ events were dropped: [0-9]+ of board 0\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchRecords, ReportsAFullDeviceAfterReleasingEverything)
{
    ProcessResult const result =
        runAgentOn(scenarioOfOneSource, {"--trace", "watch", "--output", "/dev/full", "--format", "records"});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: cannot write /dev/full: No space left on device; its 0 "
                                          "records are safe\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_QzapiUnregEvent: Left\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_Close: Left\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_FreeLibrary: Left\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
