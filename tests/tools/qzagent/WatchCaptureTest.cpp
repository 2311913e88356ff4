#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/OneSource.h"

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

class QzagentWatchCapture : public CaptureFixture
{
protected:
    ProcessResult watch(Arguments const& aArguments) const
    {
        Arguments arguments{"watch", "--output", mPath};
        arguments.insert(arguments.end(), aArguments.begin(), aArguments.end());
        return runAgentOn(scenarioOfOneSource, arguments);
    }
};

TEST_F(QzagentWatchCapture, RecordsEveryEventUnchanged)
{
    ProcessResult const result = watch({"--count", "1000"});
    EXPECT_TRUE(content() == recordsOf(1000)) << content().size() << " bytes";
    EXPECT_EQ(result.mOutput, "BOARD CATEGORY WRITTEN\n    0        3    1000\n");
    EXPECT_EQ(result.mErrors, "qzagent: note: received 1000 events, wrote 1000, dropped 0\n");
    EXPECT_EQ(result.mExitStatus, 0);
}

TEST_F(QzagentWatchCapture, RecordsTheRequestedNumberOfEvents)
{
    watch({"--count", "7"});
    EXPECT_EQ(content(), recordsOf(7));
}

TEST_F(QzagentWatchCapture, AppendsToAnExistingCapture)
{
    watch({"--count", "2"});
    watch({"--count", "3"});
    EXPECT_EQ(content(), recordsOf(2) + recordsOf(3));
}

TEST_F(QzagentWatchCapture, RefusesAnIncompleteCaptureAndLeavesItUnchanged)
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

TEST_F(QzagentWatchCapture, PrintsTheCountsInJson)
{
    ProcessResult const result = watch({"--count", "5", "--json"});
    EXPECT_TRUE(satisfies(result.mOutput, "watch"));
    nlohmann::json const document = documentOf(result);
    EXPECT_EQ(document["received"], 5);
    EXPECT_EQ(document["written"], 5);
    EXPECT_EQ(document["dropped"], 0);
    EXPECT_EQ(document["events"], nlohmann::json::parse(R"([{"board": 0, "category": 3, "written": 5}])"));
}

TEST_F(QzagentWatchCapture, KeepsCompleteRecordsAtTheFileSizeLimit)
{
    if (IS_COUNTED)
    {
        GTEST_SKIP() << "the limit also applies to the coverage data that the agent writes";
    }
    // The limit is two blocks of 512 bytes, which is not a multiple of the 44 bytes of a record.
    ProcessResult const result = runAgentInOn(R"(ulimit -f 2; exec "$@")", scenarioOfOneSource,
                                              {"watch", "--output", mPath, "--count", "1000"});
    EXPECT_EQ(content(), recordsOf(23));
    EXPECT_THAT(result.mErrors,
                HasSubstr("qzagent: cannot write " + mPath + ": File too large; its 23 records are safe\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" events were dropped\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}

TEST_F(QzagentWatchCapture, ReportsAFullDeviceAfterReleasingEverything)
{
    ProcessResult const result =
        runAgentOn(scenarioOfOneSource, {"--trace", "watch", "--output", "/dev/full"});
    EXPECT_THAT(result.mErrors, HasSubstr("qzagent: cannot write /dev/full: No space left on device; its 0 "
                                          "records are safe\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_QzapiUnregEvent: Left\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_Close: Left\n"));
    EXPECT_THAT(result.mErrors, HasSubstr(" LIBVQM_FreeLibrary: Left\n"));
    EXPECT_EQ(result.mExitStatus, 1);
}
}  // namespace
