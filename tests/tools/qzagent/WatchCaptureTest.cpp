#include <exception>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/AllocationFailure.h"
#include "tests/support/Process.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/OneSource.h"
#include "tools/qzagent/vqm/EventQueue.h"
#include "tools/qzagent/watch/WatchCapture.h"

using qzagent::WatchCapture;
using qzagent::WatchedEvent;
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

/// An event of category 3 and subcategory 7.
WatchedEvent eventWith(unsigned int aPayloadLength)
{
    WatchedEvent event{};
    event.mHead.mCategory = 3;
    event.mHead.mSubcategory = 7;
    event.mPayload.assign(aPayloadLength, 0xab);
    return event;
}

/// @return the record of such an event without names, with a payload of less than 65536 bytes
std::string recordWith(unsigned int aPayloadLength)
{
    return std::string("\x03\x07\xf4\x01\x5a\0\0", 7) + static_cast<char>(aPayloadLength >> 8) +
           static_cast<char>(aPayloadLength & 0xff) + std::string(aPayloadLength, '\xab');
}

/// Records a small event, and then a large one while the given allocation fails.
/// @return whether that many allocations were made
bool recordWhileAnAllocationFails(WatchCapture& aCapture, unsigned int aFailing)
{
    aCapture.take(eventWith(8), nullptr);
    WatchedEvent const large = eventWith(5000);
    DeliberateLeak const leak;
    AllocationFailure const failure(aFailing);
    try
    {
        aCapture.take(large, nullptr);
    }
    catch (std::exception const&)
    {
        return true;
    }
    EXPECT_LT(failure.allocations(), aFailing) << "a failed allocation was ignored";
    return false;
}

TEST(WatchCapture, WritesNothingOfARecordWhoseEncodingFails)
{
    ScratchFolder const folder;
    unsigned int failing = 1;
    for (bool hasFailed = true; hasFailed; ++failing)
    {
        std::string const path = folder.path() / std::to_string(failing);
        WatchCapture capture(path);
        hasFailed = recordWhileAnAllocationFails(capture, failing);
        EXPECT_EQ(capture.written(), hasFailed ? 1u : 2u);
        capture.take(eventWith(16), nullptr);
        std::string const middle = hasFailed ? "" : recordWith(5000);
        EXPECT_EQ(contentOf(path), recordWith(8) + middle + recordWith(16)) << "allocation " << failing;
    }
    EXPECT_GT(failing, 3u) << "no allocation of the record or its stream has failed";
}
}  // namespace
