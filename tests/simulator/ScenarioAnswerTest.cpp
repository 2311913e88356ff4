// Keys of faults that shape answers.
#include <ctime>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Scenario.h"
#include "tests/simulator/ScenarioErrors.h"
#include "tests/simulator/Scenarios.h"

namespace
{
qzsim::Fault answerWith(std::string const& aCall, std::string const& aLines)
{
    return scenarioOf("[[fault]]\ncall = \"" + aCall + "\"\nnth = 1\n" + aLines).mFaults.at(0);
}

qzsim::AnswerShape shapeWith(std::string const& aCall, std::string const& aLines)
{
    return answerWith(aCall, aLines).mReaction.mShape;
}

std::string summaryOfAnswer(std::string const& aCall, std::string const& aLines)
{
    return summaryOf(answerWith(aCall, aLines));
}

/// @return the error for these lines, the first of which is line 4 of the file
std::string errorOfAnswer(std::string const& aCall, std::string const& aLines)
{
    return errorOf("[[fault]]\ncall = \"" + aCall + "\"\nnth = 1\n" + aLines);
}

TEST(ScenarioAnswer, ReadsWhatAnAnswerWrites)
{
    EXPECT_EQ(shapeWith("HBA_SendScsiInquiry", "length = 0\n").mLength, 0U);
    EXPECT_EQ(shapeWith("HBA_GetPortStatistics", "length = 4294967295\n").mLength, 4294967295U);
    EXPECT_EQ(shapeWith("HBA_GetFcpTargetMapping", "entries = 2\n").mEntries, 2U);
    EXPECT_EQ(shapeWith("HBA_GetFcpTargetMappingV2", "status = 7\nentries = 0\n").mEntries, 0U);
    EXPECT_EQ(shapeWith("HBA_ScsiReportLUNsV2", "list_length = 12\n").mListLength, 12U);
    EXPECT_TRUE(shapeWith("HBA_GetAdapterName", "garbage = true\n").mHasGarbage);
    EXPECT_TRUE(shapeWith("HBA_GetFcpTargetMapping", "status = 7\ngarbage = true\n").mHasGarbage);
}

TEST(ScenarioAnswer, ReadsCountsAndMissingLuns)
{
    for (char const* const status : {"", "status = 0\n", "status = 7\n"})
    {
        EXPECT_EQ(shapeWith("HBA_GetFcpTargetMapping", std::string(status) + "count = 9\n").mCount, 9U);
        EXPECT_EQ(shapeWith("HBA_GetFcpTargetMapping", std::string(status) + "missing = 9\n").mMissing, 9U);
    }
    EXPECT_EQ(shapeWith("HBA_GetAdapterAttributes", "count = 0\n").mCount, 0U);
    EXPECT_EQ(shapeWith("HBA_GetAdapterPortAttributes", "status = 0\ncount = 3\n").mCount, 3U);
    EXPECT_EQ(shapeWith("HBA_SendReportLUNs", "missing = 1\n").mMissing, 1U);
}

TEST(ScenarioAnswer, ReadsAnswersOfTheVendorLibrary)
{
    for (std::string const call : {"VQM_GetLibVer", "VQM_InitDiagEnv", "VQM_GetDrvInfo", "VQM_GetLinkInfo"})
    {
        EXPECT_EQ(shapeWith(call, "length = 3\n").mLength, 3U) << call;
        EXPECT_TRUE(shapeWith(call, "garbage = true\n").mHasGarbage) << call;
        EXPECT_TRUE(shapeWith(call, "untouched = true\n").mIsUntouched) << call;
    }
    EXPECT_EQ(shapeWith("VQM_InitDiagEnv", "count = 9\n").mCount, 9U);
    EXPECT_EQ(shapeWith("VQM_InitDiagEnv", "entries = 1\n").mEntries, 1U);
    EXPECT_EQ(shapeWith("VQM_InitDiagEnv", "missing = 1\n").mMissing, 1U);
    EXPECT_EQ(shapeWith("HBA_GetNumberOfAdapters", "count = 9\n").mCount, 9U);
}

TEST(ScenarioAnswer, ResultOfTheVendorLibraryHasNoShape)
{
    EXPECT_EQ(errorOfAnswer("VQM_GetLinkInfo", "result = 0\nlength = 1\n"),
              "bad.toml:5:10: expected no key \"length\" together with \"result\", found 1");
    EXPECT_EQ(errorOfAnswer("VQM_GetLinkInfo", "result = 0\nuntouched = true\n"),
              "bad.toml:5:13: expected no key \"untouched\" together with \"result\", found a boolean");
    EXPECT_EQ(errorOfAnswer("VQM_GetLinkInfo", "untouched = true\ngarbage = true\n"),
              "bad.toml:5:11: expected no key \"garbage\" together with \"untouched\", found a boolean");
}

TEST(ScenarioAnswer, ReadsFixedAndUniformDelays)
{
    qzsim::Reaction const fixed = answerWith("HBA_OpenAdapter", "delay_ms = 5\n").mReaction;
    EXPECT_EQ(fixed.mDelayMs, 5U);
    EXPECT_EQ(fixed.mLongestDelayMs, 5U);
    qzsim::Reaction const uniform = answerWith("VQM_GetDrvInfo", "delay_ms = [0, 4294967295]\n").mReaction;
    EXPECT_EQ(uniform.mDelayMs, 0U);
    EXPECT_EQ(uniform.mLongestDelayMs, 4294967295U);
    EXPECT_FALSE(uniform.mHangs);
    EXPECT_TRUE(answerWith("VQM_GetDrvInfo", "hangs = true\n").mReaction.mHangs);
}

TEST(ScenarioAnswer, SummaryEscapesControlCharactersOfAllTexts)
{
    std::string const summary = summaryOf(qzsim::readScenario(
        "s.toml",
        "[[adapter]]\nname = \"a\\u009B\"\n[[fault]]\nname = \"f\\u009B\"\ncall = \"HBA_OpenAdapter\"\n"
        "adapter = \"a\\u009B\"\nnth = 1\nprints = \"p\\u009B\"\n"));
    EXPECT_EQ(summary,
              "1 adapter, 1 fault\nadapter: \"a\\u009B\" with 0 ports, 0 remote ports, 0 LUNs\n"
              "fault \"f\\u009B\": call 1 of HBA_OpenAdapter for \"a\\u009B\" answers as usual and prints "
              "\"p\\u009B\"\n");
}

TEST(ScenarioAnswer, SummaryNamesTheShape)
{
    EXPECT_EQ(
        summaryOfAnswer("HBA_SendReportLUNs", "missing = 1\nlist_length = 8\nlength = 12\ngarbage = true\n"),
        "call 1 of HBA_SendReportLUNs answers as usual without the last LUN with the list length 8 with at "
        "most 12 bytes with garbage behind the content");
    EXPECT_EQ(
        summaryOfAnswer("HBA_GetFcpTargetMapping", "count = 5\nentries = 2\nmissing = 2\n"),
        "call 1 of HBA_GetFcpTargetMapping answers as usual with the count 5 with at most 2 entries without "
        "the last 2 LUNs");
    EXPECT_EQ(summaryOfAnswer("VQM_InitDiagEnv", "missing = 1\nuntouched = false\n"),
              "call 1 of VQM_InitDiagEnv answers as usual without the last board");
    EXPECT_EQ(summaryOfAnswer("HBA_GetFcpTargetMapping", "entries = 1\n"),
              "call 1 of HBA_GetFcpTargetMapping answers as usual with at most 1 entry");
    EXPECT_EQ(summaryOfAnswer("VQM_GetLibVer", "length = 1\n"),
              "call 1 of VQM_GetLibVer answers as usual with at most 1 byte");
    EXPECT_EQ(summaryOfAnswer("VQM_GetLibVer", "untouched = true\n"),
              "call 1 of VQM_GetLibVer answers as usual without writing");
    EXPECT_EQ(summaryOfAnswer("HBA_OpenAdapter", "delay_ms = [1, 9]\n"),
              "call 1 of HBA_OpenAdapter answers as usual after 1 to 9 ms");
    EXPECT_EQ(summaryOfAnswer("HBA_OpenAdapter", "hangs = true\n"), "call 1 of HBA_OpenAdapter hangs");
}

TEST(ScenarioAnswer, KeyOfAnotherKindOfAnswerIsRefused)
{
    EXPECT_EQ(errorOfAnswer("HBA_GetPortStatistics", "garbage = true\n"),
              "bad.toml:4:11: expected no key \"garbage\" for HBA_GetPortStatistics, which writes neither "
              "texts nor "
              "buffers, found a boolean");
    EXPECT_EQ(errorOfAnswer("HBA_GetFcpTargetMapping", "length = 1\n"),
              "bad.toml:4:10: expected no key \"length\" for HBA_GetFcpTargetMapping, which takes "
              "\"entries\", found 1");
    EXPECT_EQ(errorOfAnswer("HBA_OpenAdapter", "length = 1\n"),
              "bad.toml:4:10: expected no key \"length\" for HBA_OpenAdapter, which writes no data, found 1");
    EXPECT_EQ(
        errorOfAnswer("HBA_SendReportLUNs", "entries = 1\n"),
        "bad.toml:4:11: expected no key \"entries\" for HBA_SendReportLUNs, which returns neither target "
        "mappings nor boards, found 1");
    EXPECT_EQ(
        errorOfAnswer("HBA_SendScsiInquiry", "missing = 1\n"),
        "bad.toml:4:11: expected no key \"missing\" for HBA_SendScsiInquiry, which returns neither a list of "
        "LUNs nor boards, found 1");
    EXPECT_EQ(
        errorOfAnswer("HBA_SendScsiInquiry", "list_length = 1\n"),
        "bad.toml:4:15: expected no key \"list_length\" for HBA_SendScsiInquiry, which does not send REPORT "
        "LUNS, found 1");
    for (std::string const call : {"HBA_SendReportLUNs", "HBA_GetPortAttributesByWWN", "VQM_GetDrvInfo"})
    {
        EXPECT_EQ(errorOfAnswer(call, "count = 2\n"),
                  "bad.toml:4:9: expected no key \"count\" for " + call +
                      ", which returns no number of adapters, ports, mappings or boards, found 2");
    }
}

TEST(ScenarioAnswer, CallThatFailsHasNoShape)
{
    for (std::string const key : {"count", "entries", "missing"})
    {
        EXPECT_EQ(errorOfAnswer("HBA_GetFcpTargetMapping", "status = 10\n" + key + " = 2\n"),
                  "bad.toml:5:" + std::to_string(key.size() + 4) + ": expected no key \"" + key +
                      "\" with a status other than HBA_STATUS_OK and HBA_STATUS_ERROR_MORE_DATA, found 2");
    }
    EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", "status = 7\nlength = 2\n"),
              "bad.toml:5:10: expected no key \"length\" with a status other than HBA_STATUS_OK, found 2");
}

TEST(ScenarioAnswer, AnswerThatWritesNothingHasNoShape)
{
    EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", "length = 2\nuntouched = true\n"),
              "bad.toml:4:10: expected no key \"length\" together with \"untouched\", found 2");
}

TEST(ScenarioAnswer, NumbersHave32Bits)
{
    for (std::string const key : {"missing", "list_length", "length"})
    {
        EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", key + " = 4294967296\n"),
                  "bad.toml:4:" + std::to_string(key.size() + 4) +
                      ": expected a number from 0 to 4294967295, found 4294967296");
    }
    EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", "garbage = 1\n"),
              "bad.toml:4:11: expected true or false, found 1");
}

TEST(ScenarioAnswer, DelayIsANumberOrTwoInAscendingOrder)
{
    std::string const expected =
        "expected a number from 0 to 4294967295, or a list of the shortest and the longest delay, found ";
    EXPECT_EQ(errorOfAnswer("HBA_OpenAdapter", "delay_ms = 4294967296\n"),
              "bad.toml:4:12: " + expected + "4294967296");
    EXPECT_EQ(errorOfAnswer("HBA_OpenAdapter", "delay_ms = [1]\n"),
              "bad.toml:4:12: " + expected + "an array");
    EXPECT_EQ(errorOfAnswer("HBA_OpenAdapter", "delay_ms = [2, 1]\n"),
              "bad.toml:4:16: expected a number from 2 to 4294967295, found 1");
    EXPECT_EQ(errorOfAnswer("HBA_OpenAdapter", "hangs = 1\n"),
              "bad.toml:4:9: expected true or false, found 1");
}

TEST(ScenarioAnswer, ZerosAreForScsiCommandsWithoutGarbage)
{
    EXPECT_TRUE(shapeWith("HBA_SendScsiInquiry", "zeros = true\n").mHasZeros);
    EXPECT_EQ(
        summaryOfAnswer("HBA_SendReportLUNs", "length = 12\nzeros = true\n"),
        "call 1 of HBA_SendReportLUNs answers as usual with at most 12 bytes with zeros behind the content");
    EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", "zeros = true\ngarbage = true\n"),
              "bad.toml:4:9: expected no key \"zeros\" together with \"garbage\", found a boolean");
    EXPECT_EQ(errorOfAnswer("HBA_GetAdapterName", "zeros = true\n"),
              "bad.toml:4:9: expected no key \"zeros\" for HBA_GetAdapterName, which sends no SCSI command, "
              "found a "
              "boolean");
    EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", "zeros = 1\n"),
              "bad.toml:4:9: expected true or false, found 1");
}

TEST(ScenarioAnswer, FaultWithoutEffectIsRefused)
{
    for (char const* const line : {"garbage = false\n", "zeros = false\n", "untouched = false\n",
                                   "missing = 0\n", "hangs = false\n", "delay_ms = [0, 0]\n"})
    {
        EXPECT_EQ(errorOfAnswer("HBA_SendReportLUNs", line),
                  "bad.toml:1:1: expected the key \"status\" in this [[fault]], found none");
    }
}

TEST(ScenarioAnswer, RefusesUntouchedForACallThatWritesNothing)
{
    for (std::string const call :
         {"HBA_LoadLibrary", "HBA_OpenAdapter", "HBA_GetNumberOfAdapters", "VQM_FreeDiagEnv"})
    {
        EXPECT_EQ(errorOfAnswer(call, "untouched = true\n"),
                  "bad.toml:4:13: expected no key \"untouched\" for " + call +
                      ", which writes no data, found a boolean");
    }
}

TEST(ScenarioAnswer, RefusesUntouchedWithAnotherStatusThanOk)
{
    EXPECT_EQ(errorOfAnswer("HBA_GetAdapterName", "status = 1\nuntouched = true\n"),
              "bad.toml:5:13: expected no key \"untouched\" with a status other than HBA_STATUS_OK, found a "
              "boolean");
}

TEST(ScenarioAnswer, RefusesUntouchedThatIsNotABoolean)
{
    EXPECT_EQ(errorOfAnswer("HBA_GetAdapterName", "untouched = 1\n"),
              "bad.toml:4:13: expected true or false, found 1");
}
}  // namespace
