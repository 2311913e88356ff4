/// @file
/// The verb inventory.
#pragma once

#include <optional>
#include <string>

#include "tools/qzagent/Report.h"

namespace qzagent
{
struct InventoryRequest
{
    std::optional<std::string> mAdapter;  ///< name of the one adapter that is asked for; none for all
    bool mIsColoured;                     ///< whether the text is coloured
    bool mTellsProgress;                  ///< whether a terminal is told what the tool waits for
};

/// Shows the adapters of the host with all that can be seen through them.
/// @param arReport told what fails, and when no adapter has the name; what fails does not keep the rest from being
///                 shown
Answer inventory(Report& arReport, InventoryRequest const& aRequest);
}  // namespace qzagent
