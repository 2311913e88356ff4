// Writes pages of simulated hosts, and reads them again.
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/support/Process.h"
#include "tests/tools/qzagent/Agent.h"
#include "tests/tools/qzagent/Captures.h"
#include "tests/tools/qzagent/PcapngCaptures.h"
#include "tests/tools/qzagent/Scenarios.h"
#include "tools/qzagent/report/ReportPage.h"

namespace
{
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string const reportedHost =
    adapterNamed("example-fc-0") + portNumbered(1) +
    "fabric_name = \"10:00:00:60:69:00:00:01\"\n[adapter.port.statistics]\ntx_frames = 5\n" +
    targetNumbered(1, 3) + portNumbered(2) + "state = \"LINKDOWN\"\n";

class QzagentReport : public CaptureFixture
{
protected:
    /// Writes a bundle of a host.
    std::string bundleOf(std::string const& aName, std::string const& aScenario) const
    {
        std::string const path = mFolder.path() / aName;
        ProcessResult const result = runAgentOn(aScenario, {"bundle", "--seconds", "0", "--output", path});
        EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
        return path;
    }

    /// Writes the report of files.
    ProcessResult reportOf(Arguments aFiles) const
    {
        aFiles.insert(aFiles.begin(), {"report", "--output", mPage});
        return runAgent(aFiles);
    }

    /// Writes the report of a capture with two boards.
    void reportEvents() const
    {
        PcapngBuilder builder;
        builder.section("host").interface("board 0").interface("board 1");
        builder.packet(1, 1767225600'000000007, fullRecord("abcd"));
        builder.packet(0, 1767225600'000000009, plainRecord(), 5);
        EXPECT_EQ(reportOf({mFolder.write("events.pcapng", builder.content())}).mExitStatus, 0);
    }

    /// The data in the page.
    nlohmann::json data() const
    {
        std::string const page = contentOf(mPage);
        std::string const start = "<script type=\"application/json\" id=\"report-data\">";
        std::size_t const from = page.find(start) + start.size();
        return nlohmann::json::parse(page.substr(from, page.find("</script>", from) - from));
    }

    std::string const mPage = mFolder.path() / "page.html";
};

TEST_F(QzagentReport, OfTheHostNowHasWhatItsBundleWouldHave)
{
    ProcessResult const result =
        runAgentOn(reportedHost, {"report", "--json", "--seconds", "0", "--output", mPage});
    EXPECT_EQ(result.mExitStatus, 0) << result.mErrors;
    EXPECT_TRUE(satisfies(result.mOutput, "report"));
    EXPECT_EQ(documentOf(result)["size_bytes"], std::filesystem::file_size(mPage));
    EXPECT_TRUE(satisfies(data().dump(), "report-data"));
    EXPECT_EQ(data()["documents"].size(), 6);
    EXPECT_EQ(data()["findings"].size(), documentOf(result)["findings"]);
    EXPECT_EQ(data()["findings"][0]["rule"], "link-down");
    EXPECT_EQ(linesOf(runAgent({"show", "--summary", mPage}).mOutput).size(), 12);
    struct stat status = {};
    ASSERT_EQ(::stat(mPage.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    // No bundle remains beside the page.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mFolder.path()), {}), 1);
}

TEST_F(QzagentReport, IsReadLikeItsBundle)
{
    std::string const bundle = bundleOf("bundle", reportedHost);
    EXPECT_EQ(reportOf({bundle}).mExitStatus, 0);
    EXPECT_EQ(runAgent({"check", mPage}).mOutput, runAgent({"check", bundle}).mOutput);
    EXPECT_EQ(runAgent({"diff", bundle, mPage}).mExitStatus, 0);
    EXPECT_EQ(runAgent({"show", "--document", "inventory", mPage}).mOutput,
              runAgent({"show", "--document", "inventory", bundle}).mOutput);
}

/// Also run on the other machine, since the columns must not depend on its byte order.
class QzagentReportedEvents : public QzagentReport
{
};

TEST_F(QzagentReportedEvents, AreThoseOfTheCaptureWithoutTheirPayloads)
{
    reportEvents();
    EXPECT_EQ(runAgent({"show", "--time", "relative", mPage}).mOutput,
              "+0.000000000 board 1 category 9 subcategory 10 length 4\n"
              "+0.000000002 board 0 dropped 5 events\n"
              "+0.000000002 board 0 category 3 subcategory 7 length 0\n");
    ProcessResult const lines = runAgent({"show", "--json", mPage});
    EXPECT_TRUE(satisfies(linesOf(lines.mOutput).at(0), "show"));
    EXPECT_THAT(lines.mOutput,
                StartsWith("{\"time\":\"2026-01-01T00:00:00.000000007Z\",\"host\":\"host\",\"board\":1,"
                           "\"category\":9,\"subcategory\":10,\"length_bytes\":4}\n"));
    EXPECT_TRUE(satisfies(data().dump(), "report-data"));
    EXPECT_EQ(data()["host"], "host");
}

TEST_F(QzagentReport, KeepsNamesOfDevicesOutOfTheMarkup)
{
    std::string const name = "<script>alert('&')</script>\u202e\u2028";
    EXPECT_EQ(reportOf({bundleOf("bundle", adapterNamed(name) + portNumbered(1))}).mExitStatus, 0);
    EXPECT_EQ(data()["documents"]["inventory"]["adapters"][0]["name"], name);
    std::string const page = contentOf(mPage);
    EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
    EXPECT_THAT(page, HasSubstr("\\u003cscript\\u003ealert('\\u0026')"));
    EXPECT_THAT(page, Not(HasSubstr("\u202e")));
}

TEST_F(QzagentReport, ShowsTheNewestDocumentsOfSeveralBundlesAndAllLatencies)
{
    std::string const first = bundleOf("first", reportedHost);
    std::string const second = bundleOf("second", reportedHost + targetNumbered(2, 1));
    EXPECT_EQ(reportOf({second, first}).mExitStatus, 0);
    EXPECT_EQ(data()["latency_looks"].size(), 2);
    EXPECT_LE(data()["latency_looks"][0]["time"], data()["latency_looks"][1]["time"]);
}

TEST_F(QzagentReport, TakesDocumentsAndIntervalsOfLatencies)
{
    std::string const inventory =
        mFolder.write("inventory", runAgentOn(reportedHost, {"inventory", "--json"}).mOutput);
    std::string const statistics =
        mFolder.write("statistics", runAgentOn(reportedHost, {"statistics", "--json"}).mOutput);
    std::string const line =
        "{\"time\":\"2026-01-01T00:00:0%.000000Z\",\"length_seconds\":1.0,\"target_ports\":"
        "[{\"adapter_index\":0,\"adapter_name\":\"a\",\"port_wwn\":"
        "\"50:00:00:00:ab:00:00:01\",\"io_count\":1,\"latency_us\":{\"p50\":1,\"p90\":2,"
        "\"p99\":3,\"maximum\":4.5}}]}\n";
    std::string intervals = line + line + "{}\n";
    intervals.replace(intervals.find('%'), 1, "2");
    intervals.replace(intervals.find('%'), 1, "1");
    std::string const path = mFolder.write("intervals", intervals);
    ProcessResult const result = reportOf({inventory, statistics, path});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(linesOf(result.mErrors).back(),
              "qzagent: " + path + ":3: an interval of latencies was expected");
    EXPECT_EQ(data()["latency_looks"],
              nlohmann::json::parse(R"([{"time":"2026-01-01T00:00:01.000000Z","target_ports":[{"adapter":"a",
                "port_wwn":"50:00:00:00:ab:00:00:01","io_count":1,"p50":1,"p90":2,"p99":3,"maximum":4.5}]},
                {"time":"2026-01-01T00:00:02.000000Z","target_ports":[{"adapter":"a",
                "port_wwn":"50:00:00:00:ab:00:00:01","io_count":1,"p50":1,"p90":2,"p99":3,"maximum":4.5}]}])"));
    EXPECT_EQ(data()["topology"]["nodes"].size(), 5);
    EXPECT_TRUE(data()["documents"].contains("statistics-end"));
}

TEST_F(QzagentReport, ReplacesAnOldPageAndRefusesADirectory)
{
    mFolder.write("page.html", "");
    reportEvents();
    EXPECT_THAT(contentOf(mPage), StartsWith("<!DOCTYPE html>"));
    EXPECT_EQ(reportOf({bundleOf("bundle", reportedHost)}).mExitStatus, 0);
    EXPECT_TRUE(data()["documents"].contains("inventory"));
    ProcessResult const result =
        runAgent({"report", "--output", mFolder.path(), std::string(mFolder.path() / "events.pcapng")});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("cannot write "));
}

TEST_F(QzagentReport, ReplacesNoFileThatIsNoReport)
{
    reportEvents();
    std::string const capture = mFolder.path() / "events.pcapng";
    std::string const html = mFolder.write("other.html", "<!DOCTYPE html><title>Other</title>");
    for (std::string const& path : {capture, html})
    {
        std::string const before = contentOf(path);
        ProcessResult const result = runAgent({"report", "--output", path, mPage});
        EXPECT_EQ(result.mExitStatus, 1);
        EXPECT_EQ(result.mErrors,
                  "qzagent: cannot write " + path + ": the file exists, and it is not a report\n");
        EXPECT_EQ(contentOf(path), before);
    }
}

TEST_F(QzagentReport, ReplacesNoInputUnderAnyName)
{
    reportEvents();
    std::string const capture = mFolder.path() / "events.pcapng";
    std::string const link = mFolder.path() / "link.html";
    std::filesystem::create_hard_link(mPage, link);
    std::string const before = contentOf(mPage);
    EXPECT_EQ(reportOf({capture, link}).mErrors,
              "qzagent: cannot write " + mPage + ": it is also an input\n");
    EXPECT_EQ(contentOf(mPage), before);
}

TEST_F(QzagentReport, OfNothingIsNotWritten)
{
    ProcessResult const result = reportOf({mFolder.path() / "missing"});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("there is nothing to report, so no page was written\n"));
    EXPECT_FALSE(std::filesystem::exists(mPage));
}

TEST_F(QzagentReport, SaysWhatItSkippedAndWhatIsDamaged)
{
    PcapngBuilder builder;
    builder.section("host").interface("board 0").interface("other", 1).interface("inventory", 149);
    builder.packet(1, 1, "x").packet(2, 2, "[]").packet(0, 3, plainRecord()).packet(0, 4, "damaged");
    ProcessResult const result = reportOf({mFolder.write("events.pcapng", builder.content())});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("the document inventory is not a JSON object\n"));
    EXPECT_THAT(result.mErrors, HasSubstr("has no valid scope data"));
    EXPECT_THAT(result.mErrors, HasSubstr("note: skipped 1 packets or records that are not events\n"));
    EXPECT_EQ(data()["messages"].size(), 3);
}

TEST_F(QzagentReport, NotesThatItsInputsAreFromDifferentHosts)
{
    nlohmann::json document = documentOf(runAgentOn(reportedHost, {"inventory", "--json"}));
    document["host"] = "a";
    std::string const first = mFolder.write("a", document.dump());
    document["host"] = "b";
    document["command"] = "ports";
    ProcessResult const result = reportOf({first, mFolder.write("b", document.dump())});
    EXPECT_EQ(result.mExitStatus, 0);
    EXPECT_THAT(result.mErrors, HasSubstr("note: the inputs are from different hosts: a, b\n"));
    EXPECT_EQ(data()["host"], "a, b");
}

TEST_F(QzagentReport, NotesThatEventsAreFromAnotherHostThanTheDocuments)
{
    nlohmann::json document = documentOf(runAgentOn(reportedHost, {"inventory", "--json"}));
    document["host"] = "a";
    PcapngBuilder builder;
    builder.section("b").interface("board 0").packet(0, 1, plainRecord());
    ProcessResult const result =
        reportOf({mFolder.write("a", document.dump()), mFolder.write("b", builder.content())});
    EXPECT_THAT(result.mErrors, HasSubstr("note: the inputs are from different hosts: a, b\n"));
}

TEST_F(QzagentReport, OfIntervalsOfLatenciesAloneIsWritten)
{
    std::string const path = mFolder.write(
        "intervals",
        "{\"time\":\"2026-01-01T00:00:01.000000Z\",\"length_seconds\":1.0,\"target_ports\":[]}\n");
    EXPECT_EQ(reportOf({path}).mExitStatus, 0);
    EXPECT_EQ(data()["latency_looks"].size(), 1);
}

/// A line of `latency --interval --json` with a target port; its look is so many seconds after the first.
std::string intervalOf(int aSecond, std::string const& aPort, int aCount, std::string const& aFigures)
{
    return fmt::format(
        "{{\"time\":\"2026-01-01T00:{:02}:{:02}.000000Z\",\"length_seconds\":1.0,\"target_ports\":["
        "{{\"adapter_name\":\"a\",\"port_wwn\":\"{}\",\"io_count\":{}{}}}]}}\n",
        aSecond / 60, aSecond % 60, aPort, aCount, aFigures);
}

TEST_F(QzagentReport, KeepsAsManyLooksAtLatenciesAsThePageHasColumns)
{
    std::string lines;
    for (int second = 0; second < 48; ++second)
    {
        lines += intervalOf(second, "50:00:00:00:ab:00:00:01", second, "");
    }
    EXPECT_EQ(reportOf({mFolder.write("intervals", lines)}).mExitStatus, 0);
    EXPECT_EQ(data()["latency_looks"].size(), 48);
    EXPECT_EQ(data()["latency_looks"][47]["target_ports"][0]["io_count"], 47);
}

TEST_F(QzagentReport, JoinsMoreLooksAtLatenciesWithTheWorstOfEachFigure)
{
    std::string const first = "50:00:00:00:ab:00:00:01";
    std::string const second = "50:00:00:00:ab:00:00:02";
    // 97 looks are one more than two for each column, so each column has three.
    std::string lines =
        intervalOf(0, first, 1, R"(,"latency_us":{"p50":1,"p90":20.5,"p99":30,"maximum":40})") +
        intervalOf(1, first, 2, R"(,"latency_us":{"p50":5,"p90":6,"p99":35.5,"maximum":39})") +
        intervalOf(2, second, 4, "") + intervalOf(3, first, 0, "") +
        intervalOf(4, first, 7, R"(,"latency_us":{"p50":1,"p90":2,"p99":3,"maximum":4})");
    for (int i = 5; i < 97; ++i)
    {
        lines += intervalOf(i, first, 1, "");
    }
    EXPECT_EQ(reportOf({mFolder.write("intervals", lines)}).mExitStatus, 0);
    EXPECT_TRUE(satisfies(data().dump(), "report-data"));
    nlohmann::json const looks = data()["latency_looks"];
    EXPECT_EQ(looks.size(), 33);
    EXPECT_EQ(looks[0], nlohmann::json::parse(R"({"time":"2026-01-01T00:00:00.000000Z","target_ports":[
        {"adapter":"a","port_wwn":"50:00:00:00:ab:00:00:01","io_count":3,"p50":5,"p90":20.5,"p99":35.5,"maximum":40},
        {"adapter":"a","port_wwn":"50:00:00:00:ab:00:00:02","io_count":4}]})"));
    EXPECT_EQ(looks[1], nlohmann::json::parse(R"({"time":"2026-01-01T00:00:03.000000Z","target_ports":[
        {"adapter":"a","port_wwn":"50:00:00:00:ab:00:00:01","io_count":8,"p50":1,"p90":2,"p99":3,"maximum":4}]})"));
    EXPECT_EQ(looks[32], nlohmann::json::parse(R"({"time":"2026-01-01T00:01:36.000000Z","target_ports":[
        {"adapter":"a","port_wwn":"50:00:00:00:ab:00:00:01","io_count":1}]})"));
}

TEST(QzagentReportPage, ThatNoVerbWouldReadIsNotMade)
{
    nlohmann::ordered_json const data = {{"host", "a"}};
    std::size_t const size = qzagent::reportPage(data).size();
    EXPECT_EQ(qzagent::reportPage(data, size).size(), size);
    try
    {
        qzagent::reportPage(data, size - 1);
        FAIL() << "made";
    }
    catch (std::length_error const& error)
    {
        EXPECT_EQ(error.what(),
                  fmt::format("the page would have {} bytes, and no verb reads a page of more than {} bytes",
                              size, size - 1));
    }
}

TEST_F(QzagentReport, NotesWhichDocumentsThePageDoesNotShow)
{
    std::string const unknown = mFolder.write("unknown", "{\"command\":\"other\"}");
    ProcessResult const nothing = reportOf({unknown});
    EXPECT_EQ(nothing.mExitStatus, 1);
    EXPECT_THAT(nothing.mErrors, HasSubstr("note: a page does not show these documents: other\n"));
    EXPECT_THAT(nothing.mErrors, HasSubstr("there is nothing to report, so no page was written\n"));
    ProcessResult const some = reportOf({unknown, bundleOf("bundle", reportedHost)});
    EXPECT_EQ(some.mExitStatus, 0);
    EXPECT_THAT(some.mErrors, HasSubstr("note: a page does not show these documents: other\n"));
}

TEST_F(QzagentReport, ReportsDocumentsThatTheRulesCannotRead)
{
    nlohmann::json latency = documentOf(runAgentOn(reportedHost, {"latency", "--json"}));
    latency["adapters"][0]["target_ports"][0]["latencies"]["latency_us"]["p99"] = "slow";
    ProcessResult const result = reportOf({mFolder.write("latency", latency.dump())});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(
        result.mErrors,
        HasSubstr("latency.adapters[0].target_ports[0].latencies.latency_us.p99: a number was expected\n"));
    EXPECT_THAT(data()["missing"], testing::Contains("latency"));
    EXPECT_FALSE(data()["documents"].contains("latency"));
}

TEST_F(QzagentReport, UsesTheSettingsOfTheRules)
{
    std::string const bundle = bundleOf("bundle", reportedHost);
    std::string const rules = mFolder.write("rules.toml", "[link-down]\nenabled = false\n");
    EXPECT_EQ(reportOf({bundle, "--rules", rules}).mExitStatus, 0);
    EXPECT_EQ(data()["findings"], nlohmann::json::array());
    EXPECT_EQ(reportOf({bundle, "--rules", mFolder.write("rules.toml", "x")}).mExitStatus, 2);
}

TEST_F(QzagentReport, OfAHostThatFailsHasTheErrors)
{
    ProcessResult const result = runAgentOn(failedLoad(), {"report", "--seconds", "0", "--output", mPage});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(data()["missing"], testing::Contains("inventory"));
    EXPECT_THAT(data()["messages"].dump(), HasSubstr("inventory failed; the document has the reason"));
}

TEST_F(QzagentReport, ThatIsInterruptedShowsWhatWasCollected)
{
    ProcessResult const result = runAgentUntilFaults(
        reportedHost + "[[fault]]\ncall = \"HBA_SendReportLUNs\"\nnth = 1\ndelay_ms = 60000\n",
        {"report", "--seconds", "0", "--output", mPage}, "kill -TERM $agent");
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_THAT(result.mErrors, HasSubstr("interrupted; these parts are missing: "));
    EXPECT_TRUE(data()["documents"].contains("ports"));
    EXPECT_THAT(data()["missing"], testing::Contains("statistics-start"));
}

TEST_F(QzagentReport, IsRefusedByVerbsThatNeedPayloads)
{
    reportEvents();
    std::string const other = mFolder.path() / "other";
    EXPECT_THAT(
        runAgent({"convert", mPage, "--output", other}).mErrors,
        HasSubstr(": this is HTML, and a report has no payloads; show, check and diff can read a report\n"));
    EXPECT_EQ(runAgent({"repair", mPage, "--output", other}).mErrors,
              "qzagent: " + mPage + ": this is HTML, which cannot be repaired\n");
    EXPECT_EQ(runAgent({"report", mPage, "--output", other}).mExitStatus, 1);
}

struct PageDamage
{
    char const* mName;
    char const* mOld;  ///< text of the page
    char const* mNew;
    char const* mError;
};

std::ostream& operator<<(std::ostream& aOut, PageDamage const& aDamage) { return aOut << aDamage.mName; }

class QzagentDamagedReport : public QzagentReport, public testing::WithParamInterface<PageDamage>
{
};

TEST_P(QzagentDamagedReport, IsRefusedWithTheReason)
{
    reportEvents();
    std::string page = contentOf(mPage);
    std::size_t const place = page.rfind(GetParam().mOld);
    ASSERT_NE(place, std::string::npos);
    page.replace(place, std::string(GetParam().mOld).size(), GetParam().mNew);
    std::string const damaged = mFolder.write("damaged.html", page);
    EXPECT_EQ(runAgent({"show", damaged}).mErrors,
              "qzagent: " + damaged + ": a damaged report: " + GetParam().mError + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Places, QzagentDamagedReport,
    testing::Values(PageDamage{"NoJson", "{\"format_version\"", "x", "not JSON at byte 1 of its data"},
                    PageDamage{"LargeNumber", "\"format_version\":2", "\"format_version\":1e999",
                               "a number is too large"},
                    PageDamage{"OtherVersion", "\"format_version\":2", "\"format_version\":9",
                               "the data.format_version: 2 was expected"},
                    PageDamage{"OtherDocument", "\"command\":\"report\"", "\"command\":\"ports\"",
                               "the data.command: \"report\" was expected"},
                    PageDamage{"NoDocuments", "\"documents\":{}", "\"documents\":[]",
                               "the data.documents: an object was expected"},
                    PageDamage{"NoEvents", "\"events\":{", "\"others\":{",
                               "the data: an object with the key \"events\" was expected"},
                    PageDamage{"DamagedTimes", "\"time_deltas\":\"", "\"time_deltas\":\"-",
                               "the data.events.columns.time_deltas: base64 was expected"},
                    PageDamage{"NoKinds", "\"kinds\":{", "\"others\":{",
                               "the data.events: an object with the key \"kinds\" was expected"},
                    PageDamage{"FewTimes", "\"time_deltas\":\"AAQ=\"", "\"time_deltas\":\"\"",
                               "event 0 has no valid time"}),
    [](testing::TestParamInfo<PageDamage> const& aInfo) { return std::string(aInfo.param.mName); });

TEST_F(QzagentReport, ThatIsCutOffOrNestedIsRefused)
{
    reportEvents();
    std::string const page = contentOf(mPage);
    std::size_t const data = page.find("id=\"report-data\">");
    std::string const cut = mFolder.write("cut.html", page.substr(0, data + 100));
    EXPECT_EQ(runAgent({"show", cut}).mErrors,
              "qzagent: " + cut + ": a damaged report: the data is cut off\n");
    std::string const nested =
        mFolder.write("nested.html", page.substr(0, data + 17) + std::string(200, '[') +
                                         page.substr(page.find("</script>", data)));
    EXPECT_THAT(runAgent({"show", nested}).mErrors, HasSubstr("nested more than 100 levels deep"));
    EXPECT_EQ(runAgent({"check", cut}).mExitStatus, 3);
}

TEST_F(QzagentReport, IsDistinguishedFromOtherHtml)
{
    std::string const html = mFolder.write("other.html", "<!DOCTYPE html><title>Other</title>");
    EXPECT_EQ(runAgent({"show", html}).mErrors, "qzagent: " + html + ": HTML that is not a report\n");
}

TEST_F(QzagentReport, IsNotSearchedForNames)
{
    reportEvents();
    ProcessResult const result = runAgent({"show", "--wwn", "10:00:00:00:c9:00:00:01", mPage});
    EXPECT_EQ(result.mExitStatus, 1);
    EXPECT_EQ(result.mErrors,
              "qzagent: " + mPage + ": a report has no names, so --wwn selects none of its events\n");
}

TEST_F(QzagentReport, CannotBeFollowed)
{
    reportEvents();
    EXPECT_THAT(runAgent({"show", "--follow", mPage}).mErrors,
                HasSubstr(": a report does not grow, so it cannot be followed\n"));
}

TEST_F(QzagentReport, AllowsOnlyItsOwnScriptAndLoadsNothing)
{
    reportEvents();
    std::string const page = contentOf(mPage);
    EXPECT_THAT(
        page, testing::ContainsRegex("content=\"default-src 'none'; script-src 'sha256-[A-Za-z0-9+/]{43}='; "
                                     "style-src 'sha256-[A-Za-z0-9+/]{43}='; base-uri 'none'; "
                                     "form-action 'none'\""));
    EXPECT_THAT(page, Not(HasSubstr("unsafe-inline")));
    EXPECT_THAT(page, HasSubstr("Permission is hereby granted"));
}
}  // namespace
