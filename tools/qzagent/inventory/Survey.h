/// @file
/// Reads the inventory of the adapters and makes the result of a verb from it.
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/qzagent/cli/CommandLine.h"
#include "tools/qzagent/cli/GradualAnswer.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/inventory/FoundAdapter.h"

namespace qzagent
{
/// What is read of an adapter. Each depth includes those before it.
enum class Depth
{
    ports,     ///< the attributes of the adapter and of its ports
    mappings,  ///< the remote ports and the target mappings
    luns,      ///< the LUNs that the targets report
    units,     ///< what the mapped LUNs answer to INQUIRY and READ CAPACITY
};

struct SurveyOptions
{
    std::optional<std::string> mAdapter;  ///< name, index, or WWN of a port or node; none for all adapters
    std::optional<std::string>
        mOutput;  ///< the capture to which the document is appended; none for no capture
};

/// Adds the options --adapter, --output and --timeout.
void addOptions(CommandLine& aCommandLine, ArgumentList& aArguments, SurveyOptions& aOptions);

using AdapterJson = nlohmann::ordered_json (*)(FoundAdapter const&);

/// Takes all adapters and the index of the first one to show.
using AdaptersText = GradualAnswer<FoundAdapter>::Text;

/// Opens, refreshes, queries and closes each wanted adapter in turn. Failures are reported, and are also recorded in
/// the part of the inventory that they concern.
/// @param aJson returns an element of the key `adapters`
/// @return the result of the verb, as GradualAnswer makes it
Answer survey(Setting const& aSetting, SurveyOptions const& aOptions, Depth aDepth, AdapterJson aJson,
              AdaptersText aText);
}  // namespace qzagent
