#include "tools/qzagent/documents/LiveDocument.h"

#include <chrono>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/qzagent/bundle/VerbProcess.h"
#include "tools/qzagent/cli/StopSignals.h"
#include "tools/qzagent/documents/DocumentValue.h"

namespace qzagent
{
nlohmann::ordered_json readLive(Setting const& aSetting, StopSignals& aSignals, std::chrono::seconds aLimit,
                                void (*aAdd)(CommandLine&), std::vector<std::string> const& aArguments)
{
    std::optional<VerbDocument> found;
    try
    {
        found = runVerbInProcess(aSetting, aSignals, aLimit, aAdd, aArguments);
    }
    catch (std::exception const& exception)
    {
        throw DocumentError(fmt::format("the process of {} {}", aArguments.front(), exception.what()));
    }
    // A verb may have answered although it was interrupted.
    if (!found || aSignals.hasArrived())
    {
        throw DocumentError(fmt::format("interrupted during {}", aArguments.front()));
    }
    auto document = nlohmann::ordered_json::parse(found->mText);
    aSetting.mReport.adopt(document);
    return document;
}
}  // namespace qzagent
