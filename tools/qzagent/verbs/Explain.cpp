#include <memory>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/Verbs.h"
#include "tools/qzagent/check/Rules.h"
#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/ExitCodes.h"
#include "tools/qzagent/cli/Report.h"

namespace qzagent
{
namespace
{
nlohmann::ordered_json jsonOf(Rule const& aRule)
{
    return {{"name", aRule.mName}, {"meaning", aRule.mMeaning}, {"why", aRule.mWhy}, {"next", aRule.mNext}};
}

Answer explain(Rule const& aRule)
{
    return {
        {{"rule", jsonOf(aRule)}},
        fmt::format("{}: {}\n  why: {}\n  next: {}\n", aRule.mName, aRule.mMeaning, aRule.mWhy, aRule.mNext)};
}

/// Adds all rules to the exit codes.
void addRules(Answer& aAnswer)
{
    aAnswer.mText += "\nFindings of check:\n";
    for (Rule const& rule : rules)
    {
        aAnswer.mKeys["rules"].push_back(jsonOf(rule));
        aAnswer.mText += fmt::format("{}\n   {}\n", rule.mName, rule.mMeaning);
    }
}

/// @param aReport receives a usage error when the code does not exist
/// @param aCode   the code as the user wrote it; none for all codes and rules
Answer explain(Report& aReport, std::optional<std::string> const& aCode)
{
    auto list = nlohmann::ordered_json::array();
    std::string text;
    std::string known;
    for (ExitCodeEntry const& entry : exitCodes)
    {
        int const code = static_cast<int>(entry.mCode);
        known += fmt::format(" {}", code);
        if (!aCode || *aCode == std::to_string(code))
        {
            list.push_back({{"code", code}, {"meaning", entry.mMeaning}, {"advice", entry.mAdvice}});
            text += fmt::format("{}  {}\n   {}\n", code, entry.mMeaning, entry.mAdvice);
        }
    }
    if (Rule const* const rule = aCode ? ruleNamed(*aCode) : nullptr)
    {
        return explain(*rule);
    }
    if (list.empty())
    {
        aReport.addError(
            ExitCode::misused,
            fmt::format(
                "no exit code or rule '{}'; the codes are{}; qzagent check --print-rules shows the rules",
                *aCode, known));
        return {};
    }
    Answer answer{{{"exit_codes", list}}, text};
    if (!aCode)
    {
        addRules(answer);
    }
    return answer;
}
}  // namespace

void addExplain(CommandLine& aCommandLine)
{
    auto const code = std::make_shared<std::optional<std::string>>();
    ArgumentList arguments =
        aCommandLine.addVerb("explain", "Explain exit codes and findings",
                             "  qzagent explain 1          what exit code 1 means, and what to do\n"
                             "  qzagent explain link-down  what this finding of check means\n",
                             [code](Setting const& aSetting) { return explain(aSetting.mReport, *code); });
    arguments.addPositional("N", *code,
                            "The exit code, or the name of a finding's rule; all of both by default");
}
}  // namespace qzagent
