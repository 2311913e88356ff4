#include "tools/qzagent/Explain.h"

#include <optional>
#include <string>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/ExitCodes.h"
#include "tools/qzagent/Report.h"

namespace qzagent
{
Answer explain(Report& arReport, std::optional<std::string> const& aCode)
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
    if (list.empty())
    {
        arReport.addError(ExitCode::misused, fmt::format("no exit code '{}'; there are{}", *aCode, known));
        return {};
    }
    return {{{"exit_codes", list}}, text};
}
}  // namespace qzagent
