#include "tools/qzagent/cli/Report.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "toml/TomlError.h"
#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/bundle/VerbProcess.h"
#include "tools/qzagent/capture/DamageReport.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/check/RulesFile.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/Counted.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Printable.h"
#include "tools/qzagent/cli/ReplacedFile.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/documents/LiveDocument.h"
#include "tools/qzagent/report/ReportData.h"
#include "tools/qzagent/report/ReportInputs.h"
#include "tools/qzagent/report/ReportPage.h"
#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
namespace
{
struct ReportOptions
{
    std::string mOutput;
    std::vector<std::string> mInputs;  ///< empty for the host now
    std::optional<std::string> mRules;
    std::uint64_t mSeconds = 10;
    std::uint64_t mTimeout = 300;  ///< of each part, in seconds
};

/// A folder that only its owner can read. It is removed with everything in it.
class PrivateFolder
{
public:
    /// @param aBeside path of a file in the same folder
    explicit PrivateFolder(std::string const& aBeside) : mPath(aBeside + ".XXXXXX")
    {
        if (::mkdtemp(mPath.data()) == nullptr)
        {
            throw std::system_error(errno, std::generic_category(), "cannot write " + aBeside);
        }
    }
    ~PrivateFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    PrivateFolder(PrivateFolder const&) = delete;
    PrivateFolder& operator=(PrivateFolder const&) = delete;

    std::string const& path() const { return mPath; }

private:
    std::string mPath;
};

/// Collects a bundle of the host as it is now. Its errors become those of the report.
/// @return whether there is a bundle
bool collect(Setting const& aSetting, ReportOptions const& aOptions, std::string const& aBundle)
{
    // A bundle has seven parts.
    std::chrono::seconds const limit(7 * (aOptions.mTimeout + aOptions.mSeconds));
    constexpr std::chrono::seconds timeToStop(5);
    StopSignals signals;
    std::optional<VerbDocument> const found =
        runVerbInProcess(aSetting, signals, limit, &addBundle,
                         {"bundle", "--output", aBundle, "--seconds", std::to_string(aOptions.mSeconds),
                          "--part-timeout", std::to_string(aOptions.mTimeout)},
                         timeToStop);
    if (!found)
    {
        aSetting.mReport.addError(ExitCode::failed, "interrupted");
        return false;
    }
    aSetting.mReport.adopt(nlohmann::ordered_json::parse(found->mText));
    aSetting.mReport.addOthers(found->mExitCode);
    return std::filesystem::exists(aBundle);
}

void readInputs(Setting const& aSetting, ReportOptions const& aOptions, ReportInputs& aInputs)
{
    if (!aOptions.mInputs.empty())
    {
        aInputs.read(aOptions.mInputs);
        return;
    }
    PrivateFolder const folder(aOptions.mOutput);
    std::string const bundle = folder.path() + "/host.pcapng";
    if (collect(aSetting, aOptions, bundle))
    {
        aInputs.read({bundle});
    }
}

/// Protects files that someone still needs: only a report or an empty file is replaced, and no input is.
/// @throws std::runtime_error
void expectReplaceableOutput(ReportOptions const& aOptions)
{
    expectReplaceable(aOptions.mOutput);
    for (std::string const& input : aOptions.mInputs)
    {
        std::error_code ignored;
        if (std::filesystem::equivalent(aOptions.mOutput, input, ignored))
        {
            throw std::runtime_error(
                fmt::format("cannot write {}: it is also an input", printable(aOptions.mOutput)));
        }
    }
    std::string head(headOfReport, '\0');
    std::ifstream file(aOptions.mOutput, std::ios::binary);
    head.resize(static_cast<std::size_t>(file.read(head.data(), headOfReport).gcount()));
    std::error_code error;
    bool const isEmpty = std::filesystem::file_size(aOptions.mOutput, error) == 0 || error;
    if (!isEmpty && !isReport(head))
    {
        throw std::runtime_error(fmt::format("cannot write {}: the file exists, and it is not a report",
                                             printable(aOptions.mOutput)));
    }
}

Answer writeReport(Setting const& aSetting, ReportOptions const& aOptions)
{
    RuleSettings const rules = aOptions.mRules ? readRules(*aOptions.mRules) : RuleSettings();
    expectReplaceableOutput(aOptions);
    DamageReport damage(aSetting.mReport, DamageReport::Severity::error);
    ReportInputs inputs([&damage](std::string const& aText) { damage.add(aText); });
    readInputs(aSetting, aOptions, inputs);
    damage.finish();
    if (inputs.others() != 0)
    {
        aSetting.mReport.addNote(
            fmt::format("skipped {} packets or records that are not events", inputs.others()));
    }
    if (std::vector<std::string> const unknown = inputs.unknownDocuments(); !unknown.empty())
    {
        aSetting.mReport.addNote(
            fmt::format("a page does not show these documents: {}", fmt::join(unknown, ", ")));
    }
    if (inputs.isEmpty())
    {
        aSetting.mReport.addError(ExitCode::failed, "there is nothing to report, so no page was written");
        return {};
    }
    nlohmann::ordered_json const data = reportData(inputs, rules, aSetting.mReport);
    std::string const page = reportPage(data);
    constexpr mode_t privateFile = 0600;
    replaceFile(aOptions.mOutput, page, privateFile);
    std::size_t const findings = data["findings"].size();
    return {{{"findings", findings}, {"events", inputs.events().count()}, {"size_bytes", page.size()}},
            fmt::format("wrote {}: {}, {}, {}\n", printable(aOptions.mOutput), counted(findings, "finding"),
                        counted(inputs.events().count(), "event"), counted(page.size(), "byte"))};
}

Answer report(Setting const& aSetting, ReportOptions const& aOptions)
{
    try
    {
        return writeReport(aSetting, aOptions);
    }
    catch (tomlfile::TomlError const& error)
    {
        aSetting.mReport.addError(ExitCode::misused, error.what());
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return {};
}
}  // namespace

void addReport(CommandLine& aCommandLine)
{
    auto const options = std::make_shared<ReportOptions>();
    ArgumentList arguments = aCommandLine.addVerb(
        "report", "Write one page that shows the host",
        "  qzagent report --output host.html\n"
        "                             the host now and the events of ten seconds, for a browser\n"
        "  qzagent report --output host.html visit.pcapng\n"
        "                             the same of a bundle\n",
        [options](Setting const& aSetting) { return report(aSetting, *options); });
    arguments.addOptionalPositionals(
        "CAPTURE", options->mInputs,
        "Show these bundles, captures and JSON documents; the host now by default");
    arguments.addRequiredText("--output", "FILE", options->mOutput,
                              "The HTML file, which is replaced as a whole");
    arguments.addText("--rules", "FILE", options->mRules,
                      "Read the settings of the rules from a TOML file, as check does");
    arguments.addNumber("--seconds", "S", {0, longestLook}, options->mSeconds,
                        "Record events of the host now for S seconds; 10 by default");
    arguments.addNumber("--part-timeout", "S", {1, longestLook}, options->mTimeout,
                        "Kill a part that takes S seconds longer than it should; 300 by default");
}
}  // namespace qzagent
